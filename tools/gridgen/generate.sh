#!/usr/bin/env bash
# Regenerates the bundled grid in data/ from public data, then checks it with the program's own
# loader:
#   data/tsunami_data.bin    depths and coastal stations with their forecast zones
#   data/kma_zone_table.csv  the loader's KMA station table (compiled into the program)
#   data/coast_override.csv  water overrides that reopen straits the land mask closes
#   data/grid_preview.png    the grid at a glance: depth, land, overrides, stations by zone
#   data/grid_report.txt     what the generator did and what the checks found
# Deterministic: running it twice gives the same bytes. GMT is used here only; the main build
# and the tests never need it.
#
# Usage: tools/gridgen/generate.sh        (work files go to build-gridgen/, or $GRIDGEN_WORK_DIR)
set -euo pipefail
cd "$(dirname "$0")/../.."
ROOT=$(pwd)
GEN=tools/gridgen
WORK=${GRIDGEN_WORK_DIR:-$ROOT/build-gridgen}
mkdir -p "$WORK/gmt"

"$GEN/setup.sh"
# Compiler, CMake and the library's own dependencies, for the verification step.
source scripts/ensure_deps.sh

ETOPO5=$(dpkg -L ferret-datasets | grep '/etopo5\.cdf$' | head -n 1)
[ -f "$ETOPO5" ] || { echo "etopo5.cdf not found in ferret-datasets" >&2; exit 1; }

# The fine land mask: GSHHG full resolution, 0.005 degree pixels over the grid's extent (the grid
# spans 113.905-157.689 E and 23.88-46.28 N). Ocean 0; land, lakes and islands in lakes 1, so a
# lake never counts as sea.
WEST=113.9 EAST=157.7 SOUTH=23.85 NORTH=46.35 INC=0.005
COLS=8760 ROWS=4500
(
    cd "$WORK/gmt"
    export GMT_USERDIR="$WORK/gmt/userdir"
    mkdir -p "$GMT_USERDIR"
    gmt grdlandmask -R$WEST/$EAST/$SOUTH/$NORTH -I$INC -r -Df -N0/1/1/1/1 -Gmask.nc=nb \
        --GMT_HISTORY=false
    gmt grd2xyz mask.nc -ZBLc --GMT_HISTORY=false >mask.i8
    gmt grd2xyz "$ETOPO5" -ZBLf --GMT_HISTORY=false >etopo5.f32
)

g++ -std=c++20 -O2 -Wall -Wextra -Wpedantic -Wshadow "$GEN/gridgen.cpp" -lz -o "$WORK/gridgen"
"$WORK/gridgen" \
    --mask "$WORK/gmt/mask.i8" --mask-geometry $WEST/$SOUTH/$INC/$COLS/$ROWS \
    --etopo "$WORK/gmt/etopo5.f32" \
    --zones "$GEN/zone_coasts.txt" --waterways "$GEN/waterways.txt" \
    --fixed-rows "$GEN/fixed_station_rows.txt" --known-places "$GEN/known_places.txt" \
    --out data

# Verify with the real loader, built against the KMA table just written.
cmake -S . -B "$WORK/lib" -G Ninja -DCMAKE_BUILD_TYPE=Release -DKAITORO_BUILD_TESTS=OFF \
    -DKAITORO_BUILD_BENCH=OFF -DKAITORO_BUILD_APP=OFF >/dev/null
cmake --build "$WORK/lib" --target kaitoro
g++ -std=c++20 -O2 -I. "$GEN/verify_grid.cpp" "$WORK/lib/libkaitoro.a" -fopenmp \
    $(pkg-config --libs freetype2) -o "$WORK/verify_grid"
{
    echo
    echo "Checked with the program's loader:"
    "$WORK/verify_grid" data "$GEN"
} | tee -a data/grid_report.txt

# Checksums into data/README.md, between its markers.
SUMS=$(cd data && sha256sum tsunami_data.bin kma_zone_table.csv coast_override.csv \
    grid_preview.png grid_report.txt)
echo "$SUMS"
python3 - "$SUMS" <<'EOF'
import re, sys
path = "data/README.md"
text = open(path, encoding="utf-8").read()
block = "<!-- checksums -->\n```\n" + sys.argv[1] + "\n```\n<!-- /checksums -->"
text = re.sub(r"<!-- checksums -->.*?<!-- /checksums -->", lambda m: block, text, flags=re.S)
open(path, "w", encoding="utf-8", newline="\n").write(text)
EOF
