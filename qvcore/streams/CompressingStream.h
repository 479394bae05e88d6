#ifndef QVCORE_STREAMS_COMPRESSINGSTREAM_H
#define QVCORE_STREAMS_COMPRESSINGSTREAM_H

#include "qvcore/streams/StreamBase.h"

struct z_stream_s;

// zlib streams (RFC 1950) through zlib's deflate and inflate. zlib failures throw code 2 with
// zlib's own text (empty when it gives none).

/// Compresses everything written and writes the zlib stream into the target.
///
/// Nothing is created or written until the first non-empty Write: an unused stream writes
/// nothing at all, not even an empty zlib stream. A flush after new data ends the data so far
/// with a sync point (a second flush writes nothing); the destructor finishes the stream.
class QVCORE_API CompressingStream : public OutputStream {
public:
    /// level -1 is zlib's default; other negative levels become 0 (stored), levels above 9
    /// become 9.
    CompressingStream(OutputStream &target, int level);
    /// Finishes the zlib stream when anything was written.
    ~CompressingStream() noexcept(false) override;

    void Write(const char *data, int count) override;

protected:
    void FlushSelf() override;

private:
    void InternalFlush(bool finish);

    int level_;
    z_stream_s *zstream_;  // created by the first non-empty Write
    bool pending_;         // data compressed since the last flush
};

/// Decompresses a zlib stream read from the source.
///
/// The source is never read beyond what the requested output needs, so other data may follow
/// the compressed section in the same source. (Sources that show their bytes through Peek are
/// taken in bulk; the position left in them is the same as with byte-by-byte reading.) Asking
/// for more bytes than the compressed data holds throws code 2: reaching the end of the zlib
/// stream inside a Read is a failure, not a short read.
class QVCORE_API DecompressingStream : public InputStream {
public:
    explicit DecompressingStream(InputStream &source);
    ~DecompressingStream() noexcept(false) override;

    void Read(char *buffer, int count) override;
    /// What zlib can produce, up to count bytes, from the input that Read would take. Bytes
    /// that end the zlib stream are delivered; the next call throws code 2 as Read does.
    int ReadSome(char *buffer, int count) override;

    /// True once the end of the zlib stream has been reached.
    bool AtEnd() const { return ended_; }

private:
    int Decompress(char *buffer, int count, bool some);

    z_stream_s *zstream_;  // created by the first non-empty Read
    char input_;           // the byte handed to zlib when the source shows nothing in memory
    bool ended_;
};

#endif
