#include "qvcore/streams/BufferedStream.h"

#include <algorithm>
#include <cstring>
#include <stdexcept>

// --- output --------------------------------------------------------------------------------

BufferedOutputStream::BufferedOutputStream(OutputStream &target, int bufferSize)
    : OutputStream(&target), buffer(std::max(16, bufferSize)), fill(0)
{
}

BufferedOutputStream::~BufferedOutputStream() noexcept(false)
{
    if (target)
        WriteFromDestructor([this] { WriteBuffer(); });
}

void BufferedOutputStream::WriteBuffer()
{
    if (fill == 0)
        return;
    int count = fill;
    fill = 0;  // taken even when the target fails, so that a retry cannot repeat it
    Target().Write(buffer, count);
}

void BufferedOutputStream::Write(const char *data, int count)
{
    if (count < 1)
        return;
    if (count <= buffer.size() - fill) {
        std::memcpy(static_cast<char *>(buffer) + fill, data, count);
        fill += count;
        return;
    }
    WriteBuffer();
    if (count >= buffer.size()) {
        Target().Write(data, count);
        return;
    }
    std::memcpy(buffer, data, count);
    fill = count;
}

int BufferedOutputStream::Reserve(char *&space)
{
    space = static_cast<char *>(buffer) + fill;
    return buffer.size() - fill;
}

void BufferedOutputStream::Commit(int count)
{
    if (count < 0 || count > buffer.size() - fill)
        throw std::logic_error("BufferedOutputStream::Commit beyond the reserved room");
    fill += count;
}

void BufferedOutputStream::FlushSelf()
{
    WriteBuffer();
}

// --- input ---------------------------------------------------------------------------------

BufferedInputStream::BufferedInputStream(InputStream &source, int bufferSize)
    : InputStream(&source), buffer(std::max(16, bufferSize)), position(0), fill(0)
{
}

BufferedInputStream::~BufferedInputStream() noexcept(false) {}

// False when the source delivered nothing (a file stream over a closed file).
bool BufferedInputStream::Fill()
{
    position = 0;
    fill = 0;
    fill = source->ReadSome(buffer, buffer.size());
    return fill > 0;
}

void BufferedInputStream::Read(char *out, int count)
{
    while (count > 0) {
        int k = std::min(count, fill - position);
        if (k > 0) {
            std::memcpy(out, static_cast<const char *>(buffer) + position, k);
            position += k;
            out += k;
            count -= k;
            continue;
        }
        if (count >= buffer.size()) {
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
    if (position == fill) {
        if (count >= buffer.size())
            return source->ReadSome(out, count);
        if (!Fill())
            return 0;
    }
    int k = std::min(count, fill - position);
    std::memcpy(out, static_cast<const char *>(buffer) + position, k);
    position += k;
    return k;
}

int BufferedInputStream::Peek(const char *&data)
{
    data = static_cast<const char *>(buffer) + position;
    return fill - position;
}

void BufferedInputStream::Skip(int count)
{
    int k = std::min(std::max(count, 0), fill - position);
    position += k;
    InputStream::Skip(count - k);
}
