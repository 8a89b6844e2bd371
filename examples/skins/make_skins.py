#!/usr/bin/python3
# Draws the example skin used by the picture of the image background control.
# Rerun from the repository root:
#   /usr/bin/python3 examples/skins/make_skins.py
import os

import numpy as np
from PIL import Image

HERE = os.path.dirname(os.path.abspath(__file__))

# A brushed-metal panel, 160 x 90, with a darker rounded border and a
# soft top light.
W, H = 160, 90
ys, xs = np.mgrid[0:H, 0:W].astype(float)
rng = np.random.default_rng(7)
grain = rng.normal(0.0, 6.0, (1, W)).repeat(H, axis=0) + rng.normal(0.0, 2.0, (H, W))
base = 150.0 + 50.0 * (1.0 - ys / H) + grain
r = np.clip(base * 0.92, 0, 255)
g = np.clip(base * 0.96, 0, 255)
b = np.clip(base * 1.05, 0, 255)
R = 10.0
nx = np.clip(xs + 0.5, R, W - R)
ny = np.clip(ys + 0.5, R, H - R)
distance = R - np.hypot(xs + 0.5 - nx, ys + 0.5 - ny)  # inside the corner circles
edge = np.minimum.reduce([xs + 0.5, ys + 0.5, W - xs - 0.5, H - ys - 0.5, distance + 0 * xs])
alpha = np.clip(edge + 0.5, 0, 1) * 255
border = edge < 3.0
for channel in (r, g, b):
    channel[border] *= 0.55
img = np.dstack([r, g, b, alpha]).astype(np.uint8)
Image.fromarray(img, "RGBA").save(os.path.join(HERE, "panel.png"))
with open(os.path.join(HERE, "panel.txt"), "w") as f:
    f.write("type animated\nframe_size 160 90\n")
