#ifndef QVCORE_CORE_DATETIME_H
#define QVCORE_CORE_DATETIME_H

#include "qvcore/Platform.h"
#include "qvcore/core/String.h"

/// A signed duration in ticks of 100 nanoseconds. Arithmetic is unchecked 64-bit arithmetic.
class QVCORE_API TimeSpan {
public:
    static __int64 TicksPerMillisecond() { return 10000; }
    static __int64 TicksPerSecond() { return 10000000; }
    static __int64 TicksPerMinute() { return 600000000; }
    static __int64 TicksPerHour() { return 36000000000LL; }
    static __int64 TicksPerDay() { return 864000000000LL; }

    explicit TimeSpan(__int64 ticks = 0) : ticks_(ticks) {}
    /// Components may be negative or beyond their usual range; they are simply summed.
    TimeSpan(int hours, int minutes, int seconds);
    TimeSpan(int days, int hours, int minutes, int seconds);
    TimeSpan(int days, int hours, int minutes, int seconds, int milliseconds);

    static TimeSpan FromDays(int days) { return TimeSpan(Wrap(Unsigned(days) * TicksPerDay())); }
    static TimeSpan FromHours(int hours) { return TimeSpan(Wrap(Unsigned(hours) * TicksPerHour())); }
    static TimeSpan FromMinutes(int minutes) { return TimeSpan(Wrap(Unsigned(minutes) * TicksPerMinute())); }
    static TimeSpan FromSeconds(int seconds) { return TimeSpan(Wrap(Unsigned(seconds) * TicksPerSecond())); }
    static TimeSpan FromMilliseconds(int milliseconds)
    {
        return TimeSpan(Wrap(Unsigned(milliseconds) * TicksPerMillisecond()));
    }

    __int64 GetTicks() const { return ticks_; }

    /// Components of the absolute value: whole days, then hours (0-23), minutes and seconds
    /// (0-59) and milliseconds (0-999).
    int GetDayFraction() const;
    int GetHourFraction() const;
    int GetMinuteFraction() const;
    int GetSecondFraction() const;
    int GetMillisecondFraction() const;

    /// The absolute value in the unit: a negative span gives a positive result.
    double GetAsDays() const;
    double GetAsHours() const;
    double GetAsMinutes() const;
    double GetAsSeconds() const;
    double GetAsMilliseconds() const;

    TimeSpan operator+(const TimeSpan &other) const { return TimeSpan(Wrap(Unsigned(ticks_) + other.ticks_)); }
    TimeSpan operator-(const TimeSpan &other) const { return TimeSpan(Wrap(Unsigned(ticks_) - other.ticks_)); }
    TimeSpan &operator+=(const TimeSpan &other);
    /// Adds, exactly as operator+= does (kept for compatibility); subtract with operator-.
    TimeSpan &operator-=(const TimeSpan &other);

    bool operator==(const TimeSpan &other) const { return ticks_ == other.ticks_; }
    bool operator!=(const TimeSpan &other) const { return ticks_ != other.ticks_; }
    bool operator<(const TimeSpan &other) const { return ticks_ < other.ticks_; }
    bool operator>(const TimeSpan &other) const { return ticks_ > other.ticks_; }
    bool operator<=(const TimeSpan &other) const { return ticks_ <= other.ticks_; }
    bool operator>=(const TimeSpan &other) const { return ticks_ >= other.ticks_; }

    /// "[-]P[<days>D]T<h>H<m>M<s>S[.<fraction>]": hours, minutes and seconds always written,
    /// the fraction of a second (up to seven digits, trailing zeros cut) after the "S".
    /// 1.5 seconds is "PT0H0M1S.5", minus 90 seconds "-PT0H1M30S".
    String ToString() const;

private:
    // Unchecked arithmetic wraps around in 64 bits. It is done in unsigned arithmetic: a signed
    // overflow would let the compiler assume that it never happens (and fold "a + 1 < a" to false).
    static unsigned __int64 Unsigned(__int64 value) { return static_cast<unsigned __int64>(value); }
    static __int64 Wrap(unsigned __int64 value) { return static_cast<__int64>(value); }

    __int64 ticks_;
};

/// A point in time in UTC: ticks since 1601-01-01 00:00 UTC, laid out as the system's FILETIME.
/// 0 also stands for "unset" after a failed conversion. Local times are converted with the
/// bias in force now, whatever the date (no historical time-zone rules).
class QVCORE_API DateTime {
public:
    DateTime() { time_.dwLowDateTime = time_.dwHighDateTime = 0; }
    DateTime(const FILETIME &time) : time_(time) {}
    DateTime(const DateTime &other) = default;
    DateTime &operator=(const FILETIME &time);
    DateTime &operator=(const DateTime &other) = default;

    void SetFileTime(const FILETIME &time) { time_ = time; }
    void GetAsFileTime(FILETIME &time) const { time = time_; }

    void SetNow();
    static DateTime Now();

    /// True on success; on failure (a field out of range) the value becomes 0. The day of the
    /// week is not used.
    bool SetUTCTime(const SYSTEMTIME &time);
    bool SetUTCTime(unsigned short year, unsigned short month, unsigned short day, unsigned short hour,
                    unsigned short minute, unsigned short second, unsigned short milliseconds);
    bool SetLocalTime(const SYSTEMTIME &time);
    bool SetLocalTime(unsigned short year, unsigned short month, unsigned short day, unsigned short hour,
                      unsigned short minute, unsigned short second, unsigned short milliseconds);
    static DateTime FromUTCTime(const SYSTEMTIME &time);
    static DateTime FromUTCTime(unsigned short year, unsigned short month, unsigned short day, unsigned short hour,
                                unsigned short minute, unsigned short second, unsigned short milliseconds);
    static DateTime FromLocalTime(const SYSTEMTIME &time);
    static DateTime FromLocalTime(unsigned short year, unsigned short month, unsigned short day,
                                  unsigned short hour, unsigned short minute, unsigned short second,
                                  unsigned short milliseconds);

    /// On failure every member of time is 0.
    void GetAsUTCSystemTime(SYSTEMTIME &time) const;
    void GetAsLocalSystemTime(SYSTEMTIME &time) const;

    DateTime operator+(const TimeSpan &span) const { return DateTime(TimeSpan(GetTicks()) + span); }
    DateTime operator-(const TimeSpan &span) const { return DateTime(TimeSpan(GetTicks()) - span); }
    DateTime &operator+=(const TimeSpan &span);
    DateTime &operator-=(const TimeSpan &span);
    TimeSpan operator-(const DateTime &other) const { return TimeSpan(GetTicks()) - TimeSpan(other.GetTicks()); }

    bool operator==(const DateTime &other) const { return GetTicks() == other.GetTicks(); }
    bool operator!=(const DateTime &other) const { return GetTicks() != other.GetTicks(); }
    bool operator<(const DateTime &other) const { return GetTicks() < other.GetTicks(); }
    bool operator>(const DateTime &other) const { return GetTicks() > other.GetTicks(); }
    bool operator<=(const DateTime &other) const { return GetTicks() <= other.GetTicks(); }
    bool operator>=(const DateTime &other) const { return GetTicks() >= other.GetTicks(); }

    /// The time of day in UTC: ticks modulo ticks per day, with the sign of the ticks.
    TimeSpan TimeSpanSinceStartOfDay() const;

    /// "YYYY-MM-DDThh:mm:ss[.fraction]Z" in UTC, the fraction of a second (up to seven digits,
    /// trailing zeros cut) only when there is one: "2004-05-06T07:08:09.5Z".
    String ToString() const;

    static bool IsLeapYear(int year);
    /// Days of the month, from a table kept for compatibility: February gives 0 and March 28 or
    /// 29 (by the leap year); a month outside 1 to 12 gives 0.
    static int GetLastDayOfMonth(int month, int year);
    /// Day of the year (1 January is 1); 0 for a month outside 1 to 12; day is not checked.
    static int GetDayNum(int year, int month, int day);

    /// True when the system reports daylight saving time in force now.
    static bool GetLocalDayLightSaving();
    /// The bias in force now (UTC = local time + bias); zero when the system cannot tell.
    static TimeSpan GetLocalUTCBias();
    /// The zone's daylight name during daylight saving time, else its standard name; empty when
    /// the system cannot tell.
    static String GetLocalTimeZoneName();

private:
    explicit DateTime(const TimeSpan &sinceEpoch);
    /// From a UTC or a local system time; 0 and false on failure.
    bool Set(const SYSTEMTIME &time, bool local);
    __int64 GetTicks() const
    {
        return static_cast<__int64>((static_cast<unsigned __int64>(time_.dwHighDateTime) << 32) | time_.dwLowDateTime);
    }

    FILETIME time_;
};

/// A millisecond stopwatch over the system tick count. Elapsed times are computed in unsigned
/// 32-bit arithmetic, so they stay right across the wrap of the count (every 49.7 days) as long
/// as they are shorter than 2^32 milliseconds.
class QVCORE_API TickCounter {
public:
    TickCounter() { Reset(); }
    /// Counts from the given tick count (as GetTickCount reports it) instead of from now.
    explicit TickCounter(DWORD start) : start_(start) {}

    void Reset() { start_ = GetTickCount(); }
    TimeSpan GetTimeSpan() const;
    /// GetTimeSpan() and Reset() with one reading of the tick count.
    TimeSpan GetTimeSpanAndReset();

private:
    DWORD start_;
};

#endif
