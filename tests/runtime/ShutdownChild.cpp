// Asks the system to end the session through the library, and says what it was told. Run
// only by shutdown_test.py, inside a throwaway Wine prefix: anywhere else this ends every
// program of the session.
//
// Usage: qvcore_shutdown_child --end-this-session FLAGS
//        qvcore_shutdown_child --wait
// The first prints "family N" before the request and "result 0|1" after it, each flushed at
// once (the session may end this process before it gets to the second line). The second is a
// bystander: it prints "waiting" and then waits for a minute.

#include "qvcore/runtime/ModuleBase.h"
#include "qvcore/runtime/SysInfo.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

int main(int argc, char **argv)
{
    if (argc == 2 && std::strcmp(argv[1], "--wait") == 0) {
        std::printf("waiting\n");
        std::fflush(stdout);
        Sleep(60000);
        std::printf("done waiting\n");
        return 0;
    }
    if (argc != 3 || std::strcmp(argv[1], "--end-this-session") != 0) {
        std::fprintf(stderr, "usage: qvcore_shutdown_child --end-this-session FLAGS | --wait\n");
        return 2;
    }
    const unsigned int flags = static_cast<unsigned int>(std::strtoul(argv[2], nullptr, 0));
    std::printf("family %d\n", static_cast<int>(SysInfo::GetSystem()));
    std::fflush(stdout);
    const bool result = ModuleBase::ExecShutdown(flags, SHTDN_REASON_MAJOR_APPLICATION | SHTDN_REASON_FLAG_PLANNED);
    std::printf("result %d\n", result ? 1 : 0);
    std::fflush(stdout);
    // Give the session time to end this process too, as it ends every other one.
    Sleep(30000);
    std::printf("still running\n");
    return 0;
}
