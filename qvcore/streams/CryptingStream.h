#ifndef QVCORE_STREAMS_CRYPTINGSTREAM_H
#define QVCORE_STREAMS_CRYPTINGSTREAM_H

#include "qvcore/streams/StreamBase.h"

// Byte inversion: every byte is replaced by its bitwise complement (XOR 0xFF), a transform
// that is its own inverse. It hides data from a casual look; it is not encryption.

/// Writes the complement of every byte into the target.
class QVCORE_API CryptingOutputStream : public OutputStream {
public:
    explicit CryptingOutputStream(OutputStream &target);
    ~CryptingOutputStream() noexcept(false) override;

    /// Complements the caller's bytes in place, writes them into the target and complements
    /// them back, also when the target throws: the caller's buffer is unchanged afterwards.
    /// Bytes in read-only memory are complemented in a copy instead.
    void Write(const char *data, int count) override;
};

/// Delivers the complement of every byte read from the source.
class QVCORE_API CryptingInputStream : public InputStream {
public:
    explicit CryptingInputStream(InputStream &source);
    ~CryptingInputStream() noexcept(false) override;

    void Read(char *buffer, int count) override;
    int ReadSome(char *buffer, int count) override;
};

#endif
