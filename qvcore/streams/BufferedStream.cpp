#include "qvcore/streams/BufferedStream.h"

#include <algorithm>
#include <cstring>
#include <stdexcept>

// --- output --------------------------------------------------------------------------------

BufferedOutputStream::BufferedOutputStream(OutputStream &target, int bufferSize)
    : OutputStream(&target), buffer_(std::max(16, bufferSize)), fill_(0)
{
}

BufferedOutputStream::~BufferedOutputStream() noexcept(false)
{
    if (target)
        WriteFromDestructor([this] { WriteBuffer(); });
}

void BufferedOutputStream::WriteBuffer()
{
    if (fill_ == 0)
        return;
    int count = fill_;
    fill_ = 0;  // taken even when the target fails, so that a retry cannot repeat it
    Target().Write(buffer_, count);
}

void BufferedOutputStream::Write(const char *data, int count)
{
    if (count < 1)
        return;
    if (count <= buffer_.size() - fill_) {
        std::memcpy(static_cast<char *>(buffer_) + fill_, data, count);
        fill_ += count;
        return;
    }
    WriteBuffer();
    if (count >= buffer_.size()) {
        Target().Write(data, count);
        return;
    }
    std::memcpy(buffer_, data, count);
    fill_ = count;
}

int BufferedOutputStream::Reserve(char *&space)
{
    space = static_cast<char *>(buffer_) + fill_;
    return buffer_.size() - fill_;
}

void BufferedOutputStream::Commit(int count)
{
    if (count < 0 || count > buffer_.size() - fill_)
        throw std::logic_error("BufferedOutputStream::Commit beyond the reserved room");
    fill_ += count;
}

void BufferedOutputStream::FlushSelf()
{
    WriteBuffer();
}

// --- input ---------------------------------------------------------------------------------

BufferedInputStream::BufferedInputStream(InputStream &source, int bufferSize)
    : InputStream(&source), buffer_(std::max(16, bufferSize)), position_(0), fill_(0)
{
}

BufferedInputStream::~BufferedInputStream() noexcept(false) {}

// False when the source delivered nothing (a file stream over a closed file).
bool BufferedInputStream::Fill()
{
    position_ = 0;
    fill_ = 0;
    fill_ = source->ReadSome(buffer_, buffer_.size());
    return fill_ > 0;
}

void BufferedInputStream::Read(char *out, int count)
{
    while (count > 0) {
        int k = std::min(count, fill_ - position_);
        if (k > 0) {
            std::memcpy(out, static_cast<const char *>(buffer_) + position_, k);
            position_ += k;
            out += k;
            count -= k;
            continue;
        }
        if (count >= buffer_.size()) {
            // Straight into the caller's buffer, but through ReadSome: a Base64 decoder then
            // hands out whole groups only.
            int n = source->ReadSome(out, count);
            if (n == 0)
                return;
            out += n;
            count -= n;
            continue;
        }
        if (!Fill())
            return;
    }
}

int BufferedInputStream::ReadSome(char *out, int count)
{
    if (count < 1)
        return 0;
    if (position_ == fill_) {
        if (count >= buffer_.size())
            return source->ReadSome(out, count);
        if (!Fill())
            return 0;
    }
    int k = std::min(count, fill_ - position_);
    std::memcpy(out, static_cast<const char *>(buffer_) + position_, k);
    position_ += k;
    return k;
}

int BufferedInputStream::Peek(const char *&data)
{
    data = static_cast<const char *>(buffer_) + position_;
    return fill_ - position_;
}

void BufferedInputStream::Skip(int count)
{
    int k = std::min(std::max(count, 0), fill_ - position_);
    position_ += k;
    InputStream::Skip(count - k);
}
