#!/usr/bin/env bash
# Runs a Windows program of the build under Wine: a prefix of its own inside the build tree, no
# display, no debug chatter. The first run creates the prefix under a lock, so that tests started
# side by side don't each make one.
set -euo pipefail

program="$1"
shift
buildDir="$(cd "$(dirname "$program")/.." && pwd)"
export WINEPREFIX="${QUBOID3D_WINEPREFIX:-$buildDir/wineprefix}"
export WINEDEBUG=-all
# No Mono or Gecko installer on first start, no menu entries.
export WINEDLLOVERRIDES="mscoree,mshtml=;winemenubuilder.exe=d"
unset DISPLAY WAYLAND_DISPLAY

wine="$(command -v wine64 || command -v wine || true)"
[ -n "$wine" ] || [ ! -x /usr/lib/wine/wine64 ] || wine=/usr/lib/wine/wine64
if [ -z "$wine" ]; then
    echo "wine-run: wine64 is not installed" >&2
    exit 127
fi

if [ ! -f "$WINEPREFIX/.quboid3d-ready" ]; then
    mkdir -p "$WINEPREFIX"
    (
        flock -w 300 9
        if [ ! -f "$WINEPREFIX/.quboid3d-ready" ]; then
            timeout 300 "$wine" wineboot --init >/dev/null 2>&1 || true
            touch "$WINEPREFIX/.quboid3d-ready"
        fi
    ) 9>"$WINEPREFIX.lock"
fi

# One Wine session serves the programs of a test run: the server stays up 30 s after the last of
# them ends, and then stops by itself. Without it, every program would boot a session of its own.
wineserver="$(dirname "$(readlink -f "$wine")")/wineserver"
[ -x "$wineserver" ] || wineserver="$(command -v wineserver || true)"
[ -z "$wineserver" ] || "$wineserver" -p30 >/dev/null 2>&1 || true

# The Wine server keeps the output descriptors of the programs it ran until it stops itself, so a
# caller reading them to their end would wait those 30 s: the program writes to files, which
# are copied out once it ends.
out="$(mktemp)"
err="$(mktemp)"
trap 'rm -f "$out" "$err"' EXIT
status=0
"$wine" "$program" "$@" >"$out" 2>"$err" </dev/null || status=$?
cat "$out"
cat "$err" >&2
exit "$status"
