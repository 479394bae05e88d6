#ifndef QVCORE_XML_XMLCOM_P_H
#define QVCORE_XML_XMLCOM_P_H

// Private to the library (not installed): what the XML classes' sources share about the system's
// COM XML parser: its identifiers, the process-wide choice of its generation, creating its
// objects, owners for its strings and variants, and the one way each kind of failure is thrown.

#include "qvcore/Platform.h"
#include "qvcore/core/ScopedHandle.h"
#include "qvcore/core/String.h"
#include "qvcore/xml/XMLParser.h"

#include <msxml2.h>

namespace xmlcom {

// The system's headers declare these identifiers, but no import library defines them.
extern const CLSID kDOMDocument40;
extern const CLSID kXMLSchemaCache40;
extern const CLSID kXMLDocument;
extern const IID kIXMLDOMDocument2;
extern const IID kIXMLDOMSchemaCollection;
extern const IID kIXMLDocument;
extern const IID kIXMLElement;
extern const IID kIXMLError;

/// The parser generation of the process: 1 or 4, chosen on the first call and never again.
int Generation();

/// Creates an instance of clsid the way the parser's classes must be made: as IUnknown with
/// the class contexts in-process server, in-process handler and local server, run (OleRun),
/// then queried for iid. S_OK with *out holding a reference, or the failing step's HRESULT
/// with *out null.
HRESULT CreateRunning(REFCLSID clsid, REFIID iid, void **out);

/// CreateRunning for typed callers; ParserNotInstalled with text on any failure.
template <class Interface>
ComPtr<Interface> CreateOrThrow(REFCLSID clsid, REFIID iid, const wchar_t *text);

struct BstrTraits {
    typedef BSTR Handle;
    static Handle Invalid() { return nullptr; }
    static void Close(Handle handle) { SysFreeString(handle); }
};
/// A string the system allocated for the caller (SysAllocString), freed with the owner.
typedef ScopedHandle<BstrTraits> Bstr;

/// A new BSTR holding text; the COM failure E_OUTOFMEMORY when none can be allocated.
Bstr MakeBstr(const String &text);
/// The same for a zero-terminated text.
Bstr MakeBstr(const wchar_t *text);
/// The units of a BSTR (null: empty).
inline String FromBstr(BSTR text)
{
    return text ? String(reinterpret_cast<const unsigned short *>(text), SysStringLen(text)) : String();
}

/// A VARIANT cleared when it goes out of scope.
struct Variant : VARIANT {
    Variant() noexcept { VariantInit(this); }
    ~Variant() { VariantClear(this); }
    Variant(const Variant &) = delete;
    Variant &operator=(const Variant &) = delete;
};

/// An XMLException with code and text.
[[noreturn]] void Throw(int code, const String &message);
/// InternalError with ComErrorText(hr).
[[noreturn]] void ThrowComError(HRESULT hr);
/// ThrowComError for any failure code; success codes (S_FALSE too) pass.
inline void Check(HRESULT hr)
{
    if (FAILED(hr))
        ThrowComError(hr);
}

/// "Unexpected COM error.\n", then "Description: %s\n" when the thread's COM error record has a
/// description (taking the record), then "Message: %s\n" with the system's text for hr (or
/// the text COM gives codes the system has none for). Only inside an ErrorRecordScope is the
/// record sure to be the failing call's own.
String ComErrorText(HRESULT hr);

/// Each public XML operation runs in one: a COM error record already waiting on the thread
/// (someone else's) is set aside when the operation begins and put back when it ends, so that
/// a failure inside takes only a record that one of its own calls made.
class ErrorRecordScope {
public:
    ErrorRecordScope() noexcept { GetErrorInfo(0, earlier_.receive()); }
    ~ErrorRecordScope()
    {
        if (earlier_)
            SetErrorInfo(0, earlier_.get());
    }
    ErrorRecordScope(const ErrorRecordScope &) = delete;
    ErrorRecordScope &operator=(const ErrorRecordScope &) = delete;

private:
    ComPtr<IErrorInfo> earlier_;
};

/// The parse-error text of the newer generation: the reason, "File: %s\n" when the error names
/// a document, "Line/Pos: %d/%d\n" when it names a line.
String ParseErrorText(IXMLDOMParseError *error);

template <class Interface>
ComPtr<Interface> CreateOrThrow(REFCLSID clsid, REFIID iid, const wchar_t *text)
{
    ComPtr<Interface> object;
    if (FAILED(CreateRunning(clsid, iid, object.receiveVoid())))
        Throw(XMLException::ParserNotInstalled, String(text));
    return object;
}

}  // namespace xmlcom

#endif
