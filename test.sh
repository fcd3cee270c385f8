#!/usr/bin/env bash
# Installs what is missing, builds everything, and runs every test.
#   ./test.sh                 the whole suite (build-test)
#   ./test.sh --sanitize      the whole suite under AddressSanitizer + UndefinedBehaviorSanitizer
#                             (float-cast-overflow included), stopping at the first error
#                             (build-sanitize; no benchmarks, no desktop windows)
#   ./test.sh --fuzz SECONDS  builds the fuzz/ harnesses with clang and runs each for SECONDS
#                             (build-fuzz)
set -euo pipefail
cd "$(dirname "$0")"
source scripts/ensure_deps.sh

mode=plain
fuzz_seconds=0
case "${1:-}" in
    --sanitize) mode=sanitize ;;
    --fuzz)
        mode=fuzz
        fuzz_seconds=${2:?usage: ./test.sh --fuzz SECONDS}
        [[ $fuzz_seconds =~ ^[0-9]+$ ]] || { echo "SECONDS must be a whole number" >&2; exit 2; }
        ;;
    "") ;;
    *) echo "usage: ./test.sh [--sanitize | --fuzz SECONDS]" >&2; exit 2 ;;
esac

if [ "$mode" = plain ]; then
    BUILD_DIR=${KAITORO_TEST_BUILD_DIR:-build-test}
    cmake -S . -B "$BUILD_DIR" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
    cmake --build "$BUILD_DIR" -j 2
    cd "$BUILD_DIR"
    ctest --output-on-failure -j 2 --timeout 600
elif [ "$mode" = sanitize ]; then
    BUILD_DIR=${KAITORO_SANITIZE_BUILD_DIR:-build-sanitize}
    cmake -S . -B "$BUILD_DIR" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DKAITORO_SANITIZE=ON \
        -DKAITORO_BUILD_BENCH=OFF -DKAITORO_BUILD_APP=OFF >/dev/null
    cmake --build "$BUILD_DIR" -j 2
    cd "$BUILD_DIR"
    export ASAN_OPTIONS=halt_on_error=1:abort_on_error=1:detect_leaks=1
    export UBSAN_OPTIONS=halt_on_error=1:print_stacktrace=1
    ctest --output-on-failure -j 2 --timeout 1200
else
    BUILD_DIR=${KAITORO_FUZZ_BUILD_DIR:-build-fuzz}
    CXX=clang++ cmake -S . -B "$BUILD_DIR" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo \
        -DKAITORO_BUILD_FUZZ=ON -DKAITORO_BUILD_TESTS=OFF -DKAITORO_BUILD_BENCH=OFF \
        -DKAITORO_BUILD_APP=OFF >/dev/null
    cmake --build "$BUILD_DIR" -j 2
    export ASAN_OPTIONS=halt_on_error=1:abort_on_error=1:detect_leaks=0
    export UBSAN_OPTIONS=halt_on_error=1:print_stacktrace=1
    status=0
    # Absolute paths: the harnesses run inside the build folder and may change directory.
    out="$PWD/$BUILD_DIR"
    for harness in fuzz/*_fuzz.cpp; do
        name=$(basename "$harness" .cpp)
        corpus="$out/corpus/$name"
        mkdir -p "$corpus"
        seeds="$PWD/fuzz/corpus/${name%_fuzz}"
        [ -d "$seeds" ] || seeds=
        echo "== $name: ${fuzz_seconds}s"
        # Findings land in build-fuzz/ as <harness>-crash-*, -leak-* or -timeout-* files.
        if ! (cd "$out" && "./$name" -max_total_time="$fuzz_seconds" -max_len=65536 \
                -timeout=20 -rss_limit_mb=2048 -print_final_stats=1 \
                -artifact_prefix="$out/$name-" "$corpus" ${seeds:+"$seeds"} 2>&1 | tail -n 12); then
            status=1
        fi
    done
    exit $status
fi
