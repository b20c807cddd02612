#!/bin/bash
# standby, hibernate and shutdown, with Windows really asked: power-state.sh BIN_FOLDER SCRATCH
#
# In a Wine prefix apart, since a shutdown ends every program of a prefix.
set -euo pipefail
PROGRAM=$1
SCRATCH=$2
# shellcheck source-path=SCRIPTDIR source=../../package/support.sh
source "$(dirname "$0")/../../package/support.sh"

SCRIPTS=$SCRATCH/scripts
APPS=$(windows_path "$SCRIPTS/notepad.json")

saved_copies() { find_documents -name 'harvest*.txt' -path '*Saved Documents*' | wc -l; }

start_prefix
quorline register >/dev/null || fail "the components are not registered"
signed_samples "$SCRIPTS"

step "standby and hibernation are asked for once everything is saved"
notepad_with_text
copies=0
for state in standby hibernate; do
    said=$(quorline "$state" --apps "$APPS") || fail "$state failed: $said"
    copies=$((copies + 1))
    expect "asking     Windows for $state" "$(tail -n 1 <<<"$said")" "the last line of $state"
    expect "$copies" "$(saved_copies)" "saved copies after $state"
done
window_shows "$TEXT" || fail "Notepad was ended"

step "a vetoed shutdown is not asked for"
cp "$SCRIPTS/notepad-save.vbs" "$SCRATCH/notepad-save.vbs"
cp "$ROOT/samples/failing-save.vbs" "$SCRIPTS/notepad-save.vbs"
quorline sign "$(windows_path "$SCRIPTS/notepad-save.vbs")" >/dev/null
status=0
said=$(quorline shutdown --apps "$APPS") || status=$?
expect 3 "$status" "the exit code of a vetoed shutdown"
! grep -q '^asking' <<<"$said" || fail "Windows was asked all the same: $said"
window_shows "$TEXT" || fail "Notepad was ended"

step "a shutdown that nobody vetoes ends the session"
cp "$SCRATCH/notepad-save.vbs" "$SCRIPTS/notepad-save.vbs"
said=$(quorline shutdown --apps "$APPS") || fail "shutdown failed: $said"
grep -q '^asking     Windows for shutdown$' <<<"$said" || fail "Windows was not asked: $said"
expect "$((copies + 1))" "$(saved_copies)" "saved copies after shutdown"
wait_until "Notepad does not end" no_window_shows "$TEXT"
step "done"
