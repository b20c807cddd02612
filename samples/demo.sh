#!/bin/bash
# The whole road on real applications: demo.sh PACKAGE.msi
#
# Installs the package into a Wine prefix and on a desktop of its own, protects Notepad, checks and tries the scripts. Two
# Notepads then hold unsaved text when the session ends; the next one asks, and both texts come back. At last it shows a
# script that fails and a script that was altered. Leaves what it made in build/demo/ and ends with an error if anything
# is not as it should be.
set -euo pipefail

ROOT=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
PACKAGE=$(realpath "$1")
OUT=$ROOT/build/demo
WINE=$ROOT/scripts/wine-run.sh
# A prefix of its own: what is registered here, the tests must not meet.
export WINEPREFIX=$ROOT/build/demo-prefix
PROGRAM="$WINEPREFIX/drive_c/Program Files/Quorline"
DATA=$WINEPREFIX/drive_c/ProgramData/Quorline
DRIVERS='HKCU\Software\Wine\Drivers'
EXPLORER='HKCU\Software\Wine\Explorer'

FIRST='The harvest report: 214 crates, rain since noon. 100% by hand.'
SECOND='Dear Ana, the lamp & the key are under the third stone.'

say() { printf '\n== %s\n' "$*"; }
fail() { printf 'demo: %s\n' "$*" >&2; exit 1; }
# As it is typed at a prompt. Through a file: what a restore script starts holds a pipe open as long as it runs.
quorline() {
    local status=0
    "$WINE" quorline "$@" >"$OUT/command.txt" 2>&1 || status=$?
    tr -d '\r' <"$OUT/command.txt"
    return "$status"
}
windows_path() { printf 'Z:%s' "${1//\//\\}"; }
unix_path() { "$WINE" winepath -u "$1" 2>/dev/null | tr -d '\r'; }
expect_exit() { # expected actual what
    [ "$1" = "$2" ] || fail "$3 ended with exit code $2 instead of $1"
}

comes_true() { # within how many seconds, command...
    local end=$((SECONDS + $1))
    shift
    while [ "$SECONDS" -lt "$end" ]; do
        if "$@"; then return; fi
        sleep 0.1
    done
    return 1
}
wait_until() { # what is missing otherwise, command...
    local missing=$1
    shift
    if ! comes_true 60 "$@"; then
        screenshot failure
        fail "$missing"
    fi
}

# --- the desktop ---

stop_wine() { "$WINE" --stop; }

finish() {
    status=$?
    trap - EXIT
    stop_wine || true
    [ -z "${XVFB:-}" ] || kill "$XVFB" 2>/dev/null || true
    [ "$status" = 0 ] && say "The demo did all it should, in $SECONDS s. Its results are in build/demo/."
    exit "$status"
}

start_desktop() {
    Xvfb -displayfd 6 -screen 0 1024x700x24 -nolisten tcp 6>"$OUT/display" >"$OUT/xvfb.log" 2>&1 &
    XVFB=$!
    wait_until "no X server could be started; see build/demo/xvfb.log" [ -s "$OUT/display" ]
    DISPLAY=:$(cat "$OUT/display")
    export DISPLAY
    rm "$OUT/display"
    # One Windows desktop as one X window: Wine then keeps the focus itself and no window manager is needed. By this name
    # it has a taskbar, too.
    {
        "$WINE" reg add "$DRIVERS" /v Graphics /d x11 /f
        "$WINE" reg add "$EXPLORER" /v Desktop /d shell /f
        "$WINE" reg add "$EXPLORER\\Desktops" /v shell /d 1024x700 /f
    } >/dev/null
    stop_wine
}

screenshot() { import -window root "$OUT/$1.png"; }

notepads() { xdotool search --onlyvisible --name 'Notepad$' 2>/dev/null | wc -l; }

has_notepads() { [ "$(notepads)" = "$1" ]; }
wait_for_notepads() { wait_until "there should be $1 Notepad windows" has_notepads "$1"; }

read_windows() { "$WINE" cscript //nologo "$(windows_path "$ROOT/samples/read-windows.vbs")" | tr -d '\r'; }

texts_are_shown() { # each text in a window of its own
    local shown
    shown=$(read_windows)
    [ "$(grep -cFx -- "$FIRST" <<<"$shown")" = 1 ] && [ "$(grep -cFx -- "$SECOND" <<<"$shown")" = 1 ]
}
wait_for_text() { wait_until "the Notepad windows do not show what they should" texts_are_shown; }

open_and_type() { # which window, text
    "$WINE" notepad >/dev/null 2>&1 &
    wait_for_notepads "$1"
    # A window is there a moment before it has the keyboard.
    sleep 0.5
    xdotool type --delay 12 -- "$2"
}

# Keys that came too early, on a busy machine, are in the other window.
type_texts() {
    for _ in 1 2 3; do
        open_and_type 1 "$FIRST"
        open_and_type 2 "$SECOND"
        if comes_true 8 texts_are_shown; then return; fi
        close_notepads
    done
    fail "what is typed does not reach the Notepad windows"
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

no_notepads_after_kill() {
    "$WINE" taskkill /f /im notepad.exe >/dev/null 2>&1 || true
    has_notepads 0
}
close_notepads() { wait_until "Notepad cannot be closed" no_notepads_after_kill; }

find_dialog() { # title; into DIALOG
    DIALOG=$(xdotool search --onlyvisible --name "^$1\$" 2>/dev/null | head -n 1)
    [ -n "$DIALOG" ]
}
is_gone() { ! xdotool getwindowname "$1" >/dev/null 2>&1; }

# At a place told from the lower edge of a dialog's window, which is as wide as its title.
click() { # thousandths of its width, thousandths of its height from below
    local WIDTH HEIGHT
    eval "$(xdotool getwindowgeometry --shell "$DIALOG" | grep -E '^(WIDTH|HEIGHT)=')"
    xdotool mousemove --window "$DIALOG" $((WIDTH * $1 / 1000)) $((HEIGHT - HEIGHT * $2 / 1000)) click 1
    wait_until "the dialog does not go when it is answered" is_gone "$DIALOG"
}

# --- the steps ---

install_package() {
    say "msiexec /i $(basename "$PACKAGE") /qn"
    "$WINE" msiexec /i "$(windows_path "$PACKAGE")" /qn || fail "the package cannot be installed"
    quorline --version || fail "the command does not run from its name"
}

protect_notepad() {
    say "quorline new notepad, and sign what it wrote with a certificate that is trusted here"
    local certificate
    certificate=$(windows_path "$OUT/development.cer")
    quorline new notepad --out 'C:\ProgramData\Quorline'
    mv "$DATA/notepad.json" "$DATA/applications.json"
    quorline cert --new-development --out "$certificate"
    quorline trust "$certificate"
    quorline sign 'C:\ProgramData\Quorline\notepad-save.js' 'C:\ProgramData\Quorline\notepad-restore.js'
}

check_and_try() {
    say "quorline check"
    quorline check || fail "the applications file has mistakes"
    say "quorline try notepad-save.js --process notepad.exe"
    quorline try 'C:\ProgramData\Quorline\notepad-save.js' --process notepad.exe | tee "$OUT/try.txt"
    grep -q '^written  ' "$OUT/try.txt" || fail "the trial wrote no document"
}

log_count() { # text
    find "$WINEPREFIX/drive_c/users" -name TalvinorSession.log -exec cat {} + 2>/dev/null | grep -cF -- "$1" || true
}
log_has() { # text, how often
    [ "$(log_count "$1")" = "${2:-1}" ]
}

# Starts what is to start at logon, as the package has entered it.
log_on() { # for which time
    "$WINE" wineboot >/dev/null 2>&1 </dev/null || fail "the session does not begin"
    wait_until "the session is not watched" log_has 'Quorline watches this session. Protected' "$1"
    # Out of the pictures.
    xdotool mousemove 700 600
}

show_icon() { # colour, picture
    local seen
    screenshot "$2"
    convert "$OUT/$2.png" -gravity southeast -crop 120x40+0+0 +repage -scale 200% "$OUT/$2.png"
    seen=$(convert "$OUT/$2.png" -fill white +opaque "$1" -format '%[fx:int((1-mean)*w*h)]' info:)
    [ "$seen" -gt 100 ] || fail "the notification area does not show the icon in $1"
    echo "the icon of the notification area is there"
}

# Notepad asks about text that has no file yet. By then it is saved, so whoever wants to go home may say no.
end_session() {
    local ended=0 ending
    timeout 60 "$WINE" wineboot --end-session >/dev/null 2>&1 &
    ending=$!
    for _ in 1 2; do
        wait_until "Notepad does not ask about its text" find_dialog Notepad
        log_has 'Before the end of the session, documents were saved: 2.' || fail "Notepad was asked before its text was saved"
        click 500 210
    done
    wait "$ending" || ended=$?
    expect_exit 0 "$ended" "the session"
    log_has 'The session ends, and Quorline with it.' || fail "nobody watched the session to its end"
    has_notepads 0 || fail "a Notepad is still there"
    stop_wine
}

answer_restore_window() {
    wait_until "nobody asks about the documents" find_dialog Quorline
    sleep 0.5
    screenshot restore-window
    import -window "$DIALOG" "$OUT/restore-window-alone.png"
    say "Restore is clicked"
    click 520 80
}

# What the save printed says where the store is.
save() { # applications file
    local status=0
    quorline save --state hibernate --apps "$(windows_path "$DATA/$1")" >"$OUT/save.txt" || status=$?
    cat "$OUT/save.txt"
    return "$status"
}

# Wine has the user's documents in the home folder or, from version 10 on, in the prefix.
find_stores() { find "$WINEPREFIX-home" "$WINEPREFIX/drive_c/users" -name info.xml -exec dirname {} +; }

check_saved_copies() {
    local copy found=0 store
    store=$(find_stores)
    [ -d "$store" ] || fail "there should be one store: '$store'"
    mkdir "$OUT/saved"
    cp "$store"/* "$OUT/saved/"
    say "info.xml of the store"
    tr -d '\r' <"$OUT/saved/info.xml"
    say "The saved copies against what was typed"
    for copy in "$OUT/saved"/*.txt; do
        iconv -f UTF-16 -t UTF-8 "$copy" | tr -d '\r' >"$copy.utf8"
        printf '%s: %s\n' "$(basename "$copy")" "$(cat "$copy.utf8")"
        if [ "$(cat "$copy.utf8")" = "$FIRST" ] || [ "$(cat "$copy.utf8")" = "$SECOND" ]; then found=$((found + 1)); fi
    done
    [ "$found" = 2 ] || fail "the saved copies do not hold what was typed"
    [ "$(md5sum "$OUT/saved"/*.utf8 | cut -c1-32 | sort -u | wc -l)" = 2 ] || fail "one text was saved twice"
    echo "both hold exactly what was typed"
}

show_failing_script() {
    say "A hibernation, with a save script that fails"
    sed 's/notepad-save.vbs/failing-save.vbs/' "$DATA/notepad.json" >"$DATA/failing.json"
    local status=0
    save failing.json || status=$?
    expect_exit 3 "$status" "the save with a failing script"
    grep -q "^failed     'failing-save.vbs', line 4, .*The letter has no name yet" "$OUT/save.txt" ||
        fail "the veto does not name the script, the line and the message"
}

show_altered_script() {
    say "Another hibernation, with a save script that was altered after it was signed"
    sed 's/Saved the text of/Stole the text of/' "$DATA/notepad-save.vbs" >"$DATA/altered-save.vbs"
    sed 's/notepad-save.vbs/altered-save.vbs/' "$DATA/notepad.json" >"$DATA/altered.json"
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

check_history() {
    say "quorline history"
    quorline history | tee "$OUT/history.txt"
    [ "$(grep -c '^  recovered' "$OUT/history.txt")" = 2 ] || fail "the history does not show two recovered documents"
    say "quorline restore --all"
    quorline restore --all | tee "$OUT/again.txt"
    grep -qx 'nothing to restore' "$OUT/again.txt" || fail "a document would be restored twice"
}

open_history_window() {
    say "The icon is double-clicked, and lists every document"
    xdotool mousemove 1014 690 click --repeat 2 --delay 60 1
    wait_until "the icon opens nothing" find_dialog Quorline
    sleep 0.5
    screenshot history-window
    click 890 80
    echo "the window is open, and closed again"
}

prepare_bad_scripts() {
    cp "$ROOT"/samples/{notepad.json,notepad-*.vbs,failing-save.vbs} "$DATA/"
    local script scripts=()
    for script in notepad-save notepad-restore failing-save; do scripts+=("C:\\ProgramData\\Quorline\\$script.vbs"); done
    quorline sign "${scripts[@]}" >"$OUT/sign.txt" || fail "the samples cannot be signed: $(cat "$OUT/sign.txt")"
}

remove_package() {
    say "msiexec /x $(basename "$PACKAGE") /qn"
    quorline watch --stop
    "$WINE" msiexec /x "$(windows_path "$PACKAGE")" /qn || fail "the package cannot be removed"
    [ ! -e "$PROGRAM" ] || fail "files of the package are left: $(find "$PROGRAM" | head)"
    [ -s "$DATA/applications.json" ] || fail "the applications file went with the package"
    [ -n "$(find_stores)" ] || fail "the store went with the package"
    echo "the programs are gone; the applications file, the scripts and the store are there"
}

collect_log() {
    local log
    log=$(find "$WINEPREFIX/drive_c/users" -path '*Morvane/Talvinor/Logs/TalvinorSession.log' -print -quit)
    [ -n "$log" ] || fail "there is no log"
    cp "$log" "$OUT/quorline.log"
}

rm -rf "$OUT"
mkdir -p "$OUT"
trap finish EXIT
stop_wine
rm -rf "$WINEPREFIX" "$WINEPREFIX-home"
start_desktop
install_package

"$WINE" notepad >/dev/null 2>&1 &
wait_for_notepads 1
protect_notepad
check_and_try
close_notepads
stop_wine

say "The user logs on, opens two Notepads, types, and saves nothing"
log_on 1
show_icon '#2E8B45' notification-icon
type_texts
read_windows
place_notepads
screenshot before-the-end

say "The session ends; to both Notepads the user says no"
end_session
check_saved_copies

say "The user logs on again, and is asked"
log_on 2
answer_restore_window
wait_for_notepads 2
wait_for_text
read_windows
place_notepads
screenshot after-restore
check_history
open_history_window

prepare_bad_scripts
show_failing_script
show_altered_script
collect_log
close_notepads
remove_package
