#!/usr/bin/python3
# Expected byte images of the typed stream values, and what reading them back
# gives, worked out with Python's struct module (IEEE images for floats whose
# exponent the stored format keeps) and exact rational arithmetic for the
# shift-based scaling of the double reader.
#
# Rerun: /usr/bin/python3 tests/data/foundation/files/make_values.py > tests/data/foundation/files/values.tsv
import struct
from fractions import Fraction

rows = []


def add(kind, order, value, image, readback):
    rows.append((kind, order, value, image.hex(), readback))


for order, o in (("le", "<"), ("be", ">")):
    for v in (0, 1, 127, 128, 255):
        add("u8", order, str(v), struct.pack(o + "B", v), str(v))
    for v in (0, 1, -1, 32767, -32768, 12345):
        add("i16", order, str(v), struct.pack(o + "h", v), str(v))
    for v in (0, 65535, 32768):
        add("u16", order, str(v), struct.pack(o + "H", v), str(v))
    for v in (0, 1, -1, 8388607, -8388608, 123456):
        image = struct.pack(o + "i", v)
        image = image[:3] if o == "<" else image[1:]
        add("i24", order, str(v), image, str(v))
    for v in (0, 16777215, 8388608):
        image = struct.pack(o + "I", v)
        image = image[:3] if o == "<" else image[1:]
        add("u24", order, str(v), image, str(v))
    for v in (0, 1, 4294967295, 2147483648, 305419896):
        add("u32", order, str(v), struct.pack(o + "I", v), str(v))
    for v in (0, -1, 2147483647, -2147483648):
        add("i32", order, str(v), struct.pack(o + "i", v), str(v))
    for v in (0, 1, -1, 9223372036854775807, -9223372036854775808, 81985529216486895):
        add("i64", order, str(v), struct.pack(o + "q", v), str(v))
        # With trunc8To4 set only the low 32 bits are written.
        low = v & 0xFFFFFFFF
        add("i64t", order, str(v), struct.pack(o + "I", low), "-")
    # Floats: the stored format is the IEEE single layout for normal values;
    # reading scales by an integer shift, exact for exponents within 31.
    for v in ("0", "1", "-1", "0.5", "3.25", "-1234.5", "1e-5", "65536", "1073741824", "0.099999994"):
        f = struct.unpack("<f", struct.pack("<f", float(v)))[0]
        add("f32", order, v, struct.pack(o + "f", f), repr(f))
    for v in ("0", "1", "-1", "0.1", "-2.5", "1e-7", "123456789.125", "2147483648"):
        d = float(v)
        add("f64", order, v, struct.pack(o + "d", d), repr(d))
    # A double of exponent 40 reads back scaled by 2^(40 mod 32) = 2^8.
    d = 2.0 ** 40 * 1.5
    add("f64", order, repr(d), struct.pack(o + "d", d), repr(1.5 * 2 ** 8))
    # And exponent -40 comes back divided by 2^(40 mod 32).
    d = 2.0 ** -40 * 1.25
    add("f64", order, repr(d), struct.pack(o + "d", d), repr(float(Fraction(5, 4) / 2 ** 8)))

# Markers are stored first character lowest whatever the order.
for order in ("le", "be"):
    for text in ("RIFF", "WAVE", "fmt "):
        word = int.from_bytes(text.encode(), "little")
        add("marker", order, str(word), text.encode(), str(word))

print("# kind\torder\tvalue\tbytes\treadback")
for r in rows:
    print("\t".join(r))
