#include "Command.h"
#include "StdStreams.h"

#include <memory>

namespace qvtool {
namespace {

// The size of each path; a missing one is reported and the others are still measured.
int runDu(const std::vector<std::string> &paths)
{
    int status = 0;
    for (const std::string &arg : paths) {
        try {
            String path = fileName(arg);
            if (!File::FileExists(path)) {
                status = fail("du: '" + arg + "': " + systemText(ERROR_FILE_NOT_FOUND));
                continue;
            }
            printOut("%llu\t%s\n", File::GetSizeRecursive(path), arg.c_str());
        } catch (...) {
            status = fail("du: " + describeCurrentException());
        }
    }
    return status;
}

Runner defineDu(CLI::App &command)
{
    auto paths = std::make_shared<std::vector<std::string>>();
    command.add_option("PATH", *paths, "files or directory trees to measure")->required();
    return [paths] { return runDu(*paths); };
}

const CommandRegistration registration({"du", "the size in bytes of each file, or of all files in each directory tree "
                                               "(linked folders are not entered)",
                                         defineDu});

}  // namespace
}  // namespace qvtool
