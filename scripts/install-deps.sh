#!/usr/bin/env bash
# Installs every Debian package the project builds, tests and benchmarks with.
# Safe to run again; does nothing when everything is there already.
set -euo pipefail

packages=(
  build-essential cmake ninja-build ccache pkg-config
  googletest libgtest-dev libgmock-dev libbenchmark-dev
  nlohmann-json3-dev libsndfile1-dev libcairo2-dev libpango1.0-dev
  clang libclang-rt-14-dev
  sox libsox-fmt-all ffmpeg libxml2-utils hyperfine csound
  python3 python3-numpy python3-scipy
)

missing=()
for p in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done
if [ ${#missing[@]} -eq 0 ]; then
  exit 0
fi

sudo_cmd=()
if [ "$(id -u)" -ne 0 ]; then sudo_cmd=(sudo); fi
echo "Installing: ${missing[*]}"
"${sudo_cmd[@]}" apt-get update -qq
DEBIAN_FRONTEND=noninteractive "${sudo_cmd[@]}" apt-get install -y -qq --no-install-recommends "${missing[@]}"
