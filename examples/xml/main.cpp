// Reading an XML document: the elements of a small catalogue with their attributes and text,
// then what a malformed document throws.
#include "qvcore/xml/XMLParser.h"

#include <objbase.h>

#include <cstdio>

// Tags in one case and names that select direct children only: such queries mean the same to
// both parser generations (XPath and tag patterns), so the program runs alike on every system.
static const char catalogue[] =
    "<?xml version=\"1.0\"?>\n"
    "<catalogue>\n"
    "  <track id=\"t1\" seconds=\"241\"><title>Harbour lights</title></track>\n"
    "  <track id=\"t2\" seconds=\"187\"><title>Low tide</title></track>\n"
    "  <track id=\"t3\"><title>Untimed</title></track>\n"
    "</catalogue>\n";

int main()
{
    // The XML classes need COM on the calling thread.
    CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
    try {
        XMLParser parser;  // after a parse, the parser is the root element
        parser.ParseData(catalogue);
        for (const XMLElement &track : parser.GetChildElements(L"track", /*mustExist=*/true)) {
            String id, seconds(L"unknown");  // GetAttribute leaves the value as it was when absent
            track.GetAttribute(L"id", id, /*mustExist=*/true);
            track.GetAttribute(L"seconds", seconds, /*mustExist=*/false);
            String title = track.GetChildElement(L"title", true).GetText();
            std::printf("%s: \"%s\", seconds: %s\n", id.Utf8().c_str(), title.Utf8().c_str(), seconds.Utf8().c_str());
        }
        // A mandatory child that is not there throws like a malformed document.
        parser.GetChildElement(L"album", /*mustExist=*/true);
    } catch (const XMLException &e) {
        std::printf("missing element: code %d\n", e.code);
    }

    try {
        XMLParser parser;
        parser.ParseData("<catalogue><track></catalogue>");  // <track> is never closed
        std::printf("parsed?\n");
    } catch (const XMLException &e) {
        // The message is the parser's own text, which differs between parsers and systems:
        // programs compare the code.
        std::printf("malformed document: code %d (%s)\n", e.code,
                    e.code == XMLException::DocumentError ? "DocumentError" : "unexpected");
    }
    CoUninitialize();
    return 0;
}
