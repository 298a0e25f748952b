#!/usr/bin/env bash
# scripts/fuzz.sh [SECONDS [LIBFUZZER_OPTION...]] - builds the libFuzzer
# targets with clang in build/fuzz and runs each of them for SECONDS
# (default 60), one after the other, seeded with a scratch copy of its corpus
# (fuzz/corpus/<target>/ is never modified). Options after SECONDS go to
# every libFuzzer run (e.g. -jobs=2 -workers=2, -runs=10000000).
#
# Environment:
#   QBASN_FUZZ_TARGETS  space-separated subset of the targets (default: all)
#   QBASN_FUZZ_MAX_LEN  the largest input libFuzzer builds (default 4096)
#
# Crashes, leaks, timeouts and broken properties land in
# build/fuzz/artifacts/<target>/ (crash-*, leak-*, timeout-*, oom-*); the
# whole output of each run in build/fuzz/logs/<target>.log. Exit status: 0
# when no target found anything, or when clang++ with libFuzzer is not
# available (it says so: a CI machine without clang skips fuzzing); 1 when
# a target found a crash; 2 on a build or usage error.
set -euo pipefail

repo=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
cd "$repo"

seconds=${1:-60}
[[ $# -gt 0 ]] && shift
if ! [[ $seconds =~ ^[0-9]+$ ]] || [[ $seconds -eq 0 ]]; then
    echo "usage: scripts/fuzz.sh [SECONDS [LIBFUZZER_OPTION...]]" >&2
    exit 2
fi
extra=("$@")

all_targets=(fuzz_typed_decode fuzz_lcs_decode fuzz_untyped_decode fuzz_scanners fuzz_tool_json fuzz_tool_dump fuzz_tool_input)
read -r -a targets <<< "${QBASN_FUZZ_TARGETS:-${all_targets[*]}}"
max_len=${QBASN_FUZZ_MAX_LEN:-4096}
build=build/fuzz
jobs=2

# ---- clang with libFuzzer (installed only when missing and possible) ----
# The build packages and the two locales of fuzz_lcs_decode first, then
# clang itself; neither failure stops the script here: what counts is
# whether clang++ can link a libFuzzer program afterwards.
"$repo/scripts/install-deps.sh" || echo "fuzz: could not install the build dependencies; trying anyway" >&2
if ! command -v clang++ >/dev/null 2>&1; then
    "$repo/scripts/install-deps.sh" clang || true
fi

probe_dir=$(mktemp -d "${TMPDIR:-/tmp}/qbasn-fuzz-probe.XXXXXX")
trap 'rm -rf "$probe_dir"' EXIT
have_libfuzzer() {
    command -v clang++ >/dev/null 2>&1 || return 1
    printf '%s\n' 'extern "C" int LLVMFuzzerTestOneInput(const unsigned char*, unsigned long) { return 0; }' \
        > "$probe_dir/probe.cpp"
    clang++ -fsanitize=fuzzer,address,undefined "$probe_dir/probe.cpp" -o "$probe_dir/probe" >/dev/null 2>&1
}
if ! have_libfuzzer; then
    echo "fuzz: clang++ with libFuzzer is not available; skipping the fuzz targets"
    exit 0
fi

# ---- build ----
echo "==== $build: configure"
cmake -S "$repo" -B "$repo/$build" -G Ninja \
    -DCMAKE_CXX_COMPILER=clang++ -DCMAKE_BUILD_TYPE=RelWithDebInfo \
    -DQBASN_FUZZ=ON -DQBASN_SANITIZE=ON -DQBASN_BUILD_TESTS=OFF -DQBASN_BUILD_EXAMPLES=OFF >/dev/null
echo "==== $build: build ${targets[*]}"
cmake --build "$repo/$build" -j "$jobs" --target "${targets[@]}" || exit 2

# ---- run ----
scratch=$(mktemp -d "${TMPDIR:-/tmp}/qbasn-fuzz.XXXXXX")
trap 'rm -rf "$probe_dir" "$scratch"' EXIT
mkdir -p "$build/logs"
export ASAN_OPTIONS=${ASAN_OPTIONS:-detect_leaks=1}
export UBSAN_OPTIONS=${UBSAN_OPTIONS:-halt_on_error=1:print_stacktrace=1}

failed=()
for t in "${targets[@]}"; do
    corpus="$scratch/$t"
    artifacts="$repo/$build/artifacts/$t"
    log="$repo/$build/logs/$t.log"
    mkdir -p "$corpus" "$artifacts"
    cp "fuzz/corpus/$t/." "$corpus/" -R
    echo "==== $t: ${seconds}s, corpus of $(find "$corpus" -type f | wc -l) files"
    rc=0
    "$repo/$build/fuzz/$t" "$corpus" \
        -max_total_time="$seconds" -max_len="$max_len" -timeout=25 -print_final_stats=1 \
        -artifact_prefix="$artifacts/" "${extra[@]}" > "$log" 2>&1 || rc=$?
    # The last status line (executions, coverage) and the final statistics.
    grep -E '^#[0-9]+' "$log" | tail -n 1 || true
    grep -E '^stat::(number_of_executed_units|average_exec_per_sec|new_units_added|peak_rss_mb)' "$log" || true
    if [[ $rc -ne 0 ]]; then
        echo "fuzz: $t FAILED (exit status $rc); see $log and $artifacts/" >&2
        grep -E 'ERROR|SUMMARY|fuzz property broken' "$log" | head -n 5 >&2 || true
        failed+=("$t")
    fi
done

if [[ ${#failed[@]} -gt 0 ]]; then
    echo "fuzz: crashes found by: ${failed[*]}" >&2
    exit 1
fi
echo "==== fuzz: no crashes (${#targets[@]} targets, ${seconds}s each)"
