#include "qvcore/streams/CompressingStream.h"

#include <zlib.h>

namespace {

// zlib's own text where it gives one. It gives none at the end of the compressed data, which a
// read counts as a failure (more was asked for than the section holds).
[[noreturn]] void throwZlib(const z_stream &z, int result = Z_OK)
{
    if (z.msg)
        StreamBase::ThrowCompressionError(z.msg);
    if (result == Z_STREAM_END)
        throw StreamBase::Exception{StreamBase::CompressionError,
                                    String(L"The compressed data ends before the bytes asked for")};
    throw StreamBase::Exception{StreamBase::CompressionError,
                                String::FromFormat(reinterpret_cast<const unsigned short *>(L"The compression library "
                                                                                             L"failed with code %d"),
                                                   result)};
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

}  // namespace

// --- compression ---------------------------------------------------------------------------

CompressingStream::CompressingStream(OutputStream &target, int level)
    : OutputStream(&target), level(level == -1 ? -1 : level < 0 ? 0 : level > 9 ? 9 : level), zstream(nullptr),
      pending(false)
{
}

CompressingStream::~CompressingStream() noexcept(false)
{
    ZlibRelease<deflateEnd> release{zstream};
    if (zstream && target)
        WriteFromDestructor([this] { InternalFlush(true); });
}

void CompressingStream::Write(const char *data, int count)
{
    if (count < 1)
        return;
    OutputStream &out = Target();
    if (!zstream) {
        zstream = new z_stream();
        if (deflateInit(zstream, level) != Z_OK) {
            z_stream failed = *zstream;
            delete zstream;
            zstream = nullptr;
            throwZlib(failed);
        }
    }
    pending = true;
    zstream->next_in = reinterpret_cast<Bytef *>(const_cast<char *>(data));
    zstream->avail_in = static_cast<uInt>(count);
    do {
        char buffer[2048];
        zstream->next_out = reinterpret_cast<Bytef *>(buffer);
        zstream->avail_out = sizeof buffer;
        int result = deflate(zstream, Z_NO_FLUSH);
        if (result != Z_OK)
            throwZlib(*zstream, result);
        int produced = static_cast<int>(sizeof buffer - zstream->avail_out);
        if (produced > 0)
            out.Write(buffer, produced);
    } while (zstream->avail_in > 0);
}

void CompressingStream::FlushSelf()
{
    InternalFlush(false);
}

void CompressingStream::InternalFlush(bool finish)
{
    if (!zstream || (!finish && !pending))
        return;
    OutputStream &out = Target();
    zstream->next_in = nullptr;
    zstream->avail_in = 0;
    for (;;) {
        char buffer[4096];
        zstream->next_out = reinterpret_cast<Bytef *>(buffer);
        zstream->avail_out = sizeof buffer;
        int result = deflate(zstream, finish ? Z_FINISH : Z_SYNC_FLUSH);
        if (result != Z_OK && result != Z_STREAM_END)
            throwZlib(*zstream, result);
        out.Write(buffer, static_cast<int>(sizeof buffer - zstream->avail_out));
        if ((finish && result == Z_STREAM_END) || zstream->avail_out != 0) {
            pending = false;
            return;
        }
    }
}

// --- decompression -------------------------------------------------------------------------

DecompressingStream::DecompressingStream(InputStream &source)
    : InputStream(&source), zstream(nullptr), input(0), ended(false)
{
}

DecompressingStream::~DecompressingStream() noexcept(false)
{
    ZlibRelease<inflateEnd> release{zstream};
}

void DecompressingStream::Read(char *buffer, int count)
{
    Decompress(buffer, count, false);
}

int DecompressingStream::ReadSome(char *buffer, int count)
{
    return Decompress(buffer, count, true);
}

// The required behaviour is byte-by-byte: whenever zlib has no input left and output space
// remains, one byte is read from the source and handed to zlib. When the source shows bytes
// in memory, zlib takes them in bulk instead, with all but one byte of the output space; zlib
// pulls input only as far as the output it produces needs (plus the next code, which the
// byte-by-byte reading needs as well for the reserved byte), so the bytes it takes are the ones
// byte-by-byte reading would have read. A second call without input then produces what zlib
// can still make from the bits it holds, as the byte-by-byte call would have done, and the
// byte-by-byte loop finishes the request. Each request starts with such a call too: when it
// fills the output, byte-by-byte reading would still have fetched its first byte.
//
// With some set, the request ends as soon as anything was produced (ReadSome).
int DecompressingStream::Decompress(char *buffer, int count, bool some)
{
    if (count < 1)
        return 0;
    if (!zstream) {
        zstream = new z_stream();
        if (inflateInit(zstream) != Z_OK) {
            z_stream failed = *zstream;
            delete zstream;
            zstream = nullptr;
            throwZlib(failed);
        }
    }
    zstream->next_out = reinterpret_cast<Bytef *>(buffer);
    zstream->avail_out = static_cast<uInt>(count);
    auto produced = [&] { return count - static_cast<int>(zstream->avail_out); };
    auto step = [&](bool noProgressAllowed) {
        int result = inflate(zstream, Z_NO_FLUSH);
        if (result == Z_STREAM_END)
            ended = true;
        if (result == Z_OK || (noProgressAllowed && result == Z_BUF_ERROR) ||
            (some && result == Z_STREAM_END && produced() > 0))
            return;
        throwZlib(*zstream, result);
    };

    if (zstream->avail_in == 0) {
        step(true);
        if (zstream->avail_out == 0 && !some) {
            // Byte-by-byte reading fetches a byte before it finds that the output needs none,
            // and its inflate call goes on decoding with that byte once the output is full (the
            // next code, the next block's header): a call with no output room does the same.
            source->Read(&input, 1);
            zstream->next_in = reinterpret_cast<Bytef *>(&input);
            zstream->avail_in = 1;
            step(true);
            return count;
        }
    }
    while (zstream->avail_out > 0 && !(some && produced() > 0)) {
        if (zstream->avail_in == 0) {
            const char *view;
            int shown;
            if (zstream->avail_out > 1 && (shown = source->Peek(view)) > 0) {
                zstream->next_in = reinterpret_cast<Bytef *>(const_cast<char *>(view));
                zstream->avail_in = static_cast<uInt>(shown);
                zstream->avail_out -= 1;
                int result = inflate(zstream, Z_NO_FLUSH);
                int used = shown - static_cast<int>(zstream->avail_in);
                zstream->avail_in = 0;
                zstream->avail_out += 1;
                source->Skip(used);
                if (result == Z_STREAM_END)
                    ended = true;
                if (result != Z_OK && !(some && result == Z_STREAM_END && produced() > 0))
                    throwZlib(*zstream, result);
                if (result == Z_OK)
                    step(true);
                continue;
            }
            source->Read(&input, 1);
            zstream->next_in = reinterpret_cast<Bytef *>(&input);
            zstream->avail_in = 1;
        }
        step(false);
    }
    return produced();
}
