#include "qvcore/files/FileStream.h"

#include "qvcore/core/SystemText_p.h"

namespace {

const wchar_t kReadBeyondEnd[] = L"Read beyond end of file";

HANDLE openFile(const String &path, DWORD access, DWORD share, DWORD disposition)
{
    std::string narrow;
    HANDLE handle = SystemText::EncodePathOrFail(path, narrow)
                        ? CreateFileA(narrow.c_str(), access, share, nullptr, disposition, FILE_FLAG_SEQUENTIAL_SCAN,
                                      nullptr)
                        : INVALID_HANDLE_VALUE;
    if (handle == INVALID_HANDLE_VALUE)
        StreamBase::ThrowLastError();
    return handle;
}

void moveToEnd(HANDLE handle)
{
    // Opening an existing file leaves ERROR_ALREADY_EXISTS behind: only an error set by the
    // move itself counts.
    SetLastError(0);
    if (SetFilePointer(handle, 0, nullptr, FILE_END) == INVALID_SET_FILE_POINTER && GetLastError() != 0)
        StreamBase::ThrowLastError();
}

const int fileDataSize = 592;
static_assert(sizeof(FileData) == fileDataSize, "FileData must keep the system's record layout");

}  // namespace

FileStream::FileStream(HANDLE handle, bool ownsHandle) : ownsHandle(ownsHandle), handle(handle) {}

FileStream::~FileStream()
{
    // A File's handle is only borrowed: the File closes it.
    if (!ownsHandle)
        handle.release();
}

// --- output --------------------------------------------------------------------------------

FileOutputStream::FileOutputStream(const String &path, bool append)
    : OutputStream(nullptr),
      FileStream(openFile(path, GENERIC_WRITE, 0, append ? OPEN_ALWAYS : CREATE_ALWAYS), true)
{
    if (append)
        moveToEnd(handle.get());
}

FileOutputStream::FileOutputStream(File &file, bool append) : OutputStream(nullptr), FileStream(file.GetHandle(), false)
{
    if (append && handle)
        moveToEnd(handle.get());
}

FileOutputStream::~FileOutputStream() noexcept(false) {}

void FileOutputStream::Write(const char *data, int count)
{
    if (count < 1 || !handle)
        return;
    // A system that takes part of a write (a file-size limit reached) says why only when asked
    // for the rest: every byte is either written or reported.
    while (count > 0) {
        DWORD written = 0;
        if (!WriteFile(handle.get(), data, static_cast<DWORD>(count), &written, nullptr))
            StreamBase::ThrowLastError();
        if (written == 0)
            StreamBase::ThrowSystemError(ERROR_DISK_FULL);
        data += written;
        count -= static_cast<int>(written);
    }
}

void FileOutputStream::FlushSelf()
{
    if (handle && !FlushFileBuffers(handle.get()))
        StreamBase::ThrowLastError();
}

// --- input ---------------------------------------------------------------------------------

FileInputStream::FileInputStream(const String &path)
    : InputStream(nullptr), FileStream(openFile(path, GENERIC_READ, FILE_SHARE_READ, OPEN_EXISTING), true)
{
}

FileInputStream::FileInputStream(File &file) : InputStream(nullptr), FileStream(file.GetHandle(), false) {}

FileInputStream::~FileInputStream() noexcept(false) {}

void FileInputStream::Read(char *buffer, int count)
{
    if (count < 1 || !handle)
        return;
    DWORD read = 0;
    if (!ReadFile(handle.get(), buffer, static_cast<DWORD>(count), &read, nullptr))
        StreamBase::ThrowLastError();
    if (read < static_cast<DWORD>(count))
        ThrowEndOfData(String(kReadBeyondEnd));
}

int FileInputStream::ReadSome(char *buffer, int count)
{
    if (count < 1 || !handle)
        return 0;
    DWORD read = 0;
    if (!ReadFile(handle.get(), buffer, static_cast<DWORD>(count), &read, nullptr))
        StreamBase::ThrowLastError();
    if (read == 0)
        ThrowEndOfData(String(kReadBeyondEnd));
    return static_cast<int>(read);
}

// --- directory entries ---------------------------------------------------------------------

OutputStream &operator<<(OutputStream &stream, const FileData &entry)
{
    stream.Write(reinterpret_cast<const char *>(&entry), fileDataSize);
    return stream;
}

InputStream &operator>>(InputStream &stream, const FileData &entry)
{
    stream.Read(reinterpret_cast<char *>(const_cast<FileData *>(&entry)), fileDataSize);
    return stream;
}
