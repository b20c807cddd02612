#!/bin/bash
# Makes what people install out of what was built: make-dist.sh BUILD_FOLDER OUTPUT_FOLDER [SIGN.pfx]
#
#   Quorline-VERSION-x64.msi           the Windows package
#   Quorline-VERSION-x64.zip           the same files for any folder, without an installation
#   Quorline-VERSION-x64-sdk.zip       for those who write hosts
#   Quorline-VERSION-x64-symbols.zip   what debuggers want, when it was built with that
#
# With a certificate the programs, the DLLs and the package are signed; its password is taken from the environment variable
# QUORLINE_PFX_PASSWORD, and QUORLINE_TIMESTAMP_URL names a server for time stamps. DIST_VERSION is a version other than
# the build's, DIST_ONLY=msi makes the package alone; both are for tests of upgrades.
set -euo pipefail

ROOT=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
BUILD=$(cd "$1" && pwd)
mkdir -p "$2"
OUT=$(cd "$2" && pwd)
CERTIFICATE=${3:+$(realpath "$3")}
WORK=$OUT/work
OBJCOPY=x86_64-w64-mingw32-objcopy
OBJDUMP=x86_64-w64-mingw32-objdump

fail() { printf 'make-dist: %s\n' "$*" >&2; exit 1; }

for program in wixl msibuild "$OBJCOPY" "$OBJDUMP" ${CERTIFICATE:+osslsigncode}; do
    command -v "$program" >/dev/null || fail "$program is missing; 'make dist' installs it"
done
[ -z "$CERTIFICATE" ] || [ -f "$CERTIFICATE" ] || fail "there is no certificate '$CERTIFICATE'"

built_version() { sed -n 's/^CMAKE_PROJECT_VERSION:[^=]*=//p' "$BUILD/CMakeCache.txt"; }
VERSION=${DIST_VERSION:-$(built_version)}
[ -n "$VERSION" ] || fail "'$BUILD' was not configured"
NAME=Quorline-$VERSION-x64

# --- signing ---

sign() { # file...
    local file options=(-pkcs12 "$CERTIFICATE" -h sha256 -n Quorline)
    [ -n "$CERTIFICATE" ] || return 0
    [ -z "${QUORLINE_TIMESTAMP_URL:-}" ] || options+=(-ts "$QUORLINE_TIMESTAMP_URL")
    printf '%s' "${QUORLINE_PFX_PASSWORD:-}" >"$WORK/password"
    for file in "$@"; do
        osslsigncode sign "${options[@]}" -readpass "$WORK/password" -in "$file" -out "$WORK/signed" >"$WORK/sign.log" 2>&1 || {
            rm "$WORK/password"
            cat "$WORK/sign.log" >&2
            fail "'$(basename "$file")' could not be signed with '$CERTIFICATE'"
        }
        # Programs keep their mode.
        cat "$WORK/signed" >"$file"
        rm "$WORK/signed"
    done
    rm "$WORK/password"
}

# --- the files ---

# Debug information goes into a file of its own, if the build has not done so already.
part_symbols() { # program or DLL
    local symbols built
    symbols=$WORK/symbols/$(basename "$1").debug
    built=$BUILD/bin/$(basename "$1").debug
    if [ -f "$built" ]; then
        mkdir -p "$WORK/symbols"
        cp "$built" "$symbols"
        return 0
    fi
    grep -q '\.debug_info' <<<"$("$OBJDUMP" -h "$1")" || return 0
    mkdir -p "$WORK/symbols"
    "$OBJCOPY" --only-keep-debug "$1" "$symbols"
    "$OBJCOPY" --strip-debug --strip-unneeded --add-gnu-debuglink="$symbols" "$1"
}

licence_texts() { # folder
    mkdir -p "$1"
    cp /usr/share/common-licenses/Apache-2.0 "$1/Apache-2.0.txt"
    cp /usr/share/common-licenses/GPL-3 "$1/GPL-3.txt"
    cp /usr/share/doc/mingw-w64-common/copyright "$1/MinGW-w64.txt"
    cp /usr/share/doc/gcc-mingw-w64-base/copyright "$1/GCC-runtime.txt"
}

stage_program() { # into $WORK/program, as it lies on a machine
    cmake --install "$BUILD" --component runtime --prefix "$WORK/runtime" >/dev/null
    local documents=$WORK/runtime/share/doc/Quorline file
    mkdir -p "$WORK/program"
    mv "$WORK"/runtime/bin/* "$WORK/program/"
    mv "$documents/samples" "$documents/CHANGELOG.md" "$documents/THIRD-PARTY-NOTICES.md" "$WORK/program/"
    mv "$documents" "$WORK/program/docs"
    licence_texts "$WORK/program/licences"
    for file in "$WORK"/program/*.{exe,dll}; do part_symbols "$file"; done
    sign "$WORK"/program/*.{exe,dll}
}

stage_sdk() { # into $WORK/sdk; the same programs and DLLs in bin/, with the DLLs' symbols
    cmake --install "$BUILD" --component sdk --prefix "$WORK/sdk" >/dev/null
    mkdir "$WORK/sdk/bin"
    cp "$WORK"/program/*.{exe,dll} "$WORK/sdk/bin/"
    [ ! -d "$WORK/symbols" ] || cp "$WORK"/symbols/Quorline*.dll.debug "$WORK/sdk/bin/"
    cp -r "$WORK"/program/{docs,samples,licences,CHANGELOG.md,THIRD-PARTY-NOTICES.md} "$WORK/sdk/"
}

zip_folder() { # folder name
    rm -rf "${WORK:?}/$2"
    mv "$1" "$WORK/$2"
    (cd "$WORK" && cmake -E tar cf "$OUT/$2.zip" --format=zip "$2")
    mv "$WORK/$2" "$1"
}

# --- the package ---

identifier() { printf '%s' "${1//[^A-Za-z0-9_.]/_}"; }

# A component for each file; its identity follows from its place, so that it is the same in every version.
list_folder() { # folder, identifier of its parent
    local entry id
    for entry in "$1"/*; do
        id=$2.$(identifier "$(basename "$entry")")
        if [ -d "$entry" ]; then
            printf '<Directory Id="%s" Name="%s">\n' "$id" "$(basename "$entry")"
            list_folder "$entry" "$id"
            printf '</Directory>\n'
        else
            printf '<Component Id="%s" Guid="*" Win64="yes"><File Id="file_%s" Source="%s" KeyPath="yes"/></Component>\n' \
                "$id" "$id" "${entry#"$WORK/program/"}"
            printf '<ComponentRef Id="%s"/>\n' "$id" >&3
        fi
    done
}

sequence() { # package action number
    msibuild "$1" -q "DELETE FROM \`InstallExecuteSequence\` WHERE \`Action\` = '$2'" \
        "INSERT INTO \`InstallExecuteSequence\` (\`Action\`, \`Sequence\`) VALUES ('$2', $3)"
}

make_package() {
    local package=$OUT/$NAME.msi
    {
        printf '<Include xmlns="http://schemas.microsoft.com/wix/2006/wi">\n'
        list_folder "$WORK/program" q
        printf '</Include>\n'
    } >"$WORK/files.wxi" 3>"$WORK/references"
    {
        printf '<?xml version="1.0" encoding="utf-8"?>\n<Wix xmlns="http://schemas.microsoft.com/wix/2006/wi"><Fragment>\n'
        printf '<ComponentGroup Id="Files">\n%s\n</ComponentGroup>\n</Fragment></Wix>\n' "$(cat "$WORK/references")"
    } >"$WORK/references.wxs"
    # It takes no absolute paths but those on its command line.
    (cd "$WORK/program" && wixl -a x64 -D Version="$VERSION" -I "$WORK" -o "$package" "$ROOT/package/Quorline.wxs" \
        "$WORK/references.wxs") 2>"$WORK/wixl.log" || { cat "$WORK/wixl.log" >&2; fail "the package could not be made"; }
    # What it does not know it leaves out, with a warning.
    [ ! -s "$WORK/wixl.log" ] || { cat "$WORK/wixl.log" >&2; fail "the package would be incomplete"; }
    # What wixl has no words for: the rights of the data folder, and the program's folder in the machine's search path.
    msibuild "$package" -i "$ROOT/package/folder-rights.idt" -i "$ROOT/package/program-path.idt"
    sequence "$package" RemoveEnvironmentStrings 3300
    sequence "$package" WriteEnvironmentStrings 5200
    # The registration makes the data folder with its rights, which not every installer gives to the folders of a package.
    sequence "$package" CreateFolders 5300
    sign "$package"
}

rm -rf "$WORK"
mkdir -p "$WORK"
rm -f "$OUT/$NAME"*
stage_program
make_package
if [ "${DIST_ONLY:-}" != msi ]; then
    zip_folder "$WORK/program" "$NAME"
    stage_sdk
    zip_folder "$WORK/sdk" "$NAME-sdk"
    [ ! -d "$WORK/symbols" ] || zip_folder "$WORK/symbols" "$NAME-symbols"
fi
rm -rf "$WORK"
(cd "$OUT" && for file in "$NAME"*; do printf '%10d  %s\n' "$(stat -c %s "$file")" "$file"; done)
