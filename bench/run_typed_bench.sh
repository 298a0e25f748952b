#!/bin/sh
# bench/run_typed_bench.sh - builds typed_bench in a release tree, runs it and
# prints the tables of docs/performance.md.
#
# usage: bench/run_typed_bench.sh [benchmark options...]
#   e.g. bench/run_typed_bench.sh --benchmark_filter='M2|M3'
#
# Environment:
#   QBASN_BENCH_BUILD  build tree (default build/bench; configured as a
#                      Release build without tests when it does not exist)
#   QBASN_BENCH_JSON   where the raw JSON goes (default <build>/typed_bench.json)
#   QBASN_BENCH_ARGS   timing options (default: 3 repetitions of at least
#                      0.2 s each)
#   LC_ALL             locale of the LCS forms (default C.UTF-8)
#
# The benchmark's own console output goes to standard error, the tables to
# standard output.
set -eu

root=$(cd "$(dirname "$0")/.." && pwd)
build=${QBASN_BENCH_BUILD:-$root/build/bench}
json=${QBASN_BENCH_JSON:-$build/typed_bench.json}
timing=${QBASN_BENCH_ARGS:---benchmark_repetitions=3 --benchmark_min_time=0.2}

if [ ! -f "$build/CMakeCache.txt" ]; then
    cmake -S "$root" -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=Release -DQBASN_BUILD_TESTS=OFF >&2
fi
cmake --build "$build" -j2 --target typed_bench >&2

LC_ALL=${LC_ALL:-C.UTF-8}
export LC_ALL

# shellcheck disable=SC2086 # $timing holds several options
"$build/bench/typed_bench" $timing --benchmark_display_aggregates_only=true \
    --benchmark_out="$json" --benchmark_out_format=json "$@" >&2

python3 "$root/bench/typed_bench_table.py" "$json"
