// Loading and walking a generated 10 MB document (every element, every attribute) through
// XMLParser/XMLElement, beside the same load and walk written directly against the system
// parser's interfaces in the same run, for each parser generation; then the time to collect
// 12,500 to 100,000 children of one element, which doubles with their number when the
// collection is linear.
//
// Goal: the library within 5 % of the direct calls; children collected in linear time (the time
// for twice the children grows at most 1.5 times as much as the direct calls' time).
//
//   tools/wine/wine-run.sh $PWD/build/x86_64 build/x86_64/bin/XmlBench.exe [MEGABYTES]
//
// Without a generation argument the program runs itself once per generation (the generation
// is chosen once per process).

#include "bench/Bench.h"
#include "qvcore/xml/XMLParser.h"

#include <msxml2.h>
#include <ocidl.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

namespace {

const CLSID kDOMDocument40 = {0x88D969C0, 0xF192, 0x11D4, {0xA6, 0x5F, 0x00, 0x40, 0x96, 0x32, 0x51, 0xE5}};
const CLSID kXMLDocument = {0xCFC399AF, 0xD876, 0x11D0, {0x9C, 0x10, 0x00, 0xC0, 0x4F, 0xC9, 0x9C, 0x8E}};
const IID kIXMLDOMDocument2 = {0x2933BF95, 0x7B36, 0x11D2, {0xB2, 0x0E, 0x00, 0xC0, 0x4F, 0x98, 0x3E, 0x60}};
const IID kIXMLDocument = {0xF52E2B61, 0x18A1, 0x11D1, {0xB1, 0x05, 0x00, 0x80, 0x5F, 0x49, 0x91, 0x6B}};
const IID kIXMLElement = {0x3F7F31AC, 0xE15F, 0x11D0, {0x9C, 0x25, 0x00, 0xC0, 0x4F, 0xC9, 0x9C, 0x8E}};

const wchar_t *const kAttributes[] = {L"id", L"name", L"value"};

// Groups of items, each item with three attributes and a text: about 90 bytes an element.
std::string generateDocument(std::size_t bytes)
{
    std::string text = "<?xml version='1.0' encoding='UTF-8'?>\n<catalog>\n";
    for (int group = 0; text.size() < bytes; ++group) {
        text += "<group id='" + std::to_string(group) + "' name='g" + std::to_string(group) + "' value='x'>\n";
        for (int item = 0; item < 10; ++item) {
            std::string n = std::to_string(group * 10 + item);
            text += " <item id='" + n + "' name='item" + n + "' value='" + std::to_string(item * 7) + "'>text " + n +
                    "</item>\n";
        }
        text += "</group>\n";
    }
    return text + "</catalog>\n";
}

std::string writeTemporary(const std::string &name, const std::string &bytes)
{
    char folder[MAX_PATH];
    GetTempPathA(sizeof folder, folder);
    std::string path = std::string(folder) + name;
    HANDLE file = CreateFileA(path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr);
    DWORD written = 0;
    WriteFile(file, bytes.data(), static_cast<DWORD>(bytes.size()), &written, nullptr);
    CloseHandle(file);
    return path;
}

struct Counts {
    long elements = 0, attributes = 0;
};

// --- through the library ---------------------------------------------------------------------

void walkLibrary(const XMLElement &element, Counts &counts)
{
    ++counts.elements;
    String value;
    for (const wchar_t *name : kAttributes)
        counts.attributes += element.GetAttribute(name, value, false);
    for (const XMLElement &child : element.GetChildElements(L"*", false))
        walkLibrary(child, counts);
}

Counts loadAndWalkLibrary(const std::wstring &path)
{
    Counts counts;
    XMLParser parser;
    parser.ParseFile(path.c_str());
    walkLibrary(parser, counts);
    return counts;
}

// --- directly, generation 4 ------------------------------------------------------------------

void check(HRESULT hr, const char *what)
{
    if (FAILED(hr)) {
        std::fprintf(stderr, "%s failed: 0x%08lx\n", what, static_cast<unsigned long>(hr));
        std::exit(1);
    }
}

// Created the way the library creates the parser's documents (as IUnknown, run, then queried).
template <class Interface>
Interface *createRunning(REFCLSID clsid, REFIID iid)
{
    IUnknown *object = nullptr;
    Interface *result = nullptr;
    check(CoCreateInstance(clsid, nullptr, CLSCTX_INPROC_SERVER | CLSCTX_INPROC_HANDLER | CLSCTX_LOCAL_SERVER,
                           IID_IUnknown, reinterpret_cast<void **>(&object)),
          "CoCreateInstance");
    check(OleRun(object), "OleRun");
    check(object->QueryInterface(iid, reinterpret_cast<void **>(&result)), "QueryInterface");
    object->Release();
    return result;
}

// The child elements of node, each with a reference for the caller.
std::vector<IXMLDOMNode *> children40(IXMLDOMNode *node, BSTR all)
{
    IXMLDOMNodeList *children = nullptr;
    check(node->selectNodes(all, &children), "selectNodes");
    long length = 0;
    children->get_length(&length);
    std::vector<IXMLDOMNode *> items(static_cast<std::size_t>(length));
    for (long i = 0; i < length; ++i)
        check(children->get_item(i, &items[i]), "get_item");
    children->Release();
    return items;
}

void walk40(IXMLDOMNode *node, BSTR all, BSTR *names, Counts &counts)
{
    ++counts.elements;
    IXMLDOMElement *element = nullptr;
    check(node->QueryInterface(IID_IXMLDOMElement, reinterpret_cast<void **>(&element)), "QueryInterface");
    for (int i = 0; i < 3; ++i) {
        VARIANT value;
        VariantInit(&value);
        check(element->getAttribute(names[i], &value), "getAttribute");
        counts.attributes += value.vt != VT_NULL;
        VariantClear(&value);
    }
    element->Release();
    for (IXMLDOMNode *child : children40(node, all)) {
        walk40(child, all, names, counts);
        child->Release();
    }
}

IXMLDOMDocument2 *loadDocument40(const std::wstring &path)
{
    IXMLDOMDocument2 *document = createRunning<IXMLDOMDocument2>(kDOMDocument40, kIXMLDOMDocument2);
    document->put_async(VARIANT_FALSE);
    document->put_resolveExternals(VARIANT_FALSE);
    document->put_validateOnParse(VARIANT_FALSE);
    VARIANT source;
    source.vt = VT_BSTR;
    source.bstrVal = SysAllocString(path.c_str());
    VARIANT_BOOL loaded = VARIANT_FALSE;
    check(document->load(source, &loaded), "load");
    VariantClear(&source);
    return document;
}

IXMLDOMNode *root40(IXMLDOMDocument2 *document, BSTR all)
{
    IXMLDOMNode *root = nullptr;
    check(document->selectSingleNode(all, &root), "selectSingleNode");
    return root;
}

Counts loadAndWalk40(const std::wstring &path, BSTR *names)
{
    Counts counts;
    IXMLDOMDocument2 *document = loadDocument40(path);
    BSTR all = SysAllocString(L"*");
    IXMLDOMNode *root = root40(document, all);
    walk40(root, all, names, counts);
    root->Release();
    SysFreeString(all);
    document->Release();
    return counts;
}

// --- directly, generation 1 ------------------------------------------------------------------

// The child elements of element in document order, each with a reference for the caller.
std::vector<IXMLElement *> children1(IXMLElement *element)
{
    IXMLElementCollection *children = nullptr;
    check(element->get_children(&children), "get_children");
    IUnknown *enumerable = nullptr;
    IEnumVARIANT *items = nullptr;
    check(children->get__newEnum(&enumerable), "_newEnum");
    check(enumerable->QueryInterface(IID_IEnumVARIANT, reinterpret_cast<void **>(&items)), "QueryInterface");
    enumerable->Release();
    items->Reset();
    std::vector<IXMLElement *> elements;
    for (;;) {
        VARIANT item;
        VariantInit(&item);
        ULONG fetched = 0;
        if (items->Next(1, &item, &fetched) != S_OK || fetched == 0)
            break;
        IXMLElement *child = nullptr;
        long type = -1;
        if (item.vt == VT_DISPATCH && SUCCEEDED(item.pdispVal->QueryInterface(kIXMLElement, reinterpret_cast<void **>(&child))) &&
            SUCCEEDED(child->get_type(&type)) && type == XMLELEMTYPE_ELEMENT)
            elements.push_back(child);
        else if (child)
            child->Release();
        VariantClear(&item);
    }
    items->Release();
    children->Release();
    return elements;
}

void walk1(IXMLElement *element, BSTR *names, Counts &counts)
{
    ++counts.elements;
    for (int i = 0; i < 3; ++i) {
        VARIANT value;
        VariantInit(&value);
        check(element->getAttribute(names[i], &value), "getAttribute");
        counts.attributes += value.vt != VT_NULL && value.vt != VT_EMPTY;
        VariantClear(&value);
    }
    for (IXMLElement *child : children1(element)) {
        walk1(child, names, counts);
        child->Release();
    }
}

IXMLDocument *loadDocument1(const std::wstring &path)
{
    IXMLDocument *document = createRunning<IXMLDocument>(kXMLDocument, kIXMLDocument);
    BSTR url = SysAllocString(path.c_str());
    check(document->put_URL(url), "put_URL");
    SysFreeString(url);
    return document;
}

IXMLElement *root1(IXMLDocument *document)
{
    IXMLElement *root = nullptr;
    check(document->get_root(&root), "get_root");
    return root;
}

Counts loadAndWalk1(const std::wstring &path, BSTR *names)
{
    Counts counts;
    IXMLDocument *document = loadDocument1(path);
    IXMLElement *root = root1(document);
    walk1(root, names, counts);
    root->Release();
    document->Release();
    return counts;
}

// --- the measurements ------------------------------------------------------------------------

std::wstring childrenFile(int count)
{
    std::string text = "<r>";
    for (int i = 0; i < count; ++i)
        text += "<c/>";
    std::string path = writeTemporary("qvcore-xml-children.xml", text + "</r>");
    return std::wstring(path.begin(), path.end());
}

template <class Item>
std::size_t releaseAll(const std::vector<Item *> &items)
{
    for (Item *item : items)
        item->Release();
    return items.size();
}

struct Collection {
    double library, direct;
};

// Seconds to collect every child of a root with count children (best of three), through the
// library and directly.
Collection collectChildren(int generation, int count)
{
    std::wstring path = childrenFile(count);
    Collection seconds;
    std::size_t got = 0;
    {
        XMLParser parser;
        parser.ParseFile(path.c_str());
        seconds.library = bench::bestTimes(3, {[&] { got = parser.GetChildElements(L"*", false).size(); }})[0];
    }
    if (generation == 4) {
        IXMLDOMDocument2 *document = loadDocument40(path);
        BSTR all = SysAllocString(L"*");
        IXMLDOMNode *root = root40(document, all);
        seconds.direct = bench::bestTimes(3, {[&] { got = releaseAll(children40(root, all)); }})[0];
        root->Release();
        SysFreeString(all);
        document->Release();
    } else {
        IXMLDocument *document = loadDocument1(path);
        IXMLElement *root = root1(document);
        seconds.direct = bench::bestTimes(3, {[&] { got = releaseAll(children1(root)); }})[0];
        root->Release();
        document->Release();
    }
    if (got != static_cast<std::size_t>(count))
        std::fprintf(stderr, "collected %zu children of %d\n", got, count);
    return seconds;
}

// The generated document loaded and walked through the library beside the direct calls.
void loadAndWalk(int generation, const std::wstring &path, BSTR *names, double megabytes)
{
    Counts library, direct;
    const int rounds = 5;
    std::vector<double> seconds = bench::bestTimes(
        rounds, {[&] { direct = generation == 4 ? loadAndWalk40(path, names) : loadAndWalk1(path, names); },
                 [&] { library = loadAndWalkLibrary(path); }});
    std::printf("generation %d: %.1f MB, %ld elements, %ld attributes (direct: %ld, %ld), best of %d rounds\n",
                generation, megabytes, library.elements, library.attributes, direct.elements, direct.attributes,
                rounds);
    bench::row("load and walk, XMLParser", seconds[1], "load and walk, direct calls", seconds[0], "s",
               bench::ratioAtMost(1.05));
}

// Each size twice the last: a linear collection takes twice as long each time, a quadratic one
// four times. The library's growth is held against the direct calls' growth in the same run (the
// cache and the machine's load bend both alike): a quadratic collection over linear calls would
// grow twice as fast as they do.
void childCollection(int generation)
{
    Collection previous = {0, 0};
    for (int count : {12500, 25000, 50000, 100000}) {
        Collection seconds = collectChildren(generation, count);
        std::string children = std::to_string(count) + " children";
        bench::row("GetChildElements, " + children, seconds.library, "direct calls, " + children, seconds.direct, "s");
        if (previous.library > 0)
            bench::row("  growth for twice the children", seconds.library / previous.library,
                       "direct calls' growth", seconds.direct / previous.direct, "x", bench::ratioAtMost(1.5));
        previous = seconds;
    }
}

int runGeneration(int generation, std::size_t megabytes)
{
    CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
    if (XMLParser().CanValidateSchema() != (generation == 4)) {
        std::fprintf(stderr, "generation %d is not in force\n", generation);
        return 1;
    }
    std::string document = generateDocument(megabytes << 20);
    std::string narrowPath = writeTemporary("qvcore-xml-bench.xml", document);
    std::wstring path(narrowPath.begin(), narrowPath.end());
    BSTR names[3] = {SysAllocString(kAttributes[0]), SysAllocString(kAttributes[1]), SysAllocString(kAttributes[2])};
    loadAndWalk(generation, path, names, document.size() / 1048576.0);
    childCollection(generation);
    for (BSTR name : names)
        SysFreeString(name);
    DeleteFileA(narrowPath.c_str());
    CoUninitialize();
    return 0;
}

// Runs this program again with the generation forced in its environment.
int runChild(int generation, std::size_t megabytes)
{
    char self[MAX_PATH];
    GetModuleFileNameA(nullptr, self, sizeof self);
    std::string command = "\"" + std::string(self) + "\" " + std::to_string(megabytes) + " " + std::to_string(generation);
    SetEnvironmentVariableA("QVCORE_MSXMLVER", generation == 4 ? "4" : "1");
    STARTUPINFOA startup = {};
    startup.cb = sizeof startup;
    PROCESS_INFORMATION process = {};
    if (!CreateProcessA(nullptr, &command[0], nullptr, nullptr, FALSE, 0, nullptr, nullptr, &startup, &process))
        return 1;
    WaitForSingleObject(process.hProcess, INFINITE);
    DWORD code = 1;
    GetExitCodeProcess(process.hProcess, &code);
    CloseHandle(process.hThread);
    CloseHandle(process.hProcess);
    return static_cast<int>(code);
}

}  // namespace

int main(int argc, char **argv)
{
    std::size_t megabytes = argc > 1 ? std::strtoul(argv[1], nullptr, 10) : 10;
    if (argc > 2)
        return runGeneration(std::atoi(argv[2]), megabytes);
    int status = 0;
    for (int generation : {4, 1})
        status |= runChild(generation, megabytes);
    return status;
}
