#ifndef QVCORE_TESTS_RUNTIME_LOGCLIENT_H
#define QVCORE_TESTS_RUNTIME_LOGCLIENT_H

// What a COM client of qvcore.dll knows: the identifiers and the slot layout of the log
// interface, written down here rather than taken from the library's headers, so that the
// tests check the binary interface itself.

#include "qvcore/core/String.h"

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

typedef HRESULT(__stdcall *GetClassObjectFunction)(REFCLSID, REFIID, void **);
typedef HRESULT(__stdcall *CanUnloadNowFunction)();

inline const unsigned short *units(const char16_t *literal)
{
    return reinterpret_cast<const unsigned short *>(literal);
}

// A fresh path in the temporary folder (no file made).
inline std::string temporaryPath(const char *prefix)
{
    static LONG counter = 0;
    char folder[MAX_PATH];
    DWORD length = GetTempPathA(MAX_PATH, folder);
    std::string path(folder, length < MAX_PATH ? length : 0);
    return path + prefix + "-" + std::to_string(GetCurrentProcessId()) + "-" +
           std::to_string(InterlockedIncrement(&counter));
}

// qvcore.dll loaded and its entry points looked up by name, as COM does. A private copy
// (loaded from a file of another name) has a log and a lock count of its own, untouched by
// the rest of the test program, and takes them along when it is unloaded.
class Server {
public:
    enum Instance { Shared, PrivateCopy };
    explicit Server(Instance instance)
    {
        if (instance == Shared) {
            module_ = LoadLibraryA("qvcore.dll");
        } else {
            char original[MAX_PATH];
            DWORD length = GetModuleFileNameA(GetModuleHandleA("qvcore.dll"), original, MAX_PATH);
            copyPath_ = temporaryPath("qvcore-copy") + ".dll";
            if (length > 0 && length < MAX_PATH && CopyFileA(original, copyPath_.c_str(), FALSE))
                module_ = LoadLibraryA(copyPath_.c_str());
        }
        if (module_) {
            getClassObject_ = reinterpret_cast<GetClassObjectFunction>(
                reinterpret_cast<void *>(GetProcAddress(module_, "DllGetClassObject")));
            canUnloadNow_ = reinterpret_cast<CanUnloadNowFunction>(
                reinterpret_cast<void *>(GetProcAddress(module_, "DllCanUnloadNow")));
        }
    }
    ~Server() { unload(); }
    // Unloads the library (a private copy closes its log file then) and removes the copy.
    void unload()
    {
        if (module_)
            FreeLibrary(module_);
        if (!copyPath_.empty())
            DeleteFileA(copyPath_.c_str());
        module_ = nullptr;
        getClassObject_ = nullptr;
        canUnloadNow_ = nullptr;
        copyPath_.clear();
    }
    Server(const Server &) = delete;
    Server &operator=(const Server &) = delete;

    bool loaded() const { return getClassObject_ && canUnloadNow_; }
    HRESULT getClassObject(REFCLSID clsid, REFIID iid, void **ppv) const { return getClassObject_(clsid, iid, ppv); }
    HRESULT canUnloadNow() const { return canUnloadNow_(); }
    // A new log object through the given interface identifier, or null.
    Log *create(REFIID iid = logInterface2) const
    {
        void *object = nullptr;
        if (!loaded() || getClassObject_(classId, iid, &object) != S_OK)
            return nullptr;
        return static_cast<Log *>(object);
    }
    HMODULE module() const { return module_; }

private:
    std::string copyPath_;
    HMODULE module_ = nullptr;
    GetClassObjectFunction getClassObject_ = nullptr;
    CanUnloadNowFunction canUnloadNow_ = nullptr;
};

// The whole content of a file, read while the log may hold it open; "<missing>" if it cannot
// be opened.
inline std::string readFile(const std::string &path)
{
    HANDLE file = CreateFileA(path.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING,
                              FILE_ATTRIBUTE_NORMAL, nullptr);
    if (file == INVALID_HANDLE_VALUE)
        return "<missing>";
    std::string content;
    char buffer[65536];
    DWORD got = 0;
    while (ReadFile(file, buffer, sizeof buffer, &got, nullptr) && got > 0)
        content.append(buffer, got);
    CloseHandle(file);
    return content;
}

inline bool writeFile(const std::string &path, const std::string &content)
{
    HANDLE file = CreateFileA(path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (file == INVALID_HANDLE_VALUE)
        return false;
    DWORD written = 0;
    bool ok = WriteFile(file, content.data(), static_cast<DWORD>(content.size()), &written, nullptr) &&
              written == content.size();
    CloseHandle(file);
    return ok;
}

// The system's own conversions, independent of String's.
inline std::string ansi(const std::u16string &text)
{
    if (text.empty())
        return std::string();
    const wchar_t *units = reinterpret_cast<const wchar_t *>(text.data());
    int length = WideCharToMultiByte(CP_ACP, 0, units, static_cast<int>(text.size()), nullptr, 0, nullptr, nullptr);
    std::string result(length, '\0');
    WideCharToMultiByte(CP_ACP, 0, units, static_cast<int>(text.size()), &result[0], length, nullptr, nullptr);
    return result;
}

inline std::u16string wide(const std::string &text)
{
    if (text.empty())
        return std::u16string();
    int length = MultiByteToWideChar(CP_ACP, 0, text.data(), static_cast<int>(text.size()), nullptr, 0);
    std::u16string result(length, u'\0');
    MultiByteToWideChar(CP_ACP, 0, text.data(), static_cast<int>(text.size()), reinterpret_cast<wchar_t *>(&result[0]),
                        length);
    return result;
}

// Local time of day in seconds.
inline int secondsNow()
{
    SYSTEMTIME now;
    GetLocalTime(&now);
    return (now.wHour * 60 + now.wMinute) * 60 + now.wSecond;
}

// Each line that starts with a "[dd:dd:dd] " stamp gets "[hh:mm:ss] " instead, once the stamp
// has been found to lie between first and last (seconds of the day, as secondsNow; a window
// across midnight wraps). A stamp out of the window is left as it is, so the comparison with
// the expected text fails and shows it.
inline std::string maskTimes(const std::string &log, int first, int last)
{
    std::string result = log;
    for (std::string::size_type at = 0; at < result.size();) {
        const char *p = result.c_str() + at;
        auto digit = [p](int i) { return p[i] >= '0' && p[i] <= '9' ? p[i] - '0' : -100; };
        if (result.size() - at >= 11 && p[0] == '[' && p[3] == ':' && p[6] == ':' && p[9] == ']' && p[10] == ' ') {
            int hour = digit(1) * 10 + digit(2), minute = digit(4) * 10 + digit(5), second = digit(7) * 10 + digit(8);
            int seconds = (hour * 60 + minute) * 60 + second;
            bool valid = hour >= 0 && hour < 24 && minute >= 0 && minute < 60 && second >= 0 && second < 60;
            bool inWindow = first <= last ? seconds >= first && seconds <= last : seconds >= first || seconds <= last;
            if (valid && inWindow)
                result.replace(at, 11, "[hh:mm:ss] ");
        }
        std::string::size_type end = result.find("\r\n", at);
        at = end == std::string::npos ? result.size() : end + 2;
    }
    return result;
}

}  // namespace logclient

#endif
