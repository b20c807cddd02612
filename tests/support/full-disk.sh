#!/bin/bash
# Runs the disk tests on disks that take no more: full-disk.sh TEST_PROGRAM WINE_RUN
# Mounts three small ones for it, which needs an administrator; ends with 77, which counts as skipped, where it may not.
set -euo pipefail

PROGRAM=$(realpath "$1")
WINE_RUN=$(realpath "$2")
scratch=$(mktemp -d)
root=()
[ "$(id -u)" = 0 ] || root=(sudo -n)

clean_up() {
    local disk
    for disk in small few read-only; do
        mountpoint -q "$scratch/$disk" && "${root[@]}" umount -l "$scratch/$disk"
    done
    rm -rf "$scratch"
}
trap clean_up EXIT

mount_disk() { # name options
    mkdir "$scratch/$1"
    "${root[@]}" mount -t tmpfs -o "mode=0777,$2" tmpfs "$scratch/$1" || {
        echo "SKIPPED: full disks are not tested, since nothing can be mounted here" >&2
        exit 77
    }
}
mount_disk small size=256k
mount_disk few size=1m,nr_inodes=16
mount_disk read-only size=256k

# Programs that Wine starts in the background must not keep this script's output open.
run_tests() { # filter
    local code=0
    "$WINE_RUN" "$PROGRAM" --gtest_also_run_disabled_tests --gtest_filter="$1" >"$scratch/out" 2>&1 </dev/null || code=$?
    cat "$scratch/out"
    return "$code"
}
export QUORLINE_SMALL_DISK="Z:${scratch//\//\\}\\small" QUORLINE_FEW_FILES_DISK="Z:${scratch//\//\\}\\few"
export QUORLINE_READ_ONLY_DISK="Z:${scratch//\//\\}\\read-only"
run_tests 'FullDisk*.DISABLED_*'
"${root[@]}" mount -o remount,ro "$scratch/read-only"
run_tests 'FullDisk*.*-*DISABLED_*'
if grep -q 'SKIPPED' "$scratch/out"; then
    echo "a disk test that has its disk was skipped" >&2
    exit 1
fi
