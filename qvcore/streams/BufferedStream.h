#ifndef QVCORE_STREAMS_BUFFEREDSTREAM_H
#define QVCORE_STREAMS_BUFFEREDSTREAM_H

#include "qvcore/streams/StreamBase.h"

// Buffers for chains over files: filters that write a few bytes at a time (the Base64 encoder
// writes each 4-character group by itself) or read one byte at a time (the decoders) would
// otherwise cost one system call each.

/// Collects small writes into a buffer and passes them to the target in large pieces. Writes
/// of at least the buffer size go straight through once the buffer is emptied. A flush (and
/// the destructor) writes what the buffer holds.
class QVCORE_API BufferedOutputStream : public OutputStream {
public:
    /// bufferSize below 16 is taken as 16.
    explicit BufferedOutputStream(OutputStream &target, int bufferSize = 65536);
    /// Writes what the buffer holds.
    ~BufferedOutputStream() noexcept(false) override;

    void Write(const char *data, int count) override;
    /// The free part of the buffer.
    int Reserve(char *&space) override;
    void Commit(int count) override;

protected:
    void FlushSelf() override;

private:
    void WriteBuffer();

    MemoryBlock buffer_;
    int fill_;
};

/// Reads its source in pieces of up to the buffer size (ReadSome) and delivers from the
/// buffer. The source's position therefore runs ahead of what this stream has delivered by up
/// to the buffer size: read the data only through this stream once it is built. Peek shows
/// the buffered bytes, so decoders chained behind take them in bulk.
///
/// The source is only ever asked for at least 16 bytes at a time, so behind a
/// Base64DecodingStream this stream takes whole groups and lets its readers read any sizes.
class QVCORE_API BufferedInputStream : public InputStream {
public:
    /// bufferSize below 16 is taken as 16.
    explicit BufferedInputStream(InputStream &source, int bufferSize = 65536);
    ~BufferedInputStream() noexcept(false) override;

    void Read(char *buffer, int count) override;
    int ReadSome(char *buffer, int count) override;
    int Peek(const char *&data) override;
    void Skip(int count) override;

private:
    bool Fill();

    MemoryBlock buffer_;
    int position_;
    int fill_;
};

#endif
