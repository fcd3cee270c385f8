#!/usr/bin/env bash
# Installs what is missing, builds everything, and runs every test.
set -euo pipefail
cd "$(dirname "$0")"
source scripts/ensure_deps.sh

BUILD_DIR=${KAITORO_TEST_BUILD_DIR:-build-test}
cmake -S . -B "$BUILD_DIR" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
cmake --build "$BUILD_DIR" -j 2
cd "$BUILD_DIR"
ctest --output-on-failure -j 2 --timeout 600
