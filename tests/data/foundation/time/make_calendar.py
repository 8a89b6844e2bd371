#!/usr/bin/python3
# Expected calendar fields and strings for tam::Time, taken from GNU `date`.
# Rerun from the repository root:
#   /usr/bin/python3 tests/data/foundation/time/make_calendar.py > tests/data/foundation/time/calendar.tsv
#
# Counts from one day after the epoch up to 2038 follow the zone's rules (date
# in that zone). Outside that range the calendar uses the zone's offset of
# 1971-01-01 00:00 all year round: the expected fields are `date -u` of the
# instant shifted by that offset, and such times report daylight time.
# Minutes, seconds and milliseconds are always those of the count itself
# (floor arithmetic, UTC), which differs from local time in zones with a
# fractional-hour offset.
import os
import subprocess

ZONES = ["UTC", "America/New_York", "Europe/London", "Asia/Kolkata",
         "Australia/Sydney", "Pacific/Chatham"]

# Milliseconds since the epoch.
INSTANTS = [
    1784141130250,      # 2026-07-15 18:45:30.250 UTC: northern summer
    1767582429999,      # 2026-01-05 03:07:09.999 UTC: northern winter
    1767571200000,      # 2026-01-05 00:00:00 UTC: midnight in UTC
    1767614400000,      # 2026-01-05 12:00:00 UTC: noon in UTC
    1710054000000,      # 2024-03-10 07:00 UTC: New York just after its spring change
    951782400000,       # 2000-02-29 00:00 UTC: leap day
    0,                  # the epoch: extended range
    86399999,           # last millisecond before the library range
    86400000,           # first of it
    2145916799999,      # last of it
    2145916800000,      # 2038-01-01 00:00 UTC: extended range again
    -1500,              # negative: seconds truncate, minute fields floor
    -14182940000,       # 1969-07-20 20:17:40 UTC
    2222222222222,      # 2040-06-02: summer, yet standard offset
    -2208988800000,     # 1900-01-01 00:00 UTC
    -11676096000000,    # 1600-01-01 00:00 UTC
    13574563200000,     # 2400-02-29 00:00 UTC
]

FIRST_LIBRARY_SECOND = 86400
END_LIBRARY_SECOND = 2145916800


def date(zone, seconds, fmt, utc=False):
    env = dict(os.environ, TZ="UTC" if utc else zone, LC_ALL="C")
    return subprocess.check_output(["date", "-d", "@%d" % seconds, "+" + fmt], env=env, text=True).strip()


def offset_1971(zone):
    env = dict(os.environ, TZ=zone, LC_ALL="C")
    t = int(subprocess.check_output(["date", "-d", "1971-01-01 00:00:00", "+%s"], env=env, text=True))
    return 31536000 - max(t, 0)


print("zone\tms\tyear\tmonth\tday\tweekday\thour\tminute\tsecond\tmillisecond\tdst\tzone3\t"
      "date\tdatetime12s\tdatetime24\ttime12\ttime24s")
for zone in ZONES:
    shift = offset_1971(zone)
    for ms in INSTANTS:
        seconds = int(ms / 1000)  # truncation, as the calendar takes it
        if FIRST_LIBRARY_SECOND <= seconds < END_LIBRARY_SECOND:
            fields = date(zone, seconds, "%Y %m %d %w %H %Z %z")
            year, month, day, weekday, hour, abbreviation, _ = fields.split(" ")
            # daylight time: the zone's offset now differs from its offset in
            # the other half of the year and is the larger of the two.
            now_off = date(zone, seconds, "%z")
            jan = date(zone, seconds - (seconds % 31536000) + 86400 * 15, "%z")
            jul = date(zone, seconds - (seconds % 31536000) + 86400 * 196, "%z")
            larger = max(int(jan), int(jul))
            dst = 1 if (jan != jul and int(now_off) == larger) else 0
            # The zone text comes from the zone's present rules, so older
            # instants (other names then) are not compared.
            zone3 = abbreviation[:3] if seconds >= 946684800 else "-"
        else:
            shifted = seconds + shift
            fields = date(zone, shifted, "%Y %m %d %w %H", utc=True)
            year, month, day, weekday, hour = fields.split(" ")
            dst = 1
            zone3 = "-"
        minute = (ms // 60000) % 60
        second = (ms // 1000) % 60
        millisecond = ms % 1000
        month0 = int(month) - 1
        hour = int(hour)
        ampm = 12 if hour % 12 == 0 else hour % 12
        suffix = "PM" if hour >= 12 else "AM"
        months = ["Jan", "Feb", "Mar", "Apr", "May", "Jun", "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"]
        date_text = "%s %d %d" % (months[month0], int(day), int(year))
        time12s = "%d:%02d:%02d %s" % (ampm, minute, second, suffix)
        time24 = "%d.%02d" % (hour, minute)
        time24s = "%d:%02d:%02d" % (hour, minute, second)
        print("\t".join(str(v) for v in [
            zone, ms, int(year), month0, int(day), int(weekday), hour, minute, second, millisecond, dst,
            zone3, date_text, date_text + " " + time12s, date_text + " " + time24, time12s, time24s]))
