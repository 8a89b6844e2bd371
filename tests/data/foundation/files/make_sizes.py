#!/usr/bin/python3
# Expected texts of File::SizeInBytesToString at the unit boundaries, from
# Python's own decimal formatting.
#
# Rerun: /usr/bin/python3 tests/data/foundation/files/make_sizes.py > tests/data/foundation/files/sizes.tsv


def text(n):
    if n == 1:
        return "1 byte"
    if n < 1024:
        return "%d bytes" % n
    for limit, unit, scale in ((0x100000 - 1, "KB", 1024), (0x3FFFFFFF, "MB", 1 << 20), (0xFFFFFFFFFF, "GB", 1 << 30)):
        if n <= limit:
            return "%s %s" % (format(n / scale, ".1f"), unit)
    return "%s TB" % format(n / (1 << 40), ".1f")


sizes = [-5, -1, 0, 1, 2, 1023, 1024, 1075, 1076, 1536, 0xFFFFF, 0x100000, 0x3FFFFFFF, 0x40000000,
         0xFFFFFFFFFF, 0x10000000000, 5 * (1 << 40) + (1 << 39), 9223372036854775807]
print("# bytes\ttext")
for n in sizes:
    print("%d\t%s" % (n, text(n)))
