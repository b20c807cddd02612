#!/bin/bash
# Runs a Windows program in the project's own Wine prefix: wine-run.sh PROGRAM.EXE [ARGS...]
#
# The prefix is build/prefix unless WINEPREFIX says otherwise, HOME is a scratch folder beside it, and the first caller
# creates both while any others wait.
set -euo pipefail

ROOT=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
export WINEPREFIX=${WINEPREFIX:-$ROOT/build/prefix}
# Wine links the prefix's documents folder to HOME, which tests write into.
export HOME=$WINEPREFIX-home
export WINEARCH=win64 LANG=C.UTF-8 LC_ALL=C.UTF-8
export WINEDEBUG=${WINEDEBUG:--all}
# No offers to download a .NET runtime or a browser engine.
export WINEDLLOVERRIDES="mscoree,mshtml=${WINEDLLOVERRIDES:+;$WINEDLLOVERRIDES}"

wine_server() {
    local server
    server=$(command -v wineserver || command -v wineserver64 || echo /usr/lib/wine/wineserver64)
    "$server" "$@"
}

if [ ! -e "$WINEPREFIX/.ready" ]; then
    mkdir -p "$(dirname "$WINEPREFIX")" "$HOME"
    (
        flock 9
        if [ ! -e "$WINEPREFIX/.ready" ]; then
            # Made without a display: top-level windows then work with no X server.
            env -u DISPLAY wine wineboot --init
            env -u DISPLAY wine reg add 'HKCU\Software\Wine\Drivers' /v Graphics /d "null" /f
            wine_server -w
            touch "$WINEPREFIX/.ready"
        fi
    ) 9>"$WINEPREFIX.lock" >"$WINEPREFIX.log" 2>&1 </dev/null || {
        cat "$WINEPREFIX.log" >&2
        echo "The Wine prefix $WINEPREFIX could not be created." >&2
        exit 1
    }
fi

# Kept warm between programs, gone a minute after the last one. Fails where a server runs already, which is as good.
wine_server -p60 >/dev/null 2>&1 || true

exec wine "$@"
