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

echo "install check: ok"
