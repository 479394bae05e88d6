#include "Command.h"
#include "StdStreams.h"

#include <memory>

namespace qvtool {
namespace {

// The version resource of a program or library, as the library's module functions read it.
int runVersion(const std::string &file)
{
    String name = fileName(file);
    if (!File::FileExists(name))
        return fail("version: cannot open '" + file + "': " + systemText(ERROR_FILE_NOT_FOUND));
    ModuleVersion version = ModuleBase::GetModuleVersion(name);
    if (!version.fileHigh && !version.fileLow && !version.productHigh && !version.productLow)
        return fail("version: '" + file + "' has no version information");
    printOut("file version:    %s\n", versionText(version.fileHigh, version.fileLow).c_str());
    printOut("product version: %s\n", versionText(version.productHigh, version.productLow).c_str());
    return 0;
}

Runner defineVersion(CLI::App &command)
{
    auto file = std::make_shared<std::string>();
    command.add_option("FILE", *file, "a program or library")->required();
    return [file] { return runVersion(*file); };
}

const CommandRegistration registration({"version", "the file and product versions recorded in FILE's version resource",
                                         defineVersion});

}  // namespace
}  // namespace qvtool
