#!/usr/bin/env bash
# Installs every Debian 12 package that the build, the tests, the benchmarks and the
# tools need. Safe to run again; needs root (or sudo) on a fresh machine.
set -euo pipefail

packages=(
  build-essential cmake ninja-build pkg-config git
  clang libclang-rt-14-dev lld clang-format
  libspdlog-dev libfmt-dev
  rapidjson-dev
  libstb-dev
  libaravis-dev libusb-1.0-0-dev
  libgtest-dev libgmock-dev
  libbenchmark-dev
  tzdata
  g++-mingw-w64-x86-64-posix gcc-mingw-w64-x86-64-posix binutils-mingw-w64-x86-64
  googletest wine wine64
)

missing=()
for p in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed' || missing+=("$p")
done

if [ ${#missing[@]} -eq 0 ]; then
  echo "install-deps: all packages present"
  exit 0
fi

sudo=""
[ "$(id -u)" -eq 0 ] || sudo="sudo"
export DEBIAN_FRONTEND=noninteractive
$sudo apt-get update -q
$sudo apt-get install -y -q --no-install-recommends "${missing[@]}"
