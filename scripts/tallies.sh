#!/bin/bash
# The table of counts of a test run, from the log that CTest keeps: tallies.sh [--all] LOG
# A row for each line "tally: WHAT: ROUNDS" of a test, and with --all one for each other test. Defects are failed
# expectations, and one for a test that did not come to its end.
set -euo pipefail
all=0
[ "$1" != --all ] || { all=1; shift; }

awk -v all="$all" '
    function row(what, rounds, defects) { printf "%-58s %12s %8s\n", what, rounds, defects; total += defects }
    /^[0-9]+\/[0-9]+ Testing: / { test = $3; count = cases = defects = 0; time = "" }
    /: Failure\r?$/ { ++defects }
    /^\[==========\] [0-9]+ tests? from .* ran/ { cases = $2 }
    /^tally: / {
        line = $0
        sub(/^tally: /, "", line)
        sub(/\r$/, "", line)
        rounds[++count] = substr(line, match(line, /[0-9]+$/))
        what[count] = substr(line, 1, RSTART - 3)
    }
    /^Test time = / { time = sprintf(" (%d s)", $4) }
    /^Test (Passed|Failed|Timeout)|^Test not run|^Unable to find executable/ {
        if (!/Passed/ && defects == 0) defects = 1
        if (count == 0 && (all || defects > 0)) row(test time, cases, defects)
        for (i = 1; i <= count; ++i) row(what[i], rounds[i], i == count ? defects : 0)
        test = ""
    }
    BEGIN { printf "%-58s %12s %8s\n", "what", "rounds", "defects" }
    END { printf "%-58s %12s %8d\n", "all", "", total }
' "$1"
