#!/usr/bin/env bash
# scripts/tsan.sh - builds the thread test of the records under ThreadSanitizer
# and runs it:
#   build/tsan  RelWithDebInfo, -fsanitize=thread on everything (QBASN_TSAN),
#               warnings as errors
# Only what tests/base_idls/records_threads_test.cpp needs is built: the
# library, the test support and the test. Exits non-zero when the build fails,
# a check of the test fails, or ThreadSanitizer reports anything (it stops the
# run at the first report).
set -euo pipefail

repo=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
cd "$repo"

jobs=2
dir="$repo/build/tsan"
test_binary="$dir/tests/records_threads_test"
log="$dir/records_threads_test.log"

# ---- build dependencies and the two locales the test runs under ----
"$repo/scripts/install-deps.sh"

echo "==== build/tsan: configure"
cmake -S "$repo" -B "$dir" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo \
    -DQBASN_TSAN=ON -DQBASN_SANITIZE=OFF -DQBASN_WERROR=ON -DQBASN_BUILD_EXAMPLES=OFF
echo "==== build/tsan: build records_threads_test"
cmake --build "$dir" -j "$jobs" --target records_threads_test

export TSAN_OPTIONS=halt_on_error=1:second_deadlock_stack=1

# run_test [prefix...]: runs the test (behind the prefix command, if any),
# its output on the terminal and in $log; returns the test's status.
run_test() {
    "$@" "$test_binary" 2>&1 | tee "$log"
}

echo "==== build/tsan: run records_threads_test"
status=0
run_test || status=$?
# Some kernels randomise the address space more widely than this compiler's
# ThreadSanitizer expects; it then stops before the test starts. The run is
# repeated with randomisation off for this process only.
if [[ $status -ne 0 ]] && grep -q "unexpected memory mapping" "$log"; then
    echo "==== build/tsan: ThreadSanitizer cannot place its shadow memory under kernel $(uname -r);" \
        "running again without address-space randomisation (setarch -R)"
    status=0
    run_test setarch "$(uname -m)" -R || status=$?
fi
if [[ $status -eq 0 ]] && grep -q "ThreadSanitizer" "$log"; then
    echo "==== build/tsan: ThreadSanitizer printed a report (see above)" >&2
    status=1
fi
if [[ $status -ne 0 ]]; then
    echo "==== build/tsan: FAILED (status $status)" >&2
    exit "$status"
fi
echo "==== build/tsan: records_threads_test passed, no ThreadSanitizer report"
