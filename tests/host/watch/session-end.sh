#!/bin/bash
# A watched session that really ends: session-end.sh BIN_FOLDER SCRATCH
#
# In a Wine prefix apart, since `wineboot --end-session` asks every program of a prefix.
set -euo pipefail
PROGRAM=$1
SCRATCH=$2
# shellcheck source-path=SCRIPTDIR source=../../package/support.sh
source "$(dirname "$0")/../../package/support.sh"

SCRIPTS=$SCRATCH/scripts
LOG_NAME=TalvinorSession.log

# How often a text stands in the log.
log_count() { find "$DRIVE/users" -name "$LOG_NAME" -exec cat {} + 2>/dev/null | grep -cF -- "$1" || true; }
log_has() { # text, how often at least
    [ "$(log_count "$1")" -ge "${2:-1}" ]
}

starts=0
watch() { # options...
    starts=$((starts + 1))
    "$WINE" "$PROGRAM/quorline-watch.exe" --apps "$(windows_path "$SCRIPTS/notepad.json")" "$@" >/dev/null 2>&1 &
    wait_until "the session is not watched" log_has 'Quorline watches this session. Protected' "$starts"
}

end_session() { timeout 60 "$WINE" wineboot --end-session; }
power_cut() { "$WINE" --stop; }
saved_copies() { find_documents -name 'harvest*.txt' -path '*Saved Documents*' | wc -l; }
save_script() { # sample
    cp "$ROOT/samples/$1" "$SCRIPTS/notepad-save.vbs"
    quorline sign "$(windows_path "$SCRIPTS/notepad-save.vbs")" >/dev/null
}

start_prefix
find "$DRIVE/users" -path '*Local/Morvane' -prune -exec rm -rf {} +
for dll in Quorline QuorlineHost QuorlineSigner; do
    "$WINE" regsvr32 /s "$(windows_path "$PROGRAM/$dll.dll")" || fail "regsvr32 $dll.dll failed"
done
signed_samples "$SCRIPTS"

step "the end of a session saves, and the next start brings the document back"
watch
notepad_with_text
end_session || fail "the session did not end"
power_cut
expect 1 "$(saved_copies)" "saved copies"
watch --restore always
wait_until "the text did not come back" window_shows "$TEXT"
wait_until "the log does not tell of the restored document" log_has 'A document was restored'
end_notepads
quorline watch --stop >/dev/null

step "a failing script keeps the session"
save_script failing-save.vbs
watch --restore never
notepad_with_text
! end_session || fail "the session ended although a script failed"
window_shows "$TEXT" || fail "Notepad was ended"
log_has 'Quorline speaks against the end of the session' || fail "the log does not tell of the veto"
quorline watch --stop >/dev/null
end_notepads

step "a power cut costs what came after the last checkpoint, and no more"
save_script notepad-save.vbs
notepad_with_text
watch --restore never --checkpoint 1s
wait_until "no checkpoint was made" log_has 'A checkpoint was made'
power_cut
watch --restore always
log_has 'The last session ended without notice' || fail "the log does not tell of the unannounced end"
wait_until "the checkpoint's text did not come back" window_shows "$TEXT"
quorline watch --stop >/dev/null
end_notepads
# The tests of the packages use this prefix, too, and would find components and event sources of the build in it.
"$WINE" --stop
rm -rf "$WINEPREFIX"
step "done"
