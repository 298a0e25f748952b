#!/usr/bin/env bash
# scripts/demo.sh - builds qbasn (build/release): the library, the example
# program envelope_demo and the command-line tool qbasn; runs envelope_demo
# (it saves a small record behind the versioned envelope, prints the octets
# and loads them back), then lets the tool dump and decode a sample message
# from examples/messages/.
set -euo pipefail

repo=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
cd "$repo"

# The example needs only a compiler and the build tools; the tool also needs
# CLI11 and nlohmann-json.
"$repo/scripts/install-deps.sh" cmake ninja-build g++ libcli11-dev nlohmann-json3-dev

generator=()
if command -v ninja >/dev/null 2>&1; then
    generator=(-G Ninja)
fi

cmake -S "$repo" -B "$repo/build/release" "${generator[@]}" \
    -DCMAKE_BUILD_TYPE=Release -DQBASN_BUILD_TESTS=OFF -DQBASN_BUILD_EXAMPLES=ON
cmake --build "$repo/build/release" -j 2 --target envelope_demo qbasn_tool
"$repo/build/release/envelope_demo"

qbasn="$repo/build/release/tools/qbasn"
sample="$repo/examples/messages/attrlist_s_t.bin"
echo
echo "\$ qbasn dump --type attrlist examples/messages/attrlist_s_t.bin"
"$qbasn" dump --type attrlist "$sample"
echo
echo "\$ qbasn decode --type attrlist examples/messages/attrlist_s_t.bin"
"$qbasn" decode --type attrlist "$sample"
