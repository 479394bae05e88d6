// The Base64 guard: the text checked, or filtered, a piece at a time.

#include "Base64Guard.h"

#include "StdStreams.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

namespace qvtool {
namespace {

// What each byte is to Base64 text, as two tables made once: its class (0 garbage, 1 a letter
// of the alphabet, 2 "=", 3 a line break) and its weight for the plain-text test (a letter 0, a
// line break 1, anything else 2).
struct Tables {
    unsigned char classes[256];
    unsigned char weights[256];
    Tables()
    {
        for (int c = 0; c < 256; ++c) {
            bool letter = (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '+' ||
                          c == '/';
            classes[c] = letter ? 1 : c == '=' ? 2 : (c == '\r' || c == '\n') ? 3 : 0;
            weights[c] = classes[c] == 1 ? 0 : classes[c] == 3 ? 1 : 2;
        }
    }
};

const Tables &tables()
{
    static const Tables made;
    return made;
}

}  // namespace

void Base64Guard::Read(char *buffer, int count)
{
    while (count > 0) {
        int got = ReadSome(buffer, count);
        buffer += got;
        count -= got;
    }
}

int Base64Guard::ReadSome(char *buffer, int count)
{
    if (count < 1)
        return 0;
    while (at_ == size_)
        Fill();
    int n = static_cast<int>(std::min<std::size_t>(static_cast<std::size_t>(count), size_ - at_));
    std::memcpy(buffer, held_.get() + at_, static_cast<std::size_t>(n));
    at_ += static_cast<std::size_t>(n);
    return n;
}

int Base64Guard::Peek(const char *&data)
{
    data = held_.get() + at_;
    return static_cast<int>(size_ - at_);
}

void Base64Guard::Skip(int count)
{
    if (count > static_cast<int>(size_ - at_)) {
        std::vector<char> scratch(static_cast<std::size_t>(count));
        Read(scratch.data(), count);
        return;
    }
    at_ += static_cast<std::size_t>(count < 0 ? 0 : count);
}

void Base64Guard::Fill()
{
    at_ = size_ = 0;
    const int got = readPiece(*source, held_.get(), kGuardPiece);
    if (got == 0) {
        if (symbols_ % 4 != 0)
            ThrowMalformedData(String::FromLatin1("the Base64 text is cut short: " + std::to_string(symbols_ % 4) +
                                                  " character(s) after the last whole group of four, at byte " +
                                                  std::to_string(offset_)));
        ThrowEndOfData(String(L"Read beyond end of file"));
    }
    const unsigned char *in = reinterpret_cast<const unsigned char *>(held_.get());
    std::size_t kept = static_cast<std::size_t>(got);
    if (ignoreGarbage_)
        kept = filterPiece(in, got);
    else
        checkPiece(in, got);
    offset_ += static_cast<unsigned long long>(got);
    size_ = kept;
}

void Base64Guard::checkPiece(const unsigned char *in, int count)
{
    // The counters live in locals: stores through a char pointer could otherwise change any
    // member, which the compiler would then read again for every byte.
    unsigned long long symbols = symbols_;
    bool padded = padded_;
    // A piece of letters and line breaks alone (almost every one) needs no decision per byte:
    // or-ing and adding the bytes' weights (letter 0, line break 1, other 2) tells it.
    if (!padded) {
        const unsigned char *weights = tables().weights;
        unsigned seen = 0, breaks = 0;
        for (int i = 0; i < count; ++i) {
            unsigned weight = weights[in[i]];
            seen |= weight;
            breaks += weight;
        }
        if (seen < 2) {
            symbols_ = symbols + static_cast<unsigned long long>(count) - breaks;
            return;
        }
    }
    const unsigned char *classes = tables().classes;
    for (int i = 0; i < count; ++i) {
        unsigned char kind = classes[in[i]];
        if (kind == 1 && !padded) {
            ++symbols;
        } else if (kind != 3) {
            checkSlow(in[i], kind, i, padded);
            ++symbols;
        }
    }
    symbols_ = symbols;
    padded_ = padded;
}

std::size_t Base64Guard::filterPiece(const unsigned char *in, int count)
{
    // Filtered in place: what is let through is never longer than what came.
    const unsigned char *classes = tables().classes;
    char *kept = held_.get();
    std::size_t size = 0;
    unsigned long long symbols = symbols_;
    bool padded = padded_;
    for (int i = 0; i < count; ++i) {
        unsigned char c = in[i];
        unsigned char kind = classes[c];
        if (kind == 0)
            continue;
        if (kind == 1 && !padded) {
            ++symbols;
        } else if (kind != 3) {
            checkSlow(c, kind, i, padded);
            ++symbols;
        }
        kept[size++] = static_cast<char>(c);
    }
    symbols_ = symbols;
    padded_ = padded;
    return size;
}

void Base64Guard::checkSlow(unsigned char c, unsigned char kind, int at, bool &padded) const
{
    if (kind == 2) {
        padded = true;
        return;
    }
    if (kind == 1)
        ThrowMalformedData(String::FromLatin1("Base64 text after the padding, at byte " +
                                              std::to_string(offset_ + static_cast<unsigned>(at))));
    char hex[8];
    std::snprintf(hex, sizeof hex, "0x%02X", c);
    ThrowMalformedData(String::FromLatin1(std::string("a character outside the Base64 alphabet (") + hex +
                                          ") at byte " + std::to_string(offset_ + static_cast<unsigned>(at))));
}

}  // namespace qvtool
