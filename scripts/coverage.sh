#!/usr/bin/env bash
# scripts/coverage.sh [BUILD_DIR] - line and branch coverage of the library
# (asn1/ and base_idls/) by the whole test suite.
#
# BUILD_DIR (default build/coverage, relative to the repository root) gets a
# Debug build with gcc's --coverage instrumentation on every target (library,
# tests, tool, Python module); warnings are not errors there. Every ctest test
# runs: the unit tests of tests/asn1 and tests/base_idls, the tool's process
# tests, the Python module's pytest run, the schema checks, the install check
# and the fuzz corpus replays. The Python module and the schema checks are
# required (as in CI), so the set of tests, and with it the figures, do not
# depend on what happens to be installed. Counters from earlier runs in
# BUILD_DIR are cleared first, so the figures are those of this run alone.
#
# Then gcovr reports, for asn1/ and base_idls/ (sources and headers) apart and
# together, the lines and branches executed. The branch options are fixed
# here so that any two runs compare like with like:
#   --exclude-unreachable-branches  no branches on lines without code (the
#                                   destructor calls gcc books on a closing
#                                   brace)
#   --exclude-throw-branches        no branches that only exist for an
#                                   exception leaving a call
# Besides the table, BUILD_DIR/coverage/ holds the per-file summary
# (summary.json) and an annotated HTML report (index.html) showing which lines
# and branches no test reaches.
#
# The counters are updated atomically (-fprofile-update=atomic): the thread
# tests run the library on several threads at once, and counters raced by
# plain increments come out inconsistent (gcov then reports negative branch
# counts, which gcovr refuses).
#
# Missing Debian packages (gcovr with the rest of the build's) are installed
# first through scripts/install-deps.sh when that is possible. The compiler is
# g++ and the coverage reader gcov (override with CXX and GCOV, which must
# belong together). The exit status is ctest's when a test fails (the figures
# are printed all the same), otherwise gcovr's.
set -euo pipefail

repo=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
cd "$repo"

build=${1:-build/coverage}
if [[ $build != /* ]]; then
    build=$repo/$build
fi
jobs=$(nproc 2>/dev/null || echo 2)
cxx=${CXX:-g++}
gcov=${GCOV:-gcov}
start=$(date +%s)

# ---- dependencies (installed only when missing) ----
"$repo/scripts/install-deps.sh"

# ---- configure and build ----
echo "==== coverage: configure $build"
cmake -S "$repo" -B "$build" -G Ninja \
    -DCMAKE_BUILD_TYPE=Debug \
    -DCMAKE_CXX_COMPILER="$cxx" \
    -DCMAKE_CXX_FLAGS='--coverage -fprofile-update=atomic' \
    -DCMAKE_EXE_LINKER_FLAGS=--coverage \
    -DCMAKE_SHARED_LINKER_FLAGS=--coverage \
    -DCMAKE_MODULE_LINKER_FLAGS=--coverage \
    -DQBASN_WERROR=OFF \
    -DQBASN_SANITIZE=OFF \
    -DQBASN_TSAN=OFF \
    -DQBASN_FUZZ=OFF \
    -DQBASN_BUILD_TESTS=ON \
    -DQBASN_REQUIRE_PYTHON=ON \
    -DQBASN_REQUIRE_SCHEMA_TOOLS=ON
echo "==== coverage: build"
cmake --build "$build" -j "$jobs"

# ---- run every test on fresh counters ----
find "$build" -name '*.gcda' -delete
echo "==== coverage: test"
test_rc=0
ctest --test-dir "$build" --output-on-failure -j "$jobs" || test_rc=$?

# ---- report ----
out=$build/coverage
mkdir -p "$out"
echo "==== coverage: gcovr"
# The filters are relative to the working directory (the repository root), so
# tests/asn1/ and the build tree's files are left out. CMake's compiler
# check under CMakeFiles/<version>/ was compiled with --coverage too but never
# ran; its notes files are not searched.
report_rc=0
gcovr --root "$repo" --object-directory "$build" \
    --gcov-executable "$gcov" -j "$jobs" \
    --filter 'asn1/' --filter 'base_idls/' \
    --exclude-directories '.*/CMakeFiles/[0-9.]+$' \
    --exclude-unreachable-branches --exclude-throw-branches \
    --json-summary-pretty --json-summary "$out/summary.json" \
    --html-details "$out/index.html" \
    "$build" || report_rc=$?

if [[ $report_rc -eq 0 ]]; then
    python3 - "$out/summary.json" <<'EOF'
import json, sys

with open(sys.argv[1]) as f:
    files = json.load(f)["files"]

def row(label, prefixes):
    picked = [f for f in files if f["filename"].startswith(prefixes)]
    lt = sum(f["line_total"] for f in picked)
    lc = sum(f["line_covered"] for f in picked)
    bt = sum(f["branch_total"] for f in picked)
    bc = sum(f["branch_covered"] for f in picked)
    pct = lambda c, t: f"{100.0 * c / t:5.1f}%" if t else "   -  "
    print(f"| {label:<18} | {len(picked):>5} | {lc:>6}/{lt:<6} {pct(lc, lt)} | {bc:>6}/{bt:<6} {pct(bc, bt)} |")

print()
print("| library part       | files | lines                | branches             |")
print("|--------------------|------:|----------------------|----------------------|")
row("asn1/", ("asn1/",))
row("base_idls/", ("base_idls/",))
row("asn1/ + base_idls/", ("asn1/", "base_idls/"))
EOF
fi

elapsed=$(( $(date +%s) - start ))
echo
echo "coverage: $build ($(git -C "$repo" rev-parse --short HEAD 2>/dev/null || echo 'no git')), $((elapsed / 60)) min $((elapsed % 60)) s; details in $out/index.html"
if [[ $test_rc -ne 0 ]]; then
    echo "coverage: some tests failed (ctest exit status $test_rc); the figures cover the tests that ran" >&2
    exit "$test_rc"
fi
exit "$report_rc"
