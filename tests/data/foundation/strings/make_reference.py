#!/usr/bin/env python3
# Makes the reference data for the string and container tests.
# Rerun from the repository root:
#   /usr/bin/python3 tests/data/foundation/strings/make_reference.py
#
# utf8_fold.tsv     UTF-8 text (hex) and the single-byte folding (hex): each
#                   code point as decoded by iconv (to UTF-32LE), low 8 bits.
# base64.tsv        input bytes (hex) and `base64 -w 72` output from
#                   coreutils, with line feeds written as \n.
# fixed_places.tsv  value, places and the fixed-point text: |v| * 10^places
#                   + 0.5 truncated, digits with the point, "%g" outside the
#                   fixed range (computed with Python's decimal module on the
#                   exact double results).
# sort_equal.tsv    the order a median-pivot quicksort with selection sort
#                   below 9 elements leaves equal keys in, from an independent
#                   Python rendering of the algorithm.
# bytebuffer_float.tsv  float bits, stored word of the frexp-built float
#                   format, and the value read back from that word.
import math
import os
import struct
import subprocess
from decimal import Decimal

HERE = os.path.dirname(os.path.abspath(__file__))


def utf8_cases():
    texts = [
        "plain ascii",
        "caf\u00e9 na\u00efve \u00fcber",
        "\u00ff\u00fe\u00a0\u00b5",
        "\u20ac 5",
        "\u4e2d\u6587 text",
        "\u0100\u0101\u017f",
        "emoji \U0001f600 and \U0001d11e",
        "\u0391\u03b2\u03b3 greek",
        "mixed \u00e9\u20ac\U00010348!",
        "\u07ff\u0800\uffff\U0010ffff",
    ]
    rows = []
    for text in texts:
        data = text.encode("utf-8")
        utf32 = subprocess.run(["iconv", "-f", "UTF-8", "-t", "UTF-32LE"], input=data,
                               capture_output=True, check=True).stdout
        points = struct.unpack("<%dI" % (len(utf32) // 4), utf32)
        folded = bytes(p & 0xFF for p in points)
        rows.append((data.hex(), folded.hex()))
    with open(os.path.join(HERE, "utf8_fold.tsv"), "w") as f:
        f.write("# utf8_hex\tfolded_hex\n")
        for a, b in rows:
            f.write(f"{a}\t{b}\n")


def base64_cases():
    lengths = [1, 2, 3, 4, 5, 6, 53, 54, 55, 56, 57, 100, 108, 109, 255, 1000]
    with open(os.path.join(HERE, "base64.tsv"), "w") as f:
        f.write("# input_hex\tbase64 -w 72 output (\\n for line feeds)\n")
        for n in lengths:
            data = bytes((i * 131 + n * 7 + (i >> 3)) & 0xFF for i in range(n))
            out = subprocess.run(["base64", "-w", "72"], input=data, capture_output=True,
                                 check=True).stdout.decode()
            f.write(data.hex() + "\t" + out.replace("\n", "\\n") + "\n")


def fixed_text(value, places):
    if not (-1e20 < value < 1e20) or places < 1:
        return "%g" % value
    scaled = abs(value) * (10.0 ** places) + 0.5  # double arithmetic, as the format defines it
    n = int(Decimal(scaled))  # truncation of the exact double
    digits = str(n).rjust(places + 1, "0")
    text = digits[:-places] + "." + digits[-places:]
    return ("-" if value < 0 else "") + text


def fixed_cases():
    cases = [(1.5, 2), (-0.004, 2), (0.125, 2), (2.675, 2), (1.005, 2), (0.5, 1), (9.995, 2),
             (123456.789, 3), (-7.25, 1), (0.0, 3), (-0.0, 2), (1e19, 1), (99.9999, 3),
             (2.5, 0), (1e21, 3), (-3e22, 1), (0.1, 5), (1234567.0, 6), (0.05, 1), (0.15, 1)]
    with open(os.path.join(HERE, "fixed_places.tsv"), "w") as f:
        f.write("# value (repr)\tplaces\texpected\n")
        for value, places in cases:
            f.write(f"{value!r}\t{places}\t{fixed_text(value, places)}\n")


def quicksort(items, key):
    a = list(items)

    def cmp(x, y):
        kx, ky = key(x), key(y)
        return (kx > ky) - (kx < ky)

    def selection(lo, hi):
        end = hi
        while end > lo:
            best = lo
            for k in range(lo + 1, end + 1):
                if cmp(a[k], a[best]) > 0:
                    best = k
            a[best], a[end] = a[end], a[best]
            end -= 1

    stack = []
    lo, hi = 0, len(a) - 1
    if hi <= lo:
        return a
    while True:
        size = hi - lo + 1
        if size < 9:
            selection(lo, hi)
            if not stack:
                return a
            lo, hi = stack.pop()
            continue
        mid = lo + size // 2
        a[mid], a[lo] = a[lo], a[mid]
        i, j = lo, hi + 1
        while True:
            while i < hi:
                i += 1
                if cmp(a[i], a[lo]) > 0:
                    break
            while j > lo:
                j -= 1
                if cmp(a[j], a[lo]) < 0:
                    break
            if j <= i:
                break
            a[i], a[j] = a[j], a[i]
        a[lo], a[j] = a[j], a[lo]
        left, right = (lo, j - 1), (i, hi)
        lsize, rsize = left[1] - left[0] + 1, right[1] - right[0] + 1
        nxt = None
        if lsize < rsize:
            if rsize >= 2:
                stack.append(right)
            if lsize >= 2:
                nxt = left
        else:
            if lsize >= 2:
                stack.append(left)
            if rsize >= 2:
                nxt = right
        if nxt is None:
            if not stack:
                return a
            nxt = stack.pop()
        lo, hi = nxt


def sort_cases():
    rows = []
    small = ["b", "A", "a", "B", "c", "C"]
    rows.append(small)
    words = ["Delta", "alpha", "delta", "Alpha", "charlie", "ALPHA", "bravo", "Charlie",
             "DELTA", "Bravo", "echo", "alpha", "Echo", "bravo", "CHARLIE", "delta", "Alpha",
             "ECHO", "foxtrot", "Foxtrot", "aLpHa", "BRAVO", "golf", "Golf", "GOLF"]
    rows.append(words)
    many = ["k%d%s" % (i % 7, "XYZ"[i % 3] if i % 2 else "xyz"[i % 3]) for i in range(60)]
    rows.append(many)
    with open(os.path.join(HERE, "sort_equal.tsv"), "w") as f:
        f.write("# input (comma separated)\tcase-insensitive sorted order\n")
        for items in rows:
            out = quicksort(items, lambda s: s.lower())
            assert [s.lower() for s in out] == sorted(s.lower() for s in items)
            f.write(",".join(items) + "\t" + ",".join(out) + "\n")


def encode_float(v):
    if v == 0.0:
        return 0
    m, e = math.frexp(abs(v))
    word = (((e + 126) & 0xFF) << 23) | (int(m * 16777216.0) & 0x7FFFFF)
    if v < 0:
        word |= 0x80000000
    return word


def decode_float(word):
    bits = word & 0x7FFFFF
    exponent = (word >> 23) & 0xFF
    if bits == 0 and exponent == 0:
        return 0.0
    value = struct.unpack("<f", struct.pack("<f", (bits | 0x800000) / 8388608.0))[0]
    if word & 0x80000000:
        value = -value
    distance = abs(exponent - 127) & 31
    factor = 1 << distance
    if factor >= 1 << 31:
        factor -= 1 << 32  # the int32 image of 1 << 31
    value = value * factor if exponent >= 127 else value / factor
    return struct.unpack("<f", struct.pack("<f", value))[0]


def float_cases():
    values = [1.0, -1.0, 0.5, 3.0, -2.75, 0.1, 1e-3, 123456.789, 65536.0, 2.0 ** 30,
              2.0 ** 31, 2.0 ** 32, 2.0 ** 40, 1e20, 3.4e38, 1.5e-10, 2.0 ** -30, 2.0 ** -31,
              1.17549435e-38, 1e-40, -1e-44, 0.75, 440.0]
    with open(os.path.join(HERE, "bytebuffer_float.tsv"), "w") as f:
        f.write("# float bits (hex)\tstored word (hex)\tvalue read back (float bits, hex)\n")
        for v in values:
            single = struct.unpack("<f", struct.pack("<f", v))[0]
            bits = struct.unpack("<I", struct.pack("<f", single))[0]
            word = encode_float(single)
            back = struct.unpack("<I", struct.pack("<f", decode_float(word)))[0]
            f.write(f"{bits:08x}\t{word:08x}\t{back:08x}\n")


if __name__ == "__main__":
    utf8_cases()
    base64_cases()
    fixed_cases()
    sort_cases()
    float_cases()
