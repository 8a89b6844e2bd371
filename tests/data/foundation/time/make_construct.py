#!/usr/bin/python3
# Expected counts for tam::Time(year, month, day, hours, minutes, seconds,
# milliseconds), month from 0, taken from GNU `date`.
# Rerun from the repository root:
#   /usr/bin/python3 tests/data/foundation/time/make_construct.py > tests/data/foundation/time/construct.tsv
#
# Years 1971 to 2037 follow the zone's rules (`date` in the zone). Other years
# use the zone's offset of 1971-01-01 all year: `date -u` of the wall time,
# less that offset. A field past its range carries into the next one; the
# third column names the same wall time written the normal way.
import os
import subprocess

ZONES = ["UTC", "America/New_York", "Europe/London", "Asia/Kolkata", "Australia/Sydney"]

# (year, month from 0, day, hours, minutes, seconds, milliseconds, normal wall time)
CASES = [
    (1971, 0, 1, 0, 0, 0, 0, "1971-01-01 00:00:00"),
    (2026, 6, 15, 18, 45, 30, 250, "2026-07-15 18:45:30"),
    (2026, 0, 5, 3, 7, 9, 999, "2026-01-05 03:07:09"),
    (2026, 12, 1, 10, 0, 0, 0, "2027-01-01 10:00:00"),
    (2037, 11, 31, 23, 59, 59, 999, "2037-12-31 23:59:59"),
    (2038, 0, 1, 0, 0, 0, 0, "2038-01-01 00:00:00"),
    (2040, 5, 2, 12, 0, 0, 0, "2040-06-02 12:00:00"),
    (2040, 13, 1, 6, 30, 0, 0, "2041-02-01 06:30:00"),
    (1970, 0, 1, 0, 0, 0, 0, "1970-01-01 00:00:00"),
    (1969, 6, 20, 20, 17, 40, 0, "1969-07-20 20:17:40"),
    (1900, 1, 28, 23, 0, 0, 0, "1900-02-28 23:00:00"),
    (1600, 1, 29, 12, 0, 0, 0, "1600-02-29 12:00:00"),
    (2400, 1, 29, 0, 0, 0, 5, "2400-02-29 00:00:00"),
]


def seconds_of(zone, wall):
    env = dict(os.environ, TZ=zone, LC_ALL="C")
    return int(subprocess.check_output(["date", "-d", wall, "+%s"], env=env, text=True))


print("zone\tyear\tmonth\tday\thours\tminutes\tseconds\tmilliseconds\tcount")
for zone in ZONES:
    shift = 31536000 - max(seconds_of(zone, "1971-01-01 00:00:00"), 0)
    for year, month, day, hours, minutes, seconds, ms, wall in CASES:
        if 1971 <= year <= 2037:
            count = seconds_of(zone, wall) * 1000 + ms
        else:
            count = (seconds_of("UTC", wall) - shift) * 1000 + ms
        print("\t".join(str(v) for v in [zone, year, month, day, hours, minutes, seconds, ms, count]))
