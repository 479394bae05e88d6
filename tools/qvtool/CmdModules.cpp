#include "Command.h"
#include "StdStreams.h"

namespace qvtool {
namespace {

// Every module loaded in qvtool's process, as the library lists it.
int runModules()
{
    writeOut(utf8(ModuleBase::GetProcessInformation()));
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
