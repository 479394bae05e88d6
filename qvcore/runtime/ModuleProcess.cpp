// Services for the whole process and system: the listing of loaded modules and shutting the
// system down.

#include "qvcore/core/ScopedHandle.h"
#include "qvcore/core/SystemText_p.h"
#include "qvcore/runtime/ModuleBase.h"
#include "qvcore/runtime/SysInfo.h"

#include <tlhelp32.h>

#include <cstdio>
#include <cstring>

namespace {

const char kListingHeading[] = "Address     Version                  Module name\r\n"
                               "-----------------------------------------------------\r\n";

// One line of the listing: base address, version padded to 25 columns, path.
std::string listingLine(HMODULE module, const std::string &path)
{
    const ModuleVersion version = ModuleBase::GetModuleVersion(module);
    char versionText[64];
    std::snprintf(versionText, sizeof versionText, "%i.%i.%i.%i", HIWORD(version.fileHigh), LOWORD(version.fileHigh),
                  HIWORD(version.fileLow), LOWORD(version.fileLow));
    // At least eight digits: all of them for addresses beyond 32 bits.
    char line[128];
    std::snprintf(line, sizeof line, "0x%08llX  %-25s",
                  static_cast<unsigned long long>(reinterpret_cast<UINT_PTR>(module)), versionText);
    return line + path + "\r\n";
}

typedef HANDLE(WINAPI *SnapshotFunction)(DWORD, DWORD);
typedef BOOL(WINAPI *ProcessWalkFunction)(HANDLE, PROCESSENTRY32 *);

// Ends every process whose executable is explorer.exe, so that a forced exit on the 9x family
// is not held up by the shell. The snapshot functions are missing on NT 4: false then.
bool terminateShells()
{
    HMODULE kernel = GetModuleHandleA("Kernel32.DLL");
    auto snapshot = reinterpret_cast<SnapshotFunction>(
        reinterpret_cast<void *>(GetProcAddress(kernel, "CreateToolhelp32Snapshot")));
    auto first = reinterpret_cast<ProcessWalkFunction>(reinterpret_cast<void *>(GetProcAddress(kernel, "Process32First")));
    auto next = reinterpret_cast<ProcessWalkFunction>(reinterpret_cast<void *>(GetProcAddress(kernel, "Process32Next")));
    if (!snapshot || !first || !next)
        return false;
    ScopedFileHandle processes(snapshot(TH32CS_SNAPPROCESS, 0));
    PROCESSENTRY32 entry = {};
    entry.dwSize = sizeof entry;
    for (BOOL found = processes && first(processes.get(), &entry); found; found = next(processes.get(), &entry)) {
        const char *name = std::strrchr(entry.szExeFile, '\\');
        if (lstrcmpiA(name ? name + 1 : entry.szExeFile, "explorer.exe") != 0)
            continue;
        ScopedKernelHandle process(OpenProcess(PROCESS_ALL_ACCESS, FALSE, entry.th32ProcessID));
        if (process)
            TerminateProcess(process.get(), 1);
    }
    return true;
}

bool enableShutdownPrivilege(HANDLE token)
{
    TOKEN_PRIVILEGES privileges = {};
    privileges.PrivilegeCount = 1;
    privileges.Privileges[0].Attributes = SE_PRIVILEGE_ENABLED;
    return LookupPrivilegeValueA(nullptr, "SeShutdownPrivilege", &privileges.Privileges[0].Luid) &&
           AdjustTokenPrivileges(token, FALSE, &privileges, 0, nullptr, nullptr);
}

}  // namespace

String ModuleBase::GetProcessInformation()
{
    std::string text = kListingHeading;
    MEMORY_BASIC_INFORMATION region;
    const char *address = nullptr;
    while (VirtualQuery(address, &region, sizeof region) != 0) {
        HMODULE base = static_cast<HMODULE>(region.AllocationBase);
        std::string path;
        // A module is mapped as one allocation: only the region that starts it is listed.
        if (base && region.BaseAddress == region.AllocationBase &&
            SystemText::Query([base](char *buffer, DWORD size) { return GetModuleFileNameA(base, buffer, size); },
                              SystemText::SizeConvention::TruncatedToBuffer, path))
            text += listingLine(base, path);
        const char *following = static_cast<const char *>(region.BaseAddress) + region.RegionSize;
        if (following <= address)  // the top of the address space
            break;
        address = following;
    }
    return String::FromSystemMultibyte(text);
}

bool ModuleBase::ExecShutdown(unsigned int flags, unsigned int reason)
{
    if (SysInfo::GetSystem() & SysInfo::Windows9x) {
        if ((flags & EWX_FORCE) && !terminateShells())
            return false;
        return ExitWindowsEx(flags, 0) != FALSE;
    }
    ScopedKernelHandle token;
    if (!OpenProcessToken(GetCurrentProcess(), TOKEN_ADJUST_PRIVILEGES | TOKEN_QUERY, token.receive()))
        return false;
    enableShutdownPrivilege(token.get());
    // Callers take the request as made: whether the system follows it shows in the session
    // ending, not in the answer (which a refusing or slow session would make misleading).
    ExitWindowsEx(flags, reason);
    return true;
}
