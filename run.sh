#!/usr/bin/env bash
# Installs what is missing, builds, and starts Kaitoro on the bundled grid
# (./run.sh other_grid.bin starts it on another grid file).
set -euo pipefail
cd "$(dirname "$0")"
source scripts/ensure_deps.sh

BUILD_DIR=${KAITORO_BUILD_DIR:-build}
cmake -S . -B "$BUILD_DIR" -G Ninja -DCMAKE_BUILD_TYPE=Release \
    -DKAITORO_BUILD_TESTS=OFF -DKAITORO_BUILD_BENCH=OFF >/dev/null
cmake --build "$BUILD_DIR" -j 2

GRID=data/tsunami_data.bin
if [ $# -ge 1 ] && [ "${1#-}" = "$1" ]; then  # a first argument that is not an option
    GRID=$1
    shift
fi
if [ ! -f "$GRID" ]; then
    echo "Error: grid file not found: $GRID" >&2
    exit 1
fi

if [ -n "${DISPLAY:-}${WAYLAND_DISPLAY:-}" ]; then
    if [ -x "$BUILD_DIR/kaitoro" ]; then
        exec "$BUILD_DIR/kaitoro" "$GRID" "$@"
    fi
    echo "Note: the desktop program was not built (Qt 6 Widgets was not found)."
else
    echo "No display found (neither DISPLAY nor WAYLAND_DISPLAY is set), so the desktop"
    echo "window cannot open here."
fi
echo "Running the headless demonstration instead: the 2011 Tohoku tsunami from the event"
echo "library, every output into out/demo (kaitoro-cli demo; about half a minute)."
exec "$BUILD_DIR/kaitoro-cli" demo --grid "$GRID" --out out/demo "$@"
