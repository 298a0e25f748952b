#!/usr/bin/env bash
# scripts/test.sh - builds qbasn and runs every test, twice:
#   build/ci-release  RelWithDebInfo, warnings as errors
#   build/ci-asan     Debug, AddressSanitizer + UndefinedBehaviorSanitizer,
#                     warnings as errors
# Each run includes the install check (tests/install/), the Python module's
# pytest suite (tests/python/, under Debian's /usr/bin/python3) and replays
# the fuzz corpora. Then the thread test under ThreadSanitizer (scripts/tsan.sh,
# build/tsan) and every fuzz target for 20 seconds (scripts/fuzz.sh,
# build/fuzz). Missing Debian build packages are installed first when that is
# possible. Exits non-zero on the first failure.
set -euo pipefail

repo=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
cd "$repo"

jobs=2

# ---- build dependencies (installed only when missing) ----
"$repo/scripts/install-deps.sh"

# ---- one configuration: configure, build, run ctest ----
run_config() {
    local dir=$1
    shift
    echo "==== $dir: configure"
    # The Python module and the schema checks by libtasn1 and asn1c are part
    # of every CI build: a missing pybind11, Python header or ASN.1 tool fails
    # the configure instead of dropping their tests.
    cmake -S "$repo" -B "$repo/$dir" -G Ninja -DQBASN_WERROR=ON -DQBASN_REQUIRE_PYTHON=ON -DQBASN_REQUIRE_SCHEMA_TOOLS=ON "$@"
    echo "==== $dir: build"
    cmake --build "$repo/$dir" -j "$jobs"
    echo "==== $dir: test"
    ctest --test-dir "$repo/$dir" --output-on-failure -j "$jobs"
}

run_config build/ci-release -DCMAKE_BUILD_TYPE=RelWithDebInfo -DQBASN_SANITIZE=OFF

export ASAN_OPTIONS=halt_on_error=1:detect_leaks=1:abort_on_error=1
export UBSAN_OPTIONS=halt_on_error=1:print_stacktrace=1
run_config build/ci-asan -DCMAKE_BUILD_TYPE=Debug -DQBASN_SANITIZE=ON

# ---- ThreadSanitizer: every record on 8 threads (build/tsan) ----
"$repo/scripts/tsan.sh"

# ---- fuzz targets: each runs a short, fixed time from its corpus (build/fuzz);
# fuzz.sh says so and passes when no clang with libFuzzer can be had ----
"$repo/scripts/fuzz.sh" 20

echo "==== all tests passed (release, sanitizer and thread-sanitizer builds; fuzz targets)"
