#!/usr/bin/env bash
# tests/schema/build_asn1c_roundtrip.sh ASN1C MODULE WORK CC SOURCE OUTPUT
#
# Compiles the ASN.1 module MODULE (written by `qbasn schema`) with asn1c (the
# program ASN1C) in
# WORK/gen, and links the C code it generates, asn1c's support files and
# SOURCE (asn1c_roundtrip.c) into the program OUTPUT, with the C compiler CC.
#
# The build runs this once per change of the module (see CMakeLists.txt), so
# the tests themselves compile nothing. The code is asn1c's, not ours: it is
# compiled without optimisation (it only has to run a few hundred small
# messages), without warnings for asn1c's files, and without the project's
# compiler flags, sanitizers included (CC is the plain system compiler).
# asn1c runs with -Werror: a module it has any complaint about fails here.
set -euo pipefail
# shellcheck source=tests/schema/script_common.sh
source "$(dirname "${BASH_SOURCE[0]}")/script_common.sh"

[[ $# -eq 6 ]] || die "usage: build_asn1c_roundtrip.sh ASN1C MODULE WORK CC SOURCE OUTPUT"
asn1c=$1
module=$(realpath "$2")
work=$3
cc=$4
source=$(realpath "$5")
output=$6

rm -rf "$work/gen"
mkdir -p "$work/gen"
cd "$work/gen"

# -fcompound-names: the CHOICE inside each slot array becomes a C struct whose
# name includes its type's, so two such arrays cannot clash. -pdu=all: the
# table asn_pdu_collection of every type, which the program looks types up in.
if ! "$asn1c" -Werror -fcompound-names -fincludes-quoted -pdu=all "$module" > asn1c.log 2>&1; then
    cat asn1c.log >&2
    die "asn1c rejects $module"
fi

# converter-sample.c is asn1c's own main program.
jobs=$(nproc 2>/dev/null || echo 2)
find . -maxdepth 1 -name '*.c' ! -name converter-sample.c -print0 |
    xargs -0 -P "$jobs" -n 16 "$cc" -O0 -w -I. -c ||
    die "compiling asn1c's code with $cc failed"
"$cc" -O0 -Wall -Wextra -I. -c "$source" -o roundtrip-main.o || die "compiling $source failed"
"$cc" -o "$output.new" ./*.o || die "linking $output failed"
mv -f "$output.new" "$output"
