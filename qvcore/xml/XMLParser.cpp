// Loading documents with either parser generation, and schema validation.

#include "qvcore/xml/XMLParser.h"

#include "qvcore/core/TextCast_p.h"
#include "qvcore/files/File.h"
#include "qvcore/xml/XMLCom_p.h"

#include <ocidl.h>

#include <cstring>

using textcast::units;

using namespace xmlcom;

namespace {

// Variants own what they hold: each takes its own reference or string.
void setString(Variant &v, const String &text)
{
    v.bstrVal = MakeBstr(text).release();
    v.vt = VT_BSTR;
}

void setObject(Variant &v, IDispatch *object)
{
    object->AddRef();
    v.pdispVal = object;
    v.vt = VT_DISPATCH;
}

// --- generation 4 ----------------------------------------------------------------------------

enum DocumentUse { Load, Schema };

// A new document that loads synchronously and does not enforce a DTD; for a document to be
// navigated, a DTD is not even fetched.
ComPtr<IXMLDOMDocument2> newDocument40(DocumentUse use)
{
    ComPtr<IXMLDOMDocument2> document =
        CreateOrThrow<IXMLDOMDocument2>(kDOMDocument40, kIXMLDOMDocument2, L"MSXML4 parser not installed");
    Check(document->put_async(VARIANT_FALSE));
    if (use == Load)
        Check(document->put_resolveExternals(VARIANT_FALSE));
    Check(document->put_validateOnParse(VARIANT_FALSE));
    return document;
}

[[noreturn]] void throwParseError(IXMLDOMDocument2 *document)
{
    ComPtr<IXMLDOMParseError> error;
    Check(document->get_parseError(error.receive()));
    Throw(XMLException::DocumentError, ParseErrorText(error.get()));
}

// The loaded document's single top-level element, as the node its root element is read from.
IDispatch *rootOf40(IXMLDOMDocument2 *document)
{
    Bstr all = MakeBstr(String(L"*"));
    IXMLDOMNode *root = nullptr;
    Check(document->selectSingleNode(all.get(), &root));
    return root;
}

// --- generation 1 ----------------------------------------------------------------------------

ComPtr<IXMLDocument> newDocument1()
{
    return CreateOrThrow<IXMLDocument>(kXMLDocument, kIXMLDocument, L"MSXML1 parser not installed");
}

// The text of a failed first-generation load: the document's own error record where it keeps
// one, else what COM says about the load's failure code.
String loadErrorText1(IXMLDocument *document, HRESULT loadResult, const String *path)
{
    ComPtr<IXMLError> errors;
    HRESULT hr = document->QueryInterface(kIXMLError, errors.receiveVoid());
    if (hr == E_NOINTERFACE)
        return ComErrorText(loadResult);
    Check(hr);
    XML_ERROR record = {};
    Check(errors->GetErrorInfo(&record));
    Bstr buffer(record._pchBuf), found(record._pszFound), expected(record._pszExpected);
    String text = FromBstr(buffer.get());
    if (path)
        text << String::FromFormat(units(L"File: %s\n"), path->c_str());
    if (record._nLine != 0)
        text << String::FromFormat(units(L"Line/Pos: %d/%d\n"), static_cast<int>(record._nLine),
                                   static_cast<int>(record._ich));
    return text;
}

void checkLoad1(IXMLDocument *document, HRESULT loadResult, const String *path)
{
    if (FAILED(loadResult))
        Throw(XMLException::DocumentError, loadErrorText1(document, loadResult, path));
}

// A stream over a copy of the bytes: the parser reads them unconverted and decides their
// encoding itself.
ComPtr<IStream> streamOver(const char *text)
{
    std::size_t length = std::strlen(text);
    ScopedGlobalMemory memory(GlobalAlloc(GMEM_MOVEABLE, length));
    if (!memory)
        Throw(XMLException::InternalError, String(L"MSXML1: GlobalAlloc() failed"));
    if (length != 0) {
        void *bytes = GlobalLock(memory.get());
        if (!bytes)
            Throw(XMLException::InternalError, String(L"MSXML1: GlobalAlloc() failed"));
        std::memcpy(bytes, text, length);
        GlobalUnlock(memory.get());
    }
    ComPtr<IStream> stream;
    if (FAILED(CreateStreamOnHGlobal(memory.get(), TRUE, stream.receive())))
        Throw(XMLException::InternalError, String(L"MSXML1: CreateStreamOnHGlobal() failed"));
    memory.release();  // the stream frees the block now
    return stream;
}

// A null text or path is what the parser would report as an invalid pointer.
template <class Text>
const Text *checkedText(const Text *text)
{
    if (!text)
        ThrowComError(E_POINTER);
    return text;
}

IDispatch *rootOf1(IXMLDocument *document)
{
    IXMLElement *root = nullptr;
    Check(document->get_root(&root));
    return root;
}

}  // namespace

XMLParser::XMLParser() noexcept {}

XMLParser::~XMLParser() { Release(); }

// The root goes first: it belongs to the document.
void XMLParser::Release() noexcept
{
    Reset(nullptr);
    document_.reset();
}

void XMLParser::ParseFile(const wchar_t *path)
{
    ErrorRecordScope errors;
    Release();
    String name(checkedText(path));
    if (Generation() == 4) {
        ComPtr<IXMLDOMDocument2> document = newDocument40(Load);
        Variant source;
        setString(source, name);
        VARIANT_BOOL loaded = VARIANT_FALSE;
        Check(document->load(source, &loaded));
        if (loaded != VARIANT_TRUE)
            throwParseError(document.get());
        Reset(rootOf40(document.get()));
        document_.reset(document.release());
        return;
    }
    if (!File::FileExists(name))
        Throw(XMLException::FileNotFound, String::FromFormat(units(L"File '%s' not found"), name.c_str()));
    ComPtr<IXMLDocument> document = newDocument1();
    Bstr url = MakeBstr(name);
    checkLoad1(document.get(), document->put_URL(url.get()), &name);
    Reset(rootOf1(document.get()));
    document_.reset(document.release());
}

void XMLParser::ParseData(const char *text)
{
    ErrorRecordScope errors;
    Release();
    checkedText(text);
    if (Generation() == 4) {
        ComPtr<IXMLDOMDocument2> document = newDocument40(Load);
        Bstr source = MakeBstr(String::FromSystemMultibyte(text));
        VARIANT_BOOL loaded = VARIANT_FALSE;
        Check(document->loadXML(source.get(), &loaded));
        if (loaded != VARIANT_TRUE)
            throwParseError(document.get());
        Reset(rootOf40(document.get()));
        document_.reset(document.release());
        return;
    }
    ComPtr<IXMLDocument> document = newDocument1();
    ComPtr<IPersistStreamInit> persist;
    if (FAILED(document->QueryInterface(IID_IPersistStreamInit, persist.receiveVoid())))
        Throw(XMLException::InternalError, String(L"MSXML1: No IPersistStreamInit interface"));
    ComPtr<IStream> stream = streamOver(text);
    checkLoad1(document.get(), persist->Load(stream.get()), nullptr);
    Reset(rootOf1(document.get()));
    document_.reset(document.release());
}

bool XMLParser::CanValidateSchema() const { return Generation() == 4; }

void XMLParser::ValidateSchema(const char *text)
{
    ErrorRecordScope errors;
    if (Generation() != 4)
        Throw(XMLException::InternalError, String(L"MSXML1 parser does not support validation"));
    IXMLDOMDocument2 *document = static_cast<IXMLDOMDocument2 *>(document_.get());
    if (!document)
        ThrowComError(E_POINTER);

    ComPtr<IXMLDOMDocument2> schema = newDocument40(Schema);
    Bstr source = MakeBstr(String::FromSystemMultibyte(checkedText(text)));
    VARIANT_BOOL loaded = VARIANT_FALSE;
    if (FAILED(schema->loadXML(source.get(), &loaded)) || loaded != VARIANT_TRUE)
        Throw(XMLException::InternalError, String(L"Internal XML schema invalid"));

    ComPtr<IXMLDOMSchemaCollection> schemas = CreateOrThrow<IXMLDOMSchemaCollection>(
        kXMLSchemaCache40, kIXMLDOMSchemaCollection, L"MSXML4 parser not installed");
    Bstr noNamespace = MakeBstr(String());
    Variant schemaDocument;
    setObject(schemaDocument, schema.get());
    Check(schemas->add(noNamespace.get(), schemaDocument));

    Variant collection;
    setObject(collection, schemas.get());
    Check(document->putref_schemas(collection));
    ComPtr<IXMLDOMParseError> error;
    Check(document->validate(error.receive()));
    if (!error)
        ThrowComError(E_POINTER);
    long code = 0;
    Check(error->get_errorCode(&code));
    if (code != 0)
        Throw(XMLException::DocumentError, ParseErrorText(error.get()));
}
