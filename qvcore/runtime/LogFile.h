#ifndef QVCORE_RUNTIME_LOGFILE_H
#define QVCORE_RUNTIME_LOGFILE_H

#include "qvcore/Platform.h"
#include "qvcore/core/String.h"

#include <oleauto.h>

class WinException;

/// The library's class identifier {16D389DE-1A3F-4A43-986D-2D07C91F911B}: the class whose
/// class object DllGetClassObject hands out, a log object.
EXTERN_C QVCORE_API const CLSID CLSID_QvCore;
/// {E3F4C6F9-11E5-4F94-82A6-656B0CE12B04}: ILogFile.
EXTERN_C QVCORE_API const IID IID_ILogFile;
/// {CA520F39-84EF-4100-B5BD-763C3EB21EAE}: ILogFile2. Every log object answers both.
EXTERN_C QVCORE_API const IID IID_ILogFile2;

// The process-wide log file
// -------------------------
// One log file per process, shared by every log object: each object adds its own tag (its
// client module's name) and indentation to the lines it writes. A line is
//     "[hh:mm:ss] " + tag left-aligned in ten columns (cut after ten) + " "
//     + two blanks per indent level + text + CR LF
// in local time and the ANSI code page; an empty text gives a bare CR LF. Each line is
// written with one WriteFile under the log's lock, so lines of different threads never mix.
//
// COM entry points of qvcore.dll (exported undecorated):
//   DllGetClassObject(CLSID_QvCore, IID_ILogFile or IID_ILogFile2, &p) creates a new log
//     object and returns it itself (no class factory) with its one reference: S_OK. Another
//     class gives CLASS_E_CLASSNOTAVAILABLE, another interface E_INVALIDARG. If the object
//     cannot be allocated, p is null and the result is still S_OK.
//   DllCanUnloadNow() is S_FALSE while any log object is alive and S_OK otherwise: each log
//     object holds one count of the module lock from construction to destruction, and nothing
//     else does. Log objects are the only objects a COM client can get from the library
//     without linking to it; every other library object (QvUnknown, DataObject, ...) is made by
//     code that imports qvcore.dll and so keeps it loaded anyway, and long-lived objects inside
//     the library must not keep it from being unloaded. The open log file holds no count: it is
//     closed when the library is unloaded.

/// The log interface for any client. Slots 3 to 8 follow IUnknown's; all use the COM
/// calling convention and return S_OK unless said otherwise. Nothing is thrown.
struct ILogFile : public IUnknown {
    /// The tag becomes the file name, without folder and extension, of the module that
    /// contains address (empty when it lies in no module). S_OK.
    virtual HRESULT STDMETHODCALLTYPE SetSourceModule(const void *address) = 0;
    /// Writes one line (FormatLine). S_OK even when no file is open and the line is lost.
    virtual HRESULT STDMETHODCALLTYPE LogLine(const unsigned short *text) = 0;
    virtual HRESULT STDMETHODCALLTYPE SetIndent(unsigned long level) = 0;
    /// Creates the file (an existing one is truncated) and keeps path: S_OK. E_FAIL when a file
    /// is already open or cannot be created.
    virtual HRESULT STDMETHODCALLTYPE Open(const unsigned short *path) = 0;
    /// A new BSTR (SysAllocString; the caller frees it) with the path of the open file: S_OK.
    /// E_FAIL and *out untouched when no file is open.
    virtual HRESULT STDMETHODCALLTYPE GetFileName(BSTR *out) = 0;
    /// Closes the open file and creates it anew, empty. Returns E_FAIL even when that
    /// succeeded (kept for compatibility): E_FAIL does not mean the log is closed.
    virtual HRESULT STDMETHODCALLTYPE Reopen() = 0;
};

/// The log interface of C++ clients sharing the library's runtime: slots 9 to 12.
struct ILogFile2 : public ILogFile {
    /// One line "EXCEPTION \"context\" (File.cpp, line N: text)", or without the quoted part
    /// when e has no context; text is e.GetText() without line breaks. As LogText.
    virtual HRESULT STDMETHODCALLTYPE LogException(const WinException &e) = 0;
    /// String::FromFormatV, then LogText. Caller-cleans (variable arguments).
    virtual HRESULT STDMETHODVCALLTYPE LogFormat(const unsigned short *fmt, ...) = 0;
    /// One line per non-empty line of text (split at CR and LF). E_FAIL when no file is open
    /// (the remaining lines are dropped), S_OK otherwise, also when there is no line at all.
    virtual HRESULT STDMETHODCALLTYPE LogText(const String &text) = 0;
    /// out = the line that would be written for text, CR LF included. S_OK.
    virtual HRESULT STDMETHODCALLTYPE FormatLine(String &out, const String &text) = 0;
};

/// The library's log object. Create it through DllGetClassObject (or with new); it is
/// destroyed by the Release that brings its count, 1 at creation, to zero. The tag is empty
/// and the indentation 0 until set. Counting is atomic; tag and indentation are not guarded,
/// so give each thread its own object or set them before sharing it.
class QVCORE_API LogFile final : public ILogFile2 {
public:
    LogFile();

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void **ppv) override;
    ULONG STDMETHODCALLTYPE AddRef() override;
    ULONG STDMETHODCALLTYPE Release() override;

    HRESULT STDMETHODCALLTYPE SetSourceModule(const void *address) override;
    HRESULT STDMETHODCALLTYPE LogLine(const unsigned short *text) override;
    HRESULT STDMETHODCALLTYPE SetIndent(unsigned long level) override;
    HRESULT STDMETHODCALLTYPE Open(const unsigned short *path) override;
    HRESULT STDMETHODCALLTYPE GetFileName(BSTR *out) override;
    HRESULT STDMETHODCALLTYPE Reopen() override;

    HRESULT STDMETHODCALLTYPE LogException(const WinException &e) override;
    HRESULT STDMETHODVCALLTYPE LogFormat(const unsigned short *fmt, ...) override;
    HRESULT STDMETHODCALLTYPE LogText(const String &text) override;
    HRESULT STDMETHODCALLTYPE FormatLine(String &out, const String &text) override;

private:
    ~LogFile();
    LogFile(const LogFile &) = delete;
    LogFile &operator=(const LogFile &) = delete;

    // Formats and writes one line; false when no file is open.
    bool WriteLine(const String &text);

    volatile LONG refCount_;
    String tag_;
    unsigned long indent_;
};

#endif
