#include "qvcore/streams/CryptingStream.h"

#include <algorithm>

namespace {

void complement(char *data, int count)
{
    for (int i = 0; i < count; ++i)
        data[i] = static_cast<char>(~data[i]);
}

// True when every byte of the range may be written: the in-place transform would fault on
// constant data (a string literal, a read-only mapping).
bool writable(const char *data, int count)
{
    const DWORD writableProtection = PAGE_READWRITE | PAGE_WRITECOPY | PAGE_EXECUTE_READWRITE | PAGE_EXECUTE_WRITECOPY;
    const char *end = data + count;
    while (data < end) {
        MEMORY_BASIC_INFORMATION info;
        if (VirtualQuery(data, &info, sizeof info) == 0 || info.State != MEM_COMMIT ||
            (info.Protect & writableProtection) == 0 || (info.Protect & PAGE_GUARD) != 0)
            return false;
        data = static_cast<const char *>(info.BaseAddress) + info.RegionSize;
    }
    return true;
}

}  // namespace

CryptingOutputStream::CryptingOutputStream(OutputStream &target) : OutputStream(&target) {}

CryptingOutputStream::~CryptingOutputStream() noexcept(false) {}

void CryptingOutputStream::Write(const char *data, int count)
{
    if (count < 1)
        return;
    OutputStream &out = Target();
    if (!writable(data, count)) {
        char copy[4096];
        while (count > 0) {
            int k = std::min(count, static_cast<int>(sizeof copy));
            std::copy(data, data + k, copy);
            complement(copy, k);
            out.Write(copy, k);
            data += k;
            count -= k;
        }
        return;
    }
    // The caller's own buffer carries the complement to the target and is restored after.
    char *bytes = const_cast<char *>(data);
    complement(bytes, count);
    try {
        out.Write(bytes, count);
    } catch (...) {
        complement(bytes, count);
        throw;
    }
    complement(bytes, count);
}

CryptingInputStream::CryptingInputStream(InputStream &source) : InputStream(&source) {}

CryptingInputStream::~CryptingInputStream() noexcept(false) {}

void CryptingInputStream::Read(char *buffer, int count)
{
    if (count < 1)
        return;
    source->Read(buffer, count);
    complement(buffer, count);
}

int CryptingInputStream::ReadSome(char *buffer, int count)
{
    int k = source->ReadSome(buffer, count);
    complement(buffer, k);
    return k;
}
