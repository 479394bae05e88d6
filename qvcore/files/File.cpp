#include "qvcore/files/File.h"

#include "qvcore/core/MemoryBlock.h"
#include "qvcore/internal/SystemText.h"
#include "qvcore/files/FileData.h"
#include "qvcore/runtime/SysInfo.h"

#include <shlobj.h>
#include <shlwapi.h>

#include <cstdlib>
#include <ctime>
#include <cwctype>
#include <memory>

namespace {

const unsigned long kGenericRead = 0x80000000;
const unsigned long kGenericWrite = 0x40000000;
const unsigned long kDirectoryAttribute = 0x10;
const int kApplicationDataFolder = 26;
const unsigned kStartBuffer = 260;
// Numbered and random names give up after this many candidates in a row that the system
// neither finds nor reports as absent (a missing or unreadable directory fails every one).
const unsigned kMaxUnsearchableCandidates = 1000;

[[noreturn]] void throwLastError()
{
    unsigned long code = GetLastError();
    throw File::Exception{code, String::FromError(code)};
}

// Wide literals and the library's units are both UTF-16 here.
const unsigned short *units(const wchar_t *text)
{
    return reinterpret_cast<const unsigned short *>(text);
}

bool isLetter(unsigned short unit)
{
    return std::iswalpha(unit) != 0;
}

bool startsWithDrive(const String &path)
{
    return path.length() >= 2 && isLetter(path[0]) && path[1] == ':';
}

bool isDigit(unsigned short unit)
{
    return unit >= '0' && unit <= '9';
}

String afterLastBackslash(const String &path)
{
    String::size_type slash = path.rfind('\\');
    return slash == String::npos ? path : String(path.substr(slash + 1));
}

// The system's answer for a path that names nothing: absent (error 2) ends a search for a
// free name, anything else (existing, or an error such as a missing directory) does not.
enum class Probe { Absent, Taken, Unsearchable };

Probe probe(const String &path)
{
    std::string narrow;
    if (!SystemText::EncodePath(path, narrow))
        return Probe::Unsearchable;
    SetLastError(0);
    if (GetFileAttributesA(narrow.c_str()) != INVALID_FILE_ATTRIBUTES)
        return Probe::Taken;
    return GetLastError() == ERROR_FILE_NOT_FOUND ? Probe::Absent : Probe::Unsearchable;
}

// Asks a path query of the system with a buffer that starts at 260 bytes and grows to the
// size the system names. Empty when the system fails.
template <class Query>
String queryPath(Query query)
{
    MemoryBlock buffer(kStartBuffer);
    for (;;) {
        unsigned long needed = query(static_cast<char *>(buffer), static_cast<unsigned long>(buffer.size()));
        if (needed == 0)
            return String();
        if (needed < static_cast<unsigned long>(buffer.size()))
            return String::FromSystemMultibyte(buffer, static_cast<int>(needed));
        // A needed size beyond what a block can hold is no path the system can use either.
        if (needed > 0x7FFFFFFF)
            return String();
        buffer.resize(static_cast<int>(needed), false);
    }
}

unsigned long long sumTree(const String &dir)
{
    unsigned long long total = 0;
    FileFinder finder(dir + String(L"\\*.*"), false);
    for (bool found = finder.IsValid(); found; found = finder.Next()) {
        // A linked folder may lie above this one: counting through it would never end.
        if (finder.IsDirectory() && finder.IsReparsePoint())
            continue;
        total += finder.IsDirectory() ? sumTree(finder.GetFilePath()) : finder.GetFileSize();
    }
    return total;
}

}  // namespace

// --- opening and closing ----------------------------------------------------------------------

File::File() : handle_(INVALID_HANDLE_VALUE) {}

File::File(const String &name, unsigned access, unsigned share, bool inheritable, unsigned disposition,
           unsigned flags)
    : handle_(INVALID_HANDLE_VALUE)
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
    std::string narrow;
    handle_ = SystemText::EncodePathOrFail(name, narrow)
                  ? CreateFileA(narrow.c_str(), access, share, inheritable ? &inherit : nullptr, disposition, flags,
                                nullptr)
                  : INVALID_HANDLE_VALUE;
    if (handle_ == INVALID_HANDLE_VALUE) {
        // Closed objects have no path.
        path_.clear();
        throwLastError();
    }
    path_ = GetFullPath(name);
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
    if (handle_ == INVALID_HANDLE_VALUE)
        return;
    CloseHandle(handle_);
    handle_ = INVALID_HANDLE_VALUE;
    path_.clear();
}

bool File::IsValid() const
{
    return handle_ != INVALID_HANDLE_VALUE;
}

// --- data -------------------------------------------------------------------------------------

unsigned long File::Read(char *buffer, unsigned long count)
{
    if (count == 0)
        return 0;
    DWORD read = 0;
    if (!ReadFile(handle_, buffer, count, &read, nullptr))
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
    if (!WriteFile(handle_, data, count, &written, nullptr))
        throwLastError();
    return written;
}

unsigned long File::Write(const std::string &data)
{
    return Write(data.data(), static_cast<unsigned long>(data.size()));
}

void File::Flush()
{
    if (!FlushFileBuffers(handle_))
        throwLastError();
}

// --- position, size, times, locks -------------------------------------------------------------

long long File::SetFilePos(long long offset, int origin)
{
    LONG high = static_cast<LONG>(offset >> 32);
    // All ones is also a valid low half: only a non-zero last error marks a failure.
    SetLastError(0);
    DWORD low = SetFilePointer(handle_, static_cast<LONG>(offset), &high, static_cast<DWORD>(origin));
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
    DWORD low = ::GetFileSize(handle_, &high);
    if (low == INVALID_FILE_SIZE && GetLastError() != NO_ERROR)
        throwLastError();
    return (static_cast<unsigned long long>(high) << 32) | low;
}

void File::GetFileTimes(DateTime *creation, DateTime *lastAccess, DateTime *lastWrite) const
{
    FILETIME times[3] = {};
    if (!GetFileTime(handle_, creation ? &times[0] : nullptr, lastAccess ? &times[1] : nullptr,
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
    if (!SetFileTime(handle_, creation ? &times[0] : nullptr, lastAccess ? &times[1] : nullptr,
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
    BOOL done = lock ? LockFile(handle_, offsetLow, offsetHigh, lengthLow, lengthHigh)
                     : UnlockFile(handle_, offsetLow, offsetHigh, lengthLow, lengthHigh);
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

// --- path text --------------------------------------------------------------------------------

String File::GetDirname(const String &path)
{
    if (IsDriveRoot(path))
        return path;
    String::size_type slash = path.rfind('\\');
    if (slash == String::npos)
        return String(L".");
    String dir(path, 0, static_cast<unsigned>(slash));
    if (dir.length() == 2 && startsWithDrive(dir))
        dir += '\\';
    return dir;
}

String File::GetBasename(const String &path, const String &ext)
{
    if (path.empty())
        return String();
    if (IsDriveRoot(path))
        return String(L"\\");
    String name;
    if (path.rfind('\\') != String::npos)
        name = afterLastBackslash(path);
    else if (startsWithDrive(path))
        name = path.substr(2);
    else
        name = path;
    // The cut is not checked against ext: callers pass the extension they know. A name
    // shorter than ext wraps the new length around, which resize() rejects as too long.
    if (!ext.empty() && name != ext)
        name.resize(name.length() - ext.length());
    return name;
}

String File::MakePath(const String &dir, const String &name)
{
    if (dir.empty())
        return name;
    if (name.empty())
        return dir;
    if (IsDriveRoot(dir))
        return dir + name;
    if (name[0] == '\\' && (name.length() == 1 || name[1] != '\\')) {
        // Drive-relative: the name goes onto the drive of dir.
        String::size_type slash = dir.find('\\');
        return String(dir.substr(0, slash)) + name;
    }
    String::size_type end = dir.find_last_not_of('\\');
    String path = end == String::npos ? String() : String(dir.substr(0, end + 1));
    path += '\\';
    path += name;
    return path;
}

String File::GetFileExtension(const String &path)
{
    String name = GetBasename(path, String());
    String::size_type dot = name.rfind('.');
    return dot == String::npos ? String() : String(name.substr(dot));
}

String File::GetFileTitleA(const String &path)
{
    String name = GetBasename(path, String());
    return name.substr(0, name.rfind('.'));
}

String File::CutExtension(const String &path, const String &)
{
    String::size_type slash = path.rfind('\\');
    String::size_type dot = path.rfind('.');
    if (dot == String::npos || (slash != String::npos && dot < slash))
        return path;
    return path.substr(0, dot);
}

String File::SwitchExtension(const String &path, const String &newExt)
{
    return CutExtension(path) + newExt;
}

bool File::IsDriveRoot(const String &path)
{
    return path.length() == 3 && startsWithDrive(path) && path[2] == '\\';
}

bool File::IsPathAbsolute(const String &path)
{
    return (path.length() >= 3 && startsWithDrive(path) && path[2] == '\\') ||
           (path.length() >= 2 && path[0] == '\\' && path[1] == '\\');
}

void File::CleanFilename(String &name, unsigned short replacement)
{
    static const String invalid(L"<>:\"/\\|?*");
    for (unsigned short &unit : name) {
        if (invalid.find(unit) != String::npos)
            unit = replacement;
    }
}

String File::CompactPath(const String &path, unsigned maxChars)
{
    std::string narrow = path.SystemMultibyte();
    // A path that fits is the answer as it is. Asking the shell anyway would cut paths beyond
    // its 260-character buffers and, on some systems, shorten one that fits exactly.
    if (narrow.length() <= maxChars)
        return path;
    MemoryBlock buffer(static_cast<int>(maxChars) + 1, '\0');
    // The system's count includes the terminating zero.
    if (!PathCompactPathExA(buffer, narrow.c_str(), maxChars + 1, 0))
        return String();
    return String::FromSystemMultibyte(buffer);
}

// --- file system ------------------------------------------------------------------------------

bool File::FileExists(const String &path)
{
    std::string narrow;
    return SystemText::EncodePath(path, narrow) && GetFileAttributesA(narrow.c_str()) != INVALID_FILE_ATTRIBUTES;
}

bool File::IsDirectory(const String &path)
{
    std::string narrow;
    if (!SystemText::EncodePath(path, narrow))
        return false;
    DWORD attributes = GetFileAttributesA(narrow.c_str());
    return attributes != INVALID_FILE_ATTRIBUTES && (attributes & kDirectoryAttribute);
}

unsigned long long File::GetFileSize(const String &path)
{
    FileFinder finder(path, false);
    return finder.IsValid() && !finder.IsDirectory() ? finder.GetFileSize() : 0;
}

unsigned long long File::GetSizeRecursive(const String &path)
{
    {
        FileFinder finder(path, false);
        if (finder.IsValid() && !finder.IsDirectory())
            return finder.GetFileSize();
    }
    return sumTree(path);
}

String File::GetFullPath(const String &path)
{
    if (path.empty())
        return String();
    std::string narrow;
    if (!SystemText::EncodePath(path, narrow))
        return String();
    return queryPath([&](char *buffer, unsigned long size) {
        return GetFullPathNameA(narrow.c_str(), size, buffer, nullptr);
    });
}

String File::GetShortPath(const String &path)
{
    std::string narrow;
    if (!SystemText::EncodePath(path, narrow))
        return String();
    return queryPath([&](char *buffer, unsigned long size) {
        return GetShortPathNameA(narrow.c_str(), buffer, size);
    });
}

String File::GetCanonicalPath(const String &path)
{
    String lowered = GetFullPath(path);
    for (unsigned short &unit : lowered) {
        if (unit >= 'A' && unit <= 'Z')
            unit = static_cast<unsigned short>(unit - 'A' + 'a');
    }
    String shortPath = GetShortPath(lowered);
    if (shortPath.empty())
        return String();
    std::string narrow;
    if (!SystemText::EncodePath(shortPath, narrow))
        return String();
    return queryPath([&](char *buffer, unsigned long size) {
        return GetLongPathNameA(narrow.c_str(), buffer, size);
    });
}

bool File::CreateDirectoryA(const String &path)
{
    std::string narrow;
    if (!SystemText::EncodePath(path, narrow))
        return false;
    DWORD attributes = GetFileAttributesA(narrow.c_str());
    if (attributes == INVALID_FILE_ATTRIBUTES)
        return ::CreateDirectoryA(narrow.c_str(), nullptr) != 0;
    return (attributes & kDirectoryAttribute) != 0;
}

bool File::CreatePath(const String &path)
{
    String full = GetFullPath(path);
    if (full.empty())
        return false;
    // Past the root: "X:\" or "\\server\share\".
    String::size_type start = 0;
    if (full.length() >= 2 && full[0] == '\\' && full[1] == '\\') {
        start = full.find('\\', 2);
        start = start == String::npos ? String::npos : full.find('\\', start + 1);
    } else {
        start = full.find('\\');
    }
    for (String::size_type slash = start; slash != String::npos; slash = full.find('\\', slash + 1)) {
        if (slash > start)
            CreateDirectoryA(full.substr(0, slash));
    }
    CreateDirectoryA(full);
    return IsDirectory(full);
}

void File::DeleteFileA(const String &path)
{
    // A name that the ANSI code page cannot hold exactly would reach another file.
    std::string narrow;
    if (SystemText::EncodePath(path, narrow))
        ::DeleteFileA(narrow.c_str());
}

String File::GetTempDirectory()
{
    DWORD length = GetTempPathA(0, nullptr);
    if (length == 0 || length > 0x7FFFFFFF)
        return String();
    MemoryBlock buffer(static_cast<int>(length));
    DWORD written = GetTempPathA(length, buffer);
    if (written == 0 || written >= length)
        return String();
    return GetFullPath(String::FromSystemMultibyte(buffer, static_cast<int>(written)));
}

String File::GetApplicationDataDirectory()
{
    return GetSpecialFolderPath(kApplicationDataFolder, true, nullptr);
}

String File::GetSpecialFolderPath(int, bool create, HWND owner)
{
    // Always the application-data folder, whatever folder the caller names: kept for
    // compatibility with callers that rely on it.
    char buffer[MAX_PATH + 1] = {};
    if (!SHGetSpecialFolderPathA(owner, buffer, kApplicationDataFolder, create))
        return String();
    return String::FromSystemMultibyte(buffer);
}

String File::GetTempFilePath(const String &dir)
{
    String where = dir.empty() ? GetTempDirectory() : dir;
    char buffer[MAX_PATH + 1] = {};
    std::string narrow;
    if (!SystemText::EncodePath(where, narrow) || !GetTempFileNameA(narrow.c_str(), "TMP", 0, buffer))
        return String();
    return String::FromSystemMultibyte(buffer);
}

String File::GetNextFilePath(const String &dir, const String &name, const String &ext, unsigned *counter,
                             const wchar_t *format)
{
    const unsigned short *numberFormat = units(format ? format : L"%04d");
    unsigned number = counter ? *counter : 1;

    String::size_type digits = name.length();
    while (digits > 0 && isDigit(name[digits - 1]))
        --digits;
    String stem;
    String trailing;
    if (digits < name.length() && digits > 0 && name[digits - 1] == '.') {
        stem = name.substr(0, digits);
        trailing = name.substr(digits);
    } else if (digits == 0 && !name.empty()) {
        trailing = name;
    } else {
        stem = name + String(L".");
    }
    if (!counter && !trailing.empty())
        trailing.ParseNum(number);

    for (unsigned unsearchable = 0; unsearchable < kMaxUnsearchableCandidates;) {
        String candidate = stem + String::FromFormat(numberFormat, number) + ext;
        ++number;
        CleanFilename(candidate, '_');
        String path = MakePath(dir, candidate);
        Probe found = probe(path);
        if (found == Probe::Absent) {
            if (counter)
                *counter = number;
            return path;
        }
        unsearchable = found == Probe::Unsearchable ? unsearchable + 1 : 0;
    }
    return String();
}

String File::GetRandomFilePath(const String &dir, const String &name, const String &ext)
{
    std::srand(static_cast<unsigned>(std::time(nullptr)));
    String::size_type dot = name.rfind('.');
    String stem = dot == String::npos ? name : String(name.substr(0, dot + 1));
    for (unsigned unsearchable = 0; unsearchable < kMaxUnsearchableCandidates;) {
        int first = std::rand();
        int random = first * std::rand();
        String candidate = String::FromFormat(units(L"%s%010d%s"), stem.c_str(), random, ext.c_str());
        CleanFilename(candidate, '_');
        String path = MakePath(dir, candidate);
        Probe found = probe(path);
        if (found == Probe::Absent)
            return path;
        unsearchable = found == Probe::Unsearchable ? unsearchable + 1 : 0;
    }
    return String();
}

bool File::IsNTFSPath(const String &path)
{
    std::string root;
    if (!SystemText::EncodePath(GetFullPath(path), root))
        return false;
    root.push_back('\0');
    bool hasRoot = !path.empty() && PathStripToRootA(&root[0]);
    char fileSystem[MAX_PATH + 1] = {};
    if (!GetVolumeInformationA(hasRoot ? root.c_str() : nullptr, nullptr, 0, nullptr, nullptr, nullptr, fileSystem,
                               sizeof fileSystem))
        return false;
    return std::string(fileSystem) == "NTFS";
}

unsigned File::GetDriveTypeA(const String &path)
{
    std::string root;
    SystemText::EncodePath(path, root);
    root.push_back('\0');
    if (PathStripToRootA(&root[0]))
        return ::GetDriveTypeA(root.c_str());
    return ::GetDriveTypeA(nullptr);
}
