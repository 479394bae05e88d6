#include "Command.h"
#include "StdStreams.h"

#include <memory>

namespace qvtool {
namespace {

struct XmlOptions {
    std::string file;
    std::string select;
    std::vector<std::string> attributes;
    bool text = false;
    std::string schema;
    int generation = 0;
};

// The parser is a COM object: this thread joins an apartment for the command's lifetime.
struct ComApartment {
    HRESULT hr = CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
    ~ComApartment()
    {
        if (SUCCEEDED(hr))
            CoUninitialize();
    }
};

// The whole of a file ("-": standard input) as bytes.
std::string readAll(const std::string &name)
{
    unsigned long long size = 0;
    std::unique_ptr<InputStream> input = openInput(name, size);
    std::string bytes;
    char buffer[65536];
    aboutFile("cannot read", name, [&] {
        for (int got; (got = readPiece(*input, buffer, sizeof buffer)) > 0;)
            bytes.append(buffer, got);
    });
    return bytes;
}

// Line breaks of a text would split an element's line: they become blanks.
std::string oneLine(const String &text)
{
    std::string line = utf8(text);
    for (char &c : line) {
        if (c == '\r' || c == '\n')
            c = ' ';
    }
    return line;
}

// "tag name="value" ...", then ": text" with --text. Attributes the element lacks are left out.
void printElement(const XMLElement &element, const XmlOptions &options)
{
    std::string line = utf8(element.GetName());
    for (const std::string &name : options.attributes) {
        String value;
        if (element.GetAttribute(reinterpret_cast<const wchar_t *>(String::FromUtf8(name).c_str()), value, false))
            line += " " + name + "=\"" + oneLine(value) + "\"";
    }
    if (options.text)
        line += ": " + oneLine(element.GetText());
    printOut("%s\n", line.c_str());
}

int runXml(const XmlOptions &options)
{
    // The library reads the generation from the environment on its first use.
    if (options.generation)
        SetEnvironmentVariableA("QVCORE_MSXMLVER", options.generation == 1 ? "1" : "4");
    ComApartment apartment;
    if (FAILED(apartment.hr))
        return fail("xml: COM cannot be initialised: " + systemText(static_cast<unsigned long>(apartment.hr)));

    std::string shownFile = options.file == "-" ? "(standard input)" : options.file;
    try {
        XMLParser parser;
        if (options.file == "-")
            parser.ParseData(readAll(options.file).c_str());
        else
            parser.ParseFile(reinterpret_cast<const wchar_t *>(fileName(options.file).c_str()));
        if (!options.schema.empty()) {
            parser.ValidateSchema(readAll(options.schema).c_str());
            printOut("%s: valid\n", shownFile.c_str());
            return 0;
        }
        if (options.select.empty()) {
            printElement(parser, options);
            return 0;
        }
        std::wstring select(reinterpret_cast<const wchar_t *>(String::FromUtf8(options.select).c_str()));
        for (const XMLElement &element : parser.GetChildElements(select.c_str(), false))
            printElement(element, options);
        return 0;
    } catch (const XMLException &e) {
        // The parser's texts run over several lines: all of them, below the file's name.
        printErr("qvtool: xml: '%s':\n%s", shownFile.c_str(), utf8(e.message).c_str());
        if (!e.message.empty() && e.message.back() != '\n')
            writeErr("\n");
        return 1;
    }
}

Runner defineXml(CLI::App &command)
{
    auto options = std::make_shared<XmlOptions>();
    command.add_option("FILE", options->file, "the XML document ('-': standard input, read as text in memory)")
        ->required();
    command.add_option("SELECT", options->select,
                       "the child elements of the root to show: an XPath expression (generation 4) or a tag "
                       "pattern such as 'Item|Group' or '*' (generation 1); none: the root element");
    command.add_option("--attr", options->attributes, "show attribute NAME of each element (may be repeated)")
        ->type_name("NAME")
        ->allow_extra_args(false);
    command.add_flag("--text", options->text, "show each element's text");
    command.add_option("--validate", options->schema, "validate the document against the XML schema in XSD")
        ->type_name("XSD");
    command.add_option("--generation", options->generation, "the system parser's generation to use")
        ->check(CLI::IsMember({1, 4}));
    return [options] { return runXml(*options); };
}

const CommandRegistration registration({"xml",
                                         "the elements, attributes and texts of an XML document through the "
                                         "system's XML parser, or its validation against a schema",
                                         defineXml});

}  // namespace
}  // namespace qvtool
