#include "qvcore/core/String.h"
#include "tests/support/StringCases.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

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
