#!/bin/bash
# The zip, unpacked in a folder whose name has blanks and letters of several scripts: portable.sh PACKAGES SCRATCH
set -euo pipefail
DIST=$1
SCRATCH=$2
# shellcheck source-path=SCRIPTDIR source=support.sh
source "$(dirname "$0")/support.sh"

start_prefix
snapshot before
folder="$SCRATCH/Grüße an Zoë, 夜"
mkdir -p "$folder"
(cd "$folder" && cmake -E tar xf "$DIST"/Quorline-*-x64.zip)
PROGRAM=$(echo "$folder"/Quorline-*)

step "the programs register from any folder"
quorline register || fail "it cannot be registered"
expect_class "$SESSION_CLASS" "$(windows_path "$PROGRAM/QuorlineHost.dll")"

step "a document is saved and restored from there"
save_and_restore "$folder/scripts"

step "unregistered, nothing of it is left"
quorline unregister || fail "it cannot be unregistered"
# The folder for the applications file may hold one by now.
rmdir "$DRIVE/ProgramData/Quorline"
# The sources of the event log are made by whoever logs first.
for source in Quorline Talvinor TalvinorSession; do
    "$WINE" reg delete "HKLM\\System\\CurrentControlSet\\Services\\Eventlog\\Application\\$source" /f >/dev/null 2>&1 || true
done
snapshot after
same_snapshots before after "unregistered"
step "done"
