#include "qvcore/core/MemoryBlock.h"
#include "qvcore/core/SystemText_p.h"
#include "qvcore/files/File.h"

#include <shlwapi.h>

#include <cwctype>

// Path text: every function here works on the text alone and asks the file system nothing,
// except CompactPath, which leaves the shortening to the shell.

namespace {

bool isLetter(unsigned short unit)
{
    return std::iswalpha(unit) != 0;
}

bool startsWithDrive(const String &path)
{
    return path.length() >= 2 && isLetter(path[0]) && path[1] == ':';
}

String afterLastBackslash(const String &path)
{
    String::size_type slash = path.rfind('\\');
    return slash == String::npos ? path : String(path.substr(slash + 1));
}

}  // namespace

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
