// qvtool: the library's facilities on the command line.

#include "Command.h"

#include <cstdio>
#include <exception>

using namespace qvtool;

namespace {

// --- version -----------------------------------------------------------------------------

// The file version recorded in qvcore.dll's version resource, as "a.b.c.d".
std::string libraryVersion()
{
    char path[MAX_PATH];
    HMODULE module = GetModuleHandleA("qvcore.dll");
    if (!module || !GetModuleFileNameA(module, path, sizeof path))
        return "unknown";
    DWORD ignored = 0;
    DWORD size = GetFileVersionInfoSizeA(path, &ignored);
    std::vector<char> info(size ? size : 1);
    VS_FIXEDFILEINFO *fixed = nullptr;
    UINT fixedSize = 0;
    if (!size || !GetFileVersionInfoA(path, 0, size, info.data()) ||
        !VerQueryValueA(info.data(), "\\", reinterpret_cast<void **>(&fixed), &fixedSize) || !fixed)
        return "unknown";
    char text[64];
    std::snprintf(text, sizeof text, "%u.%u.%u.%u", HIWORD(fixed->dwFileVersionMS), LOWORD(fixed->dwFileVersionMS),
                  HIWORD(fixed->dwFileVersionLS), LOWORD(fixed->dwFileVersionLS));
    return text;
}

int runVersion(const Args &)
{
    std::printf("qvtool, qvcore.dll %s (%s)\n", libraryVersion().c_str(), sizeof(void *) == 8 ? "x86_64" : "i686");
    return 0;
}

int runHelp(const Args &)
{
    std::printf("qvtool: the QvCore library's facilities on the command line.\n\nUsage:\n");
    for (const Command &command : commands())
        std::printf("  %-44s %s\n", command.usage, command.summary);
    std::printf("\nCommands that read a FILE use the sample text built into qvtool when none is named.\n");
    return 0;
}

const CommandRegistration help({"--help", "qvtool --help", "this text", runHelp});
const CommandRegistration version({"--version", "qvtool --version", "the version of qvcore.dll in use", runVersion});

}  // namespace

int main(int argc, char **argv)
{
    if (argc < 2) {
        runHelp({});
        return 2;
    }
    std::string name = argv[1];
    if (name == "-h" || name == "help")
        name = "--help";
    Args args(argv + 2, argv + argc);
    for (const Command &command : commands()) {
        if (name == command.name) {
            // The one error boundary of the tool: whatever a command lets escape, of any
            // family the library throws, is reported in one voice with exit code 1.
            try {
                return command.run(args);
            } catch (...) {
                return fail(std::string(command.name) + ": " + describeCurrentException());
            }
        }
    }
    return fail("unknown command '" + name + "' (qvtool --help lists the commands)");
}
