#include "qvcore/core/String.h"

#include <gtest/gtest.h>

#include <clocale>
#include <cmath>
#include <limits>
#include <ostream>
#include <stdexcept>
#include <thread>
#include <vector>

// Failure messages show the text, with zero units made visible.
void PrintTo(const String &s, std::ostream *out)
{
    *out << '"';
    for (unsigned short unit : s) {
        if (unit == 0)
            *out << "\\0";
        else if (unit < 0x80)
            *out << static_cast<char>(unit);
        else
            *out << "\\u" << std::hex << unit << std::dec;
    }
    *out << "\" (" << s.size() << " units)";
}

namespace {

String S(const wchar_t *s) { return String(s); }

// The system's own text for an error code, as the formatter gives it.
std::string systemErrorText(DWORD code)
{
    char *buffer = nullptr;
    DWORD length = ::FormatMessageA(FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_IGNORE_INSERTS |
                                        FORMAT_MESSAGE_FROM_SYSTEM,
                                    nullptr, code, 0x400, reinterpret_cast<LPSTR>(&buffer), 0, nullptr);
    std::string text(buffer ? buffer : "", length);
    LocalFree(buffer);
    return text;
}

}  // namespace

// --- construction, assignment, appending --------------------------------------------------

TEST(StringConstruction, CountsUnitsFromLengthNotFromZeroUnits)
{
    const unsigned short units[] = {'a', 0, 'b', 0};
    EXPECT_EQ(String(units).size(), 1u);
    EXPECT_EQ(String(units, 3).size(), 3u);
    EXPECT_EQ(String(units, 3)[2], 'b');
    EXPECT_EQ(String(static_cast<const unsigned short *>(nullptr)), String());

    MemoryArray<unsigned short> array(3);
    array.data()[0] = 'x';
    array.data()[1] = 0;
    array.data()[2] = 'y';
    String fromArray(array);
    EXPECT_EQ(fromArray.size(), 3u);
    EXPECT_EQ(fromArray[2], 'y');
    String assigned = S(L"old");
    assigned = array;
    EXPECT_EQ(assigned, fromArray);
    assigned = units;
    EXPECT_EQ(assigned, S(L"a"));

    EXPECT_EQ(String(S(L"abcdef"), 2, 3), S(L"cde"));
    EXPECT_EQ(String(S(L"abc"), 3, 5), String());
    EXPECT_THROW(String(S(L"abc"), 4, 1), std::out_of_range);
    EXPECT_EQ(String(u"\u00e9t\u00e9"), String(L"\u00e9t\u00e9"));
}

TEST(StringConstruction, CopiesAreIndependent)
{
    String a = S(L"one");
    String b = a;
    b[0] = 'O';
    EXPECT_EQ(a, S(L"one"));
    EXPECT_EQ(b, S(L"One"));
}

TEST(StringAppend, ChainsNumbersDoublesAndGuids)
{
    String s;
    s << S(L"n=") << -42 << S(L" big=") << static_cast<__int64>(-9000000000LL) << S(L" d=") << 2.5;
    EXPECT_EQ(s, S(L"n=-42 big=-9000000000 d=2.500000"));

    const GUID guid = {0x12345678, 0x9abc, 0xdef0, {0x01, 0x23, 0x45, 0x67, 0x89, 0xab, 0xcd, 0xef}};
    String withGuid = S(L"id:");
    withGuid << guid << S(L"!");
    // The GUID's terminating zero unit is carried along.
    EXPECT_EQ(withGuid.size(), 3u + 39u + 1u);
    EXPECT_EQ(withGuid[3 + 38], 0);
    EXPECT_EQ(withGuid.back(), '!');
}

// --- encodings ----------------------------------------------------------------------------

TEST(StringEncoding, RoundTripsThroughCodePages)
{
    // Windows-1252: the euro sign is byte 0x80.
    String euro = String::FromMultibyte(1252, "\x80 caf\xe9", -1);
    EXPECT_EQ(euro, S(L"\u20ac caf\u00e9"));
    EXPECT_EQ(euro.Multibyte(1252), "\x80 caf\xe9");
    // OEM 437: byte 0x82 is e acute, box drawing 0xC9.
    String oem = String::FromMultibyte(437, std::string("\x82\xc9", 2));
    EXPECT_EQ(oem, S(L"\u00e9\u2554"));
    EXPECT_EQ(oem.Multibyte(437), "\x82\xc9");
    // UTF-8 both ways, embedded zero bytes kept when the length is given.
    String utf8 = String::FromUtf8(std::string("\xe2\x82\xac\0x", 5));
    EXPECT_EQ(utf8.size(), 3u);
    EXPECT_EQ(utf8[0], 0x20ac);
    EXPECT_EQ(utf8[1], 0);
    EXPECT_EQ(utf8.Multibyte(65001), std::string("\xe2\x82\xac\0x", 5));
    EXPECT_EQ(String::FromSystemMultibyte("plain", 3), S(L"pla"));
    EXPECT_EQ(S(L"plain").SystemMultibyte(), "plain");
}

TEST(StringEncoding, ConversionFailuresGiveEmptyResults)
{
    EXPECT_EQ(String::FromMultibyte(1252, "abc", 0), String());
    EXPECT_EQ(String::FromMultibyte(1252, nullptr, 5), String());
    EXPECT_EQ(String::FromMultibyte(12345, "abc", 3), String());  // no such code page
    EXPECT_EQ(S(L"abc").Multibyte(12345), "");
    EXPECT_EQ(String().Multibyte(1252), "");
    // Characters 1252 cannot hold become its default character.
    EXPECT_EQ(S(L"a\u4e2db").Multibyte(1252), "a?b");
}

TEST(StringEncoding, DecodesTextLongerThanOneUnitPerByteBound)
{
    // 5000 bytes that decode to more units than the first buffer guess cannot happen for
    // single-byte pages; a long text still decodes exactly.
    std::string longText(5000, 'q');
    longText += "\xc3\xa9";
    String decoded = String::FromUtf8(longText);
    ASSERT_EQ(decoded.size(), 5001u);
    EXPECT_EQ(decoded.back(), 0xe9);
    EXPECT_EQ(decoded.Utf8(), longText);
}

TEST(StringEncoding, Utf8EncodesEachUnitBySelf)
{
    EXPECT_EQ(S(L"A\u00e9\u20ac").Utf8(), "A\xc3\xa9\xe2\x82\xac");
    const unsigned short pair[] = {0xD83D, 0xDE00};
    // Surrogates become two 3-byte sequences, not one 4-byte sequence.
    EXPECT_EQ(String(pair, 2).Utf8(), "\xed\xa0\xbd\xed\xb8\x80");
    EXPECT_EQ(String().Utf8(), "");
    const unsigned short edges[] = {0x7f, 0x80, 0x7ff, 0x800, 0xffff};
    EXPECT_EQ(String(edges, 5).Utf8(), "\x7f\xc2\x80\xdf\xbf\xe0\xa0\x80\xef\xbf\xbf");
}

TEST(StringEncoding, Latin1AndAsciiReplaceWhatTheyCannotHold)
{
    String latin = String::FromLatin1(std::string("\xe9\x80\0z", 4));
    ASSERT_EQ(latin.size(), 4u);
    EXPECT_EQ(latin[0], 0xe9);
    EXPECT_EQ(latin[1], 0x80);  // not the euro sign: bytes are units
    EXPECT_EQ(latin[2], 0);
    EXPECT_EQ(String::FromLatin1("ab", -1), S(L"ab"));
    EXPECT_EQ(S(L"\u00e9\u20ac").Latin1(), "\xe9?");
    EXPECT_EQ(S(L"e\u00e9\u007f").Ascii(), "e?\x7f");
}

// --- formatting ---------------------------------------------------------------------------

TEST(StringFormat, UsesTheWideRuntimeFormatter)
{
    // "%s" takes a wide string and "%S" a narrow one; "%I64d" a 64-bit value.
    EXPECT_EQ(String::FromFormat(S(L"%s|%S|%d"), L"wide", "narrow", 7), S(L"wide|narrow|7"));
    EXPECT_EQ(String::FromFormat(S(L"%I64d %x %05.1f"), 1LL << 40, 255, 3.14159), S(L"1099511627776 ff 003.1"));
    EXPECT_EQ(String::FromFormat(S(L"%lf"), 0.5), S(L"0.500000"));
    const unsigned short fmt[] = {'<', '%', 'd', '>', 0};
    EXPECT_EQ(String::FromFormat(fmt, 12), S(L"<12>"));
    String formatted;
    EXPECT_EQ(&formatted.Format(S(L"%c%c"), L'o', L'k'), &formatted);
    EXPECT_EQ(formatted, S(L"ok"));
}

TEST(StringFormat, GrowsBeyondTheFirstBuffer)
{
    std::wstring big(10000, L'z');
    String formatted = String::FromFormat(S(L"[%s]"), big.c_str());
    ASSERT_EQ(formatted.size(), 10002u);
    EXPECT_EQ(formatted.front(), '[');
    EXPECT_EQ(formatted[5000], 'z');
    EXPECT_EQ(formatted.back(), ']');
    // Exactly the first buffer's size.
    std::wstring exact(2048, L'e');
    EXPECT_EQ(String::FromFormat(S(L"%s"), exact.c_str()).size(), 2048u);
}

TEST(StringFormat, DecimalPointIsAlwaysAPoint)
{
    // Another part of the process has switched the runtime to a decimal comma.
    const char *previous = setlocale(LC_NUMERIC, nullptr);
    std::string saved = previous ? previous : "C";
    ASSERT_NE(setlocale(LC_NUMERIC, "German_Germany.1252"), nullptr);
    wchar_t local[32];
    _snwprintf(local, 32, L"%.1f", 1.5);
    ASSERT_EQ(std::wstring(local), L"1,5");  // the switch took effect

    EXPECT_EQ(String::FromFormat(S(L"%.2f"), 1.25), S(L"1.25"));
    String appended;
    appended << 0.25;
    EXPECT_EQ(appended, S(L"0.250000"));
    double value = 0;
    EXPECT_TRUE(S(L"1.5").ParseNum(value));
    EXPECT_EQ(value, 1.5);
    EXPECT_FALSE(S(L"1,5").ParseNum(value));
    EXPECT_EQ(value, 0);
    // The caller's locale is back afterwards.
    EXPECT_STREQ(setlocale(LC_NUMERIC, nullptr), "German_Germany.1252");
    setlocale(LC_NUMERIC, saved.c_str());
}

TEST(StringFormat, ThreadsFormatAndParseWithPointsWhileLocaleUsesComma)
{
    const char *previous = setlocale(LC_NUMERIC, nullptr);
    std::string saved = previous ? previous : "C";
    ASSERT_NE(setlocale(LC_NUMERIC, "German_Germany.1252"), nullptr);
    std::vector<int> failures(4, 0);
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([t, &failures] {
            for (int i = 0; i < 300; ++i) {
                double expected = t + i / 4.0;
                String text = String::FromFormat(S(L"%.2f"), expected);
                double parsed = -1;
                if (text.find(',') != String::npos || !text.ParseNum(parsed) || parsed != expected)
                    ++failures[t];
            }
        });
    }
    for (std::thread &thread : threads)
        thread.join();
    for (int t = 0; t < 4; ++t)
        EXPECT_EQ(failures[t], 0) << "thread " << t;
    EXPECT_STREQ(setlocale(LC_NUMERIC, nullptr), "German_Germany.1252");
    setlocale(LC_NUMERIC, saved.c_str());
}

TEST(StringFormat, MessageFormatTakesNarrowInserts)
{
    EXPECT_EQ(String::FromFormatMessage(S(L"%1 has %2!d! items%n"), "list", 3), S(L"list has 3 items\r\n"));
    const unsigned short fmt[] = {'[', '%', '1', ']', 0};
    EXPECT_EQ(String::FromFormatMessage(fmt, "x"), S(L"[x]"));
    // An unknown insert number makes the formatter fail.
    EXPECT_EQ(String::FromFormatMessage(S(L"%")), String());
}

TEST(StringFormat, FromErrorKeepsFirstLineWithItsCarriageReturn)
{
    String text = String::FromError(ERROR_FILE_NOT_FOUND);
    std::string expected = systemErrorText(ERROR_FILE_NOT_FOUND);
    ASSERT_FALSE(expected.empty());
    expected.erase(expected.find('\n'));
    EXPECT_EQ(text, String::FromSystemMultibyte(expected));
    ASSERT_FALSE(text.empty());
    EXPECT_EQ(text.back(), '\r');
    EXPECT_EQ(text.find(10), String::npos);
    EXPECT_EQ(String::FromError(0x2BADBEEF), String());
}

TEST(StringFormat, FromCharRepeatsAndRejectsNegativeCounts)
{
    EXPECT_EQ(String::FromChar('-', 3), S(L"---"));
    EXPECT_EQ(String::FromChar('-', 0), String());
    EXPECT_EQ(String::FromChar('x'), S(L"x"));
    EXPECT_THROW(String::FromChar('-', -1), std::length_error);
}

TEST(StringFormat, FromNumFollowsRuntimeRadixRules)
{
    EXPECT_EQ(String::FromNum(-255), S(L"-255"));
    EXPECT_EQ(String::FromNum(255, 16), S(L"ff"));
    EXPECT_EQ(String::FromNum(-1, 16), S(L"ffffffff"));  // two's complement outside radix 10
    EXPECT_EQ(String::FromNum(4000000000u), S(L"4000000000"));
    EXPECT_EQ(String::FromNum(35u, 36), S(L"z"));
    EXPECT_EQ(String::FromNum(static_cast<__int64>(-1), 16), S(L"ffffffffffffffff"));
    EXPECT_EQ(String::FromNum(std::numeric_limits<__int64>::min()), S(L"-9223372036854775808"));
    EXPECT_EQ(String::FromNum(std::numeric_limits<unsigned __int64>::max(), 2), String::FromChar('1', 64));
    EXPECT_EQ(String::FromNum(5, 1), String());
    EXPECT_EQ(String::FromNum(5u, 37), String());
}

TEST(StringFormat, FromGuidIs39UnitsEndingInZero)
{
    const GUID guid = {0x0a1b2c3d, 0x4e5f, 0x6a7b, {0x8c, 0x9d, 0xae, 0xbf, 0xc0, 0xd1, 0xe2, 0xf3}};
    String text = String::FromGUID(guid);
    ASSERT_EQ(text.size(), 39u);
    EXPECT_EQ(text.back(), 0);
    EXPECT_EQ(text.Left(38), S(L"{0A1B2C3D-4E5F-6A7B-8C9D-AEBFC0D1E2F3}"));
}
