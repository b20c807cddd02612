#!/bin/bash
# Runs a test program with the system's heap checks switched on: heap-checked.sh WINE_RUN PROGRAM
# Fails when the program does, when the checks report anything, and when they would not.
set -euo pipefail

WINE_RUN=$(realpath "$1")
PROGRAM=$(realpath "$2")
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
cd "$(dirname "$PROGRAM")"

# Patterns behind used blocks and in free ones. To have all blocks looked at in every call would take days; the programs
# do it where it matters.
options='HKLM\Software\Microsoft\Windows NT\CurrentVersion\Image File Execution Options'
"$WINE_RUN" reg add "$options\\$(basename "$PROGRAM")" /v GlobalFlag /t REG_DWORD /d 0x70 /f >"$scratch/reg" 2>&1 </dev/null ||
    { cat "$scratch/reg" >&2; exit 1; }

checked() { # program arguments...; what the checks report is in the file "heap"
    local code=0
    WINEDEBUG=-all,err+heap,warn+heap "$WINE_RUN" "$PROGRAM" "$@" 2>"$scratch/err" </dev/null || code=$?
    grep -E 'err:heap|delayed freed block' "$scratch/err" >"$scratch/heap" || true
    return "$code"
}

checked --gtest_also_run_disabled_tests --gtest_filter='HeapCheck.*' >"$scratch/out" || true
if [ ! -s "$scratch/heap" ]; then
    cat "$scratch/out" "$scratch/err" >&2
    echo "FAILED: the heap checks do not notice an overrun" >&2
    exit 1
fi

code=0
checked || code=$?
cat "$scratch/err" >&2
if [ -s "$scratch/heap" ]; then
    echo "FAILED: the heap checks report $(wc -l <"$scratch/heap") errors" >&2
    code=1
fi
exit "$code"
