#!/bin/bash
# file-size-limit.sh PROGRAM.EXE: runs it in a system where no file takes more than 64 KiB.
set -euo pipefail
cd "$(dirname "$0")/../.."

# What Wine runs in the background is started without the limit.
scripts/wine-run.sh cmd /c exit </dev/null || true

# A write beyond the limit fails then, instead of ending the program.
trap '' XFSZ
ulimit -f 64
exec scripts/wine-run.sh "$@"
