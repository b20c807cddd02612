# shellcheck shell=bash
# What the tests of the packages share. Sourced with DIST, the folder of the packages, and SCRATCH, one of the test's own.
set -euo pipefail

ROOT=$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd)
WINE=$ROOT/scripts/wine-run.sh
TEXT='The harvest report: 214 crates, rain since noon. 100% by hand.'

fail() { printf 'FAILED: %s\n' "$*" >&2; exit 1; }
step() { printf '%3d s  %s\n' "$SECONDS" "$*"; }

windows_path() { printf 'Z:%s' "${1//\//\\}"; }

# A prefix for the tests of packages alone: what is installed there nobody else meets. One that a test leaves as it was
# serves the next; after a failure it is made anew.
start_prefix() {
    export WINEPREFIX=$SCRATCH/../prefix
    rm -rf "$SCRATCH"
    mkdir -p "$SCRATCH"
    WINEPREFIX=$(realpath -m "$WINEPREFIX")
    trap 'status=$?; "$WINE" --stop; [ $status = 0 ] || rm -rf "$WINEPREFIX"; exit $status' EXIT
    "$WINE" cmd /c exit
    DRIVE=$WINEPREFIX/drive_c
    HOME_FOLDER=$WINEPREFIX-home
    rm -rf "${HOME_FOLDER:?}"/* "$DRIVE"/users/*/Documents/*
    # Wine registers what scripts use when they use it for the first time.
    printf '%s\r\n' 'Set r = New RegExp' 'Set s = CreateObject("WScript.Shell")' \
        'Set f = CreateObject("Scripting.FileSystemObject")' >"$SCRATCH/first-use.vbs"
    "$WINE" cscript //nologo "$(windows_path "$SCRATCH/first-use.vbs")" >/dev/null 2>&1
}

# Wine has the user's documents in the home folder or, from version 10 on, in the prefix.
find_documents() { find "$HOME_FOLDER" "$DRIVE/users" "$@"; }

# What the machine holds that an installation may change: its part of the registry, and the files outside the user's own
# folders. Keys without values and a folder for its own copies do not count, which Wine's installer leaves behind. Roots
# that are trusted for a test are not the package's.
export_values() { # key
    "$WINE" reg export "$1" "$(windows_path "$SCRATCH/export")" /y >/dev/null
    iconv -f UTF-16 -t UTF-8 "$SCRATCH/export" | tr -d '\r' | awk '
        /^\[/ { header = $0; skip = /\\SystemCertificates\\/; next }
        NF && !skip { if (header != "") print header; header = ""; print }'
}

snapshot() { # name
    {
        export_values 'HKLM\Software'
        export_values 'HKLM\System\CurrentControlSet\Services'
    } >"$SCRATCH/$1.registry"
    (cd "$DRIVE" && find . -path ./users -prune -o -path ./windows/temp -prune -o -print |
        grep -vx ./windows/Installer | sort) >"$SCRATCH/$1.files"
}

same_snapshots() { # name name what
    local kind
    for kind in registry files; do
        diff "$SCRATCH/$1.$kind" "$SCRATCH/$2.$kind" || fail "$3: the $kind are not as before"
    done
}

registry_value() { # key value
    "$WINE" reg query "$1" /v "$2" 2>/dev/null | tr -d '\r' | sed -n "s/^ *$2 *REG_[A-Z_]* *//p"
}

expect() { # wanted actual what
    [ "$1" = "$2" ] || fail "$3: '$2' instead of '$1'"
}

# The file that serves a class. Exported, since the tool prints in the code page of the machine.
class_server() { # class identifier
    "$WINE" reg export "HKLM\\Software\\Classes\\CLSID\\$1\\InprocServer32" "$(windows_path "$SCRATCH/export")" /y \
        >/dev/null 2>&1 || return 0
    iconv -f UTF-16 -t UTF-8 "$SCRATCH/export" | tr -d '\r' | sed -n 's/^@="\(.*\)"$/\1/p' | sed 's/\\\\/\\/g'
}

expect_class() { # class identifier, the file that is to serve it
    expect "$2" "$(class_server "$1")" "the server of class $1"
}
SESSION_CLASS='{8BC29B83-96B4-4555-8E00-B31EAB940978}'
SIGNER_CLASS='{7E48C5CF-72F6-4C84-9F43-B04B87B31243}'
export SESSION_CLASS SIGNER_CLASS

wait_until() { # what command...
    local what=$1
    shift
    for _ in $(seq 200); do
        if "$@"; then return; fi
        sleep 0.1
    done
    fail "$what"
}

# Through a file: what a restore script starts holds a pipe open as long as it runs.
quorline() {
    local status=0
    "$WINE" "$PROGRAM/quorline.exe" "$@" >"$SCRATCH/output" 2>&1 || status=$?
    tr -d '\r' <"$SCRATCH/output"
    return "$status"
}

windows_texts() {
    "$WINE" cscript //nologo "$(windows_path "$ROOT/samples/read-windows.vbs")" >"$SCRATCH/texts" 2>/dev/null || true
    tr -d '\r' <"$SCRATCH/texts"
}
window_shows() { windows_texts | grep -qFx -- "$1"; }
no_window_shows() { ! window_shows "$1"; }

end_notepads() {
    "$WINE" taskkill /f /im notepad.exe >/dev/null 2>&1 || true
    wait_until "Notepad does not end" no_window_shows "$TEXT"
}

# The samples' scripts for Notepad, signed with a certificate that is trusted here.
signed_samples() { # folder
    mkdir -p "$1"
    cp "$ROOT"/samples/notepad* "$1/"
    quorline cert --new-development --out "$(windows_path "$SCRATCH/development.cer")" >/dev/null
    quorline trust "$(windows_path "$SCRATCH/development.cer")" >/dev/null
    quorline sign "$(windows_path "$1/notepad-save.vbs")" "$(windows_path "$1/notepad-restore.vbs")" >/dev/null
}

# A Notepad with the text, whose file is gone then.
notepad_with_text() {
    printf '%s' "$TEXT" >"$SCRATCH/harvest.txt"
    "$WINE" notepad "$(windows_path "$SCRATCH/harvest.txt")" >/dev/null 2>&1 &
    wait_until "Notepad does not show its text" window_shows "$TEXT"
    rm "$SCRATCH/harvest.txt"
}

# The road of a user, with the programs in the folder PROGRAM: scripts are signed and trusted, a Notepad's text is saved,
# Notepad ends, the text comes back.
save_and_restore() { # folder for scripts
    local apps
    apps=$(windows_path "$1/notepad.json")
    signed_samples "$1"
    notepad_with_text
    quorline save --state hibernate --apps "$apps" || fail "the save failed"
    end_notepads
    quorline restore --all --apps "$apps" || fail "the restore failed"
    wait_until "the text did not come back" window_shows "$TEXT"
    end_notepads
}
