#!/bin/bash
# Installs the Debian packages that a job needs and the machine lacks: install-packages.sh JOB...
# Jobs: build run dist demo lint coverage bench fuzz. Cheap and silent when everything is there.
set -euo pipefail

declare -A PACKAGES=(
    # Compiler, generator and type library tools; then what fetching and unpacking sources takes.
    [build]="g++-mingw-w64-x86-64-posix mingw-w64-tools libwine-dev gcc libc6-dev cmake ninja-build googletest
        nlohmann-json3-dev libcli11-dev ca-certificates debian-archive-keyring dpkg-dev xz-utils bzip2"
    # openssl checks the signer's work; the second line is what Wine takes when it is there: signatures, fonts, the windows
    # of an X display.
    [run]="wine wine64 libwine openssl
        libgnutls30 fonts-liberation fonts-wine libgl1 libxcomposite1 libxcursor1 libxfixes3 libxi6 libxinerama1
        libxrandr2 libxrender1 libxxf86vm1"
    [dist]="wixl msitools osslsigncode"
    [demo]="xvfb xauth xdotool imagemagick"
    [lint]="clang-format clang-tidy shellcheck git python3"
    [coverage]="python3"
    [bench]="python3 libfmt-dev"
    # For the build machine itself, not for Windows.
    [fuzz]="clang libclang-rt-dev g++ cmake ninja-build libexpat1-dev nlohmann-json3-dev libwine-dev"
)

wanted=()
for job in "$@"; do
    read -r -d '' -a packages <<<"${PACKAGES[$job]}" || true
    wanted+=("${packages[@]}")
done

missing=()
declare -A installed=()
while read -r package; do
    installed[$package]=1
done < <(dpkg-query -W -f '${db:Status-Status} ${Package}\n' "${wanted[@]}" 2>/dev/null | sed -n 's/^installed //p')
for package in "${wanted[@]}"; do
    [ -n "${installed[$package]:-}" ] || missing+=("$package")
    # Two jobs may want the same one.
    installed[$package]=1
done
[ ${#missing[@]} -gt 0 ] || exit 0

if ! command -v apt-get >/dev/null; then
    echo "This is no Debian machine; what is needed are the programs of these Debian 12 packages: ${missing[*]}" >&2
    exit 1
fi
become=()
if [ "$(id -u)" != 0 ]; then
    become=(sudo)
    # Without a terminal nobody can type a password.
    [ -t 0 ] || become=(sudo -n)
    if ! command -v sudo >/dev/null || ! "${become[@]}" true; then
        echo "These Debian packages are missing, and neither root nor sudo is at hand. Have them installed with:" >&2
        echo "    apt-get install ${missing[*]}" >&2
        exit 1
    fi
fi

apt() {
    "${become[@]}" env DEBIAN_FRONTEND=noninteractive apt-get -q -o DPkg::Lock::Timeout=300 -o Acquire::Retries=3 "$@"
}
echo "installing: ${missing[*]}"
# The package lists may be missing or too old for the mirror; only then are they worth the wait.
apt install -y --no-install-recommends "${missing[@]}" || {
    apt update
    apt install -y --no-install-recommends "${missing[@]}"
}
