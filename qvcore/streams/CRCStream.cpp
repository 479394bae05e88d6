#include "qvcore/streams/CRCStream.h"

#include <zlib.h>

#include <algorithm>
#include <cstring>

namespace {

unsigned long blockCRC(const char *data, int length)
{
    return crc32(0, reinterpret_cast<const Bytef *>(data), static_cast<uInt>(length));
}

}  // namespace

// --- output --------------------------------------------------------------------------------

CRCOutputStream::CRCOutputStream(OutputStream &target) : OutputStream(&target), fill_(0) {}

CRCOutputStream::~CRCOutputStream() noexcept(false)
{
    if (target)
        WriteFromDestructor([this] { FlushSelf(); });
}

void CRCOutputStream::Write(const char *data, int count)
{
    while (count > 0) {
        int k = std::min(count, static_cast<int>(BlockSize) - fill_);
        std::memcpy(block_ + fill_, data, k);
        fill_ += k;
        data += k;
        count -= k;
        if (fill_ == BlockSize)
            FlushSelf();
    }
}

void CRCOutputStream::FlushSelf()
{
    if (fill_ <= 0)
        return;
    OutputStream &out = Target();
    int length = fill_;
    unsigned int crc = static_cast<unsigned int>(blockCRC(block_, length));
    // The block is taken even when the target fails, so that a retried flush cannot repeat it.
    fill_ = 0;
    out << length;
    out.Write(block_, length);
    out << crc;
}

// --- input ---------------------------------------------------------------------------------

CRCInputStream::CRCInputStream(InputStream &source) : InputStream(&source), position_(BlockSize) {}

CRCInputStream::~CRCInputStream() noexcept(false) {}

int CRCInputStream::ReadLength()
{
    int length;
    *source >> length;
    if (length > BlockSize || length < 1)
        ThrowBlockCheckFailed(String(L"Illegal CRC block size"));
    return length;
}

void CRCInputStream::ReadData(char *data, int length)
{
    source->Read(data, length);
    unsigned int stored;
    *source >> stored;
    if (stored != static_cast<unsigned int>(blockCRC(data, length)))
        ThrowBlockCheckFailed(String(L"CRC checksum error"));
}

void CRCInputStream::ReadBlock()
{
    int length = ReadLength();
    position_ = BlockSize - length;
    ReadData(block_ + position_, length);
}

void CRCInputStream::Read(char *buffer, int count)
{
    for (;;) {
        int k = std::min(static_cast<int>(BlockSize) - position_, count);
        if (k > 0) {
            std::memcpy(buffer, block_ + position_, k);
            position_ += k;
            buffer += k;
            count -= k;
        }
        if (count <= 0)
            return;
        int length = ReadLength();
        if (length <= count) {
            // A block the caller takes whole goes straight into its buffer: one copy less.
            ReadData(buffer, length);
            buffer += length;
            count -= length;
        } else {
            position_ = BlockSize - length;
            ReadData(block_ + position_, length);
        }
    }
}

int CRCInputStream::ReadSome(char *buffer, int count)
{
    if (count < 1)
        return 0;
    if (position_ == BlockSize)
        ReadBlock();
    int k = std::min(static_cast<int>(BlockSize) - position_, count);
    Read(buffer, k);
    return k;
}

int CRCInputStream::Peek(const char *&data)
{
    data = block_ + position_;
    return BlockSize - position_;
}

void CRCInputStream::Skip(int count)
{
    int k = std::min(static_cast<int>(BlockSize) - position_, count);
    if (k > 0) {
        position_ += k;
        count -= k;
    }
    InputStream::Skip(count);
}
