#ifndef QVCORE_STREAMS_MD5SUM_H
#define QVCORE_STREAMS_MD5SUM_H

#include "qvcore/streams/StreamBase.h"

#include <string>

/// A 16-byte MD5 digest (RFC 1321). Copyable; ordered by its bytes as unsigned values from the
/// first (the order of memcmp).
class QVCORE_API MD5Sum {
public:
    /// The digest of empty input, d41d8cd98f00b204e9800998ecf8427e.
    MD5Sum();
    /// The digest of size bytes.
    MD5Sum(const char *data, int size);

    bool operator==(const MD5Sum &other) const;
    bool operator!=(const MD5Sum &other) const;
    bool operator<(const MD5Sum &other) const;
    bool operator<=(const MD5Sum &other) const;
    bool operator>(const MD5Sum &other) const;
    bool operator>=(const MD5Sum &other) const;

    /// 32 upper-case hexadecimal digits, high nibble first.
    std::string HexString() const;
    /// The Base64 encoding of the 16 bytes without its "==" padding: 22 characters.
    std::string Base64String() const;
    /// Takes exactly 32 hexadecimal digits (either case); anything else returns false and
    /// leaves the digest unchanged.
    bool SetHexString(const std::string &text);

    /// The 16 bytes.
    const unsigned char *Bytes() const { return digest_; }

private:
    friend class MD5SumStream;
    unsigned char digest_[16];
};

/// A sink that computes the MD5 digest of everything written into it.
class QVCORE_API MD5SumStream : public OutputStream {
public:
    MD5SumStream();
    ~MD5SumStream() noexcept(false) override;

    void Write(const char *data, int count) override;
    /// Flushes the chain in front of the stream and returns the digest of everything written
    /// so far; more may be written afterwards.
    MD5Sum GetMD5Sum();

private:
    friend class MD5Sum;
    struct Context;
    Context *context_;  // owned
};

#endif
