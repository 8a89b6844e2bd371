#!/usr/bin/python3
# The named-colour table as CSS colour keywords, from Pillow's CSS colour map,
# in the table's order. ffmpeg's colour list agrees except for two stale
# entries (MediumPurple 9370D8, PaleVioletRed D87093), where CSS has 9370DB
# and DB7093; the script reports any other disagreement on stderr.
# Rerun from the repository root:
#   /usr/bin/python3 tests/data/foundation/color/make_named_colors.py > tests/data/foundation/color/named_colors.tsv
# The two transparent entries have no keyword: black and white at alpha 0.
import subprocess
import sys

from PIL import ImageColor

ORDER = """AliceBlue AntiqueWhite Aqua Aquamarine Azure Beige Bisque Black BlanchedAlmond Blue
BlueViolet Brown BurlyWood CadetBlue Chartreuse Chocolate Coral CornflowerBlue Cornsilk Crimson Cyan
DarkBlue DarkCyan DarkGoldenrod DarkGray DarkGreen DarkKhaki DarkMagenta DarkOliveGreen DarkOrange
DarkOrchid DarkRed DarkSalmon DarkSeaGreen DarkSlateBlue DarkSlateGray DarkTurquoise DarkViolet
DeepPink DeepSkyBlue DimGray DodgerBlue Firebrick FloralWhite ForestGreen Fuchsia Gainsboro
GhostWhite Gold Goldenrod Gray Green GreenYellow Honeydew HotPink IndianRed Indigo Ivory Khaki
Lavender LavenderBlush LawnGreen LemonChiffon LightBlue LightCoral LightCyan LightGoldenrodYellow
LightGray LightGreen LightPink LightSalmon LightSeaGreen LightSkyBlue LightSlateGray LightSteelBlue
LightYellow Lime LimeGreen Linen Magenta Maroon MediumAquamarine MediumBlue MediumOrchid MediumPurple
MediumSeaGreen MediumSlateBlue MediumSpringGreen MediumTurquoise MediumVioletRed MidnightBlue
MintCream MistyRose Moccasin NavajoWhite Navy OldLace Olive OliveDrab Orange OrangeRed Orchid
PaleGoldenrod PaleGreen PaleTurquoise PaleVioletRed PapayaWhip PeachPuff Peru Pink Plum PowderBlue
Purple Red RosyBrown RoyalBlue SaddleBrown Salmon SandyBrown SeaGreen SeaShell Sienna Silver SkyBlue
SlateBlue SlateGray Snow SpringGreen SteelBlue Tan Teal Thistle Tomato TransparentBlack
TransparentWhite Turquoise Violet Wheat White WhiteSmoke Yellow YellowGreen""".split()

listing = subprocess.check_output(["ffmpeg", "-hide_banner", "-colors"], text=True, stderr=subprocess.DEVNULL)
keywords = {}
for line in listing.splitlines():
    parts = line.split()
    if len(parts) == 2 and parts[1].startswith("#"):
        keywords[parts[0].lower().replace("grey", "gray")] = parts[1][1:].upper()

assert len(ORDER) == 142
print("index\tname\tword")
for index, name in enumerate(ORDER):
    if name == "TransparentBlack":
        word = "00000000"
    elif name == "TransparentWhite":
        word = "00FFFFFF"
    else:
        word = "FF%02X%02X%02X" % ImageColor.getrgb(name.lower())
        if keywords.get(name.lower()) != word[2:] and name not in ("MediumPurple", "PaleVioletRed"):
            print("ffmpeg differs on %s" % name, file=sys.stderr)
    print("%d\t%s\t%s" % (index, name, word))
