#!/usr/bin/env bash
# scripts/install-deps.sh [package...] - installs the Debian packages qbasn's
# build needs, but only those missing, and only when it can (as root, or
# through sudo). With no arguments: everything the tests and the qbasn tool
# (CLI11, nlohmann-json) and the Python module (Python 3's headers, pybind11,
# and for its tests and benchmark pytest and pyasn1, all for Debian's
# /usr/bin/python3) and the checks of `qbasn schema`'s module by other ASN.1
# tools (libtasn1-bin, asn1c) and the coverage report (gcovr,
# scripts/coverage.sh) need, which includes the two locales the
# text-field tests switch between (en_US.ISO-8859-1 and en_US.UTF-8); they are
# generated when `locale -a` does not list them.
set -euo pipefail

all_deps=0
if [[ $# -gt 0 ]]; then
    packages=("$@")
else
    packages=(cmake ninja-build g++ libgtest-dev libgmock-dev libbenchmark-dev pkg-config locales libcli11-dev nlohmann-json3-dev libssl-dev openssl
              python3 python3-dev pybind11-dev python3-pytest python3-pyasn1 libtasn1-bin asn1c gcovr)
    all_deps=1
fi

# as_root: runs a command as root (directly, or through sudo); fails when neither is possible.
as_root() {
    if [[ $(id -u) -eq 0 ]]; then
        "$@"
    elif command -v sudo >/dev/null 2>&1; then
        sudo "$@"
    else
        echo "install-deps: need root or sudo to run: $*" >&2
        return 1
    fi
}

# ---- packages ----
install_packages() {
    if ! command -v dpkg >/dev/null 2>&1; then
        echo "install-deps: no dpkg here; assuming ${packages[*]} are available" >&2
        return 0
    fi
    local missing=() p
    for p in "${packages[@]}"; do
        if ! dpkg -s "$p" >/dev/null 2>&1; then
            missing+=("$p")
        fi
    done
    if [[ ${#missing[@]} -eq 0 ]]; then
        return 0
    fi
    echo "install-deps: installing missing packages: ${missing[*]}"
    as_root env DEBIAN_FRONTEND=noninteractive apt-get update
    as_root env DEBIAN_FRONTEND=noninteractive apt-get install -y --no-install-recommends "${missing[@]}"
}

# ---- locales ----
# has_locale NAME: true when `locale -a` lists NAME. The comparison ignores
# case, '-' and '_' in the code-set part, so en_US.ISO-8859-1 matches the
# en_US.iso88591 that glibc lists.
has_locale() {
    local want=$1 line
    want=$(normalize_locale "$want")
    while IFS= read -r line; do
        if [[ $(normalize_locale "$line") == "$want" ]]; then
            return 0
        fi
    done < <(locale -a 2>/dev/null)
    return 1
}

normalize_locale() {
    local name=$1 lang codeset
    if [[ $name == *.* ]]; then
        lang=${name%%.*}
        codeset=${name#*.}
        codeset=${codeset,,}
        codeset=${codeset//-/}
        codeset=${codeset//_/}
        printf '%s.%s\n' "$lang" "$codeset"
    else
        printf '%s\n' "$name"
    fi
}

# ensure_locale NAME CHARMAP: generates NAME from the en_US sources when missing.
ensure_locale() {
    local name=$1 charmap=$2
    if has_locale "$name"; then
        return 0
    fi
    if ! command -v localedef >/dev/null 2>&1; then
        echo "install-deps: locale $name is missing and localedef is not available (install the locales package)" >&2
        return 1
    fi
    echo "install-deps: generating locale $name"
    # localedef exits non-zero on mere warnings too; what counts is the result.
    local rc=0
    as_root localedef -i en_US -f "$charmap" "$name" || rc=$?
    if ! has_locale "$name"; then
        echo "install-deps: locale $name still missing after localedef (exit status $rc)" >&2
        return 1
    fi
}

install_packages
if [[ $all_deps -eq 1 ]]; then
    if ! command -v locale >/dev/null 2>&1; then
        echo "install-deps: the locale command is missing; cannot check the test locales" >&2
        exit 1
    fi
    ensure_locale en_US.ISO-8859-1 ISO-8859-1
    ensure_locale en_US.UTF-8 UTF-8
fi
