#!/bin/bash
# The Windows package, as an administrator deals with it: install.sh PACKAGES OLDER_PACKAGES SCRATCH PRINT_RIGHTS
set -euo pipefail
DIST=$1
OLDER=$2
SCRATCH=$3
PRINT_RIGHTS=$4
# shellcheck source-path=SCRIPTDIR source=support.sh
source "$(dirname "$0")/support.sh"

package_in() { windows_path "$(echo "$1"/*.msi)"; }
PACKAGE=$(package_in "$DIST")
VERSION=$(basename "$DIST"/*.msi | sed 's/Quorline-\(.*\)-x64.msi/\1/')
SETTINGS='HKLM\Software\Morvane\TalvinorSD'
RUN='HKLM\Software\Microsoft\Windows\CurrentVersion\Run'
EVENTS='HKLM\System\CurrentControlSet\Services\EventLog\Application'

msiexec() { timeout 120 "$WINE" msiexec "$@" /qn; }
installed_products() { "$WINE" uninstaller --list 2>&1 | tr -d '\r' | grep -c '|||Quorline$' || true; }
# Wine's installer leaves the separator when it takes a folder out.
search_path() {
    registry_value 'HKLM\System\CurrentControlSet\Control\Session Manager\Environment' PATH | tr -s ';' | sed 's/;$//'
}
rights() { "$WINE" "$PRINT_RIGHTS" "C:\\ProgramData\\$1" | tr -d '\r' | sed 's/S-1-5-21[0-9-]*/user/g'; }

start_prefix
PATH_BEFORE=$(search_path)
PROGRAM="$DRIVE/Program Files/Quorline"
snapshot before

step "an older version installs silently"
msiexec /i "$(package_in "$OLDER")" || fail "the older version does not install"
expect 1 "$(installed_products)" "installed products"
expect 2 "$(registry_value "$SETTINGS" TalvinorSDLogLevel | sed 's/0x//')" "the level of the log"
"$WINE" reg add "$SETTINGS" /v TalvinorSDLogLevel /t REG_DWORD /d 3 /f >/dev/null
echo 'a file of an older version' >"$PROGRAM/quorline.exe"

step "an upgrade takes its place and keeps the log's level"
msiexec /i "$PACKAGE" || fail "the upgrade failed"
expect 1 "$(installed_products)" "installed products"
expect 0x3 "$(registry_value "$SETTINGS" TalvinorSDLogLevel)" "the level of the log"
expect "C:\\Program Files\\Quorline\\" "$(registry_value "$SETTINGS" InstallDir)" "InstallDir"
expect "C:\\ProgramData\\Quorline\\" "$(registry_value "$SETTINGS" DataDir)" "DataDir"
expect '"C:\Program Files\Quorline\quorline-watch.exe"' "$(registry_value "$RUN" Quorline)" "the start at logon"
expect 'C:\Program Files\Quorline\quorline-watch.exe' "$(registry_value "$EVENTS\\Quorline" EventMessageFile)" \
    "the file with the texts of the event log"
[ -d "$DRIVE/ProgramData/Quorline/Config/Scripts" ] || fail "the data folder is missing"
expect_class "$SESSION_CLASS" 'C:\Program Files\Quorline\QuorlineHost.dll'
expect_class "$SIGNER_CLASS" 'C:\Program Files\Quorline\QuorlineSigner.dll'

step "a prompt that is opened now knows the command"
expect "$PATH_BEFORE;C:\\Program Files\\Quorline\\" "$(search_path)" "the search path"
expect "quorline $VERSION.0" "$("$WINE" quorline --version | tr -d '\r')" "what the command says of itself"

step "at logon the session is watched"
"$WINE" wineboot >/dev/null 2>&1 </dev/null || fail "the session does not begin"
watched_session_ends() { "$WINE" quorline watch --stop | grep -q 'the session is watched no more'; }
wait_until "nobody watches the session" watched_session_ends

# Windows' own installer gives the rights that the package names, and takes a folder away from whoever made it before; for
# Wine's it is the registration that makes the folder. Of an access list Wine keeps the owner's rights, the system's and
# everybody's; what users may do is lost.
step "its data folder is the system's and the administrators' to write, and the users' to read"
expect 'O:BAD:P(A;OICI;FA;;;SY)(A;OICI;FA;;;BA)(A;OICI;0x1200a9;;;BU)' \
    "$(msiinfo export "$(echo "$DIST"/*.msi)" MsiLockPermissionsEx | sed -n 's/.*\tDATADIR\tCreateFolder\t\([^\t]*\)\t.*/\1/p')" \
    "the rights to the data folder"
for folder in Quorline 'Quorline\Config' 'Quorline\Config\Scripts'; do
    expect 'O:userD:(A;OICI;FA;;;SY)(A;OICI;FA;;;user)' "$(rights "$folder")" "the rights to '$folder'"
done
rights . | grep -q ';;;WD)' || fail "the folder around it is not everybody's to read, so that this shows nothing"

step "it brings every file that the zip has"
(cd "$PROGRAM" && find . -type f | sort) >"$SCRATCH/installed"
cmake -E tar tf "$DIST/Quorline-$VERSION-x64.zip" | sed -n "s,^Quorline-$VERSION-x64,.,p" | grep -v '/$' | sort >"$SCRATCH/zipped"
diff "$SCRATCH/zipped" "$SCRATCH/installed" || fail "package and zip differ"
for notice in THIRD-PARTY-NOTICES.md licences/Apache-2.0.txt licences/GPL-3.txt licences/MinGW-w64.txt; do
    [ -s "$PROGRAM/$notice" ] || fail "'$notice' is missing"
done

step "an older version is refused over a newer one"
! msiexec /i "$(package_in "$OLDER")" || fail "the older version was installed"
expect 1 "$(installed_products)" "installed products"
quorline --help >/dev/null || fail "the command does not run any more"

# As they stand there, but for the first, which installs: as a batch file that ends with the first that fails. Wine's
# prompt looks no further than the empty entry that its installer left in the search path.
step "the other commands of the front page protect, check and try"
{
    echo 'set PATH=C:\Program Files\Quorline;%PATH%'
    sed -n '/^## On Windows/,/^## /s/^    //p' "$ROOT/README.md" | sed '1{/^msiexec/d}; s/[^^]$/&\nif errorlevel 1 exit 1/'
} | sed 's/$/\r/' >"$SCRATCH/front-page.bat"
expect 3 "$(grep -c '^if errorlevel' "$SCRATCH/front-page.bat")" "commands of the front page"
certificate=$(windows_path "$SCRATCH/certificate.cer")
quorline cert --new-development --out "$certificate" >/dev/null
quorline trust "$certificate" >/dev/null
notepad_with_text
"$WINE" cmd /c "$(windows_path "$SCRATCH/front-page.bat")" >"$SCRATCH/front-page.txt" 2>&1 ||
    fail "a command of the front page fails: $(cat "$SCRATCH/front-page.txt")"
for line in "notepad.json' is in order" 'written    C:'; do
    grep -qF "$line" "$SCRATCH/front-page.txt" || fail "the front page's commands do not say '$line'"
done
end_notepads
rm "$DRIVE"/ProgramData/Quorline/notepad*

step "a document is saved and restored from the installed folder"
save_and_restore "$DRIVE/ProgramData/Quorline"

# What `msiexec /fa` asks for; Wine has no such option.
step "a repair brings back what was lost"
rm "$PROGRAM/QuorlineHost.dll" "$PROGRAM/docs/host.md"
echo 'damaged' >"$PROGRAM/Quorline.dll"
"$WINE" reg delete "HKLM\\Software\\Classes\\CLSID\\$SESSION_CLASS" /f >/dev/null
"$WINE" reg delete "$SETTINGS" /v InstallDir /f >/dev/null
"$WINE" reg delete "$RUN" /v Quorline /f >/dev/null
msiexec /i "$PACKAGE" REINSTALL=ALL REINSTALLMODE=amus || fail "the repair failed"
(cd "$PROGRAM" && find . -type f | sort) | diff "$SCRATCH/zipped" - || fail "files are missing after the repair"
expect_class "$SESSION_CLASS" 'C:\Program Files\Quorline\QuorlineHost.dll'
expect "C:\\Program Files\\Quorline\\" "$(registry_value "$SETTINGS" InstallDir)" "InstallDir"
expect '"C:\Program Files\Quorline\quorline-watch.exe"' "$(registry_value "$RUN" Quorline)" "the start at logon"
expect 0x3 "$(registry_value "$SETTINGS" TalvinorSDLogLevel)" "the level of the log"
[ "$(stat -c %s "$PROGRAM/Quorline.dll")" -gt 100000 ] || fail "the damaged DLL was not replaced"
quorline history >/dev/null || fail "the command does not run after the repair"

step "removing it leaves nothing but what the user made"
store=$(find_documents -name info.xml)
[ -n "$store" ] || fail "there is no store"
msiexec /x "$PACKAGE" || fail "it cannot be removed"
expect 0 "$(installed_products)" "installed products"
[ -s "$store" ] || fail "the store was removed"
[ -s "$DRIVE/ProgramData/Quorline/notepad.json" ] || fail "the applications file was removed"
rm -r "$DRIVE/ProgramData/Quorline"
expect "$PATH_BEFORE" "$(search_path)" "the search path"
snapshot after
same_snapshots before after "removed"
step "done"
