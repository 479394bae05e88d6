#ifndef QVCORE_STREAMS_CRCSTREAM_H
#define QVCORE_STREAMS_CRCSTREAM_H

#include "qvcore/streams/StreamBase.h"

// The CRC block format: a plain sequence of blocks, each a 32-bit length L (1 to 4088), L
// data bytes and the CRC-32 of the data (zlib's crc32 started from 0), all little-endian. Every
// block but the last of a flush holds 4088 bytes.

/// Cuts what is written into CRC-checked blocks of up to 4088 bytes.
class QVCORE_API CRCOutputStream : public OutputStream {
public:
    enum { BlockSize = 4088 };

    explicit CRCOutputStream(OutputStream &target);
    /// Writes the last block.
    ~CRCOutputStream() noexcept(false) override;

    void Write(const char *data, int count) override;

protected:
    /// Writes the bytes held back as one block (length, data and CRC in three writes); nothing
    /// when none are held.
    void FlushSelf() override;

private:
    char block_[BlockSize];
    int fill_;
};

/// Reads CRC-checked blocks and delivers their data. A length outside 1 to 4088 throws code 4
/// "Illegal CRC block size", a CRC mismatch code 4 "CRC checksum error"; the source's own
/// exceptions (end of data) pass through.
class QVCORE_API CRCInputStream : public InputStream {
public:
    enum { BlockSize = 4088 };

    explicit CRCInputStream(InputStream &source);
    ~CRCInputStream() noexcept(false) override;

    void Read(char *buffer, int count) override;
    /// The rest of the current block, or the whole next one when the current one is used up.
    int ReadSome(char *buffer, int count) override;
    int Peek(const char *&data) override;
    void Skip(int count) override;

private:
    int ReadLength();
    void ReadData(char *data, int length);
    void ReadBlock();

    char block_[BlockSize];
    int position_;  // index of the next unread byte; a block of L bytes fills the last L bytes
};

#endif
