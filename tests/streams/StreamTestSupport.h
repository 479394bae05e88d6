#ifndef QVCORE_TESTS_STREAMS_STREAMTESTSUPPORT_H
#define QVCORE_TESTS_STREAMS_STREAMTESTSUPPORT_H

#include "qvcore/streams/StreamBase.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <vector>

// "01 FE FF" -> the three bytes.
inline std::string hexBytes(const char *text)
{
    std::string result;
    unsigned value;
    int used;
    while (std::sscanf(text, " %2x%n", &value, &used) == 1) {
        result.push_back(static_cast<char>(value));
        text += used;
    }
    return result;
}

inline std::string toHex(const std::string &bytes)
{
    std::string result;
    char digits[4];
    for (unsigned char c : bytes) {
        std::snprintf(digits, sizeof digits, result.empty() ? "%02X" : " %02X", c);
        result += digits;
    }
    return result;
}

// Deterministic bytes that no filter can shortcut (no period dividing a block size).
inline std::string patternBytes(int length, unsigned seed = 1)
{
    std::string s(length, '\0');
    unsigned x = seed * 2654435761u + 12345;
    for (int i = 0; i < length; ++i) {
        x = x * 1103515245u + 12345u;
        s[i] = static_cast<char>(x >> 16);
    }
    return s;
}

// Compressible text-like bytes.
inline std::string textBytes(int length)
{
    static const char *words[] = {"stream ", "filter ", "chain ", "block ", "zlib ", "crc ", "\n", "base64 "};
    std::string s;
    unsigned x = 7;
    while (static_cast<int>(s.size()) < length) {
        x = x * 1103515245u + 12345u;
        s += words[(x >> 16) % 8];
    }
    s.resize(length);
    return s;
}

// What a filter built over a memory sink with the given arguments writes for data, including
// what it writes when destroyed.
template <class Filter, class... Args>
std::string writeThrough(const std::string &data, Args... args)
{
    MemoryOutputStream sink;
    {
        Filter filter(sink, args...);
        filter.Write(data.data(), static_cast<int>(data.size()));
    }
    return sink.GetContent();
}

// A sink that records each Write as a separate piece, and counts FlushSelf calls.
class RecordingStream : public OutputStream {
public:
    RecordingStream() : OutputStream(nullptr) {}
    void Write(const char *data, int count) override
    {
        if (count > 0)
            pieces.emplace_back(data, count);
        else
            emptyWrites++;
    }
    std::string all() const
    {
        std::string s;
        for (const std::string &p : pieces)
            s += p;
        return s;
    }
    std::vector<std::string> pieces;
    int emptyWrites = 0;
    int flushes = 0;
    std::vector<int> *flushOrder = nullptr;
    int id = 0;

protected:
    void FlushSelf() override
    {
        flushes++;
        if (flushOrder)
            flushOrder->push_back(id);
    }
};

// A source that only knows Read (no Peek, no bulk reads), over a string; counts bytes read.
class PlainSource : public InputStream {
public:
    explicit PlainSource(const std::string &data) : InputStream(nullptr), data(data) {}
    void Read(char *buffer, int count) override
    {
        if (count < 1)
            return;
        if (static_cast<std::size_t>(count) > data.size() - position)
            throw Exception{5, L"Memory block too short"};
        data.copy(buffer, count, position);
        position += count;
    }
    std::string data;
    std::size_t position = 0;
};

#define EXPECT_STREAM_EXCEPTION(statement, expectedCode, expectedText)                      \
    do {                                                                                    \
        try {                                                                               \
            statement;                                                                      \
            ADD_FAILURE() << "no exception from " #statement;                              \
        } catch (const StreamBase::Exception &e) {                                          \
            EXPECT_EQ(expectedCode, e.code);                                                \
            EXPECT_EQ(std::string(expectedText), String(e.message).Latin1());              \
        }                                                                                   \
    } while (0)

#endif
