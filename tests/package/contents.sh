#!/bin/bash
# What is in the packages, and what they say of themselves: contents.sh PACKAGES VERSION SCRATCH
set -euo pipefail
DIST=$1
VERSION=$2
SCRATCH=$3
# shellcheck source-path=SCRIPTDIR source=support.sh
source "$(dirname "$0")/support.sh"

NAME=Quorline-$VERSION-x64
OBJDUMP=x86_64-w64-mingw32-objdump

same_list() { # what, wanted list, list that is there
    diff <(sort <<<"$2") <(sort <<<"$3") || fail "$1 are not those of the sources"
}
files_in() { (cd "$1" && find . -type f -printf '%P\n'); }

rm -rf "$SCRATCH"
mkdir -p "$SCRATCH"
cd "$SCRATCH"

step "one version names them all"
same_list "the packages" "$(printf '%s\n' "$NAME"{.msi,.zip,-sdk.zip,-symbols.zip})" "$(ls "$DIST")"
property() { msiinfo export "$DIST/$NAME.msi" Property | tr -d '\r' | sed -n "s/^$1\t//p"; }
expect "$VERSION" "$(property ProductVersion)" "the version of the installed product"
expect 1 "$(property ALLUSERS)" "installed for the whole machine"

for package in "$NAME" "$NAME-sdk"; do
    step "$package has documents, samples, notices and licences"
    cmake -E tar xf "$DIST/$package.zip"
    same_list "the documents" "$(files_in "$ROOT/docs")" "$(files_in "$package/docs")"
    same_list "the samples" "$(files_in "$ROOT/samples" | grep -v '\.sh$')" "$(files_in "$package/samples")"
    cmp "$ROOT/THIRD-PARTY-NOTICES.md" "$package/THIRD-PARTY-NOTICES.md"
    # The folders that the notices name, and every DLL that is not ours.
    same_list "the licences" "$(printf '%s\n' {Apache-2.0,GPL-3,MinGW-w64,GCC-runtime}.txt)" "$(files_in "$package/licences")"
    while read -r dll; do
        grep -qF "\`$dll\`" "$package/THIRD-PARTY-NOTICES.md" || fail "the notices do not name '$dll'"
    done < <(files_in "$package" | sed -n 's,.*/,,; /^Quorline/d; /\.dll$/p')
done

SDK=$SCRATCH/$NAME-sdk
step "a host developer finds headers, import library, package files and contracts"
for file in include/quorline/{Quorline.h,HostInterfaces.h,InternalDocumentStore.h,ScriptExecution/StateChangeScriptOp.h} \
    lib/libQuorline.dll.a lib/cmake/Quorline/{QuorlineConfig,QuorlineConfigVersion,QuorlineTargets}.cmake \
    idl/{Quorline,HostInterfaces,ScriptSigner}.{idl,tlb}; do
    [ -s "$SDK/$file" ] || fail "'$file' is not in the SDK"
done
for name in Quorline HostInterfaces ScriptSigner; do
    cmp "$ROOT/idl/$name.idl" "$SDK/idl/$name.idl"
    expect MSFT "$(head -c 4 "$SDK/idl/$name.tlb")" "the beginning of $name.tlb"
done

step "debuggers find the symbols of the DLLs beside them"
for name in Quorline QuorlineHost QuorlineSigner; do
    grep -q '\.debug_info' <<<"$("$OBJDUMP" -h "$SDK/bin/$name.dll.debug")" || fail "$name.dll.debug holds no symbols"
    ! grep -q '\.debug_info' <<<"$("$OBJDUMP" -h "$SDK/bin/$name.dll")" || fail "$name.dll was not parted from its symbols"
    grep -qaF "$name.dll.debug" "$SDK/bin/$name.dll" || fail "$name.dll does not name its symbols"
done
cmake -E tar xf "$DIST/$NAME-symbols.zip"
for program in "$SDK"/bin/{quorline*.exe,Quorline*.dll}; do
    [ -s "$NAME-symbols/$(basename "$program").debug" ] || fail "the symbols of '$program' are missing"
done
step "done"
