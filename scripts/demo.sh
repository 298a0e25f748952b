#!/usr/bin/env bash
# scripts/demo.sh - builds qbasn (build/demo): the library, the example
# program envelope_demo, the command-line tool qbasn and the Python module;
# installs them into build/demo-prefix; runs envelope_demo (it saves a small record
# behind the versioned envelope, prints the octets and loads them back), lets
# the tool dump and decode a sample message from examples/messages/, and
# decodes it once more in Python, with the module installed in build/demo-prefix.
set -euo pipefail

repo=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
cd "$repo"

# The example needs only a compiler and the build tools; the tool also needs
# CLI11, nlohmann-json and libcrypto (the names of OBJECT IDENTIFIERs); the Python module, Debian's python3 with its
# headers and pybind11.
"$repo/scripts/install-deps.sh" cmake ninja-build g++ libcli11-dev nlohmann-json3-dev libssl-dev python3 python3-dev pybind11-dev

generator=()
if command -v ninja >/dev/null 2>&1; then
    generator=(-G Ninja)
fi

cmake -S "$repo" -B "$repo/build/demo" "${generator[@]}" \
    -DCMAKE_BUILD_TYPE=Release -DQBASN_BUILD_TESTS=OFF -DQBASN_BUILD_EXAMPLES=ON -DQBASN_REQUIRE_PYTHON=ON
cmake --build "$repo/build/demo" -j 2 --target envelope_demo qbasn_tool qbasn_python
cmake --install "$repo/build/demo" --prefix "$repo/build/demo-prefix" >/dev/null
"$repo/build/demo/envelope_demo"

qbasn="$repo/build/demo/tools/qbasn"
sample="$repo/examples/messages/attrlist_s_t.bin"
echo
echo "\$ qbasn dump --type attrlist examples/messages/attrlist_s_t.bin"
"$qbasn" dump --type attrlist "$sample"
echo
echo "\$ qbasn decode --type attrlist examples/messages/attrlist_s_t.bin"
"$qbasn" decode --type attrlist "$sample"

# The module in the prefix: <prefix>/lib/python3.X/site-packages.
site=$(/usr/bin/python3 -c 'import sys; print("lib/python%d.%d/site-packages" % sys.version_info[:2])')
echo
echo "\$ PYTHONPATH=build/demo-prefix/$site /usr/bin/python3 -c 'import qbasn; print(qbasn.decode(\"attrlist\", open(\"examples/messages/attrlist_s_t.bin\", \"rb\").read()))'"
PYTHONPATH="$repo/build/demo-prefix/$site" /usr/bin/python3 -c '
import sys
import qbasn
print(qbasn.decode("attrlist", open(sys.argv[1], "rb").read()))
' "$sample"
