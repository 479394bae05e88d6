#include "FilterChain.h"

#include "Command.h"

#include "qvcore/streams/Base64Stream.h"
#include "qvcore/streams/BufferedStream.h"
#include "qvcore/streams/CRCStream.h"
#include "qvcore/streams/CryptingStream.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace qvtool {
namespace {

bool parseInteger(const std::string &text, int low, int high, int &value)
{
    char *end = nullptr;
    long parsed = std::strtol(text.c_str(), &end, 10);
    if (text.empty() || *end != '\0' || parsed < low || parsed > high)
        return false;
    value = static_cast<int>(parsed);
    return true;
}

// Stands before a Base64 decoder and lets only Base64 text through: the alphabet, "=" at the
// end and line breaks. Anything else is an error naming its byte offset, or, with
// ignoreGarbage, skipped as base64(1) does; text that stops inside a group of four is an error
// too. The decoder alone would take such input silently.
class Base64Guard : public InputStream {
    static const int kGuardPiece = 1 << 20;

public:
    Base64Guard(InputStream &source, bool ignoreGarbage) : InputStream(&source), ignoreGarbage_(ignoreGarbage) {}

    void Read(char *buffer, int count) override
    {
        while (count > 0) {
            int got = ReadSome(buffer, count);
            buffer += got;
            count -= got;
        }
    }
    int ReadSome(char *buffer, int count) override
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
    int Peek(const char *&data) override
    {
        data = held_.get() + at_;
        return static_cast<int>(size_ - at_);
    }
    void Skip(int count) override
    {
        if (count > static_cast<int>(size_ - at_)) {
            std::vector<char> scratch(static_cast<std::size_t>(count));
            Read(scratch.data(), count);
            return;
        }
        at_ += static_cast<std::size_t>(count < 0 ? 0 : count);
    }

private:
    // What each byte is to Base64 text, as two tables made once: its class (0 garbage, 1 a
    // letter of the alphabet, 2 "=", 3 a line break) and its weight for the plain-text test
    // (a letter 0, a line break 1, anything else 2).
    struct Tables {
        unsigned char classes[256];
        unsigned char weights[256];
        Tables()
        {
            for (int c = 0; c < 256; ++c) {
                bool letter = (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') ||
                              c == '+' || c == '/';
                classes[c] = letter ? 1 : c == '=' ? 2 : (c == '\r' || c == '\n') ? 3 : 0;
                weights[c] = classes[c] == 1 ? 0 : classes[c] == 3 ? 1 : 2;
            }
        }
    };
    static const Tables &tables()
    {
        static const Tables made;
        return made;
    }
    static const unsigned char *Classes() { return tables().classes; }
    static const unsigned char *Weights() { return tables().weights; }

    // A byte the fast loops do not let through by themselves: the padding, text after it, or
    // garbage (which only gets here when it is not ignored).
    void CheckSlow(unsigned char c, unsigned char kind, int i, bool &padded)
    {
        if (kind == 2) {
            padded = true;
            return;
        }
        if (kind == 1)
            ThrowMalformedData(String::FromLatin1("Base64 text after the padding, at byte " +
                                                  std::to_string(offset_ + static_cast<unsigned>(i))));
        char hex[8];
        std::snprintf(hex, sizeof hex, "0x%02X", c);
        ThrowMalformedData(String::FromLatin1(std::string("a character outside the Base64 alphabet (") + hex +
                                              ") at byte " + std::to_string(offset_ + static_cast<unsigned>(i))));
    }

    void Fill()
    {
        at_ = size_ = 0;
        int got = readPiece(*source, held_.get(), kGuardPiece);
        const int readCount = got;
        if (got == 0) {
            if (symbols_ % 4 != 0)
                ThrowMalformedData(String::FromLatin1("the Base64 text is cut short: " + std::to_string(symbols_ % 4) +
                                                      " character(s) after the last whole group of four, at byte " +
                                                      std::to_string(offset_)));
            ThrowEndOfData(String(L"Read beyond end of file"));
        }
        // Checked, and filtered in place: what is let through is never longer than what came.
        // The counters live in locals: the stores through a char pointer could otherwise
        // change any member, which the compiler would then read again for every byte.
        const unsigned char *classes = Classes();
        const unsigned char *in = reinterpret_cast<const unsigned char *>(held_.get());
        char *kept = held_.get();
        std::size_t count = 0;
        unsigned long long symbols = symbols_;
        bool padded = padded_;
        if (!ignoreGarbage_) {
            // Nothing is dropped: a read-only check that counts the symbols, with no copy. A piece
            // of letters and line breaks alone (almost every one) needs no decision per byte:
            // or-ing and adding the bytes' weights (letter 0, line break 1, other 2) tells it.
            if (!padded) {
                const unsigned char *weights = Weights();
                unsigned seen = 0, breaks = 0;
                for (int i = 0; i < got; ++i) {
                    unsigned weight = weights[in[i]];
                    seen |= weight;
                    breaks += weight;
                }
                if (seen < 2) {
                    symbols += static_cast<unsigned long long>(got) - breaks;
                    got = 0;
                }
            }
            for (int i = 0; i < got; ++i) {
                unsigned char kind = classes[in[i]];
                if (kind == 1 && !padded) {
                    ++symbols;
                } else if (kind != 3) {
                    CheckSlow(in[i], kind, i, padded);
                    ++symbols;
                }
            }
            count = static_cast<std::size_t>(readCount);
        } else {
            for (int i = 0; i < got; ++i) {
                unsigned char c = in[i];
                unsigned char kind = classes[c];
                if (kind == 0)
                    continue;
                if (kind == 1 && !padded) {
                    ++symbols;
                } else if (kind != 3) {
                    CheckSlow(c, kind, i, padded);
                    ++symbols;
                }
                kept[count++] = static_cast<char>(c);
            }
        }
        symbols_ = symbols;
        padded_ = padded;
        offset_ += static_cast<unsigned long long>(readCount);
        size_ = count;
    }

    bool ignoreGarbage_;
    // held_[at_, size_) is what the guard holds; the buffer is allocated once, and never
    // cleared, since a read may bring far less than it holds.
    std::unique_ptr<char[]> held_{new char[kGuardPiece]};
    std::size_t size_ = 0;
    std::size_t at_ = 0;
    unsigned long long offset_ = 0, symbols_ = 0;
    bool padded_ = false;
};

}  // namespace

bool parseFilters(const std::string &list, std::vector<Filter> &filters, std::string &error)
{
    std::size_t at = 0;
    while (at <= list.size()) {
        std::size_t comma = list.find(',', at);
        std::string item = list.substr(at, comma == std::string::npos ? std::string::npos : comma - at);
        at = comma == std::string::npos ? list.size() + 1 : comma + 1;
        std::string name = item.substr(0, item.find(':'));
        std::string argument = item.find(':') == std::string::npos ? "" : item.substr(item.find(':') + 1);
        bool hasArgument = item.find(':') != std::string::npos;
        Filter filter{Filter::Crypt, 0};
        if (name == "compress") {
            filter = {Filter::Compress, -1};
            if (hasArgument && !parseInteger(argument, -1, 9, filter.parameter)) {
                error = "compress:LEVEL takes a level from -1 (zlib's default) to 9";
                return false;
            }
        } else if (name == "base64") {
            filter = {Filter::Base64, 76};
            if (hasArgument && !parseInteger(argument, -1, 0x7FFFFFFF, filter.parameter)) {
                error = "base64:LINE takes a line length (0 or -1: one unbroken line)";
                return false;
            }
            // As base64(1): a width of 0 means no line breaks at all.
            if (filter.parameter == 0)
                filter.parameter = -1;
        } else if ((name == "crc" || name == "crypt") && !hasArgument) {
            filter.kind = name == "crc" ? Filter::CRC : Filter::Crypt;
        } else {
            error = "unknown filter '" + item + "' (filters: compress[:LEVEL], crc, base64[:LINE], crypt)";
            return false;
        }
        filters.push_back(filter);
    }
    return true;
}


CLI::Option *addFiltersOption(CLI::App &command, std::string &list)
{
    return command
        .add_option("--filters", list,
                    "the filters in the order the data passes them when encoding: compress[:LEVEL] (-1 to 9), crc, "
                    "base64[:WIDTH] (default 76; 0 or -1: one unbroken line), crypt")
        ->check([](const std::string &text) {
            std::vector<Filter> filters;
            std::string error;
            return parseFilters(text, filters, error) ? std::string() : error;
        });
}

bool DecodingStages::CleanEnd(const StreamBase::Exception &failure) const
{
    bool cut = false;
    for (EndWatch *watch : watches)
        cut = cut || watch->Cut();
    // No input at all is the encoding of no data (an unused compressor writes nothing either).
    bool empty = failure.code == StreamBase::EndOfData && watches.front()->Empty();
    return empty || (decompressor ? decompressor->AtEnd() : failure.code == StreamBase::EndOfData && !cut);
}

DecodingStages addDecoders(Chain<InputStream> &in, const std::vector<Filter> &filters, bool ignoreGarbage,
                           Progress *progress)
{
    DecodingStages stages;
    in.Add<BufferedInputStream>(in.Front());
    stages.watches.push_back(in.Add<EndWatch>(in.Front(), progress));
    for (auto f = filters.rbegin(); f != filters.rend(); ++f) {
        switch (f->kind) {
        case Filter::Compress: stages.decompressor = in.Add<DecompressingStream>(in.Front()); break;
        case Filter::CRC: in.Add<CRCInputStream>(in.Front()); break;
        case Filter::Base64:
            in.Add<Base64Guard>(in.Front(), ignoreGarbage);
            in.Add<Base64DecodingStream>(in.Front());
            in.Add<BufferedInputStream>(in.Front());  // whole groups for the readers behind
            break;
        case Filter::Crypt: in.Add<CryptingInputStream>(in.Front()); break;
        }
        stages.watches.push_back(in.Add<EndWatch>(in.Front(), nullptr));
    }
    return stages;
}

void addEncoders(Chain<OutputStream> &out, const std::vector<Filter> &filters)
{
    for (auto f = filters.rbegin(); f != filters.rend(); ++f) {
        switch (f->kind) {
        case Filter::Compress: out.Add<CompressingStream>(out.Front(), f->parameter); break;
        case Filter::CRC: out.Add<CRCOutputStream>(out.Front()); break;
        case Filter::Base64: out.Add<Base64EncodingStream>(out.Front(), f->parameter); break;
        case Filter::Crypt: out.Add<CryptingOutputStream>(out.Front()); break;
        }
    }
}

}  // namespace qvtool
