#!/bin/bash
# The main job on real applications: demo.sh BUILD_FOLDER
#
# Starts Notepad twice on a desktop of its own, types into both, and saves what was typed before a hibernation; shows a
# script that fails and a script that was altered; then brings the documents back. Once with VBScript, once with JScript.
# Leaves what it made in build/demo/ and ends with an error if anything is not as it should be.
set -euo pipefail

ROOT=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
BIN=$(cd "$1/bin" && pwd)
OUT=$ROOT/build/demo
WINE=$ROOT/scripts/wine-run.sh
# A prefix of its own: what is registered here, the tests must not meet.
export WINEPREFIX=$ROOT/build/demo-prefix
DRIVERS='HKCU\Software\Wine\Drivers'
EXPLORER='HKCU\Software\Wine\Explorer'

FIRST='The harvest report: 214 crates, rain since noon. 100% by hand.'
SECOND='Dear Ana, the lamp & the key are under the third stone.'

say() { printf '\n== %s\n' "$*"; }
fail() { printf 'demo: %s\n' "$*" >&2; exit 1; }
# Through a file: what a restore script starts holds a pipe open as long as it runs.
quorline() {
    local status=0
    "$WINE" "$BIN/quorline.exe" "$@" >"$OUT/command.txt" 2>&1 || status=$?
    tr -d '\r' <"$OUT/command.txt"
    return "$status"
}
windows_path() { printf 'Z:%s' "${1//\//\\}"; }
unix_path() { "$WINE" winepath -u "$1" 2>/dev/null | tr -d '\r'; }
expect_exit() { # expected actual what
    [ "$1" = "$2" ] || fail "$3 ended with exit code $2 instead of $1"
}

# --- the desktop ---

stop_wine() { "$WINE" --stop; }

finish() {
    status=$?
    trap - EXIT
    "$WINE" taskkill /f /im notepad.exe >/dev/null 2>&1 || true
    "$WINE" reg add "$DRIVERS" /v Graphics /d null /f >/dev/null 2>&1 || true
    "$WINE" reg delete "$EXPLORER" /v Desktop /f >/dev/null 2>&1 || true
    stop_wine || true
    [ -z "${XVFB:-}" ] || kill "$XVFB" 2>/dev/null || true
    [ "$status" = 0 ] && say "The demo did all it should. Its results are in build/demo/."
    exit "$status"
}

start_desktop() {
    Xvfb -displayfd 6 -screen 0 1024x700x24 -nolisten tcp 6>"$OUT/display" >"$OUT/xvfb.log" 2>&1 &
    XVFB=$!
    for _ in $(seq 100); do
        [ -s "$OUT/display" ] && break
        sleep 0.1
    done
    [ -s "$OUT/display" ] || fail "no X server could be started; see build/demo/xvfb.log"
    DISPLAY=:$(cat "$OUT/display")
    export DISPLAY
    rm "$OUT/display"
    # One Windows desktop as one X window: Wine then keeps the focus itself and no window manager is needed.
    {
        "$WINE" reg add "$DRIVERS" /v Graphics /d x11 /f
        "$WINE" reg add "$EXPLORER" /v Desktop /d Default /f
        "$WINE" reg add "$EXPLORER\\Desktops" /v Default /d 1024x700 /f
    } >/dev/null
    stop_wine
}

screenshot() { import -window root "$OUT/$1.png"; }

notepads() { xdotool search --onlyvisible --name 'Notepad$' 2>/dev/null | wc -l; }

wait_for_notepads() { # how many
    for _ in $(seq 150); do
        [ "$(notepads)" = "$1" ] && return
        sleep 0.1
    done
    fail "$(notepads) Notepad windows are open instead of $1"
}

read_windows() { "$WINE" cscript //nologo "$(windows_path "$ROOT/samples/read-windows.vbs")" | tr -d '\r'; }

wait_for_text() { # each text must stand in a window of its own
    local shown=
    for _ in $(seq 30); do
        shown=$(read_windows)
        [ "$(grep -cFx -- "$FIRST" <<<"$shown")" = 1 ] && [ "$(grep -cFx -- "$SECOND" <<<"$shown")" = 1 ] && return
        sleep 0.3
    done
    printf '%s\n' "$shown"
    screenshot failure
    fail "the Notepad windows do not show what they should"
}

open_and_type() { # which window, text
    "$WINE" notepad >/dev/null 2>&1 &
    wait_for_notepads "$1"
    xdotool type --delay 12 -- "$2"
}

# Apart, for the picture.
place_notepads() {
    local window place=10
    for window in $(xdotool search --onlyvisible --name 'Notepad$'); do
        xdotool windowmove "$window" "$place" $((place / 2))
        place=$((place + 320))
    done
    sleep 0.5
}

close_notepads() {
    "$WINE" taskkill /f /im notepad.exe >/dev/null 2>&1 || true
    wait_for_notepads 0
}

# --- the steps ---

register_components() {
    say "Registering the library, the session server and the signer"
    for dll in Quorline QuorlineHost QuorlineSigner; do
        "$WINE" regsvr32 /s "$(windows_path "$BIN/$dll.dll")" || fail "regsvr32 $dll.dll failed"
        echo "registered $dll.dll"
    done
}

sign_scripts() {
    say "Making a development certificate, trusting it here, and signing the scripts"
    mkdir -p "$OUT/scripts"
    cp "$ROOT"/samples/*.vbs "$ROOT"/samples/*.js "$ROOT"/samples/*.json "$OUT/scripts/"
    rm "$OUT/scripts/read-windows.vbs"
    local certificate scripts=() script
    certificate=$(windows_path "$OUT/development.cer")
    quorline cert --new-development --out "$certificate"
    quorline trust "$certificate"
    for script in "$OUT"/scripts/*.vbs "$OUT"/scripts/*.js; do scripts+=("$(windows_path "$script")"); done
    quorline sign "${scripts[@]}"
}

# What the save printed says where the store is.
save() { # applications file
    local status=0
    quorline save --state hibernate --apps "$(windows_path "$OUT/scripts/$1")" >"$OUT/save.txt" || status=$?
    cat "$OUT/save.txt"
    return "$status"
}

check_saved_copies() { # where to keep them
    local store
    store=$(unix_path "$(sed -n 's/^store      //p' "$OUT/save.txt")")
    mkdir -p "$OUT/$1"
    cp "$store"/* "$OUT/$1/"
    say "info.xml of the store"
    tr -d '\r' <"$OUT/$1/info.xml"
    say "The saved copies against what was typed"
    local found=0
    for copy in "$OUT/$1"/*.txt; do
        iconv -f UTF-16 -t UTF-8 "$copy" | tr -d '\r' >"$copy.utf8"
        printf '%s: %s\n' "$(basename "$copy")" "$(cat "$copy.utf8")"
        if [ "$(cat "$copy.utf8")" = "$FIRST" ] || [ "$(cat "$copy.utf8")" = "$SECOND" ]; then found=$((found + 1)); fi
    done
    [ "$found" = 2 ] || fail "the saved copies do not hold what was typed"
    [ "$(md5sum "$OUT/$1"/*.utf8 | cut -c1-32 | sort -u | wc -l)" = 2 ] || fail "one text was saved twice"
    echo "both hold exactly what was typed"
}

show_failing_script() {
    say "A second hibernation, with a save script that fails"
    sed 's/notepad-save.vbs/failing-save.vbs/' "$OUT/scripts/notepad.json" >"$OUT/scripts/failing.json"
    local status=0
    save failing.json || status=$?
    expect_exit 3 "$status" "the save with a failing script"
    grep -q "^failed     'failing-save.vbs', line 4, .*The letter has no name yet" "$OUT/save.txt" ||
        fail "the veto does not name the script, the line and the message"
}

show_altered_script() {
    say "A third hibernation, with a save script that was altered after it was signed"
    sed 's/Saved the text of/Stole the text of/' "$OUT/scripts/notepad-save.vbs" >"$OUT/scripts/altered-save.vbs"
    sed 's/notepad-save.vbs/altered-save.vbs/' "$OUT/scripts/notepad.json" >"$OUT/scripts/altered.json"
    local status=0
    save altered.json || status=$?
    expect_exit 3 "$status" "the save with an altered script"
    grep -q "^failed     'altered-save.vbs': Could not verify script (Script Verification)" "$OUT/save.txt" ||
        fail "the altered script was not refused"
    # An engine is made right after the line that says a script runs.
    collect_log
    grep -q "Could not verify script 'altered-save.vbs'" "$OUT/quorline.log" || fail "the log does not name the refused script"
    ! grep -q "Running script 'altered-save.vbs'" "$OUT/quorline.log" || fail "an engine was made for the altered script"
    echo "refused, and no engine was made for it"
}

restore_documents() { # applications file, screenshot
    say "Notepad is closed; what the machine lost is in the history"
    close_notepads
    quorline history | tee "$OUT/history.txt"
    [ "$(grep -c '^  unrecovered' "$OUT/history.txt")" = 2 ] || fail "the history does not show two unrecovered documents"
    say "Restoring"
    quorline restore --all --apps "$(windows_path "$OUT/scripts/$1")"
    wait_for_notepads 2
    wait_for_text
    read_windows
    place_notepads
    screenshot "$2"
    say "Restoring once more"
    quorline restore --all --apps "$(windows_path "$OUT/scripts/$1")" | tee "$OUT/again.txt"
    grep -qx 'nothing to restore' "$OUT/again.txt" || fail "a document was restored twice"
    close_notepads
}

collect_log() {
    local log
    log=$(find "$WINEPREFIX/drive_c/users" -path '*Morvane/Talvinor/Logs/TalvinorSession.log' -print -quit)
    [ -n "$log" ] || fail "there is no log"
    cp "$log" "$OUT/quorline.log"
}

rm -rf "$OUT"
mkdir -p "$OUT"
# What an earlier demo left in this scratch prefix would be listed and restored too.
rm -rf "$WINEPREFIX"/drive_c/users/*/Documents/"Talvinor Saved Documents" \
    "$WINEPREFIX"/drive_c/users/*/AppData/Local/Morvane
trap finish EXIT
start_desktop
register_components
sign_scripts

say "Two Notepads with unsaved text"
open_and_type 1 "$FIRST"
open_and_type 2 "$SECOND"
wait_for_text
read_windows
place_notepads
screenshot before-hibernation

say "The machine is about to hibernate"
save notepad.json
check_saved_copies saved-vbscript
show_failing_script
show_altered_script
restore_documents notepad.json after-resume

say "The same with JScript"
open_and_type 1 "$FIRST"
open_and_type 2 "$SECOND"
wait_for_text
save notepad-js.json
check_saved_copies saved-jscript
restore_documents notepad-js.json after-resume-jscript
collect_log
