#!/usr/bin/env bash
# tests/schema/check_schema.sh - checks the module `qbasn schema` writes
# against messages of every record type, with ASN.1 tools that are not ours.
#
#   check_schema.sh libtasn1 QBASN MESSAGES WORK
#       asn1Parser must accept the module, and asn1Decoding must decode every
#       message as its type (strict DER: the library writes DER).
#   check_schema.sh asn1c QBASN MESSAGES ROUNDTRIP MODULE WORK
#       ROUNDTRIP is the program built from asn1c's code for MODULE (the
#       build writes MODULE with `qbasn schema` and compiles it, see
#       CMakeLists.txt). MODULE must still be what QBASN writes; ROUNDTRIP
#       must decode every message (BER), check its constraints and re-encode
#       it (DER) to the same octets.
#
# QBASN is the qbasn program, MESSAGES the qbasn_schema_messages program
# (payloads of every record type, listed in messages.txt as
# "<type name> <flat name> <file>"), WORK a directory this script empties and
# fills. ASN1PARSER and ASN1DECODING, when set, name libtasn1's programs
# (CMake passes the ones it found). Each check also feeds its tool one truncated payload and requires a
# failure, so a tool that accepts anything cannot pass. Any failure names the
# type, the flat record and the file, and the script exits non-zero.
set -euo pipefail
# shellcheck source=tests/schema/script_common.sh
source "$(dirname "${BASH_SOURCE[0]}")/script_common.sh"

[[ $# -ge 1 ]] || die "usage: check_schema.sh libtasn1|asn1c ..."
mode=$1
shift
case $mode in
    libtasn1) [[ $# -eq 3 ]] || die "usage: check_schema.sh libtasn1 QBASN MESSAGES WORK"
              qbasn=$1 messages=$2 work=$3 ;;
    asn1c)    [[ $# -eq 5 ]] || die "usage: check_schema.sh asn1c QBASN MESSAGES ROUNDTRIP MODULE WORK"
              qbasn=$1 messages=$2 roundtrip=$3 built_module=$4 work=$5 ;;
    *) die "unknown check '$mode' (libtasn1 or asn1c)" ;;
esac

asn1parser=${ASN1PARSER:-asn1Parser}
asn1decoding=${ASN1DECODING:-asn1Decoding}

rm -rf "$work"
mkdir -p "$work/messages"
"$qbasn" schema > "$work/module.asn" || die "qbasn schema failed"
"$messages" "$work/messages" || die "qbasn_schema_messages failed"

# The manifest with each type name turned into its type reference, by the
# module's naming rule (first letter upper-cased, every '_' a '-'), worked out
# here independently of the generator: "<reference> <flat name> <file>".
awk '{ ref = toupper(substr($1, 1, 1)) substr($1, 2); gsub(/_/, "-", ref); print ref, $2, $3 }' \
    "$work/messages/messages.txt" > "$work/manifest.txt"
[[ -s $work/manifest.txt ]] || die "no messages were generated"

# Every record type has messages and a type assignment, and the module has no
# other types.
types=$(cut -d' ' -f1 "$work/manifest.txt" | sort -u)
type_count=$(wc -l <<< "$types")
assignments=$(grep -c -E '^[A-Z][A-Za-z0-9-]* ::= ' "$work/module.asn" || true)
[[ $assignments -eq $type_count ]] ||
    die "the module has $assignments type assignments, the library $type_count record types"
while read -r ref; do
    grep -q -E "^$ref ::= SEQUENCE \\{" "$work/module.asn" || die "the module does not define $ref"
done <<< "$types"
echo "$type_count record types, $(wc -l < "$work/manifest.txt") messages"

# A truncated payload (one octet short) for the self-checks.
read -r first_ref first_flat first_file < "$work/manifest.txt"
head -c "$(($(stat -c %s "$first_file") - 1))" "$first_file" > "$work/truncated.ber"

if [[ $mode == libtasn1 ]]; then
    "$asn1parser" -c "$work/module.asn" > "$work/parser.log" 2>&1 || {
        cat "$work/parser.log" >&2
        die "asn1Parser rejects the module"
    }
    module_name=$(sed -n -E 's/^([A-Z][A-Za-z0-9-]*) DEFINITIONS .*/\1/p' "$work/module.asn")
    [[ -n $module_name ]] || die "no module header (NAME DEFINITIONS ...) in the module"

    # libtasn1 expands every type reference when it builds a value's
    # structure, so a type that holds itself (a SEQUENCE OF its own type)
    # expands without end and the decoder crashes. For libtasn1 alone, each
    # such type is unrolled: its self-references point to a copy named
    # <type>-depth-1, whose point to <type>-depth-2, and so on to
    # <type>-depth-$depth, where they become NULL, so a message nested deeper
    # fails to decode instead of passing unchecked. Nothing else of the
    # module changes. The generated records nest at most four levels.
    depth=8
    awk -v depth="$depth" '
        function emit(name, target,    d, i, n, line, fields, k, t) {
            for (d = 0; d <= depth; d++) {
                for (i = 1; i <= nlines; i++) {
                    line = lines[i]
                    n = split(line, fields, " ")
                    out = (i == 1) ? "" : "    "
                    for (k = 1; k <= n; k++) {
                        t = fields[k]
                        if (i == 1 && k == 1) t = (d == 0) ? name : name "-depth-" d
                        else if (t == name) t = (d < depth) ? name "-depth-" (d + 1) : "NULL"
                        else if (t == name ",") t = ((d < depth) ? name "-depth-" (d + 1) : "NULL") ","
                        out = out (k == 1 ? "" : " ") t
                    }
                    print (i == nlines ? "}" : out)
                }
                if (d < depth) print ""
            }
        }
        /^[A-Z][A-Za-z0-9-]* ::= SEQUENCE \{$/ { name = $1; nlines = 0 }
        name != "" {
            lines[++nlines] = $0
            for (k = 2; k <= NF; k++) if ($k == name || $k == name ",") self = 1
            if ($0 ~ /^\}/) {
                if (self) emit(name); else for (i = 1; i <= nlines; i++) print lines[i]
                name = ""; self = 0
            }
            next
        }
        { print }
    ' "$work/module.asn" > "$work/module-libtasn1.asn"
    "$asn1parser" -c "$work/module-libtasn1.asn" > "$work/parser.log" 2>&1 || {
        cat "$work/parser.log" >&2
        die "asn1Parser rejects the unrolled module $work/module-libtasn1.asn"
    }

    # decode REF FILE: asn1Decoding's verdict, its output in $work/decode.log.
    # Memory and time are capped, so a type libtasn1 cannot expand fails
    # here rather than exhausting the machine.
    decode() {
        (ulimit -v 1048576; timeout 60 "$asn1decoding" -s "$work/module-libtasn1.asn" "$2" "$module_name.$1") \
            < /dev/null > "$work/decode.log" 2>&1
    }

    if decode "$first_ref" "$work/truncated.ber"; then
        die "self-check: asn1Decoding accepted a truncated $first_ref payload ($first_file less its last octet)"
    fi

    failed=0
    checked=0
    while read -r ref flat file; do
        checked=$((checked + 1))
        if ! decode "$ref" "$file"; then
            failed=$((failed + 1))
            echo "FAIL $ref ($flat) $file: asn1Decoding cannot decode it:"
            sed 's/^/    /' "$work/decode.log" | tail -n 5
        fi
    done < "$work/manifest.txt"
    echo "libtasn1: $checked messages, $failed failed"
    [[ $failed -eq 0 ]] || die "libtasn1 could not decode $failed of $checked messages with the module"
else
    cmp -s "$built_module" "$work/module.asn" ||
        die "$built_module, which asn1_roundtrip was built from, differs from what qbasn schema writes now: rebuild"

    printf '%s %s\n' "$first_ref" "$work/truncated.ber" > "$work/truncated.txt"
    if "$roundtrip" "$work/truncated.txt" > "$work/roundtrip.log" 2>&1; then
        die "self-check: the asn1c program accepted a truncated $first_ref payload ($first_file less its last octet)"
    fi

    awk '{ print $1, $3 }' "$work/manifest.txt" > "$work/roundtrip.txt"
    rc=0
    "$roundtrip" "$work/roundtrip.txt" || rc=$?
    [[ $rc -eq 0 ]] || die "the code asn1c generated from the module did not read and re-encode every message (exit status $rc)"
fi
