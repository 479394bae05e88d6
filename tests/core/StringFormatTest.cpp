#include "qvcore/core/String.h"
#include "tests/support/StringCases.h"
#include "tests/support/SystemText.h"

#include <gtest/gtest.h>

#include <clocale>
#include <cmath>

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

TEST(StringFormat, FormatAndParseUseAPointWhileTheApplicationHasADecimalCommaLocale)
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
    EXPECT_STREQ("German_Germany.1252", setlocale(LC_NUMERIC, nullptr)) << "the application's locale is left as it was";
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
