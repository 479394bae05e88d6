#include "qvcore/core/String.h"
#include "tests/support/StringCases.h"

#include <gtest/gtest.h>

#include <string>

TEST(StringEncoding, DecodesAndEncodesThroughCodePagesAndFailuresGiveEmptyResults)
{
    const std::string longText = std::string(5000, 'q') + "\xc3\xa9";
    expectEach<String>({
        {String::FromMultibyte(1252, "\x80 caf\xe9", -1), S(L"\u20ac caf\u00e9"), "1252"},
        {String::FromMultibyte(437, std::string("\x82\xc9", 2)), S(L"\u00e9\u2554"), "OEM 437"},
        {String::FromUtf8(std::string("\xe2\x82\xac\0x", 5)), N(L"\u20ac\0x", 3), "UTF-8, zero byte kept"},
        {String::FromUtf8(longText), String::FromChar('q', 5000) + S(L"\u00e9"), "long UTF-8"},
        {String::FromSystemMultibyte("plain", 3), S(L"pla"), "system, length given"},
        {String::FromMultibyte(65000, "+Ti0-"), S(L"\u4e2d"), "UTF-7"},
        {String::FromLatin1(std::string("\xe9\x80\0z", 4)), N(L"\u00e9\u0080\0z", 4), "Latin-1: bytes are units"},
        {String::FromLatin1("ab", -1), S(L"ab"), "Latin-1 to the zero"},
        {String::FromMultibyte(1252, "abc", 0), String(), "length 0"},
        {String::FromMultibyte(1252, "abc", -2), String(), "negative but not -1"},
        {String::FromUtf8("abc", -5), String(), "UTF-8, negative but not -1"},
        {String::FromLatin1("abc", -2), String(), "Latin-1, negative but not -1"},
        {String::FromMultibyte(1252, nullptr, 5), String(), "null"},
        {String::FromMultibyte(12345, "abc", 3), String(), "no such code page"},
    });
    expectEach<std::string>({
        {S(L"\u20ac caf\u00e9").Multibyte(1252), "\x80 caf\xe9", "1252"},
        {S(L"\u00e9\u2554").Multibyte(437), "\x82\xc9", "OEM 437"},
        {N(L"\u20ac\0x", 3).Multibyte(65001), std::string("\xe2\x82\xac\0x", 5), "65001 is Utf8()"},
        {S(L"plain").SystemMultibyte(), "plain", "system"},
        {S(L"\u4e2d").Multibyte(65000), "+Ti0-", "UTF-7: more than three bytes a unit, size asked for"},
        {S(L"a\u4e2db").Multibyte(1252), "a?b", "default character"},
        {S(L"abc").Multibyte(12345), "", "no such code page"}, {String().Multibyte(1252), "", "empty"},
        {S(L"\u00e9\u20ac").Latin1(), "\xe9?", "Latin-1"}, {S(L"e\u00e9\u007f").Ascii(), "e?\x7f", "ASCII"},
        {S(L"A\u00e9\u20ac").Utf8(), "A\xc3\xa9\xe2\x82\xac", "UTF-8"},
        {N(L"\xD83D\xDE00", 2).Utf8(), "\xed\xa0\xbd\xed\xb8\x80", "surrogates: six bytes, not four"},
        {String().Utf8(), "", "UTF-8 of empty"},
        {N(L"\x7f\x80\x7ff\x800\xffff", 5).Utf8(), "\x7f\xc2\x80\xdf\xbf\xe0\xa0\x80\xef\xbf\xbf", "UTF-8 edges"},
    });
}
