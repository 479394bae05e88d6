// Navigating a loaded document: names, texts, attributes and child selection with either
// parser generation.

#include "qvcore/core/TextCast_p.h"
#include "qvcore/xml/XMLCom_p.h"
#include "qvcore/xml/XMLParser.h"

#include <utility>

using textcast::units;

using namespace xmlcom;

namespace {

// Elements hold the parser's element object as the IDispatch it derives from; which interface
// that is follows from the generation, which never changes once a document exists.
IXMLDOMNode *node40(IDispatch *element) { return static_cast<IXMLDOMNode *>(element); }
IXMLElement *element1(IDispatch *element) { return static_cast<IXMLElement *>(element); }

IDispatch *checked(IDispatch *element)
{
    // What the parser itself would answer for a missing object.
    if (!element)
        ThrowComError(E_POINTER);
    return element;
}

[[noreturn]] void throwMissingElement(const wchar_t *name, const String &parentTag)
{
    Throw(XMLException::DocumentError,
          String::FromFormat(units(L"element <%s> missing in <%s>"), name, parentTag.c_str()));
}

// --- first-generation tag patterns ---------------------------------------------------------

// The tag matches when its own length of units, from start, equals it without regard to case;
// a shorter rest of the pattern does not match.
bool matchesFrom(const String &tag, const String &pattern, String::size_type start)
{
    String::Base rest(pattern, start, tag.size());
    return rest.size() == tag.size() && tag.CompareNoCase(rest) == 0;
}

// "*" needs no tag: the children are taken without asking the parser for their names.
bool matchesEveryTag(const String &pattern) { return pattern.size() == 1 && pattern[0] == '*'; }

// Only the tag's length is compared, so "Item|Group" matches Item and Group without being
// split, and equally It and Gr: configuration files of the suite's applications rely on this.
bool tagMatches(const String &tag, const String &pattern)
{
    if (matchesFrom(tag, pattern, 0))
        return true;
    for (String::size_type bar = pattern.find('|'); bar != String::npos; bar = pattern.find('|', bar + 1)) {
        if (matchesFrom(tag, pattern, bar + 1))
            return true;
    }
    return false;
}

String tagName1(IXMLElement *element)
{
    Bstr name;
    Check(element->get_tagName(name.receive()));
    return FromBstr(name.get());
}

// Calls take(child) for each child element of parent in document order until it returns
// false. The collection is read through its enumerator, which moves on from where it stands:
// reading it by index costs some parsers (Wine's) a walk over the children for every index.
template <class Take>
void forEachChild1(IXMLElement *parent, Take take)
{
    ComPtr<IXMLElementCollection> children;
    Check(parent->get_children(children.receive()));
    if (!children)  // an element without children has no collection at all
        return;
    ComPtr<IUnknown> enumerable;
    Check(children->get__newEnum(enumerable.receive()));
    ComPtr<IEnumVARIANT> items;
    Check(enumerable->QueryInterface(IID_IEnumVARIANT, items.receiveVoid()));
    Check(items->Reset());
    for (;;) {
        Variant item;
        ULONG fetched = 0;
        HRESULT hr = items->Next(1, &item, &fetched);
        Check(hr);
        if (hr != S_OK || fetched == 0)
            return;
        if (item.vt != VT_DISPATCH || !item.pdispVal)
            continue;
        ComPtr<IXMLElement> child;
        Check(item.pdispVal->QueryInterface(kIXMLElement, child.receiveVoid()));
        long type = 0;
        Check(child->get_type(&type));
        if (type == XMLELEMTYPE_ELEMENT && !take(child))
            return;
    }
}

}  // namespace

XMLElement::XMLElement() noexcept {}

XMLElement::XMLElement(const XMLElement &other) noexcept
{
    if (IDispatch *element = other.Get()) {
        element->AddRef();
        element_.reset(element);
    }
}

XMLElement::XMLElement(XMLElement &&other) noexcept : element_(std::move(other.element_)) {}

XMLElement &XMLElement::operator=(const XMLElement &other) noexcept
{
    if (other.Get() == Get())
        return *this;
    if (IDispatch *element = other.Get())
        element->AddRef();
    element_.reset(other.Get());
    return *this;
}

XMLElement &XMLElement::operator=(XMLElement &&other) noexcept
{
    element_ = std::move(other.element_);
    return *this;
}

XMLElement::~XMLElement() {}

String XMLElement::GetName() const
{
    ErrorRecordScope errors;
    IDispatch *element = checked(Get());
    if (Generation() != 4)
        return tagName1(element1(element));
    Bstr name;
    Check(node40(element)->get_nodeName(name.receive()));
    return FromBstr(name.get());
}

String XMLElement::GetText() const
{
    ErrorRecordScope errors;
    IDispatch *element = checked(Get());
    Bstr text;
    if (Generation() == 4)
        Check(node40(element)->get_text(text.receive()));
    else
        Check(element1(element)->get_text(text.receive()));
    return FromBstr(text.get());
}

bool XMLElement::GetAttribute(const wchar_t *name, String &value, bool mustExist) const
{
    ErrorRecordScope errors;
    IDispatch *element = checked(Get());
    Bstr attribute = MakeBstr(name);
    Variant answer;
    if (Generation() == 4) {
        ComPtr<IXMLDOMElement> domElement;
        Check(element->QueryInterface(IID_IXMLDOMElement, domElement.receiveVoid()));
        Check(domElement->getAttribute(attribute.get(), &answer));
    } else {
        Check(element1(element)->getAttribute(attribute.get(), &answer));
    }
    // The newer parser answers a missing attribute with a null variant, the first generation
    // of some systems (Wine's) with an empty one.
    bool found = answer.vt != VT_NULL && answer.vt != VT_EMPTY;
    if (found && answer.vt != VT_BSTR)
        Check(VariantChangeType(&answer, &answer, 0, VT_BSTR));
    // A mandatory attribute that is present but empty counts as missing: the suite's files use
    // empty values to mean "not set".
    if (mustExist && (!found || SysStringLen(answer.bstrVal) == 0))
        Throw(XMLException::DocumentError,
              String::FromFormat(units(L"attribute '%s' missing in <%s>"), name, GetName().c_str()));
    if (found)
        value.assign(reinterpret_cast<const unsigned short *>(answer.bstrVal ? answer.bstrVal : L""),
                     SysStringLen(answer.bstrVal));
    return found;
}

XMLElement XMLElement::GetChildElement(const wchar_t *name, bool mustExist) const
{
    ErrorRecordScope errors;
    IDispatch *element = checked(Get());
    XMLElement child;
    if (Generation() == 4) {
        Bstr expression = MakeBstr(name);
        IXMLDOMNode *selected = nullptr;
        Check(node40(element)->selectSingleNode(expression.get(), &selected));
        child.Reset(selected);
    } else {
        String pattern(name);
        forEachChild1(element1(element), [&](ComPtr<IXMLElement> &candidate) {
            if (!matchesEveryTag(pattern) && !tagMatches(tagName1(candidate.get()), pattern))
                return true;
            child.Reset(candidate.release());
            return false;
        });
    }
    if (mustExist && !child)
        throwMissingElement(name, GetName());
    return child;
}

std::vector<XMLElement> XMLElement::GetChildElements(const wchar_t *name, bool mustExist) const
{
    ErrorRecordScope errors;
    IDispatch *element = checked(Get());
    std::vector<XMLElement> children;
    if (Generation() == 4) {
        Bstr expression = MakeBstr(name);
        ComPtr<IXMLDOMNodeList> selected;
        Check(node40(element)->selectNodes(expression.get(), selected.receive()));
        long length = 0;
        Check(selected->get_length(&length));
        children.reserve(static_cast<std::size_t>(length));
        for (long i = 0; i < length; ++i) {
            IXMLDOMNode *node = nullptr;
            Check(selected->get_item(i, &node));
            children.push_back(XMLElement(node));
        }
    } else {
        String pattern(name);
        forEachChild1(element1(element), [&](ComPtr<IXMLElement> &candidate) {
            if (matchesEveryTag(pattern) || tagMatches(tagName1(candidate.get()), pattern))
                children.push_back(XMLElement(candidate.release()));
            return true;
        });
    }
    if (mustExist && children.empty())
        throwMissingElement(name, GetName());
    return children;
}
