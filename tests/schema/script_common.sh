# shellcheck shell=bash
# tests/schema/script_common.sh - sourced by the scripts of this directory
# after their `set -euo pipefail`.

# die MESSAGE...: the message on standard error after the script's name
# (without its .sh), then exit status 1.
die() {
    echo "$(basename "$0" .sh): $*" >&2
    exit 1
}
