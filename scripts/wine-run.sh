#!/bin/bash
# Runs a Windows program in the project's own Wine prefix:
#   wine-run.sh PROGRAM.EXE [ARGS...]
#   wine-run.sh --stop                  ends whatever still runs in the prefix
#
# The prefix is build/prefix unless WINEPREFIX says otherwise; the first caller creates it while any others wait.
set -euo pipefail

ROOT=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
WINEPREFIX=${WINEPREFIX:-$ROOT/build/prefix}
[[ $WINEPREFIX == /* ]] || WINEPREFIX=$PWD/$WINEPREFIX
export WINEPREFIX
# Wine links the documents folder to HOME, and tests write there.
export HOME=$WINEPREFIX-home
# Wine's recycle bin is the trash below this folder, which it does not make by itself.
mkdir -p "$HOME/.local/share"
export WINEARCH=win64 LANG=C.UTF-8 LC_ALL=C.UTF-8
export WINEDEBUG=${WINEDEBUG:--all}
# No offers to download a .NET runtime or a browser engine, no entries for the desktop's menus, and no debugger for a
# program that crashes: it would keep the program, and whoever waits for it, until somebody comes to look.
export WINEDLLOVERRIDES="mscoree,mshtml=;winemenubuilder.exe,winedbg.exe=d${WINEDLLOVERRIDES:+;$WINEDLLOVERRIDES}"

wine_server() { "$(command -v wineserver || echo /usr/lib/wine/wineserver64)" "$@"; }

# Wine's background processes outlive this program; a lock that the caller holds must not live on in them.
close_inherited_files() {
    local fd
    for fd in /proc/self/fd/*; do
        fd=${fd##*/}
        if ((fd > 2 && fd != 255)); then eval "exec $fd>&-"; fi
    done
}

create_prefix() {
    # Without a display, and told so: top-level windows then work with no X server.
    unset DISPLAY
    wine wineboot --init &&
        wine reg add 'HKCU\Software\Wine\Drivers' /v Graphics /d null /f &&
        wine_server -w &&
        touch "$WINEPREFIX/.ready"
}

close_inherited_files

if [ "${1:-}" = --stop ]; then
    [ ! -d "$WINEPREFIX" ] || wine_server -k || true
    exit 0
fi

if [ ! -e "$WINEPREFIX/.ready" ]; then
    mkdir -p "$(dirname "$WINEPREFIX")" "$HOME"
    exec 9>"$WINEPREFIX.lock"
    flock 9
    if [ ! -e "$WINEPREFIX/.ready" ] && ! create_prefix 9>&- >"$WINEPREFIX.log" 2>&1 </dev/null; then
        cat "$WINEPREFIX.log" >&2
        echo "The Wine prefix $WINEPREFIX could not be created." >&2
        exit 1
    fi
    exec 9>&-
fi

# Newer versions take trusted roots away again (scripts/deps/keep-roots.c).
keep_roots() {
    local version keeper=$ROOT/build/deps/bin/keep-roots.exe
    version=$(wine --version)
    version=${version#wine-}
    [ "${version%%.*}" -lt 9 ] || [ ! -e "$keeper" ] || wine "$keeper"
}

# Kept warm between programs, gone a minute after the last one; where a server runs already this fails, which is as good.
# The first program brings Wine's background processes up; they would keep the caller's output open for that minute. Who
# comes meanwhile waits.
exec 9>"$WINEPREFIX.lock"
flock 9
if wine_server -p60 9>&- >/dev/null 2>&1 </dev/null; then
    wine cmd /c exit 9>&- >/dev/null 2>&1 </dev/null || true
    keep_roots 9>&- >/dev/null 2>&1 </dev/null || true
fi
exec 9>&-

# The desktop's process is handed the standard error output of whichever program opens the first window, and outlives it
# as long as other programs have windows. A caller that reads a pipe to its end would wait for that: the program gets a
# file instead, from which this passes on what comes, until the process (a dead one is a zombie until it is waited for)
# has ended.
relay_errors() { # pid; reads descriptor 3, writes descriptor 4
    local state
    while read -r state <"/proc/$1/stat" && [[ ${state##*) } != Z* ]]; do
        sleep 0.1
        cat <&3
    done
    cat <&3
} 2>/dev/null >&4

if [ -p /dev/stderr ]; then
    errors=$(mktemp)
    exec 3<"$errors" 4>&2
    exec 2>>"$errors"
    rm "$errors"
    (relay_errors $$ </dev/null >/dev/null &)
    exec 3<&- 4>&-
fi
exec wine "$@"
