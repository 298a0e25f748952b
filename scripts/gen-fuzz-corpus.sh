#!/usr/bin/env bash
# scripts/gen-fuzz-corpus.sh [BUILD_DIR] - regenerates the seed corpora of the
# fuzz targets, fuzz/corpus/<target>/, from scratch: every record type
# encoded from a fixed-seed random record, their JSON texts, the example
# messages and JSON samples, and hand-made scanner inputs (fuzz/gen_corpus.cpp).
# The seeds are fixed, so regenerating gives the same files, octet for octet.
# BUILD_DIR (default build/fuzz-replay) is configured with the project's
# normal compiler when it does not exist yet; only the generator is built.
set -euo pipefail

repo=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
cd "$repo"
build=${1:-build/fuzz-replay}

targets=(fuzz_typed_decode fuzz_lcs_decode fuzz_untyped_decode fuzz_scanners fuzz_tool_json fuzz_tool_dump fuzz_tool_input)

if [[ ! -f "$build/CMakeCache.txt" ]]; then
    "$repo/scripts/install-deps.sh"
    cmake -S "$repo" -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo
fi
cmake --build "$build" -j 2 --target qbasn_fuzz_gen_corpus

for t in "${targets[@]}"; do
    rm -rf "fuzz/corpus/$t"
    mkdir -p "fuzz/corpus/$t"
done
"$build/fuzz/qbasn_fuzz_gen_corpus" "$repo"
for t in "${targets[@]}"; do
    printf '%-22s %4d files\n' "$t" "$(find "fuzz/corpus/$t" -type f | wc -l)"
done
