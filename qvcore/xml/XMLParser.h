#ifndef QVCORE_XML_XMLPARSER_H
#define QVCORE_XML_XMLPARSER_H

#include "qvcore/Platform.h"
#include "qvcore/core/ScopedHandle.h"
#include "qvcore/core/String.h"

#include <oaidl.h>

#include <vector>

// Read-only XML documents through the system's COM XML parser, in one of two generations: the
// newer document object model (4: class DOMDocument40, XPath) or the first XML object model of
// the system (1: class XMLDocument, tag patterns). The generation is chosen once per process,
// on the first parse or CanValidateSchema(): QVCORE_MSXMLVER=1 or =4 forces it, anything else
// lets a probe decide (4 when DOMDocument40 can be created and run, else 1).
//
// The calling thread must have initialised COM. Nothing here takes a lock: parsers and their
// elements follow the threading rules of the system parser's objects.
//
// Every failure, including every COM failure inside the parser, is thrown as XMLException; no
// COM error type leaves the library.

/// What the XML classes throw: a code and a readable text of one or more lines.
struct XMLException {
    /// The codes. The numbers are compared by callers: they never change.
    enum Code {
        /// A COM failure inside the parser ("Unexpected COM error.\n" and what COM says about
        /// it), or a fixed text such as "MSXML1 parser does not support validation".
        InternalError = 0,
        /// "MSXML4 parser not installed", "MSXML1 parser not installed".
        ParserNotInstalled = 1,
        /// "File '<path>' not found" (first generation only: the newer one reports a missing
        /// file as a DocumentError).
        FileNotFound = 2,
        /// The parser's text for a malformed or invalid document, a missing mandatory attribute
        /// ("attribute 'id' missing in <item>") or child ("element <item> missing in <list>").
        DocumentError = 3,
    };

    int code;
    String message;
};

/// One element of a loaded document, or nothing (empty). A value: it holds one counted
/// reference to the parser's element object; copies share that object. Every operation but
/// operator bool throws XMLException InternalError on an empty element.
///
/// Elements keep their part of the document alive by their own reference and may outlive the
/// parser they came from, as far as the system parser allows: the first generation of some
/// systems (Wine's) frees the document with its last document reference, and elements taken
/// from it must not outlive their parser there.
class QVCORE_API XMLElement {
public:
    /// An empty element.
    XMLElement() noexcept;
    XMLElement(const XMLElement &other) noexcept;
    XMLElement(XMLElement &&other) noexcept;
    XMLElement &operator=(const XMLElement &other) noexcept;
    XMLElement &operator=(XMLElement &&other) noexcept;
    ~XMLElement();

    /// True when the element is not empty.
    operator bool() const noexcept { return element_.valid(); }

    /// The tag name as the parser reports it (the first generation of some systems reports
    /// it in upper case).
    String GetName() const;
    /// The text content of the element and all its descendants, as the parser reports it.
    String GetText() const;

    /// Looks the attribute up. Found: true, value set (a value that is not text is converted
    /// by the system's variant conversion). Not found: false, value untouched. With mustExist,
    /// a missing attribute, and equally one whose value is empty, throws DocumentError
    /// "attribute '<name>' missing in <<tag>>" instead.
    bool GetAttribute(const wchar_t *name, String &value, bool mustExist) const;

    /// The first element that name selects below this one, or an empty element when none is
    /// selected; with mustExist DocumentError "element <<name>> missing in <<tag>>" instead.
    /// Generation 4: name is an XPath expression evaluated from this element ("item" selects
    /// children named exactly item, "*" every child element, "a|b" the union, "a/b" deeper).
    /// Generation 1: name is a tag pattern over the direct children: "*" matches every tag;
    /// otherwise a tag matches when it equals, without regard to case, the start of the pattern
    /// or the start of the text after any "|" in it, over the tag's own length only (so
    /// "Item|Group" matches Item, GROUP, and also It or Gr).
    XMLElement GetChildElement(const wchar_t *name, bool mustExist) const;
    /// Every element that name selects, in document order (see GetChildElement); with
    /// mustExist an empty result throws DocumentError "element <<name>> missing in <<tag>>".
    std::vector<XMLElement> GetChildElements(const wchar_t *name, bool mustExist) const;

protected:
    /// Adopts the parser's element object (a reference the caller hands over).
    explicit XMLElement(IDispatch *adopted) noexcept : element_(adopted) {}
    /// The parser's element object: an IXMLDOMNode with generation 4, an IXMLElement with 1.
    IDispatch *Get() const noexcept { return element_.get(); }
    void Reset(IDispatch *adopted) noexcept { element_.reset(adopted); }

private:
    ComPtr<IDispatch> element_;
};

/// A loaded document; as an XMLElement it is the document's root element, so navigation starts
/// at the parser itself. Empty until the first successful parse; each parse first releases the
/// document held, and a failed one leaves the parser empty. Not copyable (copy it as an
/// XMLElement to keep its root).
class QVCORE_API XMLParser : public XMLElement {
public:
    XMLParser() noexcept;
    XMLParser(const XMLParser &) = delete;
    XMLParser &operator=(const XMLParser &) = delete;
    ~XMLParser();

    /// Loads the file at path. Generation 1 first throws FileNotFound when there is no such
    /// file; a document the parser rejects (generation 4: also a missing file) throws
    /// DocumentError with the parser's text; ParserNotInstalled when the generation's parser
    /// cannot be created. External entities and DTDs are neither fetched nor enforced.
    void ParseFile(const wchar_t *path);
    /// Loads the document in the zero-terminated text. Generation 4 reads the text in the ANSI
    /// code page (a declared encoding is ignored); generation 1 hands the bytes to the parser,
    /// which decides their encoding. Failures as ParseFile.
    void ParseData(const char *text);

    /// Chooses the generation if that has not happened yet; true exactly when it is 4.
    bool CanValidateSchema() const;
    /// Validates the loaded document against the XML schema (no target namespace) in the
    /// zero-terminated text; returns normally when the document is valid. Throws InternalError
    /// "MSXML1 parser does not support validation" with generation 1 (before looking at text),
    /// InternalError "Internal XML schema invalid" when the schema cannot be loaded, and
    /// DocumentError with the parser's text when the document is not valid.
    void ValidateSchema(const char *text);

private:
    void Release() noexcept;

    /// IXMLDOMDocument2 with generation 4, IXMLDocument with generation 1.
    ComPtr<IDispatch> document_;
};

#endif
