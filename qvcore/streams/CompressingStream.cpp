#include "qvcore/streams/CompressingStream.h"

#include <zlib.h>

#include <memory>

namespace {

// zlib's own text where it gives one. It gives none at the end of the compressed data, which a
// read counts as a failure (more was asked for than the section holds).
[[noreturn]] void throwZlib(const z_stream &z, int result = Z_OK)
{
    if (z.msg)
        StreamBase::ThrowCompressionError(z.msg);
    if (result == Z_STREAM_END)
        StreamBase::ThrowCompressionError(String(L"The compressed data ends before the bytes asked for"));
    StreamBase::ThrowCompressionError(
        String::FromFormat(reinterpret_cast<const unsigned short *>(L"The compression library failed with code %d"),
                           result));
}

// Releases a zlib stream whatever happens in the destructor's final writes.
template <int (*End)(z_streamp)>
struct ZlibRelease {
    z_stream *&z;
    ~ZlibRelease()
    {
        if (z) {
            End(z);
            delete z;
            z = nullptr;
        }
    }
};

// A zlib inflate stream, initialised; code 2 when zlib cannot set one up.
z_stream *newInflater()
{
    std::unique_ptr<z_stream> z(new z_stream());
    if (inflateInit(z.get()) != Z_OK)
        throwZlib(*z);
    return z.release();
}

// One Read or ReadSome: zlib's output is the caller's buffer.
class Inflation {
public:
    Inflation(z_stream &z, char *buffer, int count, bool some, bool &ended)
        : z_(z), count_(count), some_(some), ended_(ended)
    {
        z_.next_out = reinterpret_cast<Bytef *>(buffer);
        z_.avail_out = static_cast<uInt>(count);
    }

    int Produced() const { return count_ - static_cast<int>(z_.avail_out); }
    /// The buffer is full, or (ReadSome) something was produced.
    bool Complete() const { return z_.avail_out == 0 || (some_ && Produced() > 0); }

    /// Runs inflate on what zlib holds. Reaching the end of the zlib stream is a failure (more
    /// was asked for than the section holds), except for ReadSome once it has produced
    /// something; with mayStall, so is no progress for want of input.
    void Inflate(bool mayStall)
    {
        Check(inflate(&z_, Z_NO_FLUSH), mayStall);
    }

    /// The rule reads a byte first and then lets inflate produce what it can from the bits it
    /// holds. Asking zlib first gives the same output; when that fills the buffer, the rule
    /// would still have fetched a byte, and its inflate call would have gone on decoding with
    /// it once the output was full (the next code, the next block's header). True when the
    /// request is complete then.
    bool StartWithoutInput(InputStream &source, char &slot)
    {
        Inflate(/*mayStall=*/true);
        if (z_.avail_out != 0 || some_)
            return false;
        TakeOneByte(source, slot);
        Inflate(/*mayStall=*/true);
        return true;
    }

    /// Hands zlib the bytes the source shows in memory, with all but one byte of the output
    /// room. zlib consumes input only as far as the output it produces needs, plus the codes of
    /// the next symbol, which the held-back byte of output needs as well: the bytes it takes
    /// are the ones the rule would read. A call without input then produces what zlib can
    /// still make from the bits it holds, as the rule's next call would. False, with nothing
    /// done, when the source shows nothing or only one byte of room is left.
    bool TakeShownBytes(InputStream &source)
    {
        const char *view;
        int shown;
        if (z_.avail_out <= 1 || (shown = source.Peek(view)) <= 0)
            return false;
        z_.next_in = reinterpret_cast<Bytef *>(const_cast<char *>(view));
        z_.avail_in = static_cast<uInt>(shown);
        z_.avail_out -= 1;
        int result = inflate(&z_, Z_NO_FLUSH);
        int used = shown - static_cast<int>(z_.avail_in);
        z_.avail_in = 0;
        z_.avail_out += 1;
        source.Skip(used);
        Check(result, /*mayStall=*/false);
        if (result == Z_OK)
            Inflate(/*mayStall=*/true);
        return true;
    }

    /// The rule's step: one byte of the source, into slot, handed to zlib.
    void TakeOneByte(InputStream &source, char &slot)
    {
        source.Read(&slot, 1);
        z_.next_in = reinterpret_cast<Bytef *>(&slot);
        z_.avail_in = 1;
    }

private:
    void Check(int result, bool mayStall)
    {
        if (result == Z_STREAM_END)
            ended_ = true;
        if (result == Z_OK || (mayStall && result == Z_BUF_ERROR) ||
            (some_ && result == Z_STREAM_END && Produced() > 0))
            return;
        throwZlib(z_, result);
    }

    z_stream &z_;
    const int count_;
    const bool some_;
    bool &ended_;
};

}  // namespace

// --- compression ---------------------------------------------------------------------------

CompressingStream::CompressingStream(OutputStream &target, int level)
    : OutputStream(&target), level_(level == -1 ? -1 : level < 0 ? 0 : level > 9 ? 9 : level), zstream_(nullptr),
      pending_(false)
{
}

CompressingStream::~CompressingStream() noexcept(false)
{
    ZlibRelease<deflateEnd> release{zstream_};
    if (zstream_ && target)
        WriteFromDestructor([this] { InternalFlush(true); });
}

void CompressingStream::Write(const char *data, int count)
{
    if (count < 1)
        return;
    OutputStream &out = Target();
    if (!zstream_) {
        zstream_ = new z_stream();
        if (deflateInit(zstream_, level_) != Z_OK) {
            z_stream failed = *zstream_;
            delete zstream_;
            zstream_ = nullptr;
            throwZlib(failed);
        }
    }
    pending_ = true;
    zstream_->next_in = reinterpret_cast<Bytef *>(const_cast<char *>(data));
    zstream_->avail_in = static_cast<uInt>(count);
    do {
        char buffer[2048];
        zstream_->next_out = reinterpret_cast<Bytef *>(buffer);
        zstream_->avail_out = sizeof buffer;
        int result = deflate(zstream_, Z_NO_FLUSH);
        if (result != Z_OK)
            throwZlib(*zstream_, result);
        int produced = static_cast<int>(sizeof buffer - zstream_->avail_out);
        if (produced > 0)
            out.Write(buffer, produced);
    } while (zstream_->avail_in > 0);
}

void CompressingStream::FlushSelf()
{
    InternalFlush(false);
}

void CompressingStream::InternalFlush(bool finish)
{
    if (!zstream_ || (!finish && !pending_))
        return;
    OutputStream &out = Target();
    zstream_->next_in = nullptr;
    zstream_->avail_in = 0;
    for (;;) {
        char buffer[4096];
        zstream_->next_out = reinterpret_cast<Bytef *>(buffer);
        zstream_->avail_out = sizeof buffer;
        int result = deflate(zstream_, finish ? Z_FINISH : Z_SYNC_FLUSH);
        if (result != Z_OK && result != Z_STREAM_END)
            throwZlib(*zstream_, result);
        out.Write(buffer, static_cast<int>(sizeof buffer - zstream_->avail_out));
        if ((finish && result == Z_STREAM_END) || zstream_->avail_out != 0) {
            pending_ = false;
            return;
        }
    }
}

// --- decompression -------------------------------------------------------------------------

DecompressingStream::DecompressingStream(InputStream &source)
    : InputStream(&source), zstream_(nullptr), input_(0), ended_(false)
{
}

DecompressingStream::~DecompressingStream() noexcept(false)
{
    ZlibRelease<inflateEnd> release{zstream_};
}

void DecompressingStream::Read(char *buffer, int count)
{
    Decompress(buffer, count, false);
}

int DecompressingStream::ReadSome(char *buffer, int count)
{
    return Decompress(buffer, count, true);
}

// Reading follows the byte-at-a-time rule exactly: whenever zlib has no input left and output
// room remains, one byte is read from the source and handed to zlib, then inflate runs. So
// the source is never read past what the output needs, and data behind a compressed section
// stays in place. Taking shown bytes in bulk (TakeShownBytes) leaves the source where the rule
// would; each request starts as the rule does (StartWithoutInput).
int DecompressingStream::Decompress(char *buffer, int count, bool some)
{
    if (count < 1)
        return 0;
    if (!zstream_)
        zstream_ = newInflater();
    Inflation request(*zstream_, buffer, count, some, ended_);
    if (zstream_->avail_in == 0 && request.StartWithoutInput(*source, input_))
        return count;
    while (!request.Complete()) {
        if (zstream_->avail_in == 0 && request.TakeShownBytes(*source))
            continue;
        if (zstream_->avail_in == 0)
            request.TakeOneByte(*source, input_);
        request.Inflate(/*mayStall=*/false);
    }
    return request.Produced();
}
