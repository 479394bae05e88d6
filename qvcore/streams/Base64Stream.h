#ifndef QVCORE_STREAMS_BASE64STREAM_H
#define QVCORE_STREAMS_BASE64STREAM_H

#include "qvcore/streams/StreamBase.h"

/// Encodes everything written into Base64 text (RFC 4648 alphabet, "=" padding) and writes it
/// into the target, one 4-character group per Write, with a line feed after every
/// lineLength / 4 groups.
///
/// Up to 2 bytes are held back between writes. A flush writes them as a padded group, even in
/// the middle of the data (the encoder carries on after it); the line feed ending a partial
/// last line is written only by the destructor.
class QVCORE_API Base64EncodingStream : public OutputStream {
public:
    /// A negative lineLength writes no line breaks; 0 to 7 break after every group; otherwise
    /// lines hold lineLength / 4 groups (76: lines of 76 characters).
    Base64EncodingStream(OutputStream &target, int lineLength);
    /// Writes the pending bytes and, when the last line is not empty, one line feed.
    ~Base64EncodingStream() noexcept(false) override;

    void Write(const char *data, int count) override;

    /// ((n + 2) / 3) * 4: the length of the encoding of n bytes without line breaks.
    static int Base64MemoryEncodedSize(int n);
    /// Encodes n bytes into destination (Base64MemoryEncodedSize(n) bytes; no line breaks, no
    /// terminating zero).
    static void Base64MemoryEncode(const char *source, int n, char *destination);
    /// n / 4 * 3: room enough for Base64MemoryDecode of n characters.
    static int Base64MemoryDecodedMaxSize(int n);
    /// Decodes groups of 4 characters and returns the count of bytes written, or -1 when a
    /// character is neither in the alphabet nor "=" (line breaks included). A trailing rest of
    /// 1 to 3 characters is ignored; fewer than 4 characters give 0.
    static int Base64MemoryDecode(const char *source, int n, char *destination);

protected:
    void FlushSelf() override;

private:
    void InternalFlush();
    void WriteGroup(const char *group);

    int groupsPerLine_;
    int groupsOnLine_;
    char pending_[3];
    int pendingCount_;
};

/// Decodes Base64 text read from the source. Characters outside the alphabet (line breaks,
/// blanks, ...) are skipped; a group padded in its first or second place yields nothing.
///
/// Kept for compatibility with existing readers: each request copies from the first decoded
/// byte of the current group, so a group read in pieces (say one byte at a time) hands out
/// its leading bytes again. Read in requests that match the group boundaries, or in one piece,
/// or put a BufferedInputStream behind the decoder: it takes whole groups only.
/// There is no end-of-text detection: reading past the encoded data ends in the source's own
/// end-of-data exception.
class QVCORE_API Base64DecodingStream : public InputStream {
public:
    explicit Base64DecodingStream(InputStream &source);
    ~Base64DecodingStream() noexcept(false) override;

    void Read(char *buffer, int count) override;
    /// Whole groups while at least 3 bytes of room remain, otherwise as Read.
    int ReadSome(char *buffer, int count) override;

private:
    int ReadGroup();
    int DecodeShown(char *buffer, int count, bool &consumed);

    char decoded_[3];
    int available_;
};

#endif
