#include "qvcore/runtime/LogFile.h"

#include "qvcore/core/CriticalSection_p.h"
#include "qvcore/core/ScopedHandle.h"
#include "qvcore/core/SystemText_p.h"
#include "qvcore/core/TextCast_p.h"
#include "qvcore/core/WinException.h"
#include "qvcore/runtime/ComBoundary_p.h"
#include "qvcore/runtime/ModuleBase.h"
#include "qvcore/runtime/ModuleLock_p.h"
#include "qvcore/runtime/RefCount_p.h"

#include <algorithm>
#include <stdexcept>
#include <string>
#include <vector>

const CLSID CLSID_QvCore = {0x16D389DE, 0x1A3F, 0x4A43, {0x98, 0x6D, 0x2D, 0x07, 0xC9, 0x1F, 0x91, 0x1B}};
const IID IID_ILogFile = {0xE3F4C6F9, 0x11E5, 0x4F94, {0x82, 0xA6, 0x65, 0x6B, 0x0C, 0xE1, 0x2B, 0x04}};
const IID IID_ILogFile2 = {0xCA520F39, 0x84EF, 0x4100, {0xB5, 0xBD, 0x76, 0x3C, 0x3E, 0xB2, 0x1E, 0xAE}};

using textcast::units;

namespace {

// The longest String there can be.
const unsigned long long maxLineLength = 2147483645ull;
// "[hh:mm:ss] ", the tag in ten columns and the blank behind it.
const unsigned long long stampAndTagLength = 22;

// The one log file of the process. Opening, reopening and reading the path take the lock as
// well as writing: Reopen closes the handle that a writer on another thread may be using.
class LogSink {
public:
    HRESULT Open(const String &path)
    {
        CriticalSectionGuard guard(lock_);
        if (file_)
            return E_FAIL;
        return Create(path);
    }

    HRESULT Reopen()
    {
        CriticalSectionGuard guard(lock_);
        if (!file_)
            return E_FAIL;
        file_.reset();
        return Create(path_);
    }

    // False when no file is open.
    bool GetPath(String &path)
    {
        CriticalSectionGuard guard(lock_);
        if (!file_)
            return false;
        path = path_;
        return true;
    }

    // False when no file is open; whether WriteFile succeeded is not reported.
    bool Write(const char *line, DWORD size)
    {
        CriticalSectionGuard guard(lock_);
        if (!file_)
            return false;
        DWORD written = 0;
        WriteFile(file_.get(), line, size, &written, nullptr);
        return true;
    }

private:
    // Only the first successful open stores the path; every later creation, Reopen's
    // included, reports E_FAIL although the file is open (kept for compatibility).
    HRESULT Create(const String &path)
    {
        std::string narrow;
        if (!SystemText::EncodePath(path, narrow))
            return E_FAIL;
        file_.reset(CreateFileA(narrow.c_str(), GENERIC_WRITE, FILE_SHARE_READ, nullptr, CREATE_ALWAYS,
                                FILE_ATTRIBUTE_NORMAL, nullptr));
        if (!file_)
            return E_FAIL;
        if (!path_.empty())
            return E_FAIL;
        path_ = path;
        return S_OK;
    }

    String path_;
    ScopedFileHandle file_;
    CriticalSection lock_;
};

// Made on first use and destroyed when the library is unloaded, which closes the file.
LogSink &sink()
{
    static LogSink theSink;
    return theSink;
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
    return refcount::Query(static_cast<ILogFile2 *>(this), riid, ppv, {&IID_IUnknown, &IID_ILogFile, &IID_ILogFile2});
}

ULONG STDMETHODCALLTYPE LogFile::AddRef()
{
    return refcount::Add(refCount_);
}

ULONG STDMETHODCALLTYPE LogFile::Release()
{
    return refcount::Release(refCount_, [this] { delete this; });
}

HRESULT STDMETHODCALLTYPE LogFile::SetSourceModule(const void *address)
{
    return ComBoundary([&]() -> HRESULT {
        String name;
        // A null module would make the system name the executable instead.
        if (HINSTANCE module = ModuleBase::GetHInstance(address)) {
            // A longer name is used as far as it fits in MAX_PATH bytes.
            char path[MAX_PATH];
            DWORD length = GetModuleFileNameA(module, path, MAX_PATH);
            if (length > 0) {
                name = fileNameOf(String::FromSystemMultibyte(path, static_cast<int>(length)));
                String::size_type dot = name.rfind('.');
                if (dot != String::npos)
                    name.erase(dot);
            }
        }
        tag_ = name;
        return S_OK;
    });
}

HRESULT STDMETHODCALLTYPE LogFile::LogLine(const unsigned short *text)
{
    return ComBoundary([&]() -> HRESULT {
        std::size_t length = 0;
        if (text)
            while (text[length])
                ++length;
        WriteLine(text, length);
        return S_OK;
    });
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
    return ComBoundary([&]() -> HRESULT {
        return sink().Open(String(path));
    });
}

HRESULT STDMETHODCALLTYPE LogFile::GetFileName(BSTR *out)
{
    if (!out)
        return E_FAIL;
    return ComBoundary([&]() -> HRESULT {
        String path;
        if (!sink().GetPath(path))
            return E_FAIL;
        // BSTR units are wchar_t, of the same size and encoding as String's.
        BSTR copy = SysAllocString(reinterpret_cast<const OLECHAR *>(path.c_str()));
        if (!copy)
            return E_FAIL;
        *out = copy;
        return S_OK;
    });
}

HRESULT STDMETHODCALLTYPE LogFile::Reopen()
{
    return ComBoundary([&]() -> HRESULT {
        return sink().Reopen();
    });
}

HRESULT STDMETHODCALLTYPE LogFile::LogException(const WinException &e)
{
    return ComBoundary([&]() -> HRESULT {
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
    });
}

HRESULT STDMETHODVCALLTYPE LogFile::LogFormat(const unsigned short *fmt, ...)
{
    if (!fmt)
        return E_FAIL;
    va_list args;
    va_start(args, fmt);
    HRESULT result = ComBoundary([&] { return LogText(String::FromFormatV(fmt, args)); });
    va_end(args);
    return result;
}

HRESULT STDMETHODCALLTYPE LogFile::LogText(const String &text)
{
    return ComBoundary([&]() -> HRESULT {
        for (const String &part : text.Split(String(units(u"\r\n"))))
            if (!WriteLine(part.data(), part.size()))
                return E_FAIL;
        return S_OK;
    });
}

HRESULT STDMETHODCALLTYPE LogFile::FormatLine(String &out, const String &text)
{
    return ComBoundary([&]() -> HRESULT {
        SYSTEMTIME now;
        GetLocalTime(&now);
        unsigned long long length = LineLength(text.size());
        if (length > maxLineLength)
            throw std::length_error("LogFile::FormatLine");
        String line;
        line.resize(static_cast<String::size_type>(length));
        ComposeLine(&line[0], now, text.data(), text.size());
        out.swap(line);
        return S_OK;
    });
}

unsigned long long LogFile::LineLength(std::size_t length) const
{
    return length == 0 ? 2 : stampAndTagLength + 2ull * indent_ + length + 2;
}

// "[%02i:%02i:%02i] % -10.10s " is built by hand: the formatter would switch the numeric
// locale for every line, which costs more than writing the line.
void LogFile::ComposeLine(unsigned short *out, const SYSTEMTIME &now, const unsigned short *text,
                          std::size_t length) const
{
    if (length > 0) {
        const WORD fields[] = {now.wHour, now.wMinute, now.wSecond};
        *out++ = '[';
        for (int i = 0; i < 3; ++i) {
            *out++ = static_cast<unsigned short>('0' + fields[i] / 10 % 10);
            *out++ = static_cast<unsigned short>('0' + fields[i] % 10);
            *out++ = i < 2 ? ':' : ']';
        }
        *out++ = ' ';
        // As "%-10.10s": at most ten units, up to a zero unit, padded with blanks.
        int column = 0;
        for (; column < 10 && column < static_cast<int>(tag_.size()) && tag_[column] != 0; ++column)
            *out++ = tag_[column];
        for (unsigned long long blanks = 10 - column + 1 + 2ull * indent_; blanks > 0; --blanks)
            *out++ = ' ';
        std::copy(text, text + length, out);
        out += length;
    }
    *out++ = '\r';
    *out = '\n';
}

bool LogFile::WriteLine(const unsigned short *text, std::size_t length)
{
    SYSTEMTIME now;
    GetLocalTime(&now);
    unsigned long long lineLength = LineLength(length);
    if (lineLength > maxLineLength)
        throw std::length_error("LogFile: line too long");
    // Lines of usual length are built and converted on the stack: no allocation per line.
    unsigned short stackUnits[512];
    char stackBytes[3 * sizeof stackUnits / sizeof stackUnits[0]];
    std::vector<unsigned short> heapUnits;
    unsigned short *units = stackUnits;
    if (lineLength > sizeof stackUnits / sizeof stackUnits[0]) {
        heapUnits.resize(static_cast<std::size_t>(lineLength));
        units = heapUnits.data();
    }
    ComposeLine(units, now, text, length);

    // The conversion of String::SystemMultibyte, into the stack buffer when it fits.
    int bytes = SystemText::EncodeInto(CP_ACP, units, static_cast<int>(lineLength), stackBytes, sizeof stackBytes);
    if (bytes > 0)
        return sink().Write(stackBytes, static_cast<DWORD>(bytes));
    std::string heapBytes = SystemText::Encode(CP_ACP, units, static_cast<std::size_t>(lineLength));
    return sink().Write(heapBytes.data(), static_cast<DWORD>(heapBytes.size()));
}
