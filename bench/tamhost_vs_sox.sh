#!/bin/sh
# Whole processes, start to finish (load, read, process, write): `tamhost
# process` running a module over a file against sox doing a like job on the
# same file, timed by hyperfine in one run.
#
#   bench/tamhost_vs_sox.sh [build-dir]     (default: build)
#
# Pairs: the two-pole low-pass at 880 Hz against sox lowpass 880, and the
# echo against sox echo. The jobs are alike, not equal; the point is the cost
# of the whole path through the host and the pack.
set -eu
ROOT=$(cd "$(dirname "$0")/.." && pwd)
BUILD=${1:-$ROOT/build}
case $BUILD in /*) ;; *) BUILD=$ROOT/$BUILD ;; esac
TAMHOST=$BUILD/tamhost
[ -x "$TAMHOST" ] || { echo "build tamhost first: cmake --build $BUILD --target tamhost" >&2; exit 2; }
command -v hyperfine >/dev/null || { echo "hyperfine is needed (scripts/install-deps.sh)" >&2; exit 2; }
export TAM_PACK=$BUILD/tam.so
WORK=$(mktemp -d)
trap 'rm -rf "$WORK"' EXIT

# 30 s of stereo noise at 48 kHz, 32-bit float.
sox -n -r 48000 -c 2 -e float -b 32 "$WORK/in.wav" synth 30 whitenoise vol 0.5

hyperfine --warmup 1 --runs 5 --style basic \
  -n "tamhost TamFilter2Pole" \
  "$TAMHOST process TamFilter2Pole --in $WORK/in.wav --out $WORK/tam_lp.wav --pin Pitch=5 --in-pins 'Signal In'" \
  -n "sox lowpass 880" \
  "sox $WORK/in.wav -e float -b 32 $WORK/sox_lp.wav lowpass 880" \
  -n "tamhost TamFxEcho" \
  "$TAMHOST process TamFxEcho --in $WORK/in.wav --out $WORK/tam_echo.wav --pin 'Delay Time=2.5' --pin Feedback=3 --in-pins 'Signal In'" \
  -n "sox echo" \
  "sox $WORK/in.wav -e float -b 32 $WORK/sox_echo.wav echo 0.8 0.9 250 0.3"
