#!/usr/bin/env bash
# Camera mode over the network on one machine: installs what is missing, builds the release
# preset, starts the virtual laser camera on 127.0.0.1 serving the default scene of the virtual
# station, and measures it with quboid3d-measure in camera mode from an empty configuration
# directory (the calibration comes from the camera), printing measured against true dimensions.
set -euo pipefail
cd "$(dirname "$0")/.."
top=$(pwd)

scripts/install-deps.sh
cmake --preset release >/dev/null
cmake --build --preset release --target quboid3d-measure quboid3d-scan-synth quboid3d-virtual-camera \
    LaserPlaneMultCameras64 CsvOutput

bin="$top/build/release/bin"
work=$(mktemp -d "${TMPDIR:-/tmp}/quboid3d-camera-demo.XXXXXX")
camera_pid=""
stop_camera() {
    if [ -n "$camera_pid" ]; then
        kill "$camera_pid" 2>/dev/null || true
        wait "$camera_pid" 2>/dev/null || true
    fi
}
trap stop_camera EXIT

echo "== the true sizes of the default scene"
"$bin/quboid3d-scan-synth" --out "$work/truth" --quiet

echo "== starting the virtual camera on 127.0.0.1"
"$bin/quboid3d-virtual-camera" --address 127.0.0.1 --fps 100 --duration 600 >"$work/camera.txt" &
camera_pid=$!
for _ in $(seq 1 100); do # up to 20 s
    grep -q '^serving' "$work/camera.txt" 2>/dev/null && break
    kill -0 "$camera_pid" 2>/dev/null || { cat "$work/camera.txt"; exit 1; }
    sleep 0.2
done
cat "$work/camera.txt"

echo "== measuring it in camera mode (calibration downloaded from the camera)"
mkdir -p "$work/station/3DCfg"
cd "$work/station"
QUBOID3D_ARAVIS_DISCOVERY=127.0.0.1 OVP_LOG_FILE="$work/Quboid3D.log" \
    "$bin/quboid3d-measure" --config 3DCfg/ --truth "$work/truth/truth.json" --count 4 --timeout 120
echo "== log: $work/Quboid3D.log"
