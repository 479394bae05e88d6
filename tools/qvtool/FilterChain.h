#ifndef QVTOOL_FILTERCHAIN_H
#define QVTOOL_FILTERCHAIN_H

// The filter chains of a --filters list, shared by every command that moves data through
// them: encode writes through the stages in the list's order, decode and dump read through the
// mirror chain.

#include "StdStreams.h"

#include "qvcore/streams/CompressingStream.h"

#include <CLI/CLI.hpp>

#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace qvtool {

struct Filter {
    enum Kind { Compress, CRC, Base64, Crypt } kind;
    int parameter;  // compression level or Base64 line length
};

/// Parses "compress[:LEVEL],crc,base64[:WIDTH],crypt" (in the order the data passes them when
/// encoding) into filters; false with error set for an item it does not know.
bool parseFilters(const std::string &list, std::vector<Filter> &filters, std::string &error);

/// Declares --filters LIST on command, checked while the command line is parsed.
CLI::Option *addFiltersOption(CLI::App &command, std::string &list);

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

/// The decoding stages of a list, added in front of a chain that holds its source alone.
struct DecodingStages {
    /// One behind the source (counting for progress), then one after each stage.
    std::vector<EndWatch *> watches;
    DecompressingStream *decompressor = nullptr;
    /// Whether failure, thrown by the front of the chain, is the clean end of the data rather
    /// than data cut short or damaged.
    bool CleanEnd(const StreamBase::Exception &failure) const;
};

/// Adds a buffer over the source and the mirror of each filter of the list, last first.
DecodingStages addDecoders(Chain<InputStream> &in, const std::vector<Filter> &filters, bool ignoreGarbage,
                           Progress *progress);

/// Adds the encoding stage of each filter of the list, last first, in front of out.
void addEncoders(Chain<OutputStream> &out, const std::vector<Filter> &filters);

}  // namespace qvtool

#endif
