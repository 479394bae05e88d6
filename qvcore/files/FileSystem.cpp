#include "qvcore/core/SystemText_p.h"
#include "qvcore/core/TextCast_p.h"
#include "qvcore/files/File.h"
#include "qvcore/files/FileData.h"

#include <shlobj.h>
#include <shlwapi.h>

#include <cstdlib>
#include <ctime>

// The file-system queries: existence, sizes, the system's forms of a path, folders, and free
// names. None of them throws on a system failure.

using textcast::units;

namespace {

const unsigned long kDirectoryAttribute = 0x10;
const int kApplicationDataFolder = 26;
// Numbered and random names give up after this many candidates in a row that the system
// neither finds nor reports as absent (a missing or unreadable directory fails every one).
const unsigned kMaxUnsearchableCandidates = 1000;

bool isDigit(unsigned short unit)
{
    return unit >= '0' && unit <= '9';
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

// A path query of the system: GetFullPathName, GetShortPathName, GetLongPathName and
// GetTempPath all report a buffer that is too small by the size they need. Empty when the
// system fails.
template <class Query>
String queryPath(Query query)
{
    return SystemText::QueryString(query, SystemText::SizeConvention::NeededOnShortage);
}

// query(narrowPath, buffer, size) asked about path, converted exactly; empty when the path has
// no exact narrow form or the system fails.
template <class Query>
String queryPathOf(const String &path, Query query)
{
    std::string narrow;
    if (!SystemText::EncodePath(path, narrow))
        return String();
    return queryPath([&](char *buffer, DWORD size) { return query(narrow.c_str(), buffer, size); });
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
    return queryPathOf(path, [](const char *narrow, char *buffer, DWORD size) {
        return GetFullPathNameA(narrow, size, buffer, nullptr);
    });
}

String File::GetShortPath(const String &path)
{
    return queryPathOf(path, [](const char *narrow, char *buffer, DWORD size) {
        return GetShortPathNameA(narrow, buffer, size);
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
    return queryPathOf(shortPath, [](const char *narrow, char *buffer, DWORD size) {
        return GetLongPathNameA(narrow, buffer, size);
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
    String temp = queryPath([](char *buffer, DWORD size) { return GetTempPathA(size, buffer); });
    return temp.empty() ? String() : GetFullPath(temp);
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
