// Logging through COM: a program that does not link against QvCore asks COM for the log object
// of the registered qvcore.dll (regsvr32 qvcore.dll registers it), logs a few lines into a file
// in the current folder, and prints that file.
//
// Only the interface declaration comes from QvCore's headers. The identifiers are defined here:
// CLSID_QvCore and IID_ILogFile are data exported by qvcore.dll, which this program does not
// import.
#include "qvcore/runtime/LogFile.h"

#include <objbase.h>

#include <cstdio>
#include <cstring>

// {16D389DE-1A3F-4A43-986D-2D07C91F911B}
static const CLSID classId = {0x16D389DE, 0x1A3F, 0x4A43, {0x98, 0x6D, 0x2D, 0x07, 0xC9, 0x1F, 0x91, 0x1B}};
// {E3F4C6F9-11E5-4F94-82A6-656B0CE12B04}
static const IID logInterface = {0xE3F4C6F9, 0x11E5, 0x4F94, {0x82, 0xA6, 0x65, 0x6B, 0x0C, 0xE1, 0x2B, 0x04}};

// The interface takes UTF-16 texts as unsigned short; wchar_t is the same 16 bits on Windows.
static const unsigned short *units(const wchar_t *text)
{
    return reinterpret_cast<const unsigned short *>(text);
}

int main()
{
    CoInitialize(nullptr);
    // The class object is the log object itself (there is no class factory), so
    // CoGetClassObject, not CoCreateInstance.
    ILogFile *log = nullptr;
    HRESULT result = CoGetClassObject(classId, CLSCTX_INPROC_SERVER, nullptr, logInterface,
                                      reinterpret_cast<void **>(&log));
    if (FAILED(result) || !log) {
        std::printf("no log object (0x%08lX): register qvcore.dll with regsvr32 first\n",
                    static_cast<unsigned long>(result));
        CoUninitialize();
        return 1;
    }
    std::printf("log object created\n");

    // One log file per process, shared by every log object; each object tags its lines with
    // the name of the module an address lies in: here this program's.
    if (log->Open(units(L"comlog.log")) != S_OK)
        std::printf("cannot create comlog.log\n");
    log->SetSourceModule(reinterpret_cast<const void *>(&units));
    log->LogLine(units(L"starting"));
    log->SetIndent(1);  // two blanks per level
    log->LogLine(units(L"reading settings"));
    log->LogLine(units(L"opening the player"));
    log->SetIndent(0);
    log->LogLine(units(L"done"));
    log->Release();

    // The log writes each line at once and lets others read the file while it is open.
    std::printf("comlog.log:\n");
    if (FILE *file = std::fopen("comlog.log", "r")) {
        char line[256];
        while (std::fgets(line, sizeof line, file)) {
            // Each line starts "[hh:mm:ss] ": mask the time so that the output is always the same.
            if (std::strlen(line) > 10 && line[0] == '[' && line[9] == ']')
                std::memcpy(line + 1, "--:--:--", 8);
            std::printf("  %s", line);
        }
        std::fclose(file);
    }
    CoUninitialize();  // unloads qvcore.dll, which closes the log file
    return 0;
}
