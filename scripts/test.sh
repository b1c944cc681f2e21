#!/usr/bin/env bash
# Installs what is missing, builds, and runs every test: the whole suite under AddressSanitizer
# and UBSan (preset debug), then the threading tests under ThreadSanitizer (preset tsan). Death
# tests run under the first only: a process that ThreadSanitizer watches can hang on its way
# down instead of ending. Last, the Windows x64 cross-build (preset windows) and its tests under
# Wine.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/install-deps.sh

cmake --preset debug
cmake --build --preset debug
ctest --preset debug

cmake --preset tsan
cmake --build --preset tsan
# ThreadSanitizer needs a memory layout that high-entropy address randomisation can break.
setarch "$(uname -m)" -R ctest --preset tsan

cmake --preset windows
cmake --build --preset windows
ctest --preset windows
