#include "qvcore/runtime/LogFile.h"

#include "qvcore/core/WinException.h"
#include "qvcore/runtime/ModuleBase.h"
#include "qvcore/runtime/ModuleLock.h"

#include <stdexcept>

const CLSID CLSID_QvCore = {0x16D389DE, 0x1A3F, 0x4A43, {0x98, 0x6D, 0x2D, 0x07, 0xC9, 0x1F, 0x91, 0x1B}};
const IID IID_ILogFile = {0xE3F4C6F9, 0x11E5, 0x4F94, {0x82, 0xA6, 0x65, 0x6B, 0x0C, 0xE1, 0x2B, 0x04}};
const IID IID_ILogFile2 = {0xCA520F39, 0x84EF, 0x4100, {0xB5, 0xBD, 0x76, 0x3C, 0x3E, 0xB2, 0x1E, 0xAE}};

namespace {

// The longest String there can be.
const unsigned long long maxLineLength = 2147483645ull;

class CriticalSectionLock {
public:
    explicit CriticalSectionLock(CRITICAL_SECTION &section) : section_(section) { EnterCriticalSection(&section_); }
    ~CriticalSectionLock() { LeaveCriticalSection(&section_); }
    CriticalSectionLock(const CriticalSectionLock &) = delete;
    CriticalSectionLock &operator=(const CriticalSectionLock &) = delete;

private:
    CRITICAL_SECTION &section_;
};

// The one log file of the process. Opening, reopening and reading the path take the lock as
// well as writing: Reopen closes the handle that a writer on another thread may be using.
class LogSink {
public:
    LogSink() : handle_(INVALID_HANDLE_VALUE) { InitializeCriticalSection(&lock_); }
    ~LogSink()
    {
        if (handle_ != INVALID_HANDLE_VALUE)
            CloseHandle(handle_);
        DeleteCriticalSection(&lock_);
    }
    LogSink(const LogSink &) = delete;
    LogSink &operator=(const LogSink &) = delete;

    HRESULT Open(const String &path)
    {
        CriticalSectionLock lock(lock_);
        if (handle_ != INVALID_HANDLE_VALUE)
            return E_FAIL;
        return Create(path);
    }

    HRESULT Reopen()
    {
        CriticalSectionLock lock(lock_);
        if (handle_ == INVALID_HANDLE_VALUE)
            return E_FAIL;
        CloseHandle(handle_);
        handle_ = INVALID_HANDLE_VALUE;
        return Create(path_);
    }

    // False when no file is open.
    bool GetPath(String &path)
    {
        CriticalSectionLock lock(lock_);
        if (handle_ == INVALID_HANDLE_VALUE)
            return false;
        path = path_;
        return true;
    }

    // False when no file is open; whether WriteFile succeeded is not reported.
    bool Write(const std::string &line)
    {
        CriticalSectionLock lock(lock_);
        if (handle_ == INVALID_HANDLE_VALUE)
            return false;
        DWORD written = 0;
        WriteFile(handle_, line.data(), static_cast<DWORD>(line.size()), &written, nullptr);
        return true;
    }

private:
    // Only the first successful open stores the path; every later creation, Reopen's
    // included, reports E_FAIL although the file is open (kept for compatibility).
    HRESULT Create(const String &path)
    {
        HANDLE handle = CreateFileA(path.SystemMultibyte().c_str(), GENERIC_WRITE, FILE_SHARE_READ, nullptr,
                                    CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
        if (handle == INVALID_HANDLE_VALUE)
            return E_FAIL;
        handle_ = handle;
        if (!path_.empty())
            return E_FAIL;
        path_ = path;
        return S_OK;
    }

    String path_;
    HANDLE handle_;
    CRITICAL_SECTION lock_;
};

// Made on first use and destroyed when the library is unloaded, which closes the file.
LogSink &sink()
{
    static LogSink theSink;
    return theSink;
}

// The units of a UTF-16 literal, as the library's text functions take them.
const unsigned short *units(const char16_t *literal)
{
    return reinterpret_cast<const unsigned short *>(literal);
}

bool isPathSeparator(unsigned short ch)
{
    return ch == '\\' || ch == '/' || ch == ':';
}

// The file name of path with its extension, without the folder.
String fileNameOf(const String &path)
{
    String::size_type at = path.size();
    while (at > 0 && !isPathSeparator(path[at - 1]))
        --at;
    return path.substr(at);
}

void appendTwoDigits(String &out, WORD value)
{
    out.push_back(static_cast<unsigned short>('0' + value / 10 % 10));
    out.push_back(static_cast<unsigned short>('0' + value % 10));
}

}  // namespace

LogFile::LogFile() : refCount_(1), indent_(0)
{
    QvLockModule();
}

LogFile::~LogFile()
{
    QvUnlockModule();
}

HRESULT STDMETHODCALLTYPE LogFile::QueryInterface(REFIID riid, void **ppv)
{
    if (!ppv)
        return E_POINTER;
    if (IsEqualIID(riid, IID_IUnknown) || IsEqualIID(riid, IID_ILogFile) || IsEqualIID(riid, IID_ILogFile2)) {
        *ppv = static_cast<ILogFile2 *>(this);
        AddRef();
        return S_OK;
    }
    *ppv = nullptr;
    return E_NOINTERFACE;
}

ULONG STDMETHODCALLTYPE LogFile::AddRef()
{
    return static_cast<ULONG>(InterlockedIncrement(&refCount_));
}

ULONG STDMETHODCALLTYPE LogFile::Release()
{
    LONG count = InterlockedDecrement(&refCount_);
    if (count == 0)
        delete this;
    return static_cast<ULONG>(count);
}

HRESULT STDMETHODCALLTYPE LogFile::SetSourceModule(const void *address)
{
    try {
        String name;
        // A null module would make the system name the executable instead.
        if (HINSTANCE module = ModuleBase::GetHInstance(address)) {
            char path[MAX_PATH];
            DWORD length = GetModuleFileNameA(module, path, MAX_PATH);
            if (length > 0 && length < MAX_PATH) {
                name = fileNameOf(String::FromSystemMultibyte(path, static_cast<int>(length)));
                String::size_type dot = name.rfind('.');
                if (dot != String::npos)
                    name.erase(dot);
            }
        }
        tag_ = name;
        return S_OK;
    } catch (...) {
        return E_FAIL;
    }
}

HRESULT STDMETHODCALLTYPE LogFile::LogLine(const unsigned short *text)
{
    try {
        WriteLine(text ? String(text) : String());
        return S_OK;
    } catch (...) {
        return E_FAIL;
    }
}

HRESULT STDMETHODCALLTYPE LogFile::SetIndent(unsigned long level)
{
    indent_ = level;
    return S_OK;
}

HRESULT STDMETHODCALLTYPE LogFile::Open(const unsigned short *path)
{
    if (!path)
        return E_FAIL;
    try {
        return sink().Open(String(path));
    } catch (...) {
        return E_FAIL;
    }
}

HRESULT STDMETHODCALLTYPE LogFile::GetFileName(BSTR *out)
{
    if (!out)
        return E_FAIL;
    try {
        String path;
        if (!sink().GetPath(path))
            return E_FAIL;
        // BSTR units are wchar_t, of the same size and encoding as String's.
        BSTR copy = SysAllocString(reinterpret_cast<const OLECHAR *>(path.c_str()));
        if (!copy)
            return E_FAIL;
        *out = copy;
        return S_OK;
    } catch (...) {
        return E_FAIL;
    }
}

HRESULT STDMETHODCALLTYPE LogFile::Reopen()
{
    try {
        return sink().Reopen();
    } catch (...) {
        return E_FAIL;
    }
}

HRESULT STDMETHODCALLTYPE LogFile::LogException(const WinException &e)
{
    try {
        String text = e.GetText();
        text.Remove('\r');
        text.Remove('\n');
        String file = fileNameOf(e.m_sourceFile);
        String line;
        if (e.m_context)
            line = String::FromFormat(units(u"EXCEPTION \"%s\" (%s, line %i: %s)"), e.m_context, file.c_str(), e.m_line,
                                      text.c_str());
        else
            line = String::FromFormat(units(u"EXCEPTION (%s, line %i: %s)"), file.c_str(), e.m_line, text.c_str());
        return LogText(line);
    } catch (...) {
        return E_FAIL;
    }
}

HRESULT STDMETHODVCALLTYPE LogFile::LogFormat(const unsigned short *fmt, ...)
{
    if (!fmt)
        return E_FAIL;
    try {
        va_list args;
        va_start(args, fmt);
        String text;
        try {
            text = String::FromFormatV(fmt, args);
        } catch (...) {
            va_end(args);
            throw;
        }
        va_end(args);
        return LogText(text);
    } catch (...) {
        return E_FAIL;
    }
}

HRESULT STDMETHODCALLTYPE LogFile::LogText(const String &text)
{
    try {
        for (const String &part : text.Split(String(units(u"\r\n"))))
            if (!WriteLine(part))
                return E_FAIL;
        return S_OK;
    } catch (...) {
        return E_FAIL;
    }
}

HRESULT STDMETHODCALLTYPE LogFile::FormatLine(String &out, const String &text)
{
    try {
        SYSTEMTIME now;
        GetLocalTime(&now);
        String line;
        if (!text.empty()) {
            // "[%02i:%02i:%02i] % -10.10s " built by hand: the formatter would switch the
            // numeric locale for every line, which costs more than writing the line.
            unsigned long long blanks = 2ull * indent_;
            if (22 + blanks + text.size() + 2 > maxLineLength)
                throw std::length_error("LogFile::FormatLine");
            line.reserve(22 + static_cast<String::size_type>(blanks) + text.size() + 2);
            line.push_back('[');
            appendTwoDigits(line, now.wHour);
            line.push_back(':');
            appendTwoDigits(line, now.wMinute);
            line.push_back(':');
            appendTwoDigits(line, now.wSecond);
            line.push_back(']');
            line.push_back(' ');
            String::size_type tagLength = 0;
            while (tagLength < tag_.size() && tagLength < 10 && tag_[tagLength] != 0)
                ++tagLength;
            line.append(tag_, 0, tagLength);
            line.append(10 - tagLength + 1 + static_cast<String::size_type>(blanks), ' ');
            line += text;
        }
        line.push_back('\r');
        line.push_back('\n');
        out.swap(line);
        return S_OK;
    } catch (...) {
        return E_FAIL;
    }
}

bool LogFile::WriteLine(const String &text)
{
    String line;
    if (FormatLine(line, text) != S_OK)
        throw std::runtime_error("LogFile: line not formatted");
    return sink().Write(line.SystemMultibyte());
}
