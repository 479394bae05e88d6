#ifndef QVCORE_CORE_WINEXCEPTION_H
#define QVCORE_CORE_WINEXCEPTION_H

#include "qvcore/Platform.h"
#include "qvcore/core/String.h"

/// A structured-exception translator: called on the faulting thread with the exception code and
/// the exception pointers (copies of the record and of the context at the fault, valid during
/// the call). Same shape as the C runtime's _se_translator_function.
///
/// A translator is expected to throw. If it returns, the fault is passed on to the thread's other
/// handlers as a non-continuable exception raised at the point of the fault. While it runs, the
/// thread has no translator: a fault inside it is passed on rather than translated again.
typedef void(__cdecl *QvSETranslatorFunction)(unsigned int code, EXCEPTION_POINTERS *pointers);

/// Installs translator for the calling thread and returns the one it replaces (null: none).
/// Null uninstalls. While a translator is installed, hardware faults and system errors raised on
/// the thread (codes 0x80000002 to 0x80000004 and every code of error severity, 0xC0000000 to
/// 0xFFFFFFFF, the system's and applications' own) go to it before any other handler, unless
/// they arise inside a frame that registered its own exception handler after the translator was
/// set (system code that probes memory, for instance), which then keeps them; C++ exceptions
/// (g++'s, and MSVC's 0xE06D7363), debugger and informational codes are never translated.
QVCORE_API QvSETranslatorFunction QvSetSETranslator(QvSETranslatorFunction translator);

/// A Win32 error code with its system text. Thrown by value, caught by reference.
///
/// The thrower constructs it with a context text, sets m_sourceFile, m_line and m_code, then
/// throws. The context pointer is not owned: it must outlive every copy (a literal, typically).
class QVCORE_API WinException {
public:
    /// Stores the pointer; the strings are empty, line and code zero.
    WinException(const unsigned short *context);
    WinException(const WinException &other);
    WinException &operator=(const WinException &other);
    ~WinException();

    /// The Win32 error code.
    operator long() const { return m_code; }

    /// "<error text> (0x<code as eight lower-case hexadecimal digits>)", where the error text is
    /// GetErrorString(), or "Unknown error" when that is empty. Never empty.
    String GetText() const;

    const unsigned short *m_context;  // what failed; may be null
    String m_info;                    // carried with the exception for the thrower's own use
    String m_sourceFile;              // source file that raised the exception
    int m_line;                       // line in that file
    long m_code;                      // Win32 error code

protected:
    /// The system's first line of text for m_code (String::FromError); empty when the system
    /// has none. Derived classes supply their own text here.
    virtual String GetErrorString() const;
};

/// A structured exception (access violation, division by zero, ...) turned into an ordinary C++
/// exception by the translator that TryCatchEnabler and SEHCall::DoCall install.
class QVCORE_API SEHException {
public:
    /// Installs the library's translator for the calling thread for its lifetime, and reinstalls
    /// the translator it replaced when destroyed. Enablers nest; each must be destroyed on the
    /// thread that created it, in reverse order of creation (a scoped object does this).
    class QVCORE_API TryCatchEnabler {
    public:
        TryCatchEnabler();
        ~TryCatchEnabler();
        TryCatchEnabler(const TryCatchEnabler &) = delete;
        TryCatchEnabler &operator=(const TryCatchEnabler &) = delete;

    private:
        QvSETranslatorFunction previous_;
    };

    SEHException(unsigned long code, void *location);
    SEHException &operator=(const SEHException &other);

    /// The structured-exception code as the system reports it (0xC0000005, ...).
    unsigned long GetCode() const { return code_; }
    /// The address at which the exception occurred.
    void *GetModuleLocation() const { return location_; }

    /// The name of the code ("Access violation", ...), "Unknown" for codes without one.
    String GetCodeAsString() const;
    /// Full file name of the module containing the location; empty when it lies in no module.
    /// Exported under the narrow name; GetModuleFileNameW, and GetModuleFileName where a client
    /// has undefined the system's macro, lead to it whether or not the client defines UNICODE.
    String GetModuleFileNameA() const;
    String GetModuleFileNameW() const { return GetModuleFileNameA(); }
#pragma push_macro("GetModuleFileName")
#undef GetModuleFileName
    String GetModuleFileName() const { return GetModuleFileNameA(); }
#pragma pop_macro("GetModuleFileName")
    /// "Fatal exception '<code name>' caused by module '<file>' at location 0x<address>", the
    /// address in upper-case hexadecimal of at least eight digits (all of a 64-bit address).
    String GetMsg() const;

private:
    unsigned long code_;
    void *location_;
};

/// Runs Invoke() with the library's translator installed on the calling thread: a structured
/// exception inside Invoke() leaves DoCall() as SEHException. The previous translator is back in
/// force when DoCall() returns or throws; every exception continues to the caller.
class QVCORE_API SEHCall {
public:
    void DoCall();

protected:
    SEHCall() = default;
    ~SEHCall() = default;
    SEHCall(const SEHCall &) = default;
    SEHCall &operator=(const SEHCall &) = default;

    /// The work to run.
    virtual void Invoke() = 0;
};

#endif
