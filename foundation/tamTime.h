// Time values and clocks.
//
// tam::Time is one signed 64-bit count of milliseconds since the Unix epoch.
// Between one day after the epoch and 2038 the calendar comes from the C
// library (localtime_r, mktime); outside that range it is worked out from
// Julian day numbers with the local offset of 1971-01-01, so the extended
// range never sees daylight saving time. Seconds, minutes and milliseconds are
// plain arithmetic on the count and ignore the time zone.
//
// The clocks: a 32-bit millisecond counter from the monotonic clock, a wall
// clock that is read once and then followed by that counter, and
// high-resolution ticks.
#pragma once

#include <cstdint>
#include <ctime>

#include "foundation/tamString.h"

namespace tam {

// Converts a count of milliseconds to the local calendar (see the top of this
// file for the two paths). tm_isdst is -1 on the extended path.
void TimeMillisecondsToLocal(long long milliseconds, tm& out);

class Time {
public:
    Time() : milliseconds(0) {}
    explicit Time(long long milliseconds) : milliseconds(milliseconds) {}
    Time(const Time& other) = default;
    // A local date and time; month counts from 0.
    Time(int year, int month, int day, int hours, int minutes, int seconds = 0, int milliseconds = 0);

    Time& operator=(const Time& other) = default;

    bool operator==(const Time& other) const { return milliseconds == other.milliseconds; }
    bool operator!=(const Time& other) const { return milliseconds != other.milliseconds; }
    bool operator<(const Time& other) const { return milliseconds < other.milliseconds; }
    bool operator>(const Time& other) const { return milliseconds > other.milliseconds; }
    bool operator<=(const Time& other) const { return milliseconds <= other.milliseconds; }
    bool operator>=(const Time& other) const { return milliseconds >= other.milliseconds; }

    long long GetTime() const { return milliseconds; }
    // The system clock is never set from the pack.
    bool SetSystemTimeToThisTime() const { return false; }

    // Monotonic milliseconds, 32 bits; wraps after about 49 days.
    static uint32_t GetMillisecondCounter();
    // Wall-clock milliseconds since the epoch, read once and then followed by
    // the monotonic counter.
    static long long CurrentTimeMillisecond();
    static Time GetCurrentSystemTime();
    static long long GetHighResolutionTicks();
    static long long GetHighResolutionTicksPerSecond();
    static double GetHighResolutionMillisecondCounter();

    int GetYear() const;
    int GetMonth() const;  // 0 to 11
    int GetDayOfMonth() const;
    int GetDayOfWeek() const;  // 0 is Sunday
    int GetHours() const;
    bool IsAfternoon() const { return GetHours() >= 12; }
    int GetHoursInAmPmFormat() const;
    int GetMinutes() const;
    int GetSeconds() const;
    int GetMilliseconds() const;

    bool IsDaylightSavingTime() const;
    // The zone's abbreviation at this time, at most 3 characters.
    String GetTimeZone() const;
    // The zone-name rule of GetTimeZone: during daylight time a long name
    // holding "daylight" (any case) and "GMT" reads "BST"; the result is cut
    // to 3 characters.
    static String AbbreviateTimeZone(const char* zoneName, bool daylight);

    static String GetMonthName(int month, bool shortName);
    static String GetWeekdayName(int day, bool shortName);

    // "Mon D YYYY" and/or the clock time ("H:MM:SS" with seconds, "H.MM"
    // without, "AM"/"PM" in 12-hour form), end trimmed.
    String MakeString(bool withDate, bool withTime, bool withSeconds, bool twentyFourHour) const;

private:
    long long milliseconds;
};

}  // namespace tam
