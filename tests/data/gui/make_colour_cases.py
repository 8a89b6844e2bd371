#!/usr/bin/python3
"""Expected results for the colour pin's text forms, written independently of
the C++ decoder with Python's own parsing.

Rerun from the repository root:
    /usr/bin/python3 tests/data/gui/make_colour_cases.py > tests/data/gui/colour_decode.tsv
    /usr/bin/python3 tests/data/gui/make_colour_cases.py --format > tests/data/gui/colour_format.tsv

colour_decode.tsv: text (JSON string), invalid (0/1), colour word (hex). Each
text is set on a pin that already holds 0x11223344, so a malformed text shows
that colour unchanged.
colour_format.tsv: colour word (hex), format, expected text (JSON string).
"""
import json
import re
import sys

PREVIOUS = 0x11223344


def atoi(text):
    m = re.match(r"\s*([+-]?\d*)", text)
    digits = m.group(1)
    if digits in ("", "+", "-"):
        return 0
    return max(-2**31, min(2**31 - 1, int(digits)))


def channels(text, count):
    """Numbers after "(" split at "," and closed by ")"; None when a
    separator is missing."""
    pos = text.index("(")
    out = []
    for i in range(count):
        number = atoi(text[pos + 1:])
        sep = ")" if i == count - 1 else ","
        nxt = text.find(sep, pos + 1)
        if nxt < 0:
            return None
        out.append(max(0, min(255, number)))
        pos = nxt
    return out


def decode(text, previous=PREVIOUS):
    if text == "":
        return True, previous
    if len(text) >= 3 and text.startswith("0x"):
        digits = "".join(c for c in text if c in "0123456789abcdefABCDEF")
        return False, int(digits, 16) & 0xFFFFFFFF
    if text[0] in "0123456789":
        digits = re.match(r"\d*", text).group(0)
        word = min(int(digits), 2**64 - 1) & 0xFFFFFFFF
        return word == 0, word
    if len(text) >= 5 and text.startswith("RGB("):
        c = channels(text, 3)
        if c is None:
            return True, previous
        return False, 0xFF000000 | c[0] << 16 | c[1] << 8 | c[2]
    if len(text) >= 6 and text.startswith("ARGB("):
        c = channels(text, 4)
        if c is None:
            return True, previous
        return False, c[0] << 24 | c[1] << 16 | c[2] << 8 | c[3]
    return True, previous


def fmt(word, form):
    a, r, g, b = word >> 24 & 255, word >> 16 & 255, word >> 8 & 255, word & 255
    if form == 1:
        return "0x%x" % word
    if form == 2:
        return "RGB(%d,%d,%d)" % (r, g, b)
    if form == 3:
        return "ARGB(%d,%d,%d,%d)" % (a, r, g, b)
    return "%u" % word


DECODE_TEXTS = [
    "", "0xFF00FF00", "0xff00ff00", "0x12", "0x", "0X12", "0x1234567890",
    "0xAB-CD:EF gh", "0xzz", "12345", "0", "00", "4294967295", "4294967296",
    "99999999999999999999999", "7abc", "RGB(300,-5,7)", "RGB(1,2,3)",
    "RGB( 10 , 20 , 30 )", "RGB(1,2)", "RGB(1,2,3", "RGB(1;2;3)", "RGB()",
    "RGB(,,)", "RGB(1,2,3,4)", "RGB(", "rgb(1,2,3)", "ARGB(128,1,2,3)",
    "ARGB(-1,256,2147483648,3)", "ARGB(1,2,3)", "ARGB(", "ARGB(1,2,3,4",
    "red", " 12", "RGB(+12,0x20,3)", "ARGB(0,0,0,0)",
]

FORMAT_WORDS = [0x00000000, 0xFF00FF00, 0x80FF7F01, 0x12345678, 0xFFFFFFFF, 0x0000000A]
FORMATS = [0, 1, 2, 3, 7, -1]


def main():
    if "--format" in sys.argv:
        for word in FORMAT_WORDS:
            for form in FORMATS:
                print("%08x\t%d\t%s" % (word, form, json.dumps(fmt(word, form))))
        return
    for text in DECODE_TEXTS:
        invalid, word = decode(text)
        print("%s\t%d\t%08x" % (json.dumps(text), int(invalid), word))


if __name__ == "__main__":
    main()
