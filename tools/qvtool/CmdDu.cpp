#include "Command.h"

#include <cstdio>

namespace qvtool {
namespace {

int runDu(const Args &args)
{
    if (args.empty())
        return fail("du: name at least one PATH (usage: qvtool du PATH...)");
    int status = 0;
    for (const std::string &arg : args) {
        String path = String::FromSystemMultibyte(arg);
        if (!File::FileExists(path)) {
            status = fail("du: " + arg + ": no such file or directory");
            continue;
        }
        std::printf("%llu\t%s\n", File::GetSizeRecursive(path), arg.c_str());
    }
    return status;
}

const CommandRegistration registration({
    "du", "qvtool du PATH...",
    "the size in bytes of each file, or of all files in each directory tree", runDu});

}  // namespace
}  // namespace qvtool
