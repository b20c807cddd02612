#!/bin/bash
# Runs the long forms of the tests and the fuzzers side by side: soak.sh BUILD_FOLDER
# By a seed that it prints (QUORLINE_SEED repeats a run's choices); ends with the table of counts.
set -euo pipefail
cd "$(dirname "$0")/.."
build=$1
export QUORLINE_SEED=${QUORLINE_SEED:-$((RANDOM * 32768 + RANDOM))}
export SIGNER_SEED=$((QUORLINE_SEED % 100000))
echo "QUORLINE_SEED=$QUORLINE_SEED"

# They count seconds, so they take what the tests leave of the processors.
nice tests/fuzz/run.sh build/fuzz "${FUZZ_SECONDS:-300}" >build/fuzz.log 2>&1 &
fuzzers=$!
result=0
# Each in one of three Wine prefixes of their own, so three at once.
ctest --test-dir "$build" -L '^soak$' --parallel 3 --output-on-failure --no-tests=error || result=1
wait "$fuzzers" || result=1
cat build/fuzz.log

scripts/tallies.sh --all "$build/Testing/Temporary/LastTest.log"
awk '$NF == "held" || $NF == "FAILED" {
    printf "%-58s %12s %8d\n", "inputs to the fuzzer of " $1, $2, $NF == "FAILED" ? 1 : 0 }' build/fuzz.log
exit "$result"
