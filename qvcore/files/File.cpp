#include "qvcore/files/File.h"

#include "qvcore/core/SystemText_p.h"
#include "qvcore/runtime/SysInfo.h"

#include <memory>

// The open file: its handle, data, position, times and locks. Path text is in FilePath.cpp,
// the file-system queries in FileSystem.cpp.

namespace {

const unsigned long kGenericRead = 0x80000000;
const unsigned long kGenericWrite = 0x40000000;

[[noreturn]] void throwLastError()
{
    unsigned long code = GetLastError();
    throw File::Exception{code, String::FromError(code)};
}

}  // namespace

// --- opening and closing ----------------------------------------------------------------------

File::File() {}

File::File(const String &name, unsigned access, unsigned share, bool inheritable, unsigned disposition,
           unsigned flags)
{
    Create(name, access, share, inheritable, disposition, flags);
}

File::~File()
{
    Close();
}

void File::Create(const String &name, unsigned access, unsigned share, bool inheritable, unsigned disposition,
                  unsigned flags)
{
    SECURITY_ATTRIBUTES inherit = {};
    inherit.nLength = sizeof inherit;
    inherit.bInheritHandle = TRUE;
    // A handle already held is given up, not closed: callers close first (kept for callers that
    // hand a handle on before opening the next file).
    handle_.release();
    std::string narrow;
    if (SystemText::EncodePathOrFail(name, narrow))
        handle_.reset(CreateFileA(narrow.c_str(), access, share, inheritable ? &inherit : nullptr, disposition, flags,
                                  nullptr));
    if (!handle_) {
        // Closed objects have no path.
        path_.clear();
        throwLastError();
    }
    path_ = GetFullPath(name);
    // Wine opens a name one character longer than it expands: the file keeps the name it has.
    if (path_.empty())
        path_ = name;
}

void File::Open(const String &name, unsigned access, unsigned share, bool inheritable, unsigned disposition,
                unsigned flags)
{
    Create(name, access, share, inheritable, disposition, flags);
}

void File::OpenForReading(const String &name, unsigned share, unsigned disposition, bool inheritable,
                          unsigned flags)
{
    Create(name, kGenericRead, share, inheritable, disposition, flags);
}

void File::OpenForReadWrite(const String &name, unsigned share, unsigned disposition, bool inheritable,
                            unsigned flags)
{
    Create(name, kGenericRead | kGenericWrite, share, inheritable, disposition, flags);
}

void File::Close()
{
    if (!handle_)
        return;
    handle_.reset();
    path_.clear();
}

bool File::IsValid() const
{
    return handle_.valid();
}

// --- data -------------------------------------------------------------------------------------

unsigned long File::Read(char *buffer, unsigned long count)
{
    if (count == 0)
        return 0;
    DWORD read = 0;
    if (!ReadFile(handle_.get(), buffer, count, &read, nullptr))
        throwLastError();
    return read;
}

unsigned long File::Read(std::string &out, unsigned long count)
{
    if (count == 0)
        return 0;
    // Allocated per call and freed before returning, also when the read throws.
    std::unique_ptr<char[]> buffer(new char[count]);
    unsigned long read = Read(buffer.get(), count);
    out.assign(buffer.get(), read);
    return read;
}

unsigned long File::Read(std::string &out)
{
    unsigned long long size = GetFileSize();
    return Read(out, size < 0xFFFFFFFFull ? static_cast<unsigned long>(size) : 0xFFFFFFFFul);
}

unsigned long File::Write(const char *data, unsigned long count)
{
    DWORD written = 0;
    if (!WriteFile(handle_.get(), data, count, &written, nullptr))
        throwLastError();
    return written;
}

unsigned long File::Write(const std::string &data)
{
    return Write(data.data(), static_cast<unsigned long>(data.size()));
}

void File::Flush()
{
    if (!FlushFileBuffers(handle_.get()))
        throwLastError();
}

// --- position, size, times, locks -------------------------------------------------------------

long long File::SetFilePos(long long offset, int origin)
{
    LONG high = static_cast<LONG>(offset >> 32);
    // All ones is also a valid low half: only a non-zero last error marks a failure.
    SetLastError(0);
    DWORD low = SetFilePointer(handle_.get(), static_cast<LONG>(offset), &high, static_cast<DWORD>(origin));
    if (low == INVALID_SET_FILE_POINTER && GetLastError() != NO_ERROR)
        throwLastError();
    return static_cast<long long>((static_cast<unsigned long long>(static_cast<DWORD>(high)) << 32) | low);
}

long long File::GetFilePos() const
{
    // Moving by 0 from the current position changes nothing.
    return const_cast<File *>(this)->SetFilePos(0, 1);
}

unsigned long long File::GetFileSize() const
{
    DWORD high = 0;
    SetLastError(0);
    DWORD low = ::GetFileSize(handle_.get(), &high);
    if (low == INVALID_FILE_SIZE && GetLastError() != NO_ERROR)
        throwLastError();
    return (static_cast<unsigned long long>(high) << 32) | low;
}

void File::GetFileTimes(DateTime *creation, DateTime *lastAccess, DateTime *lastWrite) const
{
    FILETIME times[3] = {};
    if (!GetFileTime(handle_.get(), creation ? &times[0] : nullptr, lastAccess ? &times[1] : nullptr,
                     lastWrite ? &times[2] : nullptr))
        throwLastError();
    if (creation)
        *creation = times[0];
    if (lastAccess)
        *lastAccess = times[1];
    if (lastWrite)
        *lastWrite = times[2];
}

void File::SetFileTimes(const DateTime *creation, const DateTime *lastAccess, const DateTime *lastWrite)
{
    FILETIME times[3] = {};
    if (creation)
        creation->GetAsFileTime(times[0]);
    if (lastAccess)
        lastAccess->GetAsFileTime(times[1]);
    if (lastWrite)
        lastWrite->GetAsFileTime(times[2]);
    if (!SetFileTime(handle_.get(), creation ? &times[0] : nullptr, lastAccess ? &times[1] : nullptr,
                     lastWrite ? &times[2] : nullptr))
        throwLastError();
}

void File::lockOrUnlock(long long offset, long long length, bool lock)
{
    // Split by division, not by shifting: required for compatibility with existing lockers.
    const long long divisor = 0xFFFFFFFFll;
    DWORD offsetHigh = static_cast<DWORD>(offset / divisor);
    DWORD offsetLow = static_cast<DWORD>(offset % divisor);
    DWORD lengthHigh = static_cast<DWORD>(length / divisor);
    DWORD lengthLow = static_cast<DWORD>(length % divisor);
    if (SysInfo::GetSystem() & SysInfo::Windows9x)
        offsetHigh = offset < 0 ? 0xFFFFFFFFul : 0;
    BOOL done = lock ? LockFile(handle_.get(), offsetLow, offsetHigh, lengthLow, lengthHigh)
                     : UnlockFile(handle_.get(), offsetLow, offsetHigh, lengthLow, lengthHigh);
    if (!done)
        throwLastError();
}

void File::LockRegion(long long offset, long long length)
{
    lockOrUnlock(offset, length, true);
}

void File::UnlockRegion(long long offset, long long length)
{
    lockOrUnlock(offset, length, false);
}

void File::Lock()
{
    LockRegion(0, static_cast<long long>(GetFileSize()));
}

void File::Unlock()
{
    UnlockRegion(0, static_cast<long long>(GetFileSize()));
}

// --- the stored full path ---------------------------------------------------------------------

String File::GetFilePath() const
{
    return path_;
}

String File::GetFileName() const
{
    return GetBasename(path_, String());
}

String File::GetBasename() const
{
    return GetBasename(path_, String());
}

String File::GetDirname() const
{
    return GetDirname(path_);
}

String File::GetFileExtension() const
{
    return GetFileExtension(path_);
}

String File::GetFileTitleA() const
{
    return GetFileTitleA(path_);
}

String File::GetShortPath() const
{
    return GetShortPath(path_);
}
