#include "Command.h"

#include "qvcore/runtime/SysInfo.h"

#include <cstdio>
#include <map>
#include <memory>

namespace qvtool {
namespace {

const char *familyName(SysInfo::System system)
{
    switch (system) {
    case SysInfo::Windows95: return "Windows 95";
    case SysInfo::Windows98: return "Windows 98";
    case SysInfo::WindowsMe: return "Windows Me";
    case SysInfo::WindowsNT4: return "Windows NT 4";
    case SysInfo::Windows2000: return "NT, minor version 0 (2000)";
    case SysInfo::WindowsXP: return "NT, later minor version (XP)";
    default: return "?";
    }
}

struct SysinfoOptions {
    bool codepages = false;
    std::vector<std::string> variables;
};

int runSysinfo(const SysinfoOptions &options)
{
    const bool codepages = options.codepages;
    const std::vector<std::string> &variables = options.variables;

    SysInfo::System system = SysInfo::GetSystem();
    SYSTEM_INFO info;
    String processor;
    SysInfo::GetSystemInfo(info, processor);
    unsigned long directX = SysInfo::GetDirectXVersion();

    std::printf("system:     %s (family %d%s)\n", SysInfo::GetOSName().SystemMultibyte().c_str(), system,
                (system & SysInfo::Windows9x) ? ", 9x" : "");
    std::printf("            %s\n", familyName(system));
    std::printf("processor:  %s, %lu processor(s), page size %lu\n", processor.SystemMultibyte().c_str(),
                static_cast<unsigned long>(info.dwNumberOfProcessors), static_cast<unsigned long>(info.dwPageSize));
    if (directX) {
        char letter = (directX & 0xFF) ? static_cast<char>('a' - 1 + (directX & 0xFF)) : ' ';
        std::printf("DirectX:    %lu.%lu%c (0x%08lx)\n", directX >> 16, (directX >> 8) & 0xFF, letter, directX);
    } else {
        std::printf("DirectX:    not detected\n");
    }
    for (const std::string &name : variables) {
        String value = SysInfo::GetEnvironmentVariableA(String::FromUtf8(name));
        std::printf("%%%s%%: %s\n", shown(name).c_str(), value.empty() ? "(unset or empty)" : value.SystemMultibyte().c_str());
    }

    std::map<unsigned int, String> pages;
    SysInfo::EnumInstalledCodepages(pages);
    std::printf("code pages: %zu installed\n", pages.size());
    if (codepages) {
        for (const auto &page : pages)
            std::printf("  %5u  %s\n", page.first, page.second.SystemMultibyte().c_str());
    }
    return 0;
}

Runner defineSysinfo(CLI::App &command)
{
    auto options = std::make_shared<SysinfoOptions>();
    command.add_flag("--codepages", options->codepages, "list every installed code page");
    command.add_option("--env", options->variables, "show environment variable NAME (may be repeated)")
        ->type_name("NAME")
        ->allow_extra_args(false);
    return [options] { return runSysinfo(*options); };
}

const CommandRegistration registration({"sysinfo",
                                         "operating system, processor, DirectX version, environment variables and "
                                         "installed code pages",
                                         defineSysinfo});

}  // namespace
}  // namespace qvtool
