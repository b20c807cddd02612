#!/bin/bash
# network-drive.sh up|down: a Wine prefix of its own, $WINEPREFIX, in which Y: is a mapped drive of \\quorline\apps.
#
# The system reads its drives when it starts, so they cannot be added to the prefix that other tests are using.
set -euo pipefail
cd "$(dirname "$0")/../.."

wine_server() {
    local server
    server=$(command -v wineserver || command -v wineserver64 || echo /usr/lib/wine/wineserver64)
    "$server" "$@"
}

down() {
    wine_server -k >/dev/null 2>&1 || true
}

up() {
    [ ! -e "$WINEPREFIX/.drives" ] || return 0
    # Hard links to the usual prefix's system files save a minute and half a gigabyte; what is not there is made anew.
    (
        unset WINEPREFIX
        scripts/wine-run.sh cmd /c exit
    )
    rm -rf "$WINEPREFIX"
    mkdir -p "$WINEPREFIX/drive_c"
    # Programs that run there meanwhile may take a temporary file away.
    cp -al build/prefix/drive_c/windows "$WINEPREFIX/drive_c/" || [ -d "$WINEPREFIX/drive_c/windows/system32" ]
    cp -a build/prefix/system.reg build/prefix/userdef.reg build/prefix/.update-timestamp "$WINEPREFIX/"
    scripts/wine-run.sh reg add 'HKLM\Software\Wine\Drives' /v y: /d network /f
    mkdir -p "$WINEPREFIX/dosdevices/unc/quorline/apps"
    ln -s unc/quorline/apps "$WINEPREFIX/dosdevices/y:"
    down
    touch "$WINEPREFIX/.drives"
}

"$1" </dev/null
