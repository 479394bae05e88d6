// The module's file: its path and names, its version resource, its exports and the libraries
// that lie beside it.

#include "qvcore/core/SystemText_p.h"
#include "qvcore/runtime/ModuleBase.h"

#include <vector>

namespace {

// The file versions recorded in a version resource; all zero without one.
ModuleVersion versionOfFile(const std::string &path)
{
    ModuleVersion version = {0, 0, 0, 0};
    DWORD ignored = 0;
    DWORD size = GetFileVersionInfoSizeA(path.c_str(), &ignored);
    if (size == 0)
        return version;
    std::vector<char> info(size);
    VS_FIXEDFILEINFO *fixed = nullptr;
    UINT fixedSize = 0;
    if (!GetFileVersionInfoA(path.c_str(), 0, size, info.data()) ||
        !VerQueryValueA(info.data(), "\\", reinterpret_cast<void **>(&fixed), &fixedSize) || !fixed ||
        fixedSize < sizeof *fixed)
        return version;
    version.fileHigh = fixed->dwFileVersionMS;
    version.fileLow = fixed->dwFileVersionLS;
    version.productHigh = fixed->dwProductVersionMS;
    version.productLow = fixed->dwProductVersionLS;
    return version;
}

}  // namespace

String ModuleBase::GetPath() const
{
    return SystemText::ModuleFileName(moduleOrExecutable());
}

String ModuleBase::GetDirectory() const
{
    String path = GetPath();
    String::size_type slash = path.find_last_of('\\');
    return slash == String::npos ? String() : String(path.substr(0, slash));
}

String ModuleBase::GetFilename() const
{
    String path = GetPath();
    String::size_type slash = path.find_last_of('\\');
    return slash == String::npos ? path : String(path.substr(slash + 1));
}

FARPROC ModuleBase::GetProcedure(const char *name) const
{
    return GetProcAddress(moduleOrExecutable(), name);
}

ModuleVersion ModuleBase::GetModuleVersion() const
{
    return GetModuleVersion(moduleOrExecutable());
}

ModuleVersion ModuleBase::GetModuleVersion(HINSTANCE module)
{
    std::string path;
    SystemText::Query([module](char *buffer, DWORD size) { return GetModuleFileNameA(module, buffer, size); },
                      SystemText::SizeConvention::TruncatedToBuffer, path);
    return versionOfFile(path);
}

ModuleVersion ModuleBase::GetModuleVersion(const String &fileName)
{
    std::string path;
    if (!SystemText::EncodePath(fileName, path))
        return ModuleVersion{0, 0, 0, 0};
    return versionOfFile(path);
}

HINSTANCE ModuleBase::LocalLoadLibrary(const String &name, bool changeDirectory) const
{
    const std::string directory = GetDirectory().SystemMultibyte();
    if (!changeDirectory)
        return LoadLibraryA((directory + "\\" + name.SystemMultibyte()).c_str());
    // Libraries the loaded one depends on are looked up in the current directory too: it is
    // the module's folder while the library loads.
    char previous[MAX_PATH] = {};
    DWORD length = GetCurrentDirectoryA(sizeof previous, previous);
    bool restore = length > 0 && length < sizeof previous;
    SetCurrentDirectoryA(directory.c_str());
    HINSTANCE library = LoadLibraryA(name.SystemMultibyte().c_str());
    DWORD error = GetLastError();
    if (restore)
        SetCurrentDirectoryA(previous);
    SetLastError(error);
    return library;
}
