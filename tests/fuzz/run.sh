#!/bin/bash
# Builds the fuzzers and runs each for some time, as many at once as there are processors: run.sh FOLDER SECONDS
# Each starts from its corpus here and from what earlier runs in the folder have reached; inputs that fail are left in
# the folder's "findings". A table of counts at the end; fails when any parser did.
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
mkdir -p "$1"
folder=$(cd "$1" && pwd)
seconds=$2

[ -f "$folder/build.ninja" ] || cmake -S "$here" -B "$folder" -G Ninja -DCMAKE_CXX_COMPILER=clang++
cmake --build "$folder"

run() { # parser
    local parser=$1 options=()
    mkdir -p "$folder/corpus/$parser" "$folder/findings/$parser"
    [ ! -f "$here/$parser.dict" ] || options+=("-dict=$here/$parser.dict")
    [ -z "${QUORLINE_SEED:-}" ] || options+=("-seed=$QUORLINE_SEED")
    "$folder/fuzz_$parser" -max_total_time="$seconds" -max_len=4096 -timeout=10 -rss_limit_mb=2048 \
        -print_final_stats=1 -artifact_prefix="$folder/findings/$parser/" "${options[@]}" \
        "$folder/corpus/$parser" "$here/$parser" >"$folder/$parser.log" 2>&1
}

parsers=()
for program in "$folder"/fuzz_*; do
    [ ! -x "$program" ] || parsers+=("${program##*/fuzz_}")
done

failed=()
running=()
collect() {
    wait "${running[0]#* }" || failed+=("${running[0]% *}")
    running=("${running[@]:1}")
}
for parser in "${parsers[@]}"; do
    [ ${#running[@]} -lt "$(nproc)" ] || collect
    run "$parser" &
    running+=("$parser $!")
done
while [ ${#running[@]} -gt 0 ]; do collect; done

count() { # parser expression: the last number that the log holds for it
    sed -nE "s/$2/\1/p" "$folder/$1.log" | tail -n 1
}
printf '%-16s %12s %10s %8s %9s  %s\n' parser tried edges inputs "seed" result
for parser in "${parsers[@]}"; do
    result=held
    [[ " ${failed[*]:-} " != *" $parser "* ]] || result=FAILED
    printf '%-16s %12s %10s %8s %9s  %s\n' "$parser" "$(count "$parser" 'stat::number_of_executed_units: *([0-9]+)')" \
        "$(count "$parser" '.* cov: ([0-9]+) .*')" "$(count "$parser" '.* corp: ([0-9]+)\/.*')" \
        "$(count "$parser" 'INFO: Seed: ([0-9]+)')" "$result"
done
for parser in "${failed[@]}"; do
    echo "== $parser" >&2
    grep -vE '^#[0-9]+|^"' "$folder/$parser.log" | tail -n 40 >&2
done
[ ${#failed[@]} -eq 0 ]
