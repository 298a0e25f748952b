#!/usr/bin/env bash
# tests/install/check.sh <build-dir>
#
# Installs an already built qbasn tree into a temporary prefix, checks the
# installed layout, then builds and runs two consumers against the prefix:
# main.cpp through find_package(qbasn) (this directory's CMakeLists.txt) and
# pkgconfig_main.cpp with the flags `pkg-config --cflags --libs qbasn` gives.
#
# Environment (all optional; ctest sets them from the build):
#   QBASN_CMAKE            cmake executable        (default: cmake)
#   QBASN_CXX              C++ compiler            (default: c++)
#   QBASN_CONSUMER_FLAGS   extra compile/link flags of the consumers, e.g. the
#                          sanitizer flags when the library is instrumented
#   QBASN_KEEP_INSTALL     when set, keep the temporary directory
#   QBASN_PYTHON           the interpreter the Python module was built for; when
#                          set, the installed module is imported from the prefix
#   QBASN_PYTHON_DIR       where the module is installed, relative to the prefix
#   QBASN_PYTHON_PRELOAD   libraries the interpreter preloads (the sanitizer
#                          runtimes when the module is instrumented)
set -euo pipefail

if [[ $# -ne 1 ]]; then
    echo "usage: $0 <build-dir>" >&2
    exit 2
fi

build_dir=$(cd "$1" && pwd)
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
cmake_bin=${QBASN_CMAKE:-cmake}
cxx=${QBASN_CXX:-c++}
flags=${QBASN_CONSUMER_FLAGS:-}

work=$(mktemp -d "${TMPDIR:-/tmp}/qbasn-install-check.XXXXXX")
if [[ -z ${QBASN_KEEP_INSTALL:-} ]]; then
    trap 'rm -rf "$work"' EXIT
else
    echo "keeping $work"
fi
prefix=$work/prefix

fail() {
    echo "install check: $*" >&2
    exit 1
}

echo "== install into $prefix"
"$cmake_bin" --install "$build_dir" --prefix "$prefix"

echo "== installed layout"
for f in \
    include/qbasn/qbasn.h \
    include/qbasn/asn1/asnbase.h \
    include/qbasn/asn1/asn1.h \
    include/qbasn/asn1/asnutils.h \
    include/qbasn/asn1/qbasn_export.h \
    lib/libqbasn.so \
    lib/libqbasn.so.0 \
    lib/cmake/qbasn/qbasnConfig.cmake \
    lib/cmake/qbasn/qbasnConfigVersion.cmake \
    lib/cmake/qbasn/qbasnTargets.cmake \
    lib/pkgconfig/qbasn.pc; do
    [[ -e $prefix/$f ]] || fail "missing $f"
done
[[ ! -e $prefix/include/qbasn/asn1/internal ]] || fail "asn1/internal/ must not be installed"
soname=$(readelf -d "$prefix/lib/libqbasn.so" | sed -n 's/.*(SONAME).*\[\(.*\)\]/\1/p')
[[ $soname == libqbasn.so.0 ]] || fail "SONAME is '$soname', expected libqbasn.so.0"

cmake_args=(-S "$here" -B "$work/consumer-build"
    -DCMAKE_BUILD_TYPE=Debug
    -DCMAKE_PREFIX_PATH="$prefix"
    -DCMAKE_FIND_PACKAGE_NO_PACKAGE_REGISTRY=ON
    -DQBASN_EXPECTED_PREFIX="$prefix"
    -DCMAKE_CXX_COMPILER="$cxx")
if [[ -n $flags ]]; then
    cmake_args+=(-DCMAKE_CXX_FLAGS="$flags" -DCMAKE_EXE_LINKER_FLAGS="$flags")
fi
if command -v ninja >/dev/null 2>&1; then
    cmake_args+=(-G Ninja)
fi

echo "== find_package consumer"
"$cmake_bin" "${cmake_args[@]}"
"$cmake_bin" --build "$work/consumer-build"
LD_LIBRARY_PATH="$prefix/lib${LD_LIBRARY_PATH:+:$LD_LIBRARY_PATH}" \
    "$work/consumer-build/qbasn_consumer"

echo "== pkg-config consumer"
pc_flags=$(PKG_CONFIG_PATH="$prefix/lib/pkgconfig" pkg-config --cflags --libs qbasn)
echo "pkg-config --cflags --libs qbasn: $pc_flags"
[[ $pc_flags == *"-I$prefix/include/qbasn"* ]] || fail "pkg-config include flag does not name $prefix/include/qbasn"
[[ $pc_flags == *"-L$prefix/lib"* ]] || fail "pkg-config library flag does not name $prefix/lib"
# shellcheck disable=SC2086 # flag strings are split on purpose
"$cxx" -std=c++20 $flags "$here/pkgconfig_main.cpp" $pc_flags -o "$work/pkgconfig_consumer"
LD_LIBRARY_PATH="$prefix/lib${LD_LIBRARY_PATH:+:$LD_LIBRARY_PATH}" \
    "$work/pkgconfig_consumer"

if [[ -n ${QBASN_PYTHON:-} ]]; then
    echo "== Python module from the prefix"
    pydir=$prefix/${QBASN_PYTHON_DIR:?QBASN_PYTHON_DIR must name the install directory of the module}
    compgen -G "$pydir/qbasn*.so" >/dev/null || fail "missing the Python module in $pydir"
    # No LD_LIBRARY_PATH: the module finds the installed library by itself,
    # and it must be that one, not the build tree's.
    loaded=$(cd "$work" && PYTHONPATH="$pydir" LD_PRELOAD="${QBASN_PYTHON_PRELOAD:-}" ASAN_OPTIONS=detect_leaks=0 "$QBASN_PYTHON" -c '
import qbasn
record = {"number": 5, "text": "a", "bytes": b"\x01"}
message = qbasn.encode("value", record)
assert message == bytes.fromhex("0402ACDC3009020105 0C0161 040101"), message.hex()
assert qbasn.decode("value", message) == record
print(next(line.split()[-1] for line in open("/proc/self/maps") if "libqbasn.so" in line))
')
    [[ $loaded == "$prefix/lib/"* ]] || fail "the installed module loaded $loaded, not the library in $prefix/lib"
fi

echo "install check: ok"
