#include "qvcore/core/DateTime.h"

#include <cstdio>
#include <cstring>

namespace {

unsigned __int64 magnitude(__int64 ticks)
{
    // Two's complement negation in unsigned arithmetic: defined for the most negative value too.
    return ticks < 0 ? 0 - static_cast<unsigned __int64>(ticks) : static_cast<unsigned __int64>(ticks);
}

// Appends ".%07u" of a sub-second tick count, without its trailing zeros; nothing for zero.
void appendFraction(std::string &text, unsigned int ticks)
{
    if (ticks == 0)
        return;
    char buffer[16];
    std::snprintf(buffer, sizeof buffer, ".%07u", ticks);
    std::size_t length = std::strlen(buffer);
    while (buffer[length - 1] == '0')
        --length;
    text.append(buffer, length);
}

bool systemTimeToFileTime(const SYSTEMTIME &time, FILETIME &result, bool local)
{
    FILETIME converted;
    if (!SystemTimeToFileTime(&time, &converted))
        return false;
    if (!local) {
        result = converted;
        return true;
    }
    return LocalFileTimeToFileTime(&converted, &result) != FALSE;
}

SYSTEMTIME makeSystemTime(unsigned short year, unsigned short month, unsigned short day, unsigned short hour,
                          unsigned short minute, unsigned short second, unsigned short milliseconds)
{
    SYSTEMTIME time = {};
    time.wYear = year;
    time.wMonth = month;
    time.wDay = day;
    time.wHour = hour;
    time.wMinute = minute;
    time.wSecond = second;
    time.wMilliseconds = milliseconds;
    return time;
}

const int daysBeforeMonth[2][12] = {
    {0, 31, 59, 90, 120, 151, 181, 212, 243, 273, 304, 334},
    {0, 31, 60, 91, 121, 152, 182, 213, 244, 274, 305, 335},
};

}  // namespace

// --- TimeSpan ----------------------------------------------------------------------------------

TimeSpan::TimeSpan(int hours, int minutes, int seconds)
    : ticks_(Wrap(((Unsigned(hours) * 60 + Unsigned(minutes)) * 60 + Unsigned(seconds)) * TicksPerSecond()))
{
}

TimeSpan::TimeSpan(int days, int hours, int minutes, int seconds)
    : ticks_(Wrap((((Unsigned(days) * 24 + Unsigned(hours)) * 60 + Unsigned(minutes)) * 60 + Unsigned(seconds)) *
                   TicksPerSecond()))
{
}

TimeSpan::TimeSpan(int days, int hours, int minutes, int seconds, int milliseconds)
    : ticks_(Wrap(((((Unsigned(days) * 24 + Unsigned(hours)) * 60 + Unsigned(minutes)) * 60 + Unsigned(seconds)) *
                        1000 +
                    Unsigned(milliseconds)) *
                   TicksPerMillisecond()))
{
}

int TimeSpan::GetDayFraction() const
{
    return static_cast<int>(magnitude(ticks_) / TicksPerDay());
}

int TimeSpan::GetHourFraction() const
{
    return static_cast<int>(magnitude(ticks_) / TicksPerHour() % 24);
}

int TimeSpan::GetMinuteFraction() const
{
    return static_cast<int>(magnitude(ticks_) / TicksPerMinute() % 60);
}

int TimeSpan::GetSecondFraction() const
{
    return static_cast<int>(magnitude(ticks_) / TicksPerSecond() % 60);
}

int TimeSpan::GetMillisecondFraction() const
{
    return static_cast<int>(magnitude(ticks_) / TicksPerMillisecond() % 1000);
}

double TimeSpan::GetAsDays() const
{
    return static_cast<double>(magnitude(ticks_)) / TicksPerDay();
}

double TimeSpan::GetAsHours() const
{
    return static_cast<double>(magnitude(ticks_)) / TicksPerHour();
}

double TimeSpan::GetAsMinutes() const
{
    return static_cast<double>(magnitude(ticks_)) / TicksPerMinute();
}

double TimeSpan::GetAsSeconds() const
{
    return static_cast<double>(magnitude(ticks_)) / TicksPerSecond();
}

double TimeSpan::GetAsMilliseconds() const
{
    return static_cast<double>(magnitude(ticks_)) / TicksPerMillisecond();
}

TimeSpan &TimeSpan::operator+=(const TimeSpan &other)
{
    return *this = *this + other;
}

TimeSpan &TimeSpan::operator-=(const TimeSpan &other)
{
    return *this += other;
}

String TimeSpan::ToString() const
{
    unsigned __int64 ticks = magnitude(ticks_);
    std::string text = ticks_ < 0 ? "-P" : "P";
    char buffer[64];
    if (unsigned __int64 days = ticks / TicksPerDay()) {
        std::snprintf(buffer, sizeof buffer, "%lluD", days);
        text += buffer;
    }
    std::snprintf(buffer, sizeof buffer, "T%uH%uM%uS", GetHourFraction(), GetMinuteFraction(), GetSecondFraction());
    text += buffer;
    appendFraction(text, static_cast<unsigned int>(ticks % TicksPerSecond()));
    return String::FromLatin1(text);
}

// --- DateTime ----------------------------------------------------------------------------------

DateTime::DateTime(const TimeSpan &sinceEpoch)
{
    unsigned __int64 ticks = static_cast<unsigned __int64>(sinceEpoch.GetTicks());
    time_.dwLowDateTime = static_cast<DWORD>(ticks);
    time_.dwHighDateTime = static_cast<DWORD>(ticks >> 32);
}

DateTime &DateTime::operator=(const FILETIME &time)
{
    time_ = time;
    return *this;
}

void DateTime::SetNow()
{
    GetSystemTimeAsFileTime(&time_);
}

DateTime DateTime::Now()
{
    DateTime now;
    now.SetNow();
    return now;
}

bool DateTime::Set(const SYSTEMTIME &time, bool local)
{
    if (systemTimeToFileTime(time, time_, local))
        return true;
    *this = DateTime();
    return false;
}

bool DateTime::SetUTCTime(const SYSTEMTIME &time)
{
    return Set(time, false);
}

bool DateTime::SetUTCTime(unsigned short year, unsigned short month, unsigned short day, unsigned short hour,
                          unsigned short minute, unsigned short second, unsigned short milliseconds)
{
    return Set(makeSystemTime(year, month, day, hour, minute, second, milliseconds), false);
}

bool DateTime::SetLocalTime(const SYSTEMTIME &time)
{
    return Set(time, true);
}

bool DateTime::SetLocalTime(unsigned short year, unsigned short month, unsigned short day, unsigned short hour,
                            unsigned short minute, unsigned short second, unsigned short milliseconds)
{
    return Set(makeSystemTime(year, month, day, hour, minute, second, milliseconds), true);
}

DateTime DateTime::FromUTCTime(const SYSTEMTIME &time)
{
    DateTime result;
    result.Set(time, false);
    return result;
}

DateTime DateTime::FromUTCTime(unsigned short year, unsigned short month, unsigned short day, unsigned short hour,
                               unsigned short minute, unsigned short second, unsigned short milliseconds)
{
    return FromUTCTime(makeSystemTime(year, month, day, hour, minute, second, milliseconds));
}

DateTime DateTime::FromLocalTime(const SYSTEMTIME &time)
{
    DateTime result;
    result.Set(time, true);
    return result;
}

DateTime DateTime::FromLocalTime(unsigned short year, unsigned short month, unsigned short day, unsigned short hour,
                                 unsigned short minute, unsigned short second, unsigned short milliseconds)
{
    return FromLocalTime(makeSystemTime(year, month, day, hour, minute, second, milliseconds));
}

void DateTime::GetAsUTCSystemTime(SYSTEMTIME &time) const
{
    if (!FileTimeToSystemTime(&time_, &time))
        time = SYSTEMTIME();
}

void DateTime::GetAsLocalSystemTime(SYSTEMTIME &time) const
{
    FILETIME local;
    if (!FileTimeToLocalFileTime(&time_, &local) || !FileTimeToSystemTime(&local, &time))
        time = SYSTEMTIME();
}

DateTime &DateTime::operator+=(const TimeSpan &span)
{
    return *this = *this + span;
}

DateTime &DateTime::operator-=(const TimeSpan &span)
{
    return *this = *this - span;
}

TimeSpan DateTime::TimeSpanSinceStartOfDay() const
{
    return TimeSpan(GetTicks() % TimeSpan::TicksPerDay());
}

String DateTime::ToString() const
{
    SYSTEMTIME time;
    GetAsUTCSystemTime(time);
    char buffer[64];
    std::snprintf(buffer, sizeof buffer, "%04d-%02d-%02dT%02d:%02d:%02d", time.wYear, time.wMonth, time.wDay,
                  time.wHour, time.wMinute, time.wSecond);
    std::string text = buffer;
    // The part below one second counts forward from the second before it, before 1601 too.
    __int64 perSecond = TimeSpan::TicksPerSecond();
    appendFraction(text, static_cast<unsigned int>((GetTicks() % perSecond + perSecond) % perSecond));
    text += 'Z';
    return String::FromLatin1(text);
}

bool DateTime::IsLeapYear(int year)
{
    return (year % 4 == 0 && year % 100 != 0) || year % 400 == 0;
}

int DateTime::GetLastDayOfMonth(int month, int year)
{
    // Shifted by one month from the calendar, kept for compatibility: February has no entry and
    // March is answered with February's length.
    static const int days[12] = {31, 0, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    if (month < 1 || month > 12)
        return 0;
    if (month == 3)
        return IsLeapYear(year) ? 29 : 28;
    return days[month - 1];
}

int DateTime::GetDayNum(int year, int month, int day)
{
    if (month < 1 || month > 12)
        return 0;
    return daysBeforeMonth[IsLeapYear(year) ? 1 : 0][month - 1] + day;
}

bool DateTime::GetLocalDayLightSaving()
{
    TIME_ZONE_INFORMATION zone;
    return GetTimeZoneInformation(&zone) == TIME_ZONE_ID_DAYLIGHT;
}

TimeSpan DateTime::GetLocalUTCBias()
{
    TIME_ZONE_INFORMATION zone;
    long minutes;
    switch (GetTimeZoneInformation(&zone)) {
    case TIME_ZONE_ID_UNKNOWN: minutes = zone.Bias; break;
    case TIME_ZONE_ID_STANDARD: minutes = zone.Bias + zone.StandardBias; break;
    case TIME_ZONE_ID_DAYLIGHT: minutes = zone.Bias + zone.DaylightBias; break;
    default: minutes = 0; break;
    }
    return TimeSpan::FromMinutes(minutes);
}

String DateTime::GetLocalTimeZoneName()
{
    TIME_ZONE_INFORMATION zone;
    switch (GetTimeZoneInformation(&zone)) {
    case TIME_ZONE_ID_DAYLIGHT: return String(reinterpret_cast<const unsigned short *>(zone.DaylightName));
    case TIME_ZONE_ID_INVALID: return String();
    default: return String(reinterpret_cast<const unsigned short *>(zone.StandardName));
    }
}

// --- TickCounter -------------------------------------------------------------------------------

namespace {

TimeSpan elapsedSince(DWORD start, DWORD now)
{
    DWORD milliseconds = now - start;  // unsigned: right across the wrap of the count
    return TimeSpan(static_cast<__int64>(milliseconds) * TimeSpan::TicksPerMillisecond());
}

}  // namespace

TimeSpan TickCounter::GetTimeSpan() const
{
    return elapsedSince(start_, GetTickCount());
}

TimeSpan TickCounter::GetTimeSpanAndReset()
{
    DWORD now = GetTickCount();
    TimeSpan elapsed = elapsedSince(start_, now);
    start_ = now;
    return elapsed;
}
