// XML documents: damaged documents parsed and walked (every element, its attributes and text).
// The contract allows XMLException only. The parser generation is the process's (QVCORE_MSXMLVER
// chooses it once per process): tools/stress.sh runs the campaign once per generation.
#include "Campaign.h"

#include "qvcore/xml/XMLParser.h"

namespace qvstress {
namespace {

std::vector<std::string> xmlSamples(Random &random)
{
    std::vector<std::string> all;
    all.push_back("<?xml version=\"1.0\"?>\n<Catalog version=\"2\"><Group id=\"g1\" title=\"Live\">"
                  "<Item id=\"i1\"><file>a.mp3</file></Item><Item id=\"i2\"/></Group><!-- note -->"
                  "<Item id=\"i3\" title=\"&amp;&lt;&gt;\"><![CDATA[<raw>]]></Item></Catalog>");
    all.push_back("<?xml version=\"1.0\" encoding=\"windows-1252\"?><a x=\"\xe9\"><b><c/></b><b y='1'>t</b></a>");
    std::string deep = "<r>";
    for (int i = 0; i < 30; ++i)
        deep += "<n i=\"" + std::to_string(random.Below(1000)) + "\">";
    for (int i = 0; i < 30; ++i)
        deep += "</n>";
    all.push_back(deep + "</r>");
    return all;
}

void walk(const XMLElement &element, int depth)
{
    String value;
    element.GetName();
    element.GetText();
    element.GetAttribute(L"id", value, /*mustExist=*/false);
    if (depth < 40)
        for (const XMLElement &child : element.GetChildElements(L"*", /*mustExist=*/false))
            walk(child, depth + 1);
}

bool parseXml(const std::string &input, std::string &)
{
    XMLParser parser;
    try {
        parser.ParseData(input.c_str());
        walk(parser, 0);
    } catch (const XMLException &) {
    }
    return true;
}

bool parsesCleanly(const std::string &sample, std::string &why)
{
    try {
        XMLParser parser;
        parser.ParseData(sample.c_str());
        if (!parser.GetName().empty())
            return true;
        why = "the root element has no name";
    } catch (const XMLException &e) {
        why = e.message.Utf8();
    }
    return false;
}

const CampaignRegistration xml({"xml", "XMLParser over damaged documents", xmlSamples, parseXml, parsesCleanly});

}  // namespace
}  // namespace qvstress
