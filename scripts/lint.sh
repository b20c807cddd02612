#!/bin/bash
# Formatting, wording, includes, shell scripts, static analysis: lint.sh BUILD_FOLDER, whose headers must have been generated.
set -uo pipefail
cd "$(dirname "$0")/.." || exit
BUILD=${1:?usage: lint.sh BUILD_FOLDER}
failed=()

step() { # name command...
    local name=$1 start=$SECONDS
    shift
    if "$@"; then
        echo "lint: $name passed ($((SECONDS - start)) s)"
    else
        echo "lint: $name FAILED"
        failed+=("$name")
    fi
}

tracked() { git ls-files -z -- "$@"; }

formatting() { tracked '*.h' '*.cpp' | xargs -0 -r clang-format --dry-run -Werror; }

shell_scripts() {
    { tracked '*.sh' .ci/run; } | xargs -0 -r shellcheck -x -P SCRIPTDIR
}

# clang reads the cross compiler's own headers, in the cross compiler's order.
cross_includes() {
    x86_64-w64-mingw32-g++-posix -v -E -x c++ /dev/null 2>&1 >/dev/null |
        sed -n '/^#include </,/^End/p' | grep -E '^ .*(include/c\+\+|mingw32/include)'
}

static_analysis() {
    local options=(-p "$BUILD" --quiet --extra-arg=--target=x86_64-w64-mingw32 --extra-arg=-nostdinc++
        --extra-arg=-Wno-unknown-warning-option --extra-arg=-Wno-ignored-attributes
        # STDMETHOD says more than STDMETHODIMP, which only clang minds.
        --extra-arg=-Wno-missing-exception-spec) folder
    while read -r folder; do
        options+=("--extra-arg=-isystem" "--extra-arg=$(realpath "$folder")")
    done < <(cross_includes)
    # All but what belongs to projects of their own, which the build does not know.
    tracked '*.cpp' ':!tests/find-package' ':!tests/fuzz/native' ':!tests/package/host' ':!tests/subproject' |
        xargs -0 -r -n 1 -P "$(nproc)" clang-tidy "${options[@]}" 2>&1 |
        grep -vE '^[0-9]+ warnings? (generated|treated)|^Suppressed|^Use -header-filter'
    return "${PIPESTATUS[1]}"
}

step formatting formatting
step wording scripts/check-wording.sh
step includes scripts/check-includes.py
step "shell scripts" shell_scripts
step "static analysis" static_analysis

# Not a failure: whoever changes a line need not know that an entry quotes it.
scripts/mutate.py --check

if [ ${#failed[@]} -gt 0 ]; then
    printf -v list '%s, ' "${failed[@]}"
    echo "lint: failed: ${list%, }" >&2
    exit 1
fi
