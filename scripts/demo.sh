#!/usr/bin/env bash
# Builds the pack and tamhost (Release) and renders every patch in
# examples/patches/ to out/<patch>.wav and out/<patch>.png.
#
#   scripts/demo.sh                 # build dir: build, output: out
#   BUILD_DIR=/tmp/b OUT_DIR=/tmp/o scripts/demo.sh
#   SKIP_DEPS=1 scripts/demo.sh     # do not check the Debian packages
set -euo pipefail
ROOT=$(cd "$(dirname "$0")/.." && pwd)
BUILD_DIR=${BUILD_DIR:-$ROOT/build}
OUT_DIR=${OUT_DIR:-$ROOT/out}

if [ -z "${SKIP_DEPS:-}" ]; then
  "$ROOT/scripts/install-deps.sh"
fi

cmake -S "$ROOT" -B "$BUILD_DIR" -G Ninja -DCMAKE_BUILD_TYPE=Release -DTAM_BUILD_BENCH=OFF ${CMAKE_ARGS:-} >/dev/null
cmake --build "$BUILD_DIR" --target tamhost -j "${JOBS:-$(nproc)}"

mkdir -p "$OUT_DIR"
export TAM_PACK="$BUILD_DIR/tam.so"
for patch in "$ROOT"/examples/patches/*.json; do
  name=$(basename "$patch" .json)
  echo "rendering $name"
  "$BUILD_DIR/tamhost" render "$patch" -o "$OUT_DIR/$name.wav" --png "$OUT_DIR/$name.png"
done
echo "done: $(ls "$OUT_DIR"/*.wav "$OUT_DIR"/*.png | tr '\n' ' ')"
