#include "qvcore/core/String.h"
#include "tests/support/StringCases.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <list>
#include <stdexcept>
#include <vector>

namespace {

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
