#!/bin/sh
# Renders the pictures of the graphic controls with the reference host.
# Rerun from the repository root after a build:
#   sh examples/pictures/make_pictures.sh build/tamhost
set -e
T=${1:-build/tamhost}
D=examples/pictures
$T draw TamImageBackground1 --folder examples/skins --pin Image=panel.png --fit -o $D/TamImageBackground1.png
$T draw TamVectorRectangle1 --size 160x90 --pin "Fill Color=0xFF4A7FB5" --pin "Outline Color=0xFF1E2A38" \
    --pin "Outline Width=3" --pin "Corner Radius=14" -o $D/TamVectorRectangle1.png
$T draw TamVectorEllipse1 --size 160x90 --pin "Fill Color=RGB(230,160,40)" --pin "Outline Color=0xFF5A3A10" \
    --pin "Outline Width=3" -o $D/TamVectorEllipse1.png
