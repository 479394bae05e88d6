#include "qvcore/core/SystemText_p.h"
#include "qvcore/files/MemoryMappedFile.h"

// The mapping itself: opening the file, the view limits and granularity rounding. The typed
// class users instantiate is in MemoryMappedFile.cpp.

namespace {

const DWORD kGenericRead = 0x80000000;
const DWORD kGenericReadWrite = 0xC0000000;
const DWORD kSequentialScan = 0x08000000;
const DWORD kPageReadOnly = 2, kPageReadWrite = 4;
const DWORD kMapWrite = 2, kMapRead = 4;

// Views are kept this far below 2 GB: a 32-bit process rarely has a free region of 2 GB, and
// the count must stay a positive int together with the rounding added in front of it.
const long long kViewLimitBase = 2147483647LL;
const int kViewLimitGranularities = 10;

// The allocation granularity, asked once; -1 until then. A race only asks twice.
int cachedPageSize = -1;

}  // namespace

int MemoryMappedFileBase::pageSize()
{
    if (cachedPageSize == -1) {
        SYSTEM_INFO info;
        GetSystemInfo(&info);
        cachedPageSize = static_cast<int>(info.dwAllocationGranularity);
    }
    return cachedPageSize;
}

MemoryMappedFileBase::MemoryMappedFileBase(const String &path, bool writable)
    : writable_(writable), data_(nullptr), length_(0), fileSize_(0)
{
    std::string narrow;
    if (!SystemText::EncodePathOrFail(path, narrow))
        return;
    SECURITY_ATTRIBUTES security = {};
    security.nLength = sizeof security;  // 12 bytes on i686
    security.lpSecurityDescriptor = nullptr;
    security.bInheritHandle = FALSE;
    file_.reset(CreateFileA(narrow.c_str(), writable ? kGenericReadWrite : kGenericRead, 0, &security, OPEN_EXISTING,
                            kSequentialScan, nullptr));
    if (!file_)
        return;

    DWORD high = 0;
    DWORD low = GetFileSize(file_.get(), &high);
    if (low == INVALID_FILE_SIZE && GetLastError() != NO_ERROR) {
        unmap(true);
        return;
    }
    fileSize_ = static_cast<long long>((static_cast<unsigned long long>(high) << 32) | low);

    mapping_.reset(CreateFileMappingA(file_.get(), nullptr, writable ? kPageReadWrite : kPageReadOnly, 0, 0, nullptr));
    if (!mapping_)
        unmap(true);
}

MemoryMappedFileBase::~MemoryMappedFileBase()
{
    unmap(true);
}

void MemoryMappedFileBase::unmap(bool closeAll)
{
    view_.reset();
    data_ = nullptr;
    length_ = 0;
    if (closeAll) {
        mapping_.reset();
        file_.reset();
        fileSize_ = 0;
    }
}

int MemoryMappedFileBase::map(long long offset, int length)
{
    unmap(false);
    if (offset < 0 || offset >= fileSize_)
        return length != 0 ? -1 : 0;

    long long count = fileSize_ - offset;
    if (length >= 0 && length < count)
        count = length;
    // Never a shorter view than asked for: callers that want less ask for less.
    if (count > kViewLimitBase - static_cast<long long>(kViewLimitGranularities) * pageSize())
        return -1;
    if (count == 0)
        return 0;

    // Views start on a granularity boundary; data then points at the byte asked for.
    long long remainder = offset % pageSize();
    unsigned long long start = static_cast<unsigned long long>(offset - remainder);
    view_.reset(MapViewOfFile(mapping_.get(), writable_ ? kMapWrite : kMapRead, static_cast<DWORD>(start >> 32),
                              static_cast<DWORD>(start), static_cast<SIZE_T>(count + remainder)));
    if (!view_)
        return -1;
    data_ = static_cast<char *>(view_.get()) + remainder;
    length_ = static_cast<int>(count);
    return length_;
}
