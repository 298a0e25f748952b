#!/usr/bin/env bash
# scripts/gen-docs.sh - regenerates docs/record-types.md and the ASN.1 module
# docs/qbasn-wire.asn (`qbasn schema`) from the library's reflection table
# (builds build/release first).
set -euo pipefail
repo=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
cmake -S "$repo" -B "$repo/build/release" -G Ninja -DCMAKE_BUILD_TYPE=Release >/dev/null
cmake --build "$repo/build/release" -j2 --target qbasn_record_docs qbasn_tool
"$repo/build/release/qbasn_record_docs" > "$repo/docs/record-types.md"
echo "wrote docs/record-types.md"
"$repo/build/release/tools/qbasn" schema > "$repo/docs/qbasn-wire.asn"
echo "wrote docs/qbasn-wire.asn"
