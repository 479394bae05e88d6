#ifndef QVCORE_TESTS_SUPPORT_LOGCLIENT_H
#define QVCORE_TESTS_SUPPORT_LOGCLIENT_H

// What a COM client of qvcore.dll knows: the identifiers and the slot layout of the log
// interface, written down here rather than taken from the library's headers, so that the
// tests check the binary interface itself.

#include "qvcore/core/String.h"
#include "tests/support/StringPrinting.h"
#include "tests/support/SystemText.h"
#include "tests/support/TempDirectory.h"

#include <objbase.h>

#include <string>

class WinException;

namespace logclient {

// {16D389DE-1A3F-4A43-986D-2D07C91F911B}
const CLSID classId = {0x16D389DE, 0x1A3F, 0x4A43, {0x98, 0x6D, 0x2D, 0x07, 0xC9, 0x1F, 0x91, 0x1B}};
// {E3F4C6F9-11E5-4F94-82A6-656B0CE12B04}
const IID logInterface1 = {0xE3F4C6F9, 0x11E5, 0x4F94, {0x82, 0xA6, 0x65, 0x6B, 0x0C, 0xE1, 0x2B, 0x04}};
// {CA520F39-84EF-4100-B5BD-763C3EB21EAE}
const IID logInterface2 = {0xCA520F39, 0x84EF, 0x4100, {0xB5, 0xBD, 0x76, 0x3C, 0x3E, 0xB2, 0x1E, 0xAE}};

// Slots 3 to 12, after IUnknown's three.
struct Log : public IUnknown {
    virtual HRESULT __stdcall SetSourceModule(const void *address) = 0;
    virtual HRESULT __stdcall LogLine(const unsigned short *text) = 0;
    virtual HRESULT __stdcall SetIndent(unsigned long level) = 0;
    virtual HRESULT __stdcall Open(const unsigned short *path) = 0;
    virtual HRESULT __stdcall GetFileName(BSTR *out) = 0;
    virtual HRESULT __stdcall Reopen() = 0;
    virtual HRESULT __stdcall LogException(const WinException &e) = 0;
    virtual HRESULT __cdecl LogFormat(const unsigned short *fmt, ...) = 0;
    virtual HRESULT __stdcall LogText(const String &text) = 0;
    virtual HRESULT __stdcall FormatLine(String &out, const String &text) = 0;
};


// A fresh path in the temporary folder (no file made).
inline std::string temporaryPath(const char *prefix)
{
    static LONG counter = 0;
    char folder[MAX_PATH];
    DWORD length = GetTempPathA(MAX_PATH, folder);
    return std::string(folder, length < MAX_PATH ? length : 0) + prefix + "-" + std::to_string(GetCurrentProcessId()) +
           "-" + std::to_string(InterlockedIncrement(&counter));
}

// A private copy of qvcore.dll (loaded from a file of another name), its entry points looked
// up by name as COM does. It has a log and a lock count of its own, untouched by the rest of
// the test program, and closes its log when unloaded.
class Server {
public:
    Server()
    {
        char original[MAX_PATH];
        DWORD length = GetModuleFileNameA(GetModuleHandleA("qvcore.dll"), original, MAX_PATH);
        if (length > 0 && length < MAX_PATH && CopyFileA(original, copyPath_.c_str(), FALSE))
            module_ = LoadLibraryA(copyPath_.c_str());
        getClassObject = reinterpret_cast<decltype(getClassObject)>(
            module_ ? reinterpret_cast<void *>(GetProcAddress(module_, "DllGetClassObject")) : nullptr);
        canUnloadNow = reinterpret_cast<decltype(canUnloadNow)>(
            module_ ? reinterpret_cast<void *>(GetProcAddress(module_, "DllCanUnloadNow")) : nullptr);
    }
    ~Server() { unload(); }
    Server(const Server &) = delete;
    Server &operator=(const Server &) = delete;
    void unload()
    {
        if (module_)
            FreeLibrary(module_);
        DeleteFileA(copyPath_.c_str());
        module_ = nullptr;
    }
    bool loaded() const { return getClassObject && canUnloadNow; }
    // A new log object through the given interface identifier, or null.
    Log *create(REFIID iid = logInterface2) const
    {
        void *object = nullptr;
        return loaded() && getClassObject(classId, iid, &object) == S_OK ? static_cast<Log *>(object) : nullptr;
    }
    HMODULE module() const { return module_; }

    HRESULT(__stdcall *getClassObject)(REFCLSID, REFIID, void **) = nullptr;
    HRESULT(__stdcall *canUnloadNow)() = nullptr;

private:
    std::string copyPath_ = temporaryPath("qvcore-copy") + ".dll";
    HMODULE module_ = nullptr;
};

// The whole content of a file, read while the log may hold it open; "<missing>" if it cannot
// be opened.
inline std::string readFile(const std::string &path) { return filetest::readFile(String::FromSystemMultibyte(path)); }

// Local time of day in seconds.
inline int secondsNow()
{
    SYSTEMTIME now;
    GetLocalTime(&now);
    return (now.wHour * 60 + now.wMinute) * 60 + now.wSecond;
}

// Each line's "[dd:dd:dd] " stamp becomes "[hh:mm:ss] " when it lies between first and last
// (seconds of the day; a window across midnight wraps). Any other stamp is left, so the
// comparison with the expected text fails and shows it.
inline std::string maskTimes(const std::string &log, int first, int last)
{
    std::string result = log;
    for (std::string::size_type at = 0; at < result.size();) {
        const char *p = result.c_str() + at;
        bool stamp = result.size() - at >= 11 && p[0] == '[' && p[3] == ':' && p[6] == ':' && p[9] == ']' && p[10] == ' ';
        for (int i : {1, 2, 4, 5, 7, 8})
            stamp = stamp && p[i] >= '0' && p[i] <= '9';
        auto field = [p](int i) { return (p[i] - '0') * 10 + p[i + 1] - '0'; };
        int seconds = stamp ? (field(1) * 60 + field(4)) * 60 + field(7) : -1;
        if (stamp && field(1) < 24 && field(4) < 60 && field(7) < 60 &&
            (first <= last ? seconds >= first && seconds <= last : seconds >= first || seconds <= last))
            result.replace(at, 11, "[hh:mm:ss] ");
        std::string::size_type end = result.find("\r\n", at);
        at = end == std::string::npos ? result.size() : end + 2;
    }
    return result;
}

}  // namespace logclient

#endif
