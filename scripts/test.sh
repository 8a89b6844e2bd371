#!/usr/bin/env bash
# Builds the pack, host and tests, and runs every test twice: once in the
# release build and once under AddressSanitizer + UndefinedBehaviorSanitizer,
# with the thread tests under ThreadSanitizer and a bounded fuzz run between.
set -euo pipefail
cd "$(dirname "$0")/.."

./scripts/install-deps.sh

jobs=$(nproc)

echo "== Release build"
cmake -S . -B build -G Ninja -DCMAKE_BUILD_TYPE=Release >/dev/null
cmake --build build -j "$jobs"
ctest --test-dir build --output-on-failure -j "$jobs"

echo "== ThreadSanitizer (threads, timers, events, locks)"
./scripts/tsan.sh

echo "== Fuzzing the WAV reader (bounded)"
./scripts/fuzz.sh

echo "== AddressSanitizer + UndefinedBehaviorSanitizer build"
cmake -S . -B build-asan -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DTAM_SANITIZE=ON -DTAM_BUILD_BENCH=OFF >/dev/null
cmake --build build-asan -j "$jobs"
ASAN_OPTIONS=detect_leaks=1:abort_on_error=1 UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1 \
  ctest --test-dir build-asan --output-on-failure -j "$jobs"
