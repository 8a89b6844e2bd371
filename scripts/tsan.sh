#!/usr/bin/env bash
# Builds the foundation tests with ThreadSanitizer in build-tsan and runs the
# thread, timer, event and lock tests there. TAM_EXCLUDE_REGEX in the
# environment is passed on, to leave out folders that are not needed.
set -euo pipefail
cd "$(dirname "$0")/.."

jobs=$(nproc)
flags="-fsanitize=thread -fno-omit-frame-pointer -g"

echo "== ThreadSanitizer build"
cmake -S . -B build-tsan -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DTAM_BUILD_BENCH=OFF \
  -DCMAKE_CXX_FLAGS="$flags" -DCMAKE_C_FLAGS="$flags" \
  -DCMAKE_EXE_LINKER_FLAGS="-fsanitize=thread" -DCMAKE_SHARED_LINKER_FLAGS="-fsanitize=thread" \
  -DCMAKE_MODULE_LINKER_FLAGS="-fsanitize=thread" \
  -DTAM_EXCLUDE_REGEX="${TAM_EXCLUDE_REGEX:-}" >/dev/null
cmake --build build-tsan -j "$jobs" --target test_foundation
TSAN_OPTIONS="halt_on_error=1 second_deadlock_stack=1" \
  ctest --test-dir build-tsan --output-on-failure -j "$jobs" -R 'foundation.*(Thread|Timer|Event|Critical)'
