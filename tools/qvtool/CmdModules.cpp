#include "Command.h"

#include <cstdio>

namespace qvtool {
namespace {

// Every module loaded in qvtool's process, as the library lists it.
int runModules()
{
    std::string listing = ModuleBase::GetProcessInformation().SystemMultibyte();
    // Standard output adds the carriage returns itself.
    std::string::size_type at = 0;
    while ((at = listing.find("\r\n", at)) != std::string::npos)
        listing.erase(at, 1);
    std::fputs(listing.c_str(), stdout);
    return 0;
}

Runner defineModules(CLI::App &)
{
    return runModules;
}

const CommandRegistration registration({"modules",
                                         "every module loaded in qvtool's process: base address, version and path",
                                         defineModules});

}  // namespace
}  // namespace qvtool
