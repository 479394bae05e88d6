// A COM client that knows qvcore.dll only by its class identifier: it does not link against
// the library, so the library it gets its log object from is the one the registry names.
//
// Usage: ComActivationClient LOGFILE TEXT
// Prints "activation 0xHRESULT", then, when that succeeded, "module PATH" (the file the log
// object's code was loaded from) and "logged 0xHRESULT". Exit code 0 when every step
// succeeded, 1 otherwise.

#include "tests/support/LogInterface.h"

#include <objbase.h>

#include <cstdio>
#include <string>

namespace {

using logclient::Log;
using logclient::classId;
const IID &logInterface = logclient::logInterface1;

std::wstring wide(const char *text)
{
    wchar_t buffer[1024] = {};
    MultiByteToWideChar(CP_ACP, 0, text, -1, buffer, 1024);
    return buffer;
}

const unsigned short *units(const std::wstring &text)
{
    return reinterpret_cast<const unsigned short *>(text.c_str());
}

// The file a code address was loaded from.
std::string moduleOf(const void *address)
{
    HMODULE module = nullptr;
    char path[MAX_PATH] = {};
    if (GetModuleHandleExA(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                           static_cast<const char *>(address), &module))
        GetModuleFileNameA(module, path, MAX_PATH);
    return path;
}

}  // namespace

int main(int argc, char **argv)
{
    if (argc != 3) {
        std::fprintf(stderr, "usage: ComActivationClient LOGFILE TEXT\n");
        return 2;
    }
    CoInitialize(nullptr);
    Log *log = nullptr;
    HRESULT activation = CoGetClassObject(classId, CLSCTX_INPROC_SERVER, nullptr, logInterface,
                                          reinterpret_cast<void **>(&log));
    std::printf("activation 0x%08lX\n", static_cast<unsigned long>(activation));
    int status = 1;
    if (SUCCEEDED(activation) && log) {
        // The first slot of the object's table of functions lies in the server's code.
        std::printf("module %s\n", moduleOf(**reinterpret_cast<void ***>(log)).c_str());
        std::fflush(stdout);
        HRESULT opened = log->Open(units(wide(argv[1])));
        std::printf("opened 0x%08lX\n", static_cast<unsigned long>(opened));
        std::fflush(stdout);
        log->SetSourceModule(reinterpret_cast<const void *>(&moduleOf));
        HRESULT logged = log->LogLine(units(wide(argv[2])));
        std::printf("logged 0x%08lX 0x%08lX\n", static_cast<unsigned long>(opened), static_cast<unsigned long>(logged));
        status = opened == S_OK && logged == S_OK ? 0 : 1;
        log->Release();
    }
    CoUninitialize();
    return status;
}
