#!/usr/bin/env bash
# The main job on its built-in default: installs what is missing, builds the release preset and
# runs the measuring host program.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/install-deps.sh
cmake --preset release >/dev/null
cmake --build --preset release --target quboid3d-measure
build/release/bin/quboid3d-measure --version
