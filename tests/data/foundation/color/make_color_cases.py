#!/usr/bin/python3
# Reference cases for colour arithmetic.
# Rerun from the repository root:
#   /usr/bin/python3 tests/data/foundation/color/make_color_cases.py tests/data/foundation/color
#
# hsb_to_rgb.tsv  h s b -> bytes, from Python's colorsys (double precision,
#                 rounded to nearest); the pack works in single precision, so
#                 tests allow one step.
# rgb_to_hsb.tsv  bytes -> h s b from colorsys.
# blend.tsv       destination word, source word -> result: per channel
#                 floor(d * (256 - source alpha) / 256) + s, with carries
#                 running into the next channel (nothing clamps), mod 2^32.
# lighten.tsv     word, amount -> Brighten and Darken results, in exact
#                 rational arithmetic with truncation (the amounts are chosen
#                 so that 1 / (amount + 1) is exact in binary).
import colorsys
import os
import random
import sys
from fractions import Fraction

out = sys.argv[1] if len(sys.argv) > 1 else "."
generator = random.Random(20261122)


def write(name, header, rows):
    with open(os.path.join(out, name), "w") as f:
        f.write("\t".join(header) + "\n")
        for row in rows:
            f.write("\t".join(str(v) for v in row) + "\n")


rows = []
for h in [0.0, 1 / 6, 0.25, 1 / 3, 0.5, 2 / 3, 0.75, 5 / 6, 0.999, 1.25, -0.25]:
    for s in [0.0, 0.3, 0.75, 1.0]:
        for b in [0.0, 0.2, 0.5, 1.0]:
            r, g, bl = colorsys.hsv_to_rgb(h % 1.0, s, b)
            rows.append(["%.9g" % h, "%.9g" % s, "%.9g" % b, round(r * 255), round(g * 255), round(bl * 255)])
for _ in range(200):
    h, s, b = generator.random(), generator.random(), generator.random()
    r, g, bl = colorsys.hsv_to_rgb(h, s, b)
    rows.append(["%.9g" % h, "%.9g" % s, "%.9g" % b, round(r * 255), round(g * 255), round(bl * 255)])
write("hsb_to_rgb.tsv", ["h", "s", "b", "red", "green", "blue"], rows)

rows = []
samples = [(0, 0, 0), (255, 255, 255), (128, 128, 128), (255, 0, 0), (0, 255, 0), (0, 0, 255),
           (255, 255, 0), (0, 255, 255), (255, 0, 255), (240, 248, 255), (1, 2, 3), (200, 10, 100)]
samples += [(generator.randrange(256), generator.randrange(256), generator.randrange(256)) for _ in range(200)]
for r, g, b in samples:
    h, s, v = colorsys.rgb_to_hsv(r / 255, g / 255, b / 255)
    rows.append([r, g, b, "%.9g" % h, "%.9g" % s, "%.9g" % v])
write("rgb_to_hsb.tsv", ["red", "green", "blue", "h", "s", "b"], rows)

rows = []
words = [0x00000000, 0xFFFFFFFF, 0x80FF8040, 0x7F102030, 0xFF0000FF, 0x01000000]
words += [generator.getrandbits(32) for _ in range(60)]
for destination in words:
    for source in words[:12]:
        alpha = source >> 24
        total = 0
        for shift in (0, 8, 16, 24):
            d = (destination >> shift) & 0xFF
            total += (d * (256 - alpha) // 256) << shift
        total = (total + source) & 0xFFFFFFFF
        rows.append(["%08X" % destination, "%08X" % source, "%08X" % total])
write("blend.tsv", ["destination", "source", "result"], rows)

rows = []
for word in [0xFF000000, 0xFFFFFFFF, 0x80102030, 0xFFF0F8FF, 0x00FF7F01] + [generator.getrandbits(32) for _ in range(20)]:
    for amount in [Fraction(0), Fraction(1), Fraction(1, 4), Fraction(3), Fraction(7)]:
        f = 1 / (amount + 1)
        channels = [(word >> shift) & 0xFF for shift in (16, 8, 0)]
        lighter = [int(255 - (255 - c) * f) for c in channels]
        darker = [int(c * f) for c in channels]
        alpha = word & 0xFF000000
        pack = lambda c: alpha | (c[0] << 16) | (c[1] << 8) | c[2]
        rows.append(["%08X" % word, "%.9g" % float(amount), "%08X" % pack(lighter), "%08X" % pack(darker)])
write("lighten.tsv", ["word", "amount", "brighten", "darken"], rows)
