// Time values, the calendar and the clocks.
#include "foundation/tamTime.h"

#include <sys/time.h>
#include <time.h>

#include <atomic>
#include <cstring>
#include <mutex>

namespace tam {

namespace {

constexpr long long kMillisecondsPerDay = 86400000LL;
constexpr long long kSecondsPerDay = 86400LL;
// Seconds from the start of the Julian day count to the Unix epoch.
constexpr long long kJulianSecondsAtEpoch = 210866803200LL;
constexpr long long kSecondsIn1970 = 31536000LL;
// The 32-bit time_t range where the C library's calendar is used.
constexpr long long kFirstLibrarySecond = 86400LL;
constexpr long long kEndLibrarySecond = 2145916800LL;

long long MonotonicMicroseconds() {
    timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<long long>(now.tv_sec) * 1000000LL + now.tv_nsec / 1000;
}

// Seconds east of UTC, as the local offset of 1971-01-01 00:00:00.
long long LocalOffsetSeconds() {
    tm start{};
    start.tm_year = 71;
    start.tm_mon = 0;
    start.tm_mday = 1;
    start.tm_isdst = -1;
    long long t = static_cast<long long>(mktime(&start));
    if (t < 0) t = 0;
    return kSecondsIn1970 - t;
}

// Floor division and modulo for the count's arithmetic fields.
long long FloorDiv(long long a, long long b) {
    long long q = a / b;
    if ((a % b != 0) && ((a < 0) != (b < 0))) --q;
    return q;
}
long long FloorMod(long long a, long long b) {
    long long r = a % b;
    if (r != 0 && ((r < 0) != (b < 0))) r += b;
    return r;
}

}  // namespace

void TimeMillisecondsToLocal(long long milliseconds, tm& out) {
    const long long seconds = milliseconds / 1000;
    if (seconds >= kFirstLibrarySecond && seconds < kEndLibrarySecond) {
        const time_t t = static_cast<time_t>(seconds);
        if (localtime_r(&t, &out) != nullptr) return;
    }
    std::memset(&out, 0, sizeof out);
    // Unsigned arithmetic: hostile counts wrap instead of overflowing.
    const long long julianSeconds = static_cast<long long>(
        static_cast<unsigned long long>(seconds) + static_cast<unsigned long long>(LocalOffsetSeconds()) +
        static_cast<unsigned long long>(kJulianSecondsAtEpoch));
    const long long days = FloorDiv(julianSeconds, kSecondsPerDay);
    const long long a = days + 32044;
    const long long b = FloorDiv(4 * a + 3, 146097);
    const long long c = a - FloorDiv(146097 * b, 4);
    const long long d = FloorDiv(4 * c + 3, 1461);
    const long long e = c - FloorDiv(1461 * d, 4);
    const long long m = FloorDiv(5 * e + 2, 153);
    out.tm_mday = static_cast<int>(e - FloorDiv(153 * m + 2, 5) + 1);
    out.tm_mon = static_cast<int>(m + 2 - 12 * FloorDiv(m, 10));
    out.tm_year = static_cast<int>(100 * b + d - 4800 + FloorDiv(m, 10) - 1900);
    out.tm_wday = static_cast<int>(FloorMod(days + 1, 7));
    out.tm_yday = -1;
    long long clock = FloorMod(julianSeconds, kSecondsPerDay);
    out.tm_hour = static_cast<int>(clock / 3600);
    clock %= 3600;
    out.tm_min = static_cast<int>(clock / 60);
    out.tm_sec = static_cast<int>(clock % 60);
    out.tm_isdst = -1;
}

Time::Time(int year, int month, int day, int hours, int minutes, int seconds, int milliseconds) {
    if (year >= 1971 && year <= 2037) {
        tm t{};
        t.tm_year = year - 1900;
        t.tm_mon = month;
        t.tm_mday = day;
        t.tm_hour = hours;
        t.tm_min = minutes;
        t.tm_sec = seconds;
        t.tm_isdst = -1;
        const long long s = static_cast<long long>(mktime(&t));
        this->milliseconds = s < 0 ? 0 : s * 1000 + milliseconds;
        return;
    }
    // The Julian day number of the date (month from 0), then back to the
    // epoch; 64-bit unsigned so that wild fields wrap instead of overflowing.
    const long long a = FloorDiv(13 - static_cast<long long>(month), 12);
    const long long y = static_cast<long long>(year) + 4800 - a;
    const long long mm = static_cast<long long>(month) + 12 * a - 2;
    const unsigned long long julianDay =
        static_cast<unsigned long long>(day) + static_cast<unsigned long long>(FloorDiv(153 * mm + 2, 5)) +
        static_cast<unsigned long long>(365 * y) +
        static_cast<unsigned long long>(FloorDiv(y, 4) - FloorDiv(y, 100) + FloorDiv(y, 400)) - 32045ULL;
    const unsigned long long clock = static_cast<unsigned long long>(hours) * 3600ULL +
                                     static_cast<unsigned long long>(minutes) * 60ULL +
                                     static_cast<unsigned long long>(seconds);
    const unsigned long long total = julianDay * 86400ULL -
                                     static_cast<unsigned long long>(kJulianSecondsAtEpoch) + clock -
                                     static_cast<unsigned long long>(LocalOffsetSeconds());
    this->milliseconds =
        static_cast<long long>(total * 1000ULL + static_cast<unsigned long long>(milliseconds));
}

uint32_t Time::GetMillisecondCounter() {
    static std::atomic<uint32_t> lastMSCounterValue{0};
    const uint32_t now = static_cast<uint32_t>(MonotonicMicroseconds() / 1000);
    const uint32_t last = lastMSCounterValue.load(std::memory_order_relaxed);
    // A value a little below the last one (another processor's reading) is
    // returned without being kept; a large step back is a wrap, a new start.
    if (now < last && last - now <= 1000) return now;
    lastMSCounterValue.store(now, std::memory_order_relaxed);
    return now;
}

long long Time::CurrentTimeMillisecond() {
    static std::mutex guard;
    static uint32_t lastCounterResult = 0xffffffffu;
    static long long correction = 0;
    std::lock_guard<std::mutex> lock(guard);
    const uint32_t now = GetMillisecondCounter();
    if (now < lastCounterResult) {
        if (lastCounterResult == 0xffffffffu || now < lastCounterResult - 10) {
            timeval wall;
            gettimeofday(&wall, nullptr);
            correction = static_cast<long long>(wall.tv_sec) * 1000 + wall.tv_usec / 1000 -
                         static_cast<long long>(now);
        }
    }
    lastCounterResult = now;
    return correction + now;
}

Time Time::GetCurrentSystemTime() { return Time(CurrentTimeMillisecond()); }

long long Time::GetHighResolutionTicks() {
    timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<long long>(now.tv_sec) * 1000000000LL + now.tv_nsec;
}

// The ticks are nanoseconds of the monotonic clock, whatever its grain.
long long Time::GetHighResolutionTicksPerSecond() { return 1000000000LL; }

double Time::GetHighResolutionMillisecondCounter() {
    return static_cast<double>(MonotonicMicroseconds()) * 0.001;
}

int Time::GetYear() const {
    tm t;
    TimeMillisecondsToLocal(milliseconds, t);
    return t.tm_year + 1900;
}

int Time::GetMonth() const {
    tm t;
    TimeMillisecondsToLocal(milliseconds, t);
    return t.tm_mon;
}

int Time::GetDayOfMonth() const {
    tm t;
    TimeMillisecondsToLocal(milliseconds, t);
    return t.tm_mday;
}

int Time::GetDayOfWeek() const {
    tm t;
    TimeMillisecondsToLocal(milliseconds, t);
    return t.tm_wday;
}

int Time::GetHours() const {
    tm t;
    TimeMillisecondsToLocal(milliseconds, t);
    return t.tm_hour;
}

int Time::GetHoursInAmPmFormat() const {
    const int hours = GetHours() % 12;
    return hours == 0 ? 12 : hours;
}

int Time::GetMinutes() const { return static_cast<int>(FloorMod(FloorDiv(milliseconds, 60000), 60)); }

int Time::GetSeconds() const { return static_cast<int>(FloorMod(FloorDiv(milliseconds, 1000), 60)); }

int Time::GetMilliseconds() const { return static_cast<int>(FloorMod(milliseconds, 1000)); }

bool Time::IsDaylightSavingTime() const {
    tm t;
    TimeMillisecondsToLocal(milliseconds, t);
    // The extended range reports -1, which counts as daylight time here.
    return t.tm_isdst != 0;
}

String Time::AbbreviateTimeZone(const char* zoneName, bool daylight) {
    String zone(zoneName);
    if (daylight && zone.GetLength() >= 4 && zone.ContainsIgnoreCase("daylight") && zone.Contains("GMT"))
        zone = "BST";
    return zone.Substring(0, 3);
}

String Time::GetTimeZone() const {
    tzset();
    const bool daylight = IsDaylightSavingTime();
    return AbbreviateTimeZone(daylight ? tzname[1] : tzname[0], daylight);
}

String Time::GetMonthName(int month, bool shortName) {
    static const char* const shortNames[12] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                               "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
    static const char* const longNames[12] = {"January",   "February", "March",    "April",
                                              "May",       "June",     "July",     "August",
                                              "September", "October",  "November", "December"};
    const int index = static_cast<int>(FloorMod(month, 12));
    return String(shortName ? shortNames[index] : longNames[index]);
}

String Time::GetWeekdayName(int day, bool shortName) {
    static const char* const shortNames[7] = {"Sun", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat"};
    static const char* const longNames[7] = {"Sunday",   "Monday", "Tuesday", "Wednesday",
                                             "Thursday", "Friday", "Saturday"};
    const int index = static_cast<int>(FloorMod(day, 7));
    return String(shortName ? shortNames[index] : longNames[index]);
}

String Time::MakeString(bool withDate, bool withTime, bool withSeconds, bool twentyFourHour) const {
    String result;
    if (withDate) {
        result += GetMonthName(GetMonth(), true);
        result += String::Formatted(" %d %d", GetDayOfMonth(), GetYear());
        if (withTime) result += ' ';
    }
    if (withTime) {
        const int hours = twentyFourHour ? GetHours() : GetHoursInAmPmFormat();
        if (withSeconds)
            result += String::Formatted("%d:%02d:%02d ", hours, GetMinutes(), GetSeconds());
        else
            result += String::Formatted("%d.%02d ", hours, GetMinutes());
        if (!twentyFourHour) result += IsAfternoon() ? "PM" : "AM";
    }
    return result.TrimEnd();
}

}  // namespace tam
