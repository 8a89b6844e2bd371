#!/usr/bin/python3
# Makes the skin images and the reference pixel masks of the graphics tests.
# Rerun from the repository root:
#   /usr/bin/python3 tests/data/graphics/make_graphics_data.py
# Images are written with Pillow; masks are worked out with numpy from the
# shapes' equations at pixel centres (the host draws without antialiasing in
# those tests, so a pixel is covered when its centre is inside).
import os

import numpy as np
from PIL import Image

HERE = os.path.dirname(os.path.abspath(__file__))

# 24 x 16 skin in four quadrants: opaque red, opaque green, half-transparent
# blue, transparent white.
QUADRANTS = [(255, 0, 0, 255), (0, 255, 0, 255), (0, 0, 255, 128), (255, 255, 255, 0)]
W, H = 24, 16


def quadrant(x, y):
    return QUADRANTS[(1 if x >= W // 2 else 0) + (2 if y >= H // 2 else 0)]


rgba = Image.new("RGBA", (W, H))
for y in range(H):
    for x in range(W):
        rgba.putpixel((x, y), quadrant(x, y))
rgba.save(os.path.join(HERE, "skin.png"))
with open(os.path.join(HERE, "skin.txt"), "wb") as f:
    f.write(b"type button\r\nframe_size 24 16\r\n")

# The same picture without alpha as 24-bit and palette BMPs.
rgb = Image.new("RGB", (W, H))
for y in range(H):
    for x in range(W):
        rgb.putpixel((x, y), quadrant(x, y)[:3])
rgb.save(os.path.join(HERE, "skin24.bmp"))
rgb.quantize(colors=4).save(os.path.join(HERE, "skin8.bmp"))

# Expected pixels: "x y argb" in straight colour, as read back by Pillow.
with open(os.path.join(HERE, "skin_pixels.txt"), "w") as f:
    back = Image.open(os.path.join(HERE, "skin.png")).convert("RGBA")
    for (x, y) in [(0, 0), (11, 7), (12, 0), (23, 7), (0, 8), (11, 15), (12, 8), (23, 15)]:
        r, g, b, a = back.getpixel((x, y))
        f.write("%d %d %08X\n" % (x, y, (a << 24) | (r << 16) | (g << 8) | b))
with open(os.path.join(HERE, "bmp_pixels.txt"), "w") as f:
    for name in ["skin24.bmp", "skin8.bmp"]:
        back = Image.open(os.path.join(HERE, name)).convert("RGBA")
        for (x, y) in [(0, 0), (23, 0), (0, 15), (23, 15), (5, 9), (17, 3)]:
            r, g, b, a = back.getpixel((x, y))
            f.write("%s %d %d %08X\n" % (name, x, y, (a << 24) | (r << 16) | (g << 8) | b))


# "1" inside, "0" outside, "?" within a third of a pixel of the edge, where
# the curve's approximation by the rasteriser may go either way.
def write_mask(name, distance):
    with open(os.path.join(HERE, name), "w") as f:
        for row in distance:
            f.write("".join("?" if abs(v) < 1.0 / 3.0 else ("1" if v < 0 else "0") for v in row) + "\n")


# Shapes of 40 x 24 pixels: pixel centres at (i + 0.5, j + 0.5).
SW, SH = 40, 24
ys, xs = np.mgrid[0:SH, 0:SW] + 0.5
cx, cy, rx, ry = SW / 2, SH / 2, SW / 2, SH / 2
# Signed distance to the ellipse, to first order: (f - 1) / |grad f|.
f = ((xs - cx) / rx) ** 2 + ((ys - cy) / ry) ** 2
grad = np.hypot(2 * (xs - cx) / rx**2, 2 * (ys - cy) / ry**2)
write_mask("ellipse_40x24.txt", (f - 1.0) / np.maximum(grad, 1e-9))

# Rounded rectangle filling 40 x 24 with corner radius 8.
R = 8.0
nx = np.clip(xs, R, SW - R)
ny = np.clip(ys, R, SH - R)
write_mask("roundrect_40x24_r8.txt", np.hypot(xs - nx, ys - ny) - R)
