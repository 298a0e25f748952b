#!/usr/bin/env bash
# scripts/install-deps.sh [package...] - installs the Debian packages qbasn's
# build needs, but only those missing, and only when it can (as root, or
# through sudo). With no arguments: everything the tests need.
set -euo pipefail

if [[ $# -gt 0 ]]; then
    packages=("$@")
else
    packages=(cmake ninja-build g++ libgtest-dev libgmock-dev libbenchmark-dev pkg-config locales)
fi

if ! command -v dpkg >/dev/null 2>&1; then
    echo "install-deps: no dpkg here; assuming ${packages[*]} are available" >&2
    exit 0
fi

missing=()
for p in "${packages[@]}"; do
    if ! dpkg -s "$p" >/dev/null 2>&1; then
        missing+=("$p")
    fi
done
if [[ ${#missing[@]} -eq 0 ]]; then
    exit 0
fi

echo "install-deps: installing missing packages: ${missing[*]}"
sudo=()
if [[ $(id -u) -ne 0 ]]; then
    if command -v sudo >/dev/null 2>&1; then
        sudo=(sudo)
    else
        echo "install-deps: ${missing[*]} missing, and neither root nor sudo available" >&2
        exit 1
    fi
fi
"${sudo[@]}" env DEBIAN_FRONTEND=noninteractive apt-get update
"${sudo[@]}" env DEBIAN_FRONTEND=noninteractive apt-get install -y --no-install-recommends "${missing[@]}"
