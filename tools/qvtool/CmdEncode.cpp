#include "Command.h"
#include "StdStreams.h"

#include "qvcore/streams/Base64Stream.h"
#include "qvcore/streams/BufferedStream.h"
#include "qvcore/streams/CRCStream.h"
#include "qvcore/streams/CompressingStream.h"
#include "qvcore/streams/CryptingStream.h"

#include <cstdlib>
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
                error = "base64:LINE takes a line length (-1: no line breaks)";
                return false;
            }
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
// write their rest when destroyed). Close() lets a failure of those last writes through.
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
        delete front;
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

struct Arguments {
    std::vector<Filter> filters;
    std::string in, out;
};

// --filters LIST [IN [OUT]]; 0 on success, otherwise the exit code after the message.
int parseArguments(const char *command, const Args &args, Arguments &parsed)
{
    std::vector<std::string> names;
    bool haveFilters = false;
    for (std::size_t i = 0; i < args.size(); ++i) {
        if (args[i] == "--filters") {
            std::string error;
            if (i + 1 == args.size() || !parseFilters(args[i + 1], parsed.filters, error))
                return fail(std::string(command) + ": " + (error.empty() ? "--filters needs a list" : error)) + 1;
            haveFilters = true;
            ++i;
        } else {
            names.push_back(args[i]);
        }
    }
    if (!haveFilters || names.size() > 2)
        return fail(std::string("usage: qvtool ") + command + " --filters LIST [IN [OUT]]") + 1;
    parsed.in = names.size() > 0 ? names[0] : "-";
    parsed.out = names.size() > 1 ? names[1] : "-";
    return 0;
}

const int pieceSize = 1 << 20;

// Parses the arguments and runs body(arguments, failedName), which names in failedName the
// file that any stream failure concerns.
template <class Body>
int runChain(const char *command, const Args &args, Body body)
{
    Arguments a;
    if (int code = parseArguments(command, args, a))
        return code;
    std::string failedName = a.in;
    try {
        body(a, failedName);
    } catch (const StreamBase::Exception &) {
        return fail(std::string(command) + ": " + failedName + ": " + describeCurrentException());
    }
    return 0;
}

int runEncode(const Args &args)
{
    return runChain("encode", args, [](const Arguments &a, std::string &failedName) {
        unsigned long long size;
        std::unique_ptr<InputStream> in = openInput(a.in, size);
        failedName = a.out;
        Chain<OutputStream> out;
        out.Adopt(openOutput(a.out));
        out.Add<BufferedOutputStream>(out.Front(), pieceSize);
        for (auto f = a.filters.rbegin(); f != a.filters.rend(); ++f) {
            switch (f->kind) {
            case Filter::Compress: out.Add<CompressingStream>(out.Front(), f->parameter); break;
            case Filter::CRC: out.Add<CRCOutputStream>(out.Front()); break;
            case Filter::Base64: out.Add<Base64EncodingStream>(out.Front(), f->parameter); break;
            case Filter::Crypt: out.Add<CryptingOutputStream>(out.Front()); break;
            }
        }
        Progress progress(a.in, size);
        std::vector<char> piece(pieceSize);
        for (;;) {
            failedName = a.in;
            int got = readPiece(*in, piece.data(), pieceSize);
            if (got == 0)
                break;
            failedName = a.out;
            out.Front().Write(piece.data(), got);
            progress.Add(static_cast<unsigned long long>(got));
        }
        failedName = a.out;
        out.Close();
    });
}

int runDecode(const Args &args)
{
    return runChain("decode", args, [](const Arguments &a, std::string &failedName) {
        unsigned long long size;
        Chain<InputStream> in;
        in.Adopt(openInput(a.in, size));
        Progress progress(a.in, size);
        in.Add<BufferedInputStream>(in.Front());
        std::vector<EndWatch *> watches{in.Add<EndWatch>(in.Front(), &progress)};
        DecompressingStream *decompressor = nullptr;
        for (auto f = a.filters.rbegin(); f != a.filters.rend(); ++f) {
            switch (f->kind) {
            case Filter::Compress: decompressor = in.Add<DecompressingStream>(in.Front()); break;
            case Filter::CRC: in.Add<CRCInputStream>(in.Front()); break;
            case Filter::Base64:
                in.Add<Base64DecodingStream>(in.Front());
                in.Add<BufferedInputStream>(in.Front());  // whole groups for the readers behind
                break;
            case Filter::Crypt: in.Add<CryptingInputStream>(in.Front()); break;
            }
            watches.push_back(in.Add<EndWatch>(in.Front(), nullptr));
        }
        failedName = a.out;
        Chain<OutputStream> out;
        out.Adopt(openOutput(a.out));
        out.Add<BufferedOutputStream>(out.Front(), pieceSize);
        std::vector<char> piece(pieceSize);
        for (;;) {
            int got;
            failedName = a.in;
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
                    StreamBase::ThrowEndOfData(String(L"the data ends too early"));
                throw;
            }
            failedName = a.out;
            out.Front().Write(piece.data(), got);
        }
        failedName = a.out;
        out.Close();
    });
}

const CommandRegistration encode({"encode", "qvtool encode --filters LIST [IN [OUT]]",
                                  "pass IN (default: standard input) through the filters of LIST in order "
                                  "(compress[:LEVEL], crc, base64[:LINE], crypt) into OUT (default: standard output)",
                                  runEncode});
const CommandRegistration decode({"decode", "qvtool decode --filters LIST [IN [OUT]]",
                                  "undo 'encode --filters LIST': the mirror chain, from the last filter back",
                                  runDecode});

}  // namespace
}  // namespace qvtool
