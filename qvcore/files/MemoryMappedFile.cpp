#include "qvcore/files/MemoryMappedFile.h"

// The mapped-file class users instantiate: where the current view lies in the file, and
// walking a file range by range.

MemoryMappedFile::MemoryMappedFile(const String &path, bool writable)
    : MemoryMappedFileBase(path, writable), openError_(0), offset_(0)
{
    // The base leaves the reason of a failure in the last error (closing keeps it).
    if (!isOpen()) {
        openError_ = GetLastError();
        // A failure with no code set (cannot happen with the calls made) still reads as one.
        if (openError_ == 0)
            openError_ = ERROR_OPEN_FAILED;
    }
}

MemoryMappedFile::~MemoryMappedFile() {}

int MemoryMappedFile::map(long long offset, int length)
{
    offset_ = offset;
    return MemoryMappedFileBase::map(offset, length);
}

int MemoryMappedFile::mapNext(int length)
{
    long long next = offset_ + length_;
    // The end of the file is reached, not an error: map() would answer -1 there.
    if (isOpen() && next >= fileSize_) {
        unmap();
        offset_ = next;
        return 0;
    }
    return map(next, length);
}

bool MemoryMappedFile::flush()
{
    return data_ != nullptr && FlushViewOfFile(data_, static_cast<SIZE_T>(length_)) != FALSE;
}
