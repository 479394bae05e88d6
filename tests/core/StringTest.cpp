#include "qvcore/core/String.h"
#include "tests/support/StringPrinting.h"
#include "tests/support/SystemText.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <clocale>
#include <cmath>
#include <limits>
#include <ostream>
#include <stdexcept>
#include <thread>
#include <vector>

namespace {

String S(const wchar_t *s) { return String(s); }
// n units, zero units included.
String N(const wchar_t *s, unsigned int n) { return String(units(s), n); }

template <class T> struct Case { T got; T want; const char *what; };

template <class T> void expectEach(std::initializer_list<Case<T>> cases)
{
    for (const Case<T> &c : cases)
        EXPECT_EQ(c.want, c.got) << c.what;
}

std::vector<String> parts(const std::list<String> &list) { return std::vector<String>(list.begin(), list.end()); }

}  // namespace

TEST(StringConstruction, CountsUnitsFromLengthCopiesAndAssigns)
{
    const unsigned short units[] = {'a', 0, 'b', 0};
    MemoryArray<unsigned short> array(3);
    std::copy(units, units + 3, array.data());
    String assigned = S(L"old");
    assigned = array;
    ASSERT_EQ(3u, assigned.size());
    EXPECT_EQ('b', assigned[2]);
    EXPECT_EQ(String(units, 3), assigned);
    EXPECT_EQ(String(array), assigned);
    EXPECT_EQ(S(L"a"), String(units));
    assigned = units;
    EXPECT_EQ(S(L"a"), assigned);
    EXPECT_EQ(String(), String(static_cast<const unsigned short *>(nullptr)));
    EXPECT_EQ(S(L"cde"), String(S(L"abcdef"), 2, 3));
    EXPECT_EQ(String(), String(S(L"abc"), 3, 5));
    EXPECT_THROW(String(S(L"abc"), 4, 1), std::out_of_range);
    EXPECT_EQ(String(L"\u00e9t\u00e9"), String(u"\u00e9t\u00e9"));
    String copy = assigned;
    copy[0] = 'A';
    EXPECT_EQ(S(L"a"), assigned);
}

TEST(StringAppend, ChainsNumbersDoublesAndGuidsWithTheirZeroUnit)
{
    String s;
    s << S(L"n=") << -42 << S(L" big=") << static_cast<__int64>(-9000000000LL) << S(L" d=") << 2.5;
    EXPECT_EQ(S(L"n=-42 big=-9000000000 d=2.500000"), s);
    const GUID guid = {0x0a1b2c3d, 0x4e5f, 0x6a7b, {0x8c, 0x9d, 0xae, 0xbf, 0xc0, 0xd1, 0xe2, 0xf3}};
    String text = String::FromGUID(guid);
    ASSERT_EQ(39u, text.size());
    EXPECT_EQ(0, text.back());
    EXPECT_EQ(S(L"{0A1B2C3D-4E5F-6A7B-8C9D-AEBFC0D1E2F3}"), text.Left(38));
    String withGuid = S(L"id:");
    withGuid << guid << S(L"!");
    EXPECT_EQ(S(L"id:") + text + S(L"!"), withGuid);
}

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

TEST(StringFormat, UsesTheWideRuntimeFormatterAndGrowsItsBuffer)
{
    const unsigned short fmt[] = {'<', '%', 'd', '>', 0};
    std::wstring big(10000, L'z'), exact(2048, L'e');
    expectEach<String>({
        {String::FromFormat(S(L"%s|%S|%d"), L"wide", "narrow", 7), S(L"wide|narrow|7"), "%s wide, %S narrow"},
        {String::FromFormat(S(L"%I64d %x %05.1f"), 1LL << 40, 255, 3.14159), S(L"1099511627776 ff 003.1"), "%I64d"},
        {String::FromFormat(S(L"%lf"), 0.5), S(L"0.500000"), "%lf"},
        {String::FromFormat(fmt, 12), S(L"<12>"), "pointer format"},
        {String::FromFormat(S(L"[%s]"), big.c_str()), S(L"[") + S(big.c_str()) + S(L"]"), "beyond the first buffer"},
        {String::FromFormat(S(L"%s"), exact.c_str()), S(exact.c_str()), "exactly the first buffer"},
    });
    String formatted;
    EXPECT_EQ(&formatted, &formatted.Format(S(L"%c%c"), L'o', L'k'));
    EXPECT_EQ(S(L"ok"), formatted);
}

TEST(StringFormat, FormatAndParseUseAPointOnEveryThreadWhileTheLocaleUsesAComma)
{
    const char *previous = setlocale(LC_NUMERIC, nullptr);
    std::string saved = previous ? previous : "C";
    ASSERT_NE(nullptr, setlocale(LC_NUMERIC, "German_Germany.1252"));
    wchar_t local[32];
    _snwprintf(local, 32, L"%.1f", 1.5);
    ASSERT_EQ(L"1,5", std::wstring(local));
    EXPECT_EQ(S(L"1.25"), String::FromFormat(S(L"%.2f"), 1.25));
    String appended;
    appended << 0.25;
    EXPECT_EQ(S(L"0.250000"), appended);
    double value = 0;
    EXPECT_TRUE(S(L"1.5").ParseNum(value));
    EXPECT_EQ(1.5, value);
    EXPECT_FALSE(S(L"1,5").ParseNum(value));
    std::vector<int> failures(4, 0);
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([t, &failures] {
            for (int i = 0; i < 300; ++i) {
                double expected = t + i / 4.0, parsed = -1;
                String text = String::FromFormat(S(L"%.2f"), expected);
                if (text.find(',') != String::npos || !text.ParseNum(parsed) || parsed != expected)
                    ++failures[t];
            }
        });
    }
    for (std::thread &thread : threads)
        thread.join();
    EXPECT_EQ(std::vector<int>(4, 0), failures);
    EXPECT_STREQ("German_Germany.1252", setlocale(LC_NUMERIC, nullptr));
    setlocale(LC_NUMERIC, saved.c_str());
}

TEST(StringFormat, MessageFormatTakesNarrowInsertsAndErrorTextKeepsItsCarriageReturn)
{
    EXPECT_EQ(S(L"list has 3 items\r\n"), String::FromFormatMessage(S(L"%1 has %2!d! items%n"), "list", 3));
    const unsigned short fmt[] = {'[', '%', '1', ']', 0};
    EXPECT_EQ(S(L"[x]"), String::FromFormatMessage(fmt, "x"));
    EXPECT_EQ(String(), String::FromFormatMessage(S(L"%")));
    String text = String::FromError(ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(String::FromSystemMultibyte(systemFirstLine(ERROR_FILE_NOT_FOUND)), text);
    ASSERT_FALSE(text.empty());
    EXPECT_EQ('\r', text.back());
    EXPECT_EQ(String::npos, text.find(10));
    EXPECT_EQ(String(), String::FromError(0x2BADBEEF));
}

TEST(StringFormat, FromCharAndFromNumFollowTheRuntimeRules)
{
    expectEach<String>({
        {String::FromChar('-', 3), S(L"---"), "FromChar 3"}, {String::FromChar('-', 0), String(), "FromChar 0"},
        {String::FromChar('x'), S(L"x"), "FromChar default"}, {String::FromNum(-255), S(L"-255"), "int"},
        {String::FromNum(255, 16), S(L"ff"), "lower-case hex"},
        {String::FromNum(-1, 16), S(L"ffffffff"), "two's complement outside radix 10"},
        {String::FromNum(4000000000u), S(L"4000000000"), "unsigned"}, {String::FromNum(35u, 36), S(L"z"), "radix 36"},
        {String::FromNum(static_cast<__int64>(-1), 16), S(L"ffffffffffffffff"), "int64 hex"},
        {String::FromNum(std::numeric_limits<__int64>::min()), S(L"-9223372036854775808"), "int64 min"},
        {String::FromNum(std::numeric_limits<unsigned __int64>::max(), 2), String::FromChar('1', 64), "uint64 binary"},
        {String::FromNum(5, 1), String(), "radix 1"}, {String::FromNum(5u, 37), String(), "radix 37"},
    });
    EXPECT_THROW(String::FromChar('-', -1), std::length_error);
}

TEST(StringFormat, DateAndTimeFollowTheUserLocale)
{
    const SYSTEMTIME time = {2024, 2, 0, 29, 13, 5, 9, 0};
    SYSTEMTIME badMonth = time, badHour = time;
    badMonth.wMonth = 13;
    badHour.wHour = 25;
    auto viaSystem = [&](decltype(&GetDateFormatA) format, DWORD flags) {
        char text[128];
        return format(LOCALE_USER_DEFAULT, flags, &time, nullptr, text, sizeof text) > 0
                   ? String::FromSystemMultibyte(text) : S(L"(failed)");
    };
    expectEach<String>({
        {String::FromDate(time, true), viaSystem(GetDateFormatA, DATE_LONGDATE), "long date"},
        {String::FromDate(time), viaSystem(GetDateFormatA, DATE_SHORTDATE), "short date"},
        {String::FromTime(time), viaSystem(GetTimeFormatA, 0), "time"},
        {String::FromTime(time, false), viaSystem(GetTimeFormatA, TIME_NOSECONDS), "time without seconds"},
        {String::FromDate(badMonth), String(), "month 13"}, {String::FromTime(badHour), String(), "hour 25"},
    });
    EXPECT_EQ(String::npos, String::FromTime(time, false).find(S(L"09")));
}

TEST(StringLimits, LengthAbove2147483645UnitsThrowsBeforeAllocating)
{
    EXPECT_THROW(String::FromChar('x', 2147483646), std::length_error);
    String s = S(L"ab");
    EXPECT_THROW(s.Insert(1, 'x', 2147483644), std::length_error);
    EXPECT_EQ(S(L"ab"), s);
    EXPECT_THROW(s.Insert(1, 'x', -1), std::length_error);
    // 4,400 separators of a million units wrap a 32-bit count; 2,148 are just past the limit.
    std::vector<String> empties(4401);
    String separator = String::FromChar('-', 1000000);
    EXPECT_THROW(String::Join(empties, separator), std::length_error);
    EXPECT_THROW(String::Join(std::list<String>(empties.begin(), empties.end()), separator), std::length_error);
    EXPECT_THROW(String::Join(std::vector<String>(2149), separator), std::length_error);
}

namespace {

template <class T> struct ParseCase { String text; int radix; bool ok; T value; };  // value 0 on failure

template <class T> void expectParses(std::initializer_list<ParseCase<T>> cases)
{
    for (const ParseCase<T> &c : cases) {
        T value = 99;
        EXPECT_EQ(c.ok, c.text.ParseNum(value, c.radix)) << '"' << c.text.Utf8() << "\" radix " << c.radix;
        EXPECT_EQ(c.value, value) << '"' << c.text.Utf8() << "\" radix " << c.radix;
    }
}

}  // namespace

TEST(StringParse, Int32AcceptsBlanksSignsAndDigitsByLowByte)
{
    expectParses<int>({
        {String(), 10, true, 0}, {S(L"  +"), 10, true, 0}, {S(L" \t-12"), 10, true, -12},
        {S(L"7fffFFFF"), 16, true, 0x7fffffff}, {S(L"z"), 36, true, 35},
        {S(L"1\u0135"), 10, true, 15},  // the low byte of U+0135 is '5'
        {S(L"0x1A"), 16, false, 0},     // x is digit 33
        {S(L"19"), 8, false, 0}, {S(L"1"), 1, false, 0}, {S(L"1"), 37, false, 0}, {S(L"1.5"), 10, false, 0},
        {N(L"1\0002", 3), 10, false, 0},
    });
}

TEST(StringParse, TrailingBlanksOnlyAfterValuesBeyondTheSignedRange)
{
    expectParses<int>({
        {S(L"12 "), 10, false, 0}, {S(L" 12"), 10, true, 12},
        {S(L"4000000000\t"), 10, true, static_cast<int>(4000000000u)},  // wraps as int
        {S(L"2147483647 "), 10, false, 0}, {S(L"2147483648 "), 10, true, std::numeric_limits<int>::min()},
        {S(L"-2147483648 "), 10, false, 0}, {S(L"-2147483649 "), 10, true, std::numeric_limits<int>::max()},
        {S(L"-2147483648"), 10, true, std::numeric_limits<int>::min()},
    });
    expectParses<unsigned int>({
        {S(L"4000000000 "), 10, true, 4000000000u}, {S(L"4294967295"), 10, true, 4294967295u},
        {S(L"4294967296"), 10, false, 0},  // only a visible wrap is caught
        {S(L"99999999999"), 10, false, 0},
    });
    expectParses<__int64>({
        {S(L"-9223372036854775808"), 10, true, std::numeric_limits<__int64>::min()},
        {S(L"9223372036854775807 "), 10, false, 0}, {S(L"4000000000"), 10, true, 4000000000LL},
    });
    expectParses<unsigned __int64>({
        {S(L"9223372036854775808 "), 10, true, 9223372036854775808ULL},
        {S(L"ffffffffffffffff"), 16, true, std::numeric_limits<unsigned __int64>::max()},
        {S(L"18446744073709551616"), 10, false, 0},
    });
}

TEST(StringParse, DoubleReadsUpToTheFirstBlank)
{
    const double inf = std::numeric_limits<double>::infinity();
    const struct { String text; bool ok; double value; } cases[] = {
        {S(L"  1.5 abc"), true, 1.5}, {S(L"-2.5E2"), true, -250.0}, {S(L"INF"), true, inf},
        {S(L"+inf"), true, inf},      {S(L"-Inf"), true, -inf},     {S(L"1,5"), false, 0},
        {S(L""), false, 0},           {S(L"   "), false, 0},        {S(L"1.5x"), false, 0},
        {S(L"\u00bd"), false, 0},     {S(L"1\u00e9"), false, 0},    {N(L"1\0005", 3), false, 0},
    };
    for (const auto &c : cases) {
        double value = 7;
        EXPECT_EQ(c.ok, c.text.ParseNum(value)) << c.text.Utf8();
        EXPECT_EQ(c.value, value) << c.text.Utf8();
    }
    double nan = 0;
    EXPECT_TRUE(S(L"NaN").ParseNum(nan));
    EXPECT_TRUE(std::isnan(nan));
    float single = 0;
    EXPECT_TRUE(S(L"0.25").ParseNum(single));
    EXPECT_EQ(0.25f, single);
}

TEST(StringParse, GuidReadsBracedTextOrGivesZero)
{
    GUID guid = {}, again = {};
    EXPECT_TRUE(S(L"{0A1B2C3D-4E5F-6A7B-8C9D-AEBFC0D1E2F3}").ParseGUID(guid));
    EXPECT_EQ(0x0a1b2c3dul, guid.Data1);
    EXPECT_EQ(0xf3, guid.Data4[7]);
    EXPECT_TRUE(String::FromGUID(guid).ParseGUID(again));  // zero unit included
    EXPECT_TRUE(IsEqualGUID(guid, again));
    EXPECT_FALSE(S(L"{0A1B2C3D-4E5F-6A7B-8C9D-AEBFC0D1E2FZ}").ParseGUID(guid));
    EXPECT_TRUE(IsEqualGUID(guid, GUID()));
}

TEST(StringCompare, QuickTestThenLocaleOrder)
{
    expectEach<int>({
        {S(L"abc").Compare(S(L"abcd")), -1, "quick test 3 - 4"},
        {S(L"abcdef").Compare(S(L"abc")), 3, "quick test gives the length difference"},
        {S(L"abc").Compare(S(L"abc")), 0, "equal"}, {S(L"abc").Compare(S(L"abd")), -1, "locale less"},
        {S(L"abd").Compare(S(L"abc")), 1, "locale greater"},
        {S(L"abc").Compare(S(L"abd"), 2), 0, "first 2 units equal"},
        {S(L"abcx").Compare(S(L"ab"), 3), 1, "n cuts both lengths"},
        {S(L"a").Compare(S(L"B")), -1, "locale, not unit order"},
        {S(L"B").Compare(S(L"a")), 1, "locale, not unit order (reversed)"},
        {S(L"abc").CompareNoCase(S(L"ABC")), 0, "no case equal"},
        {S(L"abc").CompareNoCase(S(L"ABD")), -1, "no case less"},
        {S(L"ABC").CompareNoCase(S(L"ab")), 1, "no case: locale after the quick test"},
        {S(L"abc").CompareNoCase(S(L"ab")), 1, "no case quick test 3 - 2"},
    });
    String::LocaleLess less;
    EXPECT_TRUE(less(S(L"apple"), S(L"Banana")));
    EXPECT_FALSE(less(S(L"Banana"), S(L"apple")));
    EXPECT_FALSE(less(S(L"same"), S(L"same")));
}

TEST(StringEdit, SubstringsCaseMappingAndTrimming)
{
    const String s = S(L"abcdef");
    const String mixed = S(L"MiXeD");
    expectEach<String>({
        {s.Left(2), S(L"ab"), "Left(2)"}, {s.Left(-1), s, "Left(-1)"}, {s.Left(6), s, "Left(length)"},
        {s.Left(0), String(), "Left(0)"}, {s.Right(2), S(L"ef"), "Right(2)"}, {s.Right(99), s, "Right(99)"},
        {s.Right(0), String(), "Right(0)"}, {N(L"abx\0", 4).Right(2), S(L"x"), "Right stops at a zero unit"},
        {N(L"a\0bc", 4).Right(3), String(), "Right starting at a zero unit"},
        {N(L"a\0bc", 4).Right(4), N(L"a\0bc", 4), "Right(length) keeps the zero"}, {s.Mid(2), S(L"cdef"), "Mid(2)"},
        {s.Mid(2, 2), S(L"cd"), "Mid(2, 2)"}, {s.Mid(6), String(), "Mid(length)"},
        {S(L"Hello World").UpperCase(), S(L"HELLO WORLD"), "UpperCase"},
        {mixed.LowerCase(), S(L"mixed"), "LowerCase"}, {mixed, S(L"MiXeD"), "case mapping leaves the string"},
        {String().UpperCase(), String(), "UpperCase of empty"},
        {S(L"a\u4e2d").UpperCase(), S(L"A") + String::FromSystemMultibyte(S(L"\u4e2d").SystemMultibyte()),
         "beyond the code page: its default character"},
        {S(L" \t a b \r\n").Trim(), S(L"a b"), "Trim"}, {S(L"  ab  ").Trim(true, false), S(L"ab  "), "Trim left"},
        {S(L"  ab  ").Trim(false, true), S(L"  ab"), "Trim right"}, {S(L"   ").Trim(), String(), "Trim all blank"},
        {S(L"   ").Trim(false, true), String(), "Trim right all blank"},
        {S(L"xyaxy").Trim(S(L"yx")), S(L"a"), "Trim set"}, {S(L"--a-b--").Trim('-'), S(L"a-b"), "Trim unit"},
        {S(L"--a--").Trim('-', false, false), S(L"--a--"), "Trim neither side"},
    });
    EXPECT_THROW(s.Mid(7), std::out_of_range);
    EXPECT_THROW(s.Mid(-1), std::out_of_range);
}

TEST(StringEdit, InsertRemoveAndReplaceNeverSearchingInsertedText)
{
    String s = S(L"ac");
    EXPECT_EQ(&s, &s.Insert(1, 'b', 2));
    EXPECT_EQ(S(L"abbc!"), s.Insert(4, '!'));
    EXPECT_THROW(s.Insert(6, 'x'), std::out_of_range);
    EXPECT_THROW(s.Insert(-1, 'x'), std::out_of_range);
    String dashes = S(L"a-b-c"), runs = S(L"--x--");
    EXPECT_EQ(2, dashes.Remove('-'));
    EXPECT_EQ(S(L"abc"), dashes);
    EXPECT_EQ(-1, dashes.Remove('-'));
    EXPECT_EQ(1, runs.Remove('-'));
    EXPECT_EQ(S(L"x"), runs);
    expectEach<String>({
        {S(L"abc").Replace(String(), S(L"x")), S(L"xxxabc"), "empty find, count = length"},
        {S(L"aaa").Replace(S(L"a"), S(L"aa")), S(L"aaaaaa"), "inserted text not searched"},
        {S(L"a.b.c.d").Replace(S(L"."), S(L"::"), 2), S(L"a::b::c.d"), "count 2"},
        {S(L"a.b.c").Replace(S(L"."), String(), -2), S(L"abc"), "count -2"},
        {S(L"abab").Replace(S(L"ab"), S(L"x"), 0), S(L"abab"), "count 0"},
        {S(L"abc").Replace(S(L"zz"), S(L"x")), S(L"abc"), "not found"},
        {String().Replace(String(), S(L"x")), String(), "empty string"},
    });
}

TEST(StringSplit, FollowsTheRequiredPartRulesAndJoinPutsSeparatorsBetween)
{
    typedef std::vector<String> V;
    expectEach<V>({
        {parts(S(L",a,,b,").Split(',')), V{S(L"a"), S(L"b")}, ",a,,b,"},
        {parts(S(L",a,,b,").Split(',', true)), V{String(), S(L"a"), String(), S(L"b"), String()}, ",a,,b, keep"},
        {parts(S(L"a,b,").Split(',', true)), V{S(L"a"), S(L"b"), String()}, "a,b, keep"},
        {parts(S(L"a,b,c").Split(',', false, 2)), V{S(L"a"), S(L"b,c")}, "max 2"},
        {parts(S(L"a,b,c").Split(',', false, 1)), V{S(L"a,b,c")}, "max 1"},
        {parts(S(L"a;b c").Split(S(L"; "))), V{S(L"a"), S(L"b"), S(L"c")}, "delimiter set"},
        {parts(String().Split(',', true)), V(), "empty keep"},
        {parts(S(L",").Split(',', true)), V{String(), String()}, ", keep"}, {parts(S(L",,").Split(',')), V(), ",,"},
        {parts(S(L"abc").Split(String())), V{S(L"abc")}, "no delimiters"},
    });
    expectEach<String>({
        {String::Join(std::list<String>{S(L"a"), S(L"b"), S(L"c")}, S(L", ")), S(L"a, b, c"), "list"},
        {String::Join(V{S(L"x")}, S(L"-")), S(L"x"), "one part"}, {String::Join(V(), S(L"-")), String(), "no parts"},
        {String::Join(std::list<String>{String(), String()}, S(L"|")), S(L"|"), "empty parts"},
    });
}

TEST(StringLines, SelectsLinesFromStartOrEnd)
{
    const String text = S(L"a\nb\nc");
    const unsigned short raw[] = {'x', 10, 'y', 10, 'z'};
    expectEach<String>({
        {text.GetLines(1, 1), S(L"b"), "1..1"}, {text.GetLines(-1, 2), S(L"b\nc"), "last 2"},
        {text.GetLines(-1, -1), text, "-1..-1: all"}, {text.GetLines(-1, 0), S(L"c"), "last 0 counts as 1"},
        {text.GetLines(-1, 9), text, "more than there are from the end"},
        {text.GetLines(5, 6), String(), "beyond the end"}, {text.GetLines(0, -1), text, "0..-1"},
        {text.GetLines(-3, 1), S(L"c"), "last 1"}, {text.GetLines(0, 0), S(L"a"), "0..0"},
        {text.GetLines(0, 1), S(L"a\nb"), "0..1"}, {text.GetLines(1, -1), S(L"b\nc"), "1..end"},
        {text.GetLines(2, 7), S(L"c"), "2..7"}, {text.GetLines(3, 3), String(), "3..3"},
        {text.GetLines(2, 1), String(), "first after last"},
        {S(L"one\r\ntwo\r\n").GetLines(0, 0), S(L"one\r"), "carriage return kept"},
        {S(L"one\ntwo\n").GetLines(2, 2), String(), "after the final line feed"},
        {String::GetLines(raw, 3, 1, 5), S(L"y"), "length, not the zero unit"},
        {String::GetLines(nullptr, 4, 0, -1), String(), "null text"},
    });
}
