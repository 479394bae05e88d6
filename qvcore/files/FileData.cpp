#include "qvcore/files/FileData.h"

#include "qvcore/core/SystemText_p.h"
#include "qvcore/core/TextCast_p.h"
#include "qvcore/files/File.h"

#include <algorithm>
#include <cstddef>
#include <cstring>

// Streams write the entry as one raw block in the system's wide find-record layout.
struct FileDataLayout {
    static_assert(sizeof(FileData) == 592, "FileData must keep the 592-byte find-record layout");
    static_assert(sizeof(FileData) == sizeof(WIN32_FIND_DATAW), "FileData must match the wide find record");
    static_assert(offsetof(FileData, creationTime_) == 4, "creation time at 4");
    static_assert(offsetof(FileData, lastAccessTime_) == 12, "last access time at 12");
    static_assert(offsetof(FileData, lastWriteTime_) == 20, "last write time at 20");
    static_assert(offsetof(FileData, sizeHigh_) == 28, "size high at 28");
    static_assert(offsetof(FileData, sizeLow_) == 32, "size low at 32");
    static_assert(offsetof(FileData, reserved0_) == 36, "reserved 0 at 36");
    static_assert(offsetof(FileData, reserved1_) == 40, "reserved 1 at 40");
    static_assert(offsetof(FileData, fileName_) == 44, "file name at 44");
    static_assert(offsetof(FileData, shortFileName_) == 564, "short file name at 564");
};

using textcast::wide;

namespace {

unsigned long long ticksOf(const DateTime &time)
{
    FILETIME fileTime;
    time.GetAsFileTime(fileTime);
    return (static_cast<unsigned long long>(fileTime.dwHighDateTime) << 32) | fileTime.dwLowDateTime;
}

template <std::size_t N>
void copyName(unsigned short (&field)[N], const char *narrow)
{
    String name = String::FromSystemMultibyte(narrow);
    std::size_t length = std::min<std::size_t>(name.length(), N - 1);
    std::copy(name.begin(), name.begin() + length, field);
    std::fill(field + length, field + N, 0);
}

// Records read raw from streams need not be terminated: never look past the field.
template <std::size_t N>
String nameOf(const unsigned short (&field)[N])
{
    return String(field, static_cast<unsigned>(std::find(field, field + N, 0) - field));
}

bool isDotsName(const unsigned short *name)
{
    return name[0] == '.' && (name[1] == 0 || (name[1] == '.' && name[2] == 0));
}

}  // namespace

// --- FileData ---------------------------------------------------------------------------------

FileData::FileData()
{
    Clear();
}

String FileData::GetFileName() const
{
    return nameOf(fileName_);
}

String FileData::GetShortFileName() const
{
    return nameOf(shortFileName_);
}

String FileData::GetFileExtension() const
{
    String name = GetFileName();
    String::size_type dot = name.rfind('.');
    return dot == String::npos ? String() : String(name.substr(dot));
}

unsigned long long FileData::GetFileSize() const
{
    return (static_cast<unsigned long long>(sizeHigh_) << 32) | sizeLow_;
}

DateTime FileData::GetCreationTime() const
{
    return DateTime(creationTime_);
}

DateTime FileData::GetLastAccessTime() const
{
    return DateTime(lastAccessTime_);
}

DateTime FileData::GetLastWriteTime() const
{
    return DateTime(lastWriteTime_);
}

bool FileData::IsDots() const
{
    return IsDirectory() && isDotsName(fileName_);
}

bool FileData::operator==(const FileData &other) const
{
    return attributes_ == other.attributes_ &&
           lstrcmpiW(wide(GetFileName().c_str()), wide(other.GetFileName().c_str())) == 0 &&
           lstrcmpiW(wide(GetShortFileName().c_str()), wide(other.GetShortFileName().c_str())) == 0 &&
           sizeHigh_ == other.sizeHigh_ &&
           sizeLow_ == other.sizeLow_ && IsEqualFileTime(GetCreationTime(), other.GetCreationTime()) &&
           IsEqualFileTime(GetLastWriteTime(), other.GetLastWriteTime());
}

bool FileData::IsEqualFileTime(const DateTime &a, const DateTime &b)
{
    unsigned long long first = ticksOf(a);
    unsigned long long second = ticksOf(b);
    if (first == second)
        return true;
    unsigned long long difference = first > second ? first - second : second - first;
    // 0x61C46800 is the low half of one hour in ticks; only the low halves are compared.
    int offHour = static_cast<int>(static_cast<unsigned long>(difference) - 0x61C46800ul);
    return offHour > -10000 && offHour < 10000;
}

void FileData::Clear()
{
    std::memset(static_cast<void *>(this), 0, sizeof *this);
}

void FileData::Assign(const WIN32_FIND_DATAA &found)
{
    attributes_ = found.dwFileAttributes;
    creationTime_ = found.ftCreationTime;
    lastAccessTime_ = found.ftLastAccessTime;
    lastWriteTime_ = found.ftLastWriteTime;
    sizeHigh_ = found.nFileSizeHigh;
    sizeLow_ = found.nFileSizeLow;
    reserved0_ = found.dwReserved0;
    reserved1_ = found.dwReserved1;
    copyName(fileName_, found.cFileName);
    copyName(shortFileName_, found.cAlternateFileName);
}

// --- FileFinder -------------------------------------------------------------------------------

FileFinder::FileFinder() : valid_(false), includeDots_(false) {}

FileFinder::FileFinder(const String &pattern, bool includeDots) : valid_(false), includeDots_(false)
{
    Start(pattern, includeDots);
}

FileFinder::~FileFinder() {}

bool FileFinder::Start(const String &pattern, bool includeDots)
{
    handle_.reset();
    searchDir_ = File::GetDirname(pattern);
    includeDots_ = includeDots;
    WIN32_FIND_DATAA found;
    // A pattern that the ANSI code page cannot hold exactly would find other files: its "?"
    // stands for any character.
    std::string narrow;
    if (SystemText::EncodePath(pattern, narrow))
        handle_.reset(FindFirstFileA(narrow.c_str(), &found));
    if (!handle_) {
        valid_ = false;
        Clear();
        return false;
    }
    Assign(found);
    valid_ = true;
    if (includeDots || !IsDots())
        return true;
    return Next();
}

bool FileFinder::Next()
{
    if (!handle_)
        return false;
    WIN32_FIND_DATAA found;
    while (FindNextFileA(handle_.get(), &found)) {
        Assign(found);
        if (includeDots_ || !IsDots())
            return true;
    }
    endSearch();
    return false;
}

void FileFinder::endSearch()
{
    valid_ = false;
    Clear();
    handle_.reset();
}

String FileFinder::GetFilePath() const
{
    return valid_ ? File::MakePath(searchDir_, GetFileName()) : String();
}

String FileFinder::GetFileTitleA() const
{
    return valid_ ? File::GetFileTitleA(GetFileName()) : String();
}

String FileFinder::GetSearchPath() const
{
    return searchDir_;
}

bool FileFinder::FindFilesRecursive(const String &dir, const String &pattern, IFindCallback &callback)
{
    FileFinder finder(File::MakePath(dir, pattern), false);
    for (bool found = finder.IsValid(); found; found = finder.Next()) {
        if (finder.IsDirectory() && finder.IsReparsePoint())
            continue;
        bool goOn = finder.IsDirectory() ? FindFilesRecursive(finder.GetFilePath(), pattern, callback)
                                         : callback.OnFileFound(dir, finder.GetFileName());
        if (!goOn)
            return false;
    }
    return true;
}
