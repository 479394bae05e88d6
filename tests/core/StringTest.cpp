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
    // UTF-7 needs more than three bytes per unit here: the size is asked for and the
    // conversion repeated.
    EXPECT_EQ(S(L"\u4e2d").Multibyte(65000), "+Ti0-");
    EXPECT_EQ(String::FromMultibyte(65000, "+Ti0-"), S(L"\u4e2d"));
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

TEST(StringFormat, DateAndTimeFollowTheUserLocale)
{
    SYSTEMTIME time = {};
    time.wYear = 2024;
    time.wMonth = 2;
    time.wDay = 29;
    time.wHour = 13;
    time.wMinute = 5;
    time.wSecond = 9;
    char expected[128];
    ASSERT_GT(GetDateFormatA(LOCALE_USER_DEFAULT, DATE_LONGDATE, &time, nullptr, expected, sizeof expected), 0);
    EXPECT_EQ(String::FromDate(time, true), String::FromSystemMultibyte(expected));
    ASSERT_GT(GetDateFormatA(LOCALE_USER_DEFAULT, DATE_SHORTDATE, &time, nullptr, expected, sizeof expected), 0);
    EXPECT_EQ(String::FromDate(time), String::FromSystemMultibyte(expected));
    ASSERT_GT(GetTimeFormatA(LOCALE_USER_DEFAULT, 0, &time, nullptr, expected, sizeof expected), 0);
    EXPECT_EQ(String::FromTime(time), String::FromSystemMultibyte(expected));
    ASSERT_GT(GetTimeFormatA(LOCALE_USER_DEFAULT, TIME_NOSECONDS, &time, nullptr, expected, sizeof expected), 0);
    String noSeconds = String::FromTime(time, false);
    EXPECT_EQ(noSeconds, String::FromSystemMultibyte(expected));
    EXPECT_EQ(noSeconds.find(S(L"09")), String::npos);

    SYSTEMTIME invalid = time;
    invalid.wMonth = 13;
    EXPECT_EQ(String::FromDate(invalid), String());
    invalid = time;
    invalid.wHour = 25;
    EXPECT_EQ(String::FromTime(invalid), String());
}

TEST(StringLimits, LengthAbove2147483645UnitsThrowsBeforeAllocating)
{
    EXPECT_THROW(String::FromChar('x', 2147483646), std::length_error);
    String s = S(L"ab");
    EXPECT_THROW(s.Insert(1, 'x', 2147483644), std::length_error);
    EXPECT_EQ(s, S(L"ab"));
    EXPECT_THROW(s.Insert(1, 'x', -1), std::length_error);
}

// --- parsing ------------------------------------------------------------------------------

TEST(StringParse, Int32AcceptsBlanksSignsAndDigitsByLowByte)
{
    int value = -1;
    EXPECT_TRUE(String().ParseNum(value));
    EXPECT_EQ(value, 0);
    value = -1;
    EXPECT_TRUE(S(L"  +").ParseNum(value));
    EXPECT_EQ(value, 0);
    EXPECT_TRUE(S(L" \t-12").ParseNum(value));
    EXPECT_EQ(value, -12);
    EXPECT_TRUE(S(L"7fffFFFF").ParseNum(value, 16));
    EXPECT_EQ(value, 0x7fffffff);
    EXPECT_TRUE(S(L"z").ParseNum(value, 36));
    EXPECT_EQ(value, 35);
    // A unit whose low byte is '5' counts as the digit 5.
    const unsigned short odd[] = {'1', 0x0135, 0};
    EXPECT_TRUE(String(odd).ParseNum(value));
    EXPECT_EQ(value, 15);

    value = 99;
    EXPECT_FALSE(S(L"0x1A").ParseNum(value, 16));  // x is digit 33
    EXPECT_EQ(value, 0);
    EXPECT_FALSE(S(L"19").ParseNum(value, 8));
    EXPECT_FALSE(S(L"1").ParseNum(value, 1));
    EXPECT_FALSE(S(L"1").ParseNum(value, 37));
    EXPECT_FALSE(S(L"1.5").ParseNum(value));
    const unsigned short embedded[] = {'1', 0, '2'};
    EXPECT_FALSE(String(embedded, 3).ParseNum(value));
}

TEST(StringParse, TrailingBlanksOnlyAfterValuesBeyondSignedRange)
{
    int value = 0;
    unsigned int unsignedValue = 0;
    EXPECT_FALSE(S(L"12 ").ParseNum(value));
    EXPECT_TRUE(S(L" 12").ParseNum(value));
    EXPECT_EQ(value, 12);
    EXPECT_TRUE(S(L"4000000000 ").ParseNum(unsignedValue));
    EXPECT_EQ(unsignedValue, 4000000000u);
    EXPECT_TRUE(S(L"4000000000\t").ParseNum(value));
    EXPECT_EQ(value, static_cast<int>(4000000000u));  // wraps as int
    EXPECT_FALSE(S(L"2147483647 ").ParseNum(value));
    EXPECT_TRUE(S(L"2147483648 ").ParseNum(value));
    EXPECT_FALSE(S(L"-2147483648 ").ParseNum(value));
    EXPECT_TRUE(S(L"-2147483649 ").ParseNum(value));
    EXPECT_TRUE(S(L"-2147483648").ParseNum(value));
    EXPECT_EQ(value, std::numeric_limits<int>::min());
    EXPECT_TRUE(S(L"4294967295").ParseNum(unsignedValue));
    EXPECT_EQ(unsignedValue, 4294967295u);
    // Overflow that makes the value smaller fails; the test catches only a visible wrap.
    EXPECT_FALSE(S(L"4294967296").ParseNum(unsignedValue));
    EXPECT_EQ(unsignedValue, 0u);
    EXPECT_FALSE(S(L"99999999999").ParseNum(unsignedValue));
}

TEST(StringParse, Int64UsesTheSameRulesWith64BitLimits)
{
    __int64 value = 0;
    unsigned __int64 unsignedValue = 0;
    EXPECT_TRUE(S(L"-9223372036854775808").ParseNum(value));
    EXPECT_EQ(value, std::numeric_limits<__int64>::min());
    EXPECT_FALSE(S(L"9223372036854775807 ").ParseNum(value));
    EXPECT_TRUE(S(L"9223372036854775808 ").ParseNum(unsignedValue));
    EXPECT_EQ(unsignedValue, 9223372036854775808ULL);
    EXPECT_TRUE(S(L"ffffffffffffffff").ParseNum(unsignedValue, 16));
    EXPECT_EQ(unsignedValue, std::numeric_limits<unsigned __int64>::max());
    EXPECT_FALSE(S(L"18446744073709551616").ParseNum(unsignedValue));
    EXPECT_EQ(unsignedValue, 0u);
    EXPECT_TRUE(S(L"4000000000").ParseNum(value));
    EXPECT_EQ(value, 4000000000LL);
}

TEST(StringParse, DoubleReadsUpToFirstBlank)
{
    double value = -1;
    EXPECT_TRUE(S(L"  1.5 abc").ParseNum(value));
    EXPECT_EQ(value, 1.5);
    EXPECT_TRUE(S(L"-2.5E2").ParseNum(value));
    EXPECT_EQ(value, -250.0);
    EXPECT_TRUE(S(L"INF").ParseNum(value));
    EXPECT_EQ(value, std::numeric_limits<double>::infinity());
    EXPECT_TRUE(S(L"+inf").ParseNum(value));
    EXPECT_EQ(value, std::numeric_limits<double>::infinity());
    EXPECT_TRUE(S(L"-Inf").ParseNum(value));
    EXPECT_EQ(value, -std::numeric_limits<double>::infinity());
    EXPECT_TRUE(S(L"NaN").ParseNum(value));
    EXPECT_TRUE(std::isnan(value));

    for (const wchar_t *bad : {L"1,5", L"", L"   ", L"1.5x", L"\u00bd", L"1\u00e9"}) {
        value = 7;
        EXPECT_FALSE(S(bad).ParseNum(value)) << "input: " << String(bad).Utf8();
        EXPECT_EQ(value, 0);
    }
    const unsigned short embedded[] = {'1', 0, '5'};
    EXPECT_FALSE(String(embedded, 3).ParseNum(value));

    float single = 0;
    EXPECT_TRUE(S(L"0.25").ParseNum(single));
    EXPECT_EQ(single, 0.25f);
}

TEST(StringParse, GuidReadsBracedTextOrGivesZero)
{
    GUID guid = {};
    EXPECT_TRUE(S(L"{0A1B2C3D-4E5F-6A7B-8C9D-AEBFC0D1E2F3}").ParseGUID(guid));
    EXPECT_EQ(guid.Data1, 0x0a1b2c3dul);
    EXPECT_EQ(guid.Data4[7], 0xf3);
    // FromGUID's text, zero unit included, reads back.
    GUID again = {};
    EXPECT_TRUE(String::FromGUID(guid).ParseGUID(again));
    EXPECT_TRUE(IsEqualGUID(guid, again));
    EXPECT_FALSE(S(L"{0A1B2C3D-4E5F-6A7B-8C9D-AEBFC0D1E2FZ}").ParseGUID(guid));
    EXPECT_TRUE(IsEqualGUID(guid, GUID()));
}

// --- comparison ---------------------------------------------------------------------------

TEST(StringCompare, QuickTestThenLocaleOrder)
{
    EXPECT_EQ(S(L"abc").Compare(S(L"abcd")), -1);
    EXPECT_EQ(S(L"abcdef").Compare(S(L"abc")), 3);  // length difference, not just the sign
    EXPECT_EQ(S(L"abc").Compare(S(L"abc")), 0);
    EXPECT_EQ(S(L"abc").Compare(S(L"abd")), -1);
    EXPECT_EQ(S(L"abd").Compare(S(L"abc")), 1);
    EXPECT_EQ(S(L"abc").Compare(S(L"abd"), 2), 0);
    EXPECT_EQ(S(L"abcx").Compare(S(L"ab"), 3), 1);
    // The locale, not the unit values, orders: 'a' before 'B'.
    EXPECT_EQ(S(L"a").Compare(S(L"B")), -1);
    EXPECT_LT(S(L"B").Compare(S(L"a")), 0 + 2);
    EXPECT_EQ(S(L"B").Compare(S(L"a")), 1);

    EXPECT_EQ(S(L"abc").CompareNoCase(S(L"ABC")), 0);
    EXPECT_EQ(S(L"abc").CompareNoCase(S(L"ABD")), -1);
    EXPECT_EQ(S(L"ABC").CompareNoCase(S(L"ab")), 1);  // locale answer after the quick test
    EXPECT_EQ(S(L"abc").CompareNoCase(S(L"ab")), 1);  // quick test: 3 - 2

    String::LocaleLess less;
    EXPECT_TRUE(less(S(L"apple"), S(L"Banana")));
    EXPECT_FALSE(less(S(L"Banana"), S(L"apple")));
    EXPECT_FALSE(less(S(L"same"), S(L"same")));
}

// --- substrings and editing ---------------------------------------------------------------

TEST(StringEdit, LeftRightMid)
{
    String s = S(L"abcdef");
    EXPECT_EQ(s.Left(2), S(L"ab"));
    EXPECT_EQ(s.Left(-1), s);
    EXPECT_EQ(s.Left(6), s);
    EXPECT_EQ(s.Left(0), String());
    EXPECT_EQ(s.Right(2), S(L"ef"));
    EXPECT_EQ(s.Right(99), s);
    EXPECT_EQ(s.Right(0), String());
    const unsigned short zeroEnd[] = {'a', 'b', 'x', 0};
    EXPECT_EQ(String(zeroEnd, 4).Right(2), S(L"x"));
    const unsigned short zeroInside[] = {'a', 0, 'b', 'c'};
    EXPECT_EQ(String(zeroInside, 4).Right(3), String());
    EXPECT_EQ(String(zeroInside, 4).Right(4).size(), 4u);  // whole string, zero kept
    EXPECT_EQ(s.Mid(2), S(L"cdef"));
    EXPECT_EQ(s.Mid(2, 2), S(L"cd"));
    EXPECT_EQ(s.Mid(6), String());
    EXPECT_THROW(s.Mid(7), std::out_of_range);
    EXPECT_THROW(s.Mid(-1), std::out_of_range);
}

TEST(StringEdit, CaseMappingGoesThroughAnsiCodePage)
{
    EXPECT_EQ(S(L"Hello World").UpperCase(), S(L"HELLO WORLD"));
    EXPECT_EQ(S(L"Hello World").LowerCase(), S(L"hello world"));
    String original = S(L"MiXeD");
    EXPECT_EQ(original.LowerCase(), S(L"mixed"));
    EXPECT_EQ(original, S(L"MiXeD"));
    EXPECT_EQ(String().UpperCase(), String());
    std::string defaultChar = S(L"\u4e2d").SystemMultibyte();
    // A character the code page cannot hold comes back as its default character.
    EXPECT_EQ(S(L"a\u4e2d").UpperCase(), S(L"A") + String::FromSystemMultibyte(defaultChar));
}

TEST(StringEdit, InsertAndRemove)
{
    String s = S(L"ac");
    EXPECT_EQ(&s.Insert(1, 'b', 2), &s);
    EXPECT_EQ(s, S(L"abbc"));
    s.Insert(4, '!');
    EXPECT_EQ(s, S(L"abbc!"));
    EXPECT_THROW(s.Insert(6, 'x'), std::out_of_range);
    EXPECT_THROW(s.Insert(-1, 'x'), std::out_of_range);

    String dashes = S(L"a-b-c");
    EXPECT_EQ(dashes.Remove('-'), 2);
    EXPECT_EQ(dashes, S(L"abc"));
    EXPECT_EQ(dashes.Remove('-'), -1);
    String runs = S(L"--x--");
    EXPECT_EQ(runs.Remove('-'), 1);
    EXPECT_EQ(runs, S(L"x"));
}

TEST(StringEdit, TrimBySpaceSetOrUnit)
{
    EXPECT_EQ(S(L" \t a b \r\n").Trim(), S(L"a b"));
    EXPECT_EQ(S(L"  ab  ").Trim(true, false), S(L"ab  "));
    EXPECT_EQ(S(L"  ab  ").Trim(false, true), S(L"  ab"));
    EXPECT_EQ(S(L"   ").Trim(), String());
    EXPECT_EQ(S(L"   ").Trim(false, true), String());
    EXPECT_EQ(S(L"xyaxy").Trim(S(L"yx")), S(L"a"));
    EXPECT_EQ(S(L"--a-b--").Trim('-'), S(L"a-b"));
    EXPECT_EQ(S(L"--a--").Trim('-', false, false), S(L"--a--"));
}

TEST(StringEdit, ReplaceNeverSearchesInsertedText)
{
    String s = S(L"abc");
    EXPECT_EQ(s.Replace(String(), S(L"x")), S(L"xxxabc"));
    EXPECT_EQ(S(L"aaa").Replace(S(L"a"), S(L"aa")), S(L"aaaaaa"));
    EXPECT_EQ(S(L"a.b.c.d").Replace(S(L"."), S(L"::"), 2), S(L"a::b::c.d"));
    EXPECT_EQ(S(L"a.b.c").Replace(S(L"."), String(), -2), S(L"abc"));
    EXPECT_EQ(S(L"abab").Replace(S(L"ab"), S(L"x"), 0), S(L"abab"));
    EXPECT_EQ(S(L"abc").Replace(S(L"zz"), S(L"x")), S(L"abc"));
    // count -1 is the string's own length: at most that many replacements.
    EXPECT_EQ(S(L"ab").Replace(String(), S(L"-")), S(L"--ab"));
    EXPECT_EQ(String().Replace(String(), S(L"x")), String());
}

// --- splitting, joining and lines ---------------------------------------------------------

namespace {

std::vector<String> parts(const std::list<String> &list) { return std::vector<String>(list.begin(), list.end()); }

}  // namespace

TEST(StringSplit, FollowsTheRequiredPartRules)
{
    typedef std::vector<String> V;
    EXPECT_EQ(parts(S(L",a,,b,").Split(',')), (V{S(L"a"), S(L"b")}));
    EXPECT_EQ(parts(S(L",a,,b,").Split(',', true)), (V{String(), S(L"a"), String(), S(L"b"), String()}));
    EXPECT_EQ(parts(S(L"a,b,").Split(',', true)), (V{S(L"a"), S(L"b"), String()}));
    EXPECT_EQ(parts(S(L"a,b,").Split(',')), (V{S(L"a"), S(L"b")}));
    EXPECT_EQ(parts(S(L"a,b,c").Split(',', false, 2)), (V{S(L"a"), S(L"b,c")}));
    EXPECT_EQ(parts(S(L"a,b,c").Split(',', false, 1)), (V{S(L"a,b,c")}));
    EXPECT_EQ(parts(S(L"a;b c").Split(S(L"; "))), (V{S(L"a"), S(L"b"), S(L"c")}));
    EXPECT_TRUE(String().Split(',', true).empty());
    EXPECT_EQ(parts(S(L",").Split(',', true)), (V{String(), String()}));
    EXPECT_TRUE(S(L",,").Split(',').empty());
    EXPECT_EQ(parts(S(L"abc").Split(String())), (V{S(L"abc")}));
}

TEST(StringJoin, PutsSeparatorOnlyBetweenParts)
{
    std::list<String> list{S(L"a"), S(L"b"), S(L"c")};
    EXPECT_EQ(String::Join(list, S(L", ")), S(L"a, b, c"));
    std::vector<String> vector{S(L"x")};
    EXPECT_EQ(String::Join(vector, S(L"-")), S(L"x"));
    EXPECT_EQ(String::Join(std::vector<String>(), S(L"-")), String());
    EXPECT_EQ(String::Join(std::list<String>{String(), String()}, S(L"|")), S(L"|"));
}

TEST(StringLines, SelectsLinesFromStartOrEnd)
{
    String text = S(L"a\nb\nc");
    EXPECT_EQ(text.GetLines(1, 1), S(L"b"));
    EXPECT_EQ(text.GetLines(-1, 2), S(L"b\nc"));
    EXPECT_EQ(text.GetLines(-1, -1), text);  // a negative last line with first below 1: all
    EXPECT_EQ(text.GetLines(-1, 0), S(L"c"));
    EXPECT_EQ(text.GetLines(-1, 9), text);
    EXPECT_EQ(text.GetLines(5, 6), String());
    EXPECT_EQ(text.GetLines(0, -1), text);
    EXPECT_EQ(text.GetLines(-3, 1), S(L"c"));
    EXPECT_EQ(text.GetLines(0, 0), S(L"a"));
    EXPECT_EQ(text.GetLines(0, 1), S(L"a\nb"));
    EXPECT_EQ(text.GetLines(1, -1), S(L"b\nc"));
    EXPECT_EQ(text.GetLines(2, 7), S(L"c"));
    EXPECT_EQ(text.GetLines(3, 3), String());
    EXPECT_EQ(text.GetLines(2, 1), String());
    // Carriage returns stay.
    EXPECT_EQ(S(L"one\r\ntwo\r\n").GetLines(0, 0), S(L"one\r"));
    EXPECT_EQ(S(L"one\ntwo\n").GetLines(2, 2), String());
    const unsigned short raw[] = {'x', 10, 'y', 10, 'z'};
    EXPECT_EQ(String::GetLines(raw, 3, 1, 5), S(L"y"));
    EXPECT_EQ(String::GetLines(nullptr, 4, 0, -1), String());
}
