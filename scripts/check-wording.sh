#!/bin/bash
# Fails when a tracked file holds what belongs to one machine or one day: absolute paths of a workplace, the hosts of
# package registries, unfinished-work markers.
set -euo pipefail
cd "$(dirname "$0")/.."

failed=0
forbid() { # what pattern
    local hits
    if hits=$(git grep -nIE "$2"); then
        echo "$1:"
        printf '  %s\n' "${hits//$'\n'/$'\n  '}"
        failed=1
    fi
}

# A path of a workplace starts where no other path goes on, so that a relative "a/work/b" or an address passes.
forbid "machine path" '(^|[^A-Za-z0-9_.~})$/-])/(work|root|home/[a-z0-9_-]+|tmp/[a-z0-9_]+)(/|$|[^A-Za-z0-9_])'
forbid "host of a package registry" '(debian[.]org|npmjs[.](org|com)|pypi[.]org|pythonhosted[.]org|crates[.]io)'
forbid "unfinished work" '\b(TO''DO|FIX''ME|X''XX)\b'
exit $failed
