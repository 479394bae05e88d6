#include "qvcore/core/DateTime.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

namespace {

template <class T> std::string text(const T &value) { return value.ToString().Utf8(); }

// "YYYY-MM-DD hh:mm:ss.mmm": failures show both sides readably.
std::string fields(const SYSTEMTIME &t)
{
    char buffer[64];
    std::snprintf(buffer, sizeof buffer, "%04u-%02u-%02u %02u:%02u:%02u.%03u", t.wYear, t.wMonth, t.wDay, t.wHour,
                  t.wMinute, t.wSecond, t.wMilliseconds);
    return buffer;
}

FILETIME fileTime(unsigned __int64 ticks) { return {static_cast<DWORD>(ticks), static_cast<DWORD>(ticks >> 32)}; }

unsigned __int64 ticksOf(const DateTime &time)
{
    FILETIME ft;
    time.GetAsFileTime(ft);
    return (static_cast<unsigned __int64>(ft.dwHighDateTime) << 32) | ft.dwLowDateTime;
}

// Ticks from 1601-01-01 to 2004-05-06 07:08:09 UTC, worked out by hand: 147,318 days
// (403 years with 97 leap days, then 126 days into 2004) and 25,689 seconds.
const unsigned __int64 may2004 = 147318ULL * 864000000000ULL + 25689ULL * 10000000ULL;
const __int64 lowestTicks = static_cast<__int64>(0x8000000000000000ULL);

}  // namespace

TEST(TimeSpan, ConstructorsCountTicksIn64BitsAndFractionsLoseTheSign)
{
    const struct { TimeSpan span; __int64 ticks; } cases[] = {
        {TimeSpan(1, 2, 3), ((1 * 60 + 2) * 60 + 3) * 10000000LL},
        {TimeSpan(4, 1, 2, 3), (((4LL * 24 + 1) * 60 + 2) * 60 + 3) * 10000000LL},
        {TimeSpan(4, 1, 2, 3, 4), ((((4LL * 24 + 1) * 60 + 2) * 60 + 3) * 1000 + 4) * 10000LL},
        {TimeSpan(1, -1, 0), 59 * 600000000LL},  // components are simply summed
        {TimeSpan(0, 0, 90), 90 * 10000000LL},
        {TimeSpan(30000, 0, 0, 0), 30000LL * 864000000000LL},  // beyond 32 bits of seconds
        {TimeSpan::FromDays(30000), 30000LL * 864000000000LL}, {TimeSpan::FromHours(-3), -3 * 36000000000LL},
        {TimeSpan::FromMilliseconds(-1500), -1500 * 10000LL},
    };
    for (const auto &c : cases)
        EXPECT_EQ(c.ticks, c.span.GetTicks()) << text(c.span);
    TimeSpan minus90 = TimeSpan::FromSeconds(-90), span(3, 25, 61, 59, 1234);  // 4 days 2:02:00.234
    EXPECT_DOUBLE_EQ(1.5, minus90.GetAsMinutes());
    EXPECT_DOUBLE_EQ(90.0, minus90.GetAsSeconds());
    EXPECT_DOUBLE_EQ(90000.0, minus90.GetAsMilliseconds());
    EXPECT_DOUBLE_EQ(36.0, TimeSpan::FromDays(-36).GetAsDays());
    EXPECT_DOUBLE_EQ(12.5, TimeSpan(12, 30, 0).GetAsHours());
    auto fractions = [](const TimeSpan &t) {
        return std::vector<int>{t.GetDayFraction(), t.GetHourFraction(), t.GetMinuteFraction(),
                                t.GetSecondFraction(), t.GetMillisecondFraction()};
    };
    EXPECT_EQ((std::vector<int>{0, 0, 1, 30, 0}), fractions(minus90));
    EXPECT_EQ((std::vector<int>{4, 2, 2, 0, 234}), fractions(span));
    // The most negative span has no positive counterpart in 64 bits: its magnitude still comes out right.
    EXPECT_EQ(static_cast<int>(0x8000000000000000ULL / 864000000000ULL), TimeSpan(lowestTicks).GetDayFraction());
}

TEST(TimeSpan, ArithmeticAndTheMinusAssignThatAdds)
{
    TimeSpan ten = TimeSpan::FromSeconds(10), three = TimeSpan::FromSeconds(3);
    EXPECT_EQ(TimeSpan::FromSeconds(13), ten + three);
    EXPECT_EQ(TimeSpan::FromSeconds(7), ten - three);
    EXPECT_EQ(TimeSpan::FromSeconds(-7), three - ten);
    TimeSpan adding = ten;
    adding -= three;  // adds, kept for compatibility
    EXPECT_EQ(TimeSpan::FromSeconds(13), adding);
    adding += three;
    EXPECT_EQ(TimeSpan::FromSeconds(16), adding);
    EXPECT_TRUE(TimeSpan::FromSeconds(-10) < three);  // signed comparison
    EXPECT_TRUE(ten > three && ten >= ten && three <= three && ten != three && ten == TimeSpan(100000000));
    // Unchecked arithmetic wraps around in 64 bits, whatever the compiler can see.
    volatile __int64 highest = 0x7FFFFFFFFFFFFFFFLL;
    TimeSpan top(highest);
    EXPECT_TRUE(top + TimeSpan(1) < top);
    EXPECT_TRUE(TimeSpan(-highest - 1) - TimeSpan(1) > TimeSpan(-highest - 1));
    TimeSpan wrapped = top;
    wrapped += TimeSpan(2);
    EXPECT_EQ(-highest, wrapped.GetTicks());
    DateTime last(fileTime(0x7FFFFFFFFFFFFFFFULL));
    EXPECT_TRUE(last + TimeSpan(1) < last);
    EXPECT_TRUE(last - DateTime() > TimeSpan(0));
    EXPECT_TRUE(DateTime() - last < TimeSpan(0));
}

TEST(TimeSpan, TextFormWritesEveryFieldAndTheFractionAfterTheSeconds)
{
    const struct { TimeSpan span; const char *text; } cases[] = {
        {TimeSpan::FromSeconds(-90), "-PT0H1M30S"}, {TimeSpan(2, 3, 0, 0), "P2DT3H0M0S"},
        {TimeSpan::FromMilliseconds(1500), "PT0H0M1S.5"}, {TimeSpan(), "PT0H0M0S"}, {TimeSpan(1), "PT0H0M0S.0000001"},
        {TimeSpan(-250), "-PT0H0M0S.000025"}, {TimeSpan(2 * TimeSpan::TicksPerDay() - 1), "P1DT23H59M59S.9999999"},
        {TimeSpan::FromDays(30000), "P30000DT0H0M0S"}, {TimeSpan(lowestTicks), "-P10675199DT2H48M5S.4775808"},
    };
    for (const auto &c : cases)
        EXPECT_EQ(c.text, text(c.span)) << c.span.GetTicks();
}

TEST(DateTime, UTCFieldsConvertToTicksSinceSixteenOhOneAndBack)
{
    EXPECT_EQ(0u, ticksOf(DateTime()));
    DateTime time;
    EXPECT_TRUE(time.SetUTCTime(2004, 5, 6, 7, 8, 9, 500));
    EXPECT_EQ(may2004 + 5000000, ticksOf(time));
    SYSTEMTIME back;
    time.GetAsUTCSystemTime(back);
    EXPECT_EQ("2004-05-06 07:08:09.500", fields(back));
    EXPECT_EQ(4, back.wDayOfWeek);  // a Thursday
    back.wDayOfWeek = 1;
    EXPECT_EQ(time, DateTime::FromUTCTime(back));
    DateTime copy(fileTime(may2004)), assigned;
    EXPECT_EQ(may2004, ticksOf(copy));
    assigned = fileTime(may2004);
    EXPECT_EQ(copy, assigned);
    assigned.SetFileTime(fileTime(1));
    EXPECT_EQ(1u, ticksOf(assigned));
}

TEST(DateTime, InvalidFieldsGiveZeroAndFalse)
{
    DateTime time = DateTime::FromUTCTime(2004, 5, 6, 7, 8, 9, 0);
    EXPECT_FALSE(time.SetUTCTime(2004, 13, 1, 0, 0, 0, 0));
    EXPECT_EQ(0u, ticksOf(time));
    time = DateTime::Now();
    EXPECT_FALSE(time.SetLocalTime(2004, 1, 1, 24, 0, 0, 0));
    EXPECT_EQ(0u, ticksOf(time));
    EXPECT_EQ(0u, ticksOf(DateTime::FromUTCTime(2004, 1, 1, 0, 60, 0, 0)));
    EXPECT_EQ(0u, ticksOf(DateTime::FromLocalTime(2004, 0, 1, 0, 0, 0, 0)));
    // A time beyond what the system converts (the high bit set) reads back as all zeros.
    DateTime huge(fileTime(0x8000000000000000ULL));
    const SYSTEMTIME zeros = {};
    for (bool local : {false, true}) {
        SYSTEMTIME got;
        std::memset(&got, 0x55, sizeof got);
        local ? huge.GetAsLocalSystemTime(got) : huge.GetAsUTCSystemTime(got);
        EXPECT_EQ(0, std::memcmp(&zeros, &got, sizeof zeros)) << (local ? "local" : "UTC");
    }
}

TEST(DateTime, TextFormAndArithmeticByTimeSpans)
{
    const DateTime start = DateTime::FromUTCTime(2004, 2, 28, 23, 0, 0, 0);
    DateTime moved = start;
    moved += TimeSpan::FromDays(2);
    const struct { DateTime time; const char *text; } cases[] = {
        {DateTime::FromUTCTime(2004, 5, 6, 7, 8, 9, 500), "2004-05-06T07:08:09.5Z"},
        {DateTime::FromUTCTime(2004, 5, 6, 7, 8, 9, 0), "2004-05-06T07:08:09Z"},
        {DateTime(fileTime(may2004 + 1)), "2004-05-06T07:08:09.0000001Z"},
        {DateTime::FromUTCTime(2004, 5, 6, 7, 8, 9, 123), "2004-05-06T07:08:09.123Z"},
        {DateTime(), "1601-01-01T00:00:00Z"},
        {DateTime::FromUTCTime(9999, 12, 31, 23, 59, 59, 999), "9999-12-31T23:59:59.999Z"},
        {start + TimeSpan::FromHours(2), "2004-02-29T01:00:00Z"},
        {start - TimeSpan::FromMilliseconds(500), "2004-02-28T22:59:59.5Z"}, {moved, "2004-03-01T23:00:00Z"},
    };
    for (const auto &c : cases)
        EXPECT_EQ(c.text, text(c.time));
    // Before 1601 the fraction still counts forward from the whole second below it.
    const std::string secondBefore = text(DateTime() - TimeSpan::FromSeconds(1));
    const std::string halfSecondBefore = text(DateTime() - TimeSpan::FromMilliseconds(500));
    EXPECT_EQ(std::string::npos, secondBefore.find('.')) << secondBefore;
    EXPECT_EQ(".5Z", halfSecondBefore.substr(halfSecondBefore.size() - 3)) << halfSecondBefore;
    EXPECT_EQ(TimeSpan::FromDays(2), moved - start);
    EXPECT_EQ(TimeSpan::FromDays(-2), start - moved);
    moved -= TimeSpan::FromDays(2);  // here it does subtract
    EXPECT_EQ(start, moved);
    EXPECT_TRUE(start < moved + TimeSpan(1) && start <= moved && start >= moved && start != moved + TimeSpan(1));
    EXPECT_EQ(TimeSpan(23, 0, 0), start.TimeSpanSinceStartOfDay());
    EXPECT_EQ(TimeSpan(0, 7, 8, 9, 500), DateTime::FromUTCTime(2004, 5, 6, 7, 8, 9, 500).TimeSpanSinceStartOfDay());
}

TEST(DateTime, CalendarTablesKeepTheirShiftedMonth)
{
    EXPECT_FALSE(DateTime::IsLeapYear(1900));
    EXPECT_TRUE(DateTime::IsLeapYear(2000));
    EXPECT_TRUE(DateTime::IsLeapYear(2004));
    EXPECT_FALSE(DateTime::IsLeapYear(2003));
    const int days2001[] = {31, 0, 28, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    for (int month = 1; month <= 12; ++month)
        EXPECT_EQ(days2001[month - 1], DateTime::GetLastDayOfMonth(month, 2001)) << month;
    EXPECT_EQ(29, DateTime::GetLastDayOfMonth(3, 2004));
    EXPECT_EQ(0, DateTime::GetLastDayOfMonth(2, 2004));
    EXPECT_EQ(0, DateTime::GetLastDayOfMonth(13, 2004));
    EXPECT_EQ(0, DateTime::GetLastDayOfMonth(0, 2004));
    const struct { int year, month, day, dayNum; } days[] = {{2004, 3, 1, 61},    {2003, 3, 1, 60},     {2004, 0, 5, 0},      {2004, 13, 5, 0},
                {2003, 1, 1, 1},     {2000, 12, 31, 366},  {1900, 12, 31, 365},  {2003, 12, 40, 334 + 40}};
    for (const auto &d : days)
        EXPECT_EQ(d.dayNum, DateTime::GetDayNum(d.year, d.month, d.day)) << d.year << '-' << d.month << '-' << d.day;
}

// Checked against the system's own figures, so that it holds in any zone. CTest runs this once more
// with TZ=America/New_York (qvcore_core_tests.new_york), a zone with a bias and daylight saving rules.
TEST(DateTime, LocalTimeUsesTheBiasInForceNow)
{
    TIME_ZONE_INFORMATION zone;
    DWORD state = GetTimeZoneInformation(&zone);
    ASSERT_NE(TIME_ZONE_ID_INVALID, state);
    long minutes = zone.Bias + (state == TIME_ZONE_ID_DAYLIGHT ? zone.DaylightBias
                                : state == TIME_ZONE_ID_STANDARD ? zone.StandardBias : 0);
    TimeSpan bias = DateTime::GetLocalUTCBias();
    EXPECT_EQ(TimeSpan::FromMinutes(minutes), bias);
    EXPECT_EQ(state == TIME_ZONE_ID_DAYLIGHT, DateTime::GetLocalDayLightSaving());
    const WCHAR *name = state == TIME_ZONE_ID_DAYLIGHT ? zone.DaylightName : zone.StandardName;
    EXPECT_EQ(String(reinterpret_cast<const unsigned short *>(name)), DateTime::GetLocalTimeZoneName());
    // The bias in force now applies to every date, winter or summer alike (UTC = local + bias).
    for (WORD month : {1, 3, 7, 11}) {
        DateTime local = DateTime::FromLocalTime(2004, month, 10, 12, 30, 15, 250);
        EXPECT_EQ(bias, local - DateTime::FromUTCTime(2004, month, 10, 12, 30, 15, 250)) << month;
        SYSTEMTIME back;
        local.GetAsLocalSystemTime(back);
        EXPECT_EQ("2004-" + std::string(month < 10 ? "0" : "") + std::to_string(month) + "-10 12:30:15.250",
                  fields(back));
    }
    const char *tz = std::getenv("TZ");
    if (!tz || std::string(tz) != "America/New_York")
        return;
    // 300 minutes in winter, 240 with daylight saving; the day changes at the edge.
    bool winter = bias == TimeSpan::FromMinutes(300);
    EXPECT_TRUE(winter || bias == TimeSpan::FromMinutes(240)) << text(bias);
    EXPECT_EQ(!winter, DateTime::GetLocalDayLightSaving());
    EXPECT_EQ(winter ? "2004-03-07T23:00:00Z" : "2004-03-07T22:00:00Z",
              text(DateTime::FromLocalTime(2004, 3, 7, 18, 0, 0, 0)));
    EXPECT_EQ(winter ? "2004-07-01T04:30:00Z" : "2004-07-01T03:30:00Z",
              text(DateTime::FromLocalTime(2004, 6, 30, 23, 30, 0, 0)));
    SYSTEMTIME local;
    DateTime::FromUTCTime(2005, 1, 1, 2, 0, 0, 0).GetAsLocalSystemTime(local);
    EXPECT_EQ(winter ? "2004-12-31 21:00:00.000" : "2004-12-31 22:00:00.000", fields(local));
}

TEST(TickCounter, ElapsedTimeInUnsignedArithmeticAcrossTheWrap)
{
    DWORD now = GetTickCount();
    // A start 0xF0000000 ms ago lies numerically above the current count unless the system has
    // been up for 46 days: the difference must still come out as the true elapsed time.
    __int64 elapsed = TickCounter(now - 0xF0000000u).GetTimeSpan().GetTicks() / TimeSpan::TicksPerMillisecond();
    EXPECT_GE(elapsed, 0xF0000000LL);
    EXPECT_LT(elapsed, 0xF0000000LL + 5000);
    // A start in the future reads as almost 2^32 ms, never as a negative span.
    EXPECT_GT(TickCounter(now + 1000).GetTimeSpan().GetTicks(),
              (0x100000000LL - 1000 - 1) * TimeSpan::TicksPerMillisecond());
    TickCounter counter(now - 300);
    TimeSpan first = counter.GetTimeSpanAndReset();
    EXPECT_GE(first, TimeSpan::FromMilliseconds(300));
    EXPECT_LT(counter.GetTimeSpan(), first);  // restarted from the reading just taken
    EXPECT_LT(counter.GetTimeSpan(), TimeSpan::FromSeconds(5));
    TickCounter fresh;
    EXPECT_LT(fresh.GetTimeSpan(), TimeSpan::FromSeconds(5));
    fresh.Reset();
    DWORD begin = GetTickCount();
    while (GetTickCount() - begin < 40)
        Sleep(5);
    EXPECT_GE(fresh.GetTimeSpan(), TimeSpan::FromMilliseconds(40));
    fresh.Reset();
    EXPECT_LT(fresh.GetTimeSpan(), TimeSpan::FromMilliseconds(20));
}
