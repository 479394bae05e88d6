#ifndef QVCORE_TESTS_SUPPORT_STREAMTESTSUPPORT_H
#define QVCORE_TESTS_SUPPORT_STREAMTESTSUPPORT_H

#include "qvcore/streams/StreamBase.h"
#include "tests/support/Expect.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <vector>

// "01 FE FF" -> the three bytes, and back.
inline std::string hexBytes(const char *text)
{
    std::string result;
    for (unsigned value, used; std::sscanf(text, " %2x%n", &value, &used) == 1; text += used)
        result.push_back(static_cast<char>(value));
    return result;
}

inline std::string toHex(const std::string &bytes)
{
    std::string result;
    char digits[4];
    for (unsigned char c : bytes)
        result.append(digits, std::snprintf(digits, sizeof digits, result.empty() ? "%02X" : " %02X", c));
    return result;
}

// Deterministic bytes that no filter can shortcut (no period dividing a block size).
inline std::string patternBytes(int length)
{
    std::string s(length, '\0');
    unsigned x = 2654448106u;
    for (char &c : s)
        c = static_cast<char>((x = x * 1103515245u + 12345u) >> 16);
    return s;
}

// Compressible text-like bytes.
inline std::string textBytes(int length)
{
    static const char *const words[] = {"stream ", "filter ", "chain ", "block ", "zlib ", "crc ", "\n", "base64 "};
    std::string s;
    for (unsigned x = 7; static_cast<int>(s.size()) < length;)
        s += words[((x = x * 1103515245u + 12345u) >> 16) % 8];
    s.resize(length);
    return s;
}

// What a filter built over a memory sink with the given arguments writes for data, including
// what it writes when destroyed.
template <class Filter, class... Args>
std::string writeThrough(const std::string &data, Args... args)
{
    MemoryOutputStream sink;
    Filter(sink, args...).Write(data.data(), static_cast<int>(data.size()));
    return sink.GetContent();
}

// A sink that records each Write (empty ones too) as a separate piece, and its flushes.
class RecordingStream : public OutputStream {
public:
    RecordingStream() : OutputStream(nullptr) {}
    void Write(const char *data, int count) override
    {
        pieces.emplace_back(data, count);
        all.append(data, count);
    }
    std::vector<std::string> pieces;
    std::string all;
    std::vector<int> *flushOrder = nullptr;  // receives 0 for each flush
    int flushes = 0;

protected:
    void FlushSelf() override
    {
        ++flushes;
        if (flushOrder)
            flushOrder->push_back(0);
    }
};

// A sink that fails on every write with code 1, "disk full"; seen keeps the last write.
struct FailingStream : OutputStream {
    FailingStream() : OutputStream(nullptr) {}
    void Write(const char *data, int count) override
    {
        seen.assign(data, count);
        throw Exception{1, L"disk full"};
    }
    std::string seen;
};

// A source that only knows Read (no Peek, no bulk reads), over a string.
class PlainSource : public InputStream {
public:
    explicit PlainSource(const std::string &data) : InputStream(nullptr), data(data) {}
    void Read(char *buffer, int count) override
    {
        if (count < 1)
            return;
        if (static_cast<std::size_t>(count) > data.size() - position)
            throw Exception{5, L"Memory block too short"};
        position += data.copy(buffer, count, position);
    }
    std::size_t Remaining() const { return data.size() - position; }
    std::string data;
    std::size_t position = 0;
};

// Reads count bytes from a stream into a string.
inline std::string readBytes(InputStream &in, int count)
{
    std::string bytes(count, '\0');
    in.Read(&bytes[0], count);
    return bytes;
}

// One decoder reading a MemoryInputStream (which offers bulk access) and one reading a
// PlainSource (byte reads only), over the same text: read() checks that both deliver the same
// bytes and leave their sources at the same place.
template <class Decoder>
struct BulkAndPlain {
    explicit BulkAndPlain(const std::string &bytes) : text(bytes), memory(text), plain(text), fast(memory), slow(plain) {}
    std::string read(int count)
    {
        std::string bytes = readBytes(fast, count);
        EXPECT_EQ(readBytes(slow, count), bytes);
        EXPECT_EQ(plain.Remaining(), static_cast<std::size_t>(memory.Remaining())) << "after " << count;
        return bytes;
    }
    std::string text;
    MemoryInputStream memory;
    PlainSource plain;
    Decoder fast, slow;
};

#endif
