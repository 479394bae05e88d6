#include "Command.h"
#include "StdStreams.h"

#include "qvcore/streams/Base64Stream.h"
#include "qvcore/streams/BufferedStream.h"
#include "qvcore/streams/CRCStream.h"
#include "qvcore/streams/CompressingStream.h"
#include "qvcore/streams/CryptingStream.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <utility>
#include <vector>

namespace qvtool {
namespace {

struct Filter {
    enum Kind { Compress, CRC, Base64, Crypt } kind;
    int parameter;  // compression level or Base64 line length
};

bool parseInteger(const std::string &text, int low, int high, int &value)
{
    char *end = nullptr;
    long parsed = std::strtol(text.c_str(), &end, 10);
    if (text.empty() || *end != '\0' || parsed < low || parsed > high)
        return false;
    value = static_cast<int>(parsed);
    return true;
}

// "compress[:LEVEL],crc,base64[:LINE],crypt" in the order the data passes through them.
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

// The streams of a chain, added from its back to its front and destroyed front first (filters
// write their rest when destroyed). Close() reports a failure of those last writes, which the
// destructors record rather than throw.
template <class Stream>
class Chain {
public:
    Chain() = default;
    Chain(const Chain &) = delete;
    Chain &operator=(const Chain &) = delete;
    ~Chain()
    {
        while (!streams_.empty()) {
            try {
                Pop();
            } catch (...) {
            }
        }
    }
    template <class T, class... Args>
    T *Add(Args &&...args)
    {
        streams_.reserve(streams_.size() + 1);
        T *stream = new T(std::forward<Args>(args)...);
        streams_.push_back(stream);
        return stream;
    }
    void Adopt(std::unique_ptr<Stream> stream)
    {
        streams_.reserve(streams_.size() + 1);
        streams_.push_back(stream.release());
    }
    Stream &Front() { return *streams_.back(); }
    void Close()
    {
        while (!streams_.empty())
            Pop();
    }

private:
    void Pop()
    {
        Stream *front = streams_.back();
        streams_.pop_back();
        StreamBase::Exception failure;
        StreamBase::TakeLateFailure(failure);  // an earlier one is not this stream's
        delete front;
        if (StreamBase::TakeLateFailure(failure))
            throw failure;
    }
    std::vector<Stream *> streams_;
};

// Passes everything through and notes whether the data ended inside a request (a cut block)
// rather than between two; the one over the input counts the bytes for the progress display.
class EndWatch : public InputStream {
public:
    EndWatch(InputStream &source, Progress *progress) : InputStream(&source), progress_(progress) {}
    void Read(char *buffer, int count) override
    {
        int done = 0;
        try {
            while (done < count) {
                int got = ReadSome(buffer + done, count - done);
                if (got == 0)
                    return;  // a source that delivers nothing, as Read would
                done += got;
            }
        } catch (const Exception &e) {
            if (e.code == StreamBase::EndOfData && done > 0)
                cut_ = true;
            throw;
        }
    }
    int ReadSome(char *buffer, int count) override { return Count(source->ReadSome(buffer, count)); }
    int Peek(const char *&data) override { return source->Peek(data); }
    void Skip(int count) override
    {
        source->Skip(count);
        Count(count);
    }
    bool Cut() const { return cut_; }
    bool Empty() const { return delivered_ == 0; }

private:
    int Count(int bytes)
    {
        delivered_ += bytes;
        if (progress_ && bytes > 0)
            progress_->Add(static_cast<unsigned long long>(bytes));
        return bytes;
    }
    Progress *progress_;
    bool cut_ = false;
    long long delivered_ = 0;
};

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

struct ChainOptions {
    std::string filters, in = "-", out = "-";
    bool quiet = false, ignoreGarbage = false;
};

const int pieceSize = 1 << 20;

// The failures of a chain concern the file on the side where they happen.
std::string inName(const ChainOptions &a)
{
    return a.in == "-" ? "(standard input)" : shown(a.in);
}

int runEncode(const ChainOptions &a, const std::vector<Filter> &filters)
{
    {
        unsigned long long size;
        std::unique_ptr<InputStream> in = openInput(a.in, size);
        OutputTarget target(a.out);
        Chain<OutputStream> out;
        out.Add<BufferedOutputStream>(target.Stream(), pieceSize);
        for (auto f = filters.rbegin(); f != filters.rend(); ++f) {
            switch (f->kind) {
            case Filter::Compress: out.Add<CompressingStream>(out.Front(), f->parameter); break;
            case Filter::CRC: out.Add<CRCOutputStream>(out.Front()); break;
            case Filter::Base64: out.Add<Base64EncodingStream>(out.Front(), f->parameter); break;
            case Filter::Crypt: out.Add<CryptingOutputStream>(out.Front()); break;
            }
        }
        Progress progress(inName(a), size, a.quiet);
        std::vector<char> piece(pieceSize);
        for (;;) {
            int got = aboutFile("cannot read", inName(a), [&] { return readPiece(*in, piece.data(), pieceSize); });
            if (got == 0)
                break;
            aboutFile("cannot write", target.Name(), [&] { out.Front().Write(piece.data(), got); });
            progress.Add(static_cast<unsigned long long>(got));
        }
        aboutFile("cannot write", target.Name(), [&] { out.Close(); });
        target.Commit();
    }
    return 0;
}

int runDecode(const ChainOptions &a, const std::vector<Filter> &filters)
{
    {
        unsigned long long size;
        Chain<InputStream> in;
        in.Adopt(openInput(a.in, size));
        Progress progress(inName(a), size, a.quiet);
        in.Add<BufferedInputStream>(in.Front());
        std::vector<EndWatch *> watches{in.Add<EndWatch>(in.Front(), &progress)};
        DecompressingStream *decompressor = nullptr;
        for (auto f = filters.rbegin(); f != filters.rend(); ++f) {
            switch (f->kind) {
            case Filter::Compress: decompressor = in.Add<DecompressingStream>(in.Front()); break;
            case Filter::CRC: in.Add<CRCInputStream>(in.Front()); break;
            case Filter::Base64:
                in.Add<Base64Guard>(in.Front(), a.ignoreGarbage);
                in.Add<Base64DecodingStream>(in.Front());
                in.Add<BufferedInputStream>(in.Front());  // whole groups for the readers behind
                break;
            case Filter::Crypt: in.Add<CryptingInputStream>(in.Front()); break;
            }
            watches.push_back(in.Add<EndWatch>(in.Front(), nullptr));
        }
        OutputTarget target(a.out);
        Chain<OutputStream> out;
        out.Add<BufferedOutputStream>(target.Stream(), pieceSize);
        std::vector<char> piece(pieceSize);
        for (;;) {
            int got;
            try {
                got = in.Front().ReadSome(piece.data(), pieceSize);
            } catch (const StreamBase::Exception &e) {
                bool cut = false;
                for (EndWatch *watch : watches)
                    cut = cut || watch->Cut();
                // No input at all is the encoding of no data (an unused compressor writes
                // nothing either).
                bool empty = e.code == StreamBase::EndOfData && watches.front()->Empty();
                if (empty || (decompressor ? decompressor->AtEnd() : e.code == StreamBase::EndOfData && !cut))
                    break;
                if (e.code == StreamBase::EndOfData)
                    throw Failure("cannot decode '" + inName(a) + "': the data ends too early");
                throw Failure("cannot decode '" + inName(a) + "': " + describeCurrentException());
            }
            aboutFile("cannot write", target.Name(), [&] { out.Front().Write(piece.data(), got); });
        }
        aboutFile("cannot write", target.Name(), [&] { out.Close(); });
        target.Commit();
    }
    return 0;
}

// --filters LIST [IN [OUT]]: the list is checked while the command line is parsed.
template <int (*Run)(const ChainOptions &, const std::vector<Filter> &)>
Runner defineChain(CLI::App &command, bool decoding)
{
    auto options = std::make_shared<ChainOptions>();
    command
        .add_option("--filters", options->filters,
                    "the filters in the order the data passes them when encoding: compress[:LEVEL] (-1 to 9), crc, "
                    "base64[:WIDTH] (default 76; 0 or -1: one unbroken line), crypt")
        ->required()
        ->check([](const std::string &list) {
            std::vector<Filter> filters;
            std::string error;
            return parseFilters(list, filters, error) ? std::string() : error;
        });
    command.add_option("IN", options->in, "input file (default or '-': standard input)");
    command.add_option("OUT", options->out,
                       "output file (default or '-': standard output); written in full or not at all");
    if (decoding)
        command.add_flag("-i,--ignore-garbage", options->ignoreGarbage,
                         "skip characters outside the Base64 alphabet instead of failing on them");
    addQuiet(command, options->quiet);
    return [options] {
        std::vector<Filter> filters;
        std::string error;
        parseFilters(options->filters, filters, error);
        return Run(*options, filters);
    };
}

Runner defineEncode(CLI::App &command)
{
    return defineChain<runEncode>(command, false);
}

Runner defineDecode(CLI::App &command)
{
    return defineChain<runDecode>(command, true);
}

const CommandRegistration encode({"encode", "pass IN through the filters of LIST in order into OUT", defineEncode});
const CommandRegistration decode({"decode", "undo encode: the mirror chain of the same LIST", defineDecode});

}  // namespace
}  // namespace qvtool
