#!/bin/bash
# guide-command.sh GUIDE PREFIX SOURCE FOLDER: compiles a host in FOLDER with the command line that the guide gives, for
# what is installed in PREFIX, and runs it.
set -euo pipefail
ROOT=$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd)
guide=$1 prefix=$2 source=$3 folder=$4

fence=$(printf '\140\140\140')
command=$(sed -n "/^${fence}sh build\$/,/^$fence\$/p" "$guide" | sed '1d;$d')
[ -n "$command" ] || { echo "the guide has no command" >&2; exit 1; }
mkdir -p "$folder"
cp "$source" "$folder/host.cpp"
cp "$prefix"/bin/*.dll "$folder"
cd "$folder"
bash -euc "${command//FOLDER/$prefix}"
"$ROOT/scripts/wine-run.sh" ./host.exe
