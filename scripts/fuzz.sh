#!/usr/bin/env bash
# Builds the WAV reader fuzz target with clang and libFuzzer (plus ASan and
# UBSan) in build-fuzz and runs it for a bounded time over the committed
# corpus. Exits non-zero when the fuzzer finds a crash, a leak or a hang.
#   TAM_FUZZ_SECONDS  run time (default 60)
set -euo pipefail
cd "$(dirname "$0")/.."

seconds=${TAM_FUZZ_SECONDS:-60}
sanitizers="-fsanitize=fuzzer-no-link,address,undefined -fno-sanitize-recover=undefined -fno-omit-frame-pointer"

# Only the foundation, the frame and the audio files are needed.
cmake -S . -B build-fuzz -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo \
  -DCMAKE_C_COMPILER=clang -DCMAKE_CXX_COMPILER=clang++ \
  -DCMAKE_CXX_FLAGS="$sanitizers" -DTAM_FUZZ=ON -DTAM_BUILD_BENCH=OFF \
  -DTAM_EXCLUDE_REGEX='^(sound|effects|midi|logic|controls)/' >/dev/null
cmake --build build-fuzz --target fuzz_wav_reader -j "$(nproc)"

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
mkdir -p "$work/corpus" "$work/artifacts"
cp tests/fuzz/corpus/wav/* "$work/corpus/"

ASAN_OPTIONS=detect_leaks=1 UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1 \
  ./build-fuzz/tests/fuzz/fuzz_wav_reader "$work/corpus" \
    -max_total_time="$seconds" -timeout=10 -rss_limit_mb=2048 -max_len=65536 \
    -artifact_prefix="$work/artifacts/" -print_final_stats=1
status=$?
if ls "$work/artifacts/"* >/dev/null 2>&1; then
  mkdir -p build-fuzz/findings
  cp "$work/artifacts/"* build-fuzz/findings/
  echo "fuzz findings copied to build-fuzz/findings" >&2
  exit 1
fi
exit $status
