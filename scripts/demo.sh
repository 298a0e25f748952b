#!/usr/bin/env bash
# scripts/demo.sh - builds qbasn (build/release) and runs the example program
# envelope_demo, which saves a small record behind the versioned envelope,
# prints the octets and loads them back.
set -euo pipefail

repo=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
cd "$repo"

# The example needs only a compiler and the build tools.
"$repo/scripts/install-deps.sh" cmake ninja-build g++

generator=()
if command -v ninja >/dev/null 2>&1; then
    generator=(-G Ninja)
fi

cmake -S "$repo" -B "$repo/build/release" "${generator[@]}" \
    -DCMAKE_BUILD_TYPE=Release -DQBASN_BUILD_TESTS=OFF -DQBASN_BUILD_EXAMPLES=ON
cmake --build "$repo/build/release" -j 2 --target envelope_demo
"$repo/build/release/envelope_demo"
