#ifndef QVCORE_TESTS_SUPPORT_LOGCLIENT_H
#define QVCORE_TESTS_SUPPORT_LOGCLIENT_H

// Helpers of the log tests, as a COM client of qvcore.dll: the log interface as such a client
// declares it (tests/support/LogInterface.h), private copies of the server, temporary paths.

#include "qvcore/core/String.h"
#include "tests/support/LogInterface.h"
#include "tests/support/StringPrinting.h"
#include "tests/support/SystemText.h"
#include "tests/support/TempDirectory.h"

#include <objbase.h>

#include <string>

namespace logclient {



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
