#!/bin/bash
# Cross-builds the libraries that Quorline stands on into one prefix.
# usage: build-deps.sh OUTPUT    (include/ lib/ bin/; does nothing when OUTPUT is up to date)
#
# Verified downloads and built libraries are kept in ${XDG_CACHE_HOME:-~/.cache}/quorline, keyed by version and flags.
set -euo pipefail

RECIPES_DIR=$(cd "$(dirname "$0")" && pwd)
# Whole: newer versions of CMake take a relative path that a variable names from the build folder.
OUTPUT=$(realpath -m "${1:?usage: build-deps.sh OUTPUT}")
TOOLCHAIN_FILE=$RECIPES_DIR/../../cmake/mingw-w64.cmake
CACHE=${XDG_CACHE_HOME:-$HOME/.cache}/quorline
SOURCES=$CACHE/sources
APT_WORLD=$CACHE/apt
GXX=x86_64-w64-mingw32-g++-posix

# shellcheck source=scripts/deps/fetch.sh
. "$RECIPES_DIR/fetch.sh"
# shellcheck source=scripts/deps/recipes.sh
. "$RECIPES_DIR/recipes.sh"

say() { echo "deps: $*"; }
installed_version() { dpkg-query -W -f '${Version}' "$1"; }

# What the outcome depends on, versions of the fetched sources aside.
recipe_key() {
    {
        cat "$RECIPES_DIR"/recipes.sh "$RECIPES_DIR"/dll-name.cmake "$RECIPES_DIR"/shim/* "$TOOLCHAIN_FILE" \
            "$RECIPES_DIR"/process-end.c "$RECIPES_DIR"/keep-roots.c
        "$GXX" -dumpfullversion
        for package in mingw-w64-x86-64-dev googletest nlohmann-json3-dev libcli11-dev; do installed_version $package; done
    } | sha256sum | cut -c1-16
}

# How one library is built, and on which of the libraries before it.
build_key() { # recipe
    {
        declare -f cross_cmake "build_$1"
        echo "$APR_FLAGS"
        cat "$RECIPES_DIR"/dll-name.cmake "$RECIPES_DIR"/process-end.c "$RECIPES_DIR"/shim/*
        cat "$TOOLCHAIN_FILE" "$DEPS_PREFIX/VERSIONS"
        "$GXX" -dumpfullversion
    } | sha256sum | cut -c1-16
}

build_one() { # recipe version source-folder-maker...
    local recipe=$1 version=$2 key built work
    shift 2
    key=$recipe-${version//[^A-Za-z0-9.]/_}-$(build_key "$recipe")
    built=$CACHE/built/$key
    if [ ! -e "$built/.complete" ]; then
        say "building $recipe $version"
        work=$CACHE/work/$key
        rm -rf "$work" "$built"
        mkdir -p "$work/build" "$CACHE/built"
        "$@" "$work/source"
        # Not in a condition, where bash would go on after a failed command.
        BUILD_LOG=$work/log
        trap 'tail -40 "$BUILD_LOG" >&2; echo "Building failed; the whole log is $BUILD_LOG" >&2' EXIT
        "build_$recipe" "$work/source" "$work/build" "$built" "$version" >"$BUILD_LOG" 2>&1
        trap - EXIT
        touch "$built/.complete"
        rm -rf "$work"
    fi
    cp -a "$built/." "$DEPS_PREFIX/"
    rm "$DEPS_PREFIX/.complete"
    echo "$key" >>"$DEPS_PREFIX/VERSIONS"
}

from_archive() { # recipe package suites...
    local recipe=$1 package=$2
    shift 2
    fetch_source "$package" "$@"
    build_one "$recipe" "$FETCHED" unpack_source "$package" "$FETCHED"
}

copy_googletest() { cp -r /usr/src/googletest "$1"; }

copy_runtime() {
    local dll
    mkdir -p "$DEPS_PREFIX/bin"
    for dll in libstdc++-6.dll libgcc_s_seh-1.dll; do
        x86_64-w64-mingw32-strip -o "$DEPS_PREFIX/bin/$dll" "$("$GXX" -print-file-name=$dll)"
    done
    cp "$("$GXX" -print-file-name=libwinpthread-1.dll)" "$DEPS_PREFIX/bin/"
}

build_root_keeper() {
    "${GXX/g++/gcc}" -O2 -s -o "$DEPS_PREFIX/bin/keep-roots.exe" "$RECIPES_DIR/keep-roots.c"
}

KEY=$(recipe_key)
if [ "$(cat "$OUTPUT/.stamp" 2>/dev/null)" = "$KEY" ]; then
    exit 0
fi

mkdir -p "$CACHE" "$(dirname "$OUTPUT")"
exec 9>"$CACHE/lock"
flock 9

DEPS_PREFIX=$OUTPUT.partial
rm -rf "$DEPS_PREFIX"
mkdir -p "$DEPS_PREFIX/include"
touch "$DEPS_PREFIX/VERSIONS"

from_archive expat expat trixie bookworm-security trixie-security bookworm forky sid
from_archive apr apr bookworm trixie forky sid
from_archive apr_util apr-util bookworm-security bookworm trixie forky sid
from_archive log4cxx log4cxx forky sid trixie bookworm
build_one googletest "$(installed_version googletest)" copy_googletest
from_archive benchmark benchmark bookworm trixie forky sid
# Header-only libraries: their own folders alone, never the build machine's whole include folder.
cp -r /usr/include/nlohmann /usr/include/CLI "$DEPS_PREFIX/include/"
copy_runtime
build_root_keeper

echo "$KEY" >"$DEPS_PREFIX/.stamp"
# Indexes of whole suites are large, and nothing is left to fetch.
rm -rf "$APT_WORLD" "$OUTPUT"
mv "$DEPS_PREFIX" "$OUTPUT"
say "ready in $OUTPUT"
