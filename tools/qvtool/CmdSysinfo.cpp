#include "Command.h"
#include "StdStreams.h"

#include "qvcore/runtime/SysInfo.h"

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

    printOut("system:     %s (family %d%s)\n", utf8(SysInfo::GetOSName()).c_str(), system,
             (system & SysInfo::Windows9x) ? ", 9x" : "");
    printOut("            %s\n", familyName(system));
    printOut("processor:  %s, %lu processor(s), page size %lu\n", utf8(processor).c_str(),
             static_cast<unsigned long>(info.dwNumberOfProcessors), static_cast<unsigned long>(info.dwPageSize));
    if (directX) {
        char letter = (directX & 0xFF) ? static_cast<char>('a' - 1 + (directX & 0xFF)) : ' ';
        printOut("DirectX:    %lu.%lu%c (0x%08lx)\n", directX >> 16, (directX >> 8) & 0xFF, letter, directX);
    } else {
        printOut("DirectX:    not detected\n");
    }
    for (const std::string &name : variables) {
        String value = SysInfo::GetEnvironmentVariableA(String::FromUtf8(name));
        printOut("%%%s%%: %s\n", name.c_str(), value.empty() ? "(unset or empty)" : utf8(value).c_str());
    }

    std::map<unsigned int, String> pages;
    SysInfo::EnumInstalledCodepages(pages);
    printOut("code pages: %zu installed\n", pages.size());
    if (codepages) {
        for (const auto &page : pages)
            printOut("  %5u  %s\n", page.first, utf8(page.second).c_str());
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
