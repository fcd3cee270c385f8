#!/usr/bin/env bash
# Wall time of the whole 6 h Tohoku-like run (process start to exit), on 1 and 2 threads, on an
# idle machine and with `yes > /dev/null` holding a core. Prints median (min-max) of RUNS runs.
#   bench/whole_run.sh [KAITORO_CLI] [RUNS]     default build-test/kaitoro-cli, 5 runs
# Measure on an otherwise idle machine: a build beside it changes the figures by half.
set -euo pipefail
cd "$(dirname "$0")/.."
cli=$(realpath "${1:-build-test/kaitoro-cli}")
runs=${2:-5}
root=$PWD
out=$(mktemp -d)
trap 'rm -rf "$out"; [ -n "${busy:-}" ] && kill "$busy" 2>/dev/null || true' EXIT

one_run() {
    local start end
    start=$(date +%s.%N)
    OMP_NUM_THREADS=$1 "$cli" run --grid "$root/data/tsunami_data.bin" \
        --quick-ff "$root/data/examples/tohoku2011_like_ff.csv" --epicenter 38.10,142.86 \
        --strike 193 --hours 6 --out "$out" >/dev/null
    end=$(date +%s.%N)
    echo "$end - $start" | bc
}

summary() {  # median (min-max) of the numbers on standard input
    sort -n | awk '{v[NR] = $1} END {
        m = NR % 2 ? v[(NR + 1) / 2] : (v[NR / 2] + v[NR / 2 + 1]) / 2;
        printf "%.2f s (%.2f-%.2f)", m, v[1], v[NR] }'
}

printf '%-10s %-24s %-24s\n' "" "1 thread" "2 threads"
for load in idle busy; do
    busy=
    if [ "$load" = busy ]; then
        yes >/dev/null &
        busy=$!
        sleep 1
    fi
    row=()
    for threads in 1 2; do
        row+=("$(for _ in $(seq "$runs"); do one_run "$threads"; done | summary)")
    done
    printf '%-10s %-24s %-24s\n' "$load" "${row[0]}" "${row[1]}"
    if [ -n "$busy" ]; then kill "$busy"; busy=; fi
done
