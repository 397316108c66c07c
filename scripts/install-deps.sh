#!/usr/bin/env bash
# Installs whichever Debian packages the build, the tests, the benchmarks and the fuzzers need.
# Idempotent: when everything is present it only checks and returns.
set -euo pipefail

packages=(
  build-essential cmake make pkg-config
  zlib1g-dev          # compressed stream sections
  libtbb-dev          # parallel_for in the pooled allocator and grid fills
  libgtest-dev libgmock-dev
  libbenchmark-dev
  nlohmann-json3-dev  # standalone host descriptions
  libcli11-dev        # command-line program
  clang libclang-rt-14-dev  # libFuzzer and sanitizer runtimes
)

missing=()
for p in "${packages[@]}"; do
  if ! dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed'; then
    missing+=("$p")
  fi
done

if [ ${#missing[@]} -eq 0 ]; then
  exit 0
fi

echo "install-deps: missing packages: ${missing[*]}"
if [ "$(id -u)" -ne 0 ]; then
  if command -v sudo >/dev/null 2>&1 && sudo -n true 2>/dev/null; then
    SUDO=sudo
  else
    echo "install-deps: not root and no password-less sudo; install them with:" >&2
    echo "  sudo apt-get install -y ${missing[*]}" >&2
    exit 1
  fi
else
  SUDO=
fi

export DEBIAN_FRONTEND=noninteractive
$SUDO apt-get update -qq
$SUDO apt-get install -y -qq --no-install-recommends "${missing[@]}"
