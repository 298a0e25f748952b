#!/usr/bin/env bash
# scripts/gen-docs.sh - regenerates docs/record-types.md from the library's
# reflection table (builds build/release first).
set -euo pipefail
repo=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
cmake -S "$repo" -B "$repo/build/release" -G Ninja -DCMAKE_BUILD_TYPE=Release >/dev/null
cmake --build "$repo/build/release" -j2 --target qbasn_record_docs
"$repo/build/release/qbasn_record_docs" > "$repo/docs/record-types.md"
echo "wrote docs/record-types.md"
