// Text in the library: String holds UTF-16; every other encoding is a conversion at the edge.
#include "qvcore/core/String.h"

#include <cstdio>

static void print(const String &line)
{
    std::puts(line.Utf8().c_str());  // the output is UTF-8 whatever the console's code page
}

int main()
{
    // Bytes from the outside world name their code page: here UTF-8 and windows-1252.
    String fromUtf8 = String::FromUtf8("Caf\xC3\xA9 cr\xC3\xA8me");
    String fromAnsi = String::FromMultibyte(1252, "Caf\xE9 cr\xE8me");
    print(String(L"same text from two code pages: ") << (fromUtf8 == fromAnsi ? String(L"yes") : String(L"no")));

    // Characters the code page lacks become the system's look-alike (best fit) or '?': no error.
    String greek = String::FromUtf8("\xCE\xB1\xCE\xB2\xCE\xB3 = abc");
    print(String(L"windows-1252 of '") << greek << String(L"': ") << String::FromLatin1(greek.Multibyte(1252)));

    // Formatting is msvcrt's printf with a "." for decimals whatever the user's locale.
    print(String::FromFormat(String(L"%-8s|%5d|%.2f"), L"total", 42, 3.14159));

    // Parsing never throws: it answers false and a zero value.
    int number = -1;
    bool parsed = String(L"12x").ParseNum(number);
    print(String(L"\"12x\" parses: ") << (parsed ? String(L"yes") : String(L"no")) << String(L", value ") << number);

    // Splitting and joining.
    std::list<String> parts = String(L"red,,green,blue").Split(L',');
    print(String(L"parts: ") << static_cast<int>(parts.size()) << String(L" -> ") << String::Join(parts, L" + "));
    return 0;
}
