#!/usr/bin/env bash
# The main job on its built-in default: installs what is missing, builds the release preset,
# synthesizes the default scan (several boxes on a belt, with their true sizes) into a temporary
# directory, measures it there in local mode with quboid3d-measure, and prints measured against
# true dimensions.
set -euo pipefail
cd "$(dirname "$0")/.."
top=$(pwd)

scripts/install-deps.sh
cmake --preset release >/dev/null
cmake --build --preset release --target quboid3d-measure quboid3d-scan-synth LaserPlaneMultCameras64 CsvOutput

bin="$top/build/release/bin"
scan=$(mktemp -d "${TMPDIR:-/tmp}/quboid3d-demo.XXXXXX")
echo "== synthesizing the default scan into $scan"
"$bin/quboid3d-scan-synth" --out "$scan"

echo "== measuring it in local mode"
cd "$scan"
OVP_LOG_FILE="$scan/Quboid3D.log" "$bin/quboid3d-measure" --config 3DCfg/ --truth truth.json --timeout 300
echo "== log: $scan/Quboid3D.log"
