#!/bin/sh
# Builds the benchmarks (Release, -DQNSNWSM_BUILD_BENCH=ON) and runs them all, writing bench/results.md.
#
#   bench/run.sh [build-folder]        default build folder: build-bench next to this folder
#
# Environment: QNBENCH_ITERATIONS (calls per check in the per-item run, default 10), QNBENCH_SECONDS (length
# of the scale run, default 20), QNBENCH_HANDLES (200), QNBENCH_THREADS (16), QNBENCH_PEER_QUERIES (10).
set -eu

here=$(cd "$(dirname "$0")" && pwd)
source_dir=$(dirname "$here")
build=${1:-$source_dir/build-bench}
results=$here/results.md
jobs=${QNBENCH_JOBS:-2}

cmake -S "$source_dir" -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=Release -DQNSNWSM_BUILD_BENCH=ON >/dev/null
cmake --build "$build" --target bench_roundtrips bench_items bench_parser bench_replypath bench_scale bench_peer -j"$jobs"

cpu_model=$(grep -m1 'model name' /proc/cpuinfo | sed 's/.*: //')
tmp=$(mktemp)
trap 'rm -f "$tmp"' EXIT
{
    echo "# Benchmark results"
    echo
    echo "Taken $(date -u '+%Y-%m-%d %H:%M UTC') on $(nproc) cores (nproc), $cpu_model;"
    echo "commit $(git -C "$source_dir" rev-parse --short HEAD). Release build. Load average at the start:"
    echo "$(cut -d' ' -f1-3 /proc/loadavg) (the machine is shared: wall times carry other people's work)."
    echo
    "$build/bench/bench_roundtrips"
    echo
    "$build/bench/bench_items" --benchmark_format=console 2>/dev/null | sed -n '/^## /,$p'
    echo
    echo "## Transform and look-ups per item (the record parser alone, no network)"
    echo
    echo '```'
    "$build/bench/bench_parser" --benchmark_min_time=0.5 2>/dev/null
    echo '```'
    echo
    echo "## The reply path per item, and its floor (no network)"
    echo
    echo '```'
    "$build/bench/bench_replypath" --benchmark_min_time=0.5 2>/dev/null
    echo '```'
    "$build/bench/bench_scale"
    "$build/bench/bench_peer"
} >"$tmp"
cp "$tmp" "$results"
echo "wrote $results"
