# shellcheck shell=bash disable=SC2034 # FETCHED is read by the caller
# Fetches source packages through apt in a world of its own: no change to the machine's package lists, the mirror taken
# from the machine's configuration, everything checked against the installed archive keyring.

KEYRING=/usr/share/keyrings/debian-archive-keyring.gpg
declare -A SUITE_STATE=()

# The machine's Debian mirror: prints "<url>" for the main archive or for "-security".
mirror_url() { # label
    local url
    # shellcheck disable=SC2016 # apt expands these
    url=$(apt-get indextargets --format '$(LABEL)|$(REPO_URI)' 2>/dev/null | awk -F'|' -v l="$1" '$1 == l {print $2; exit}')
    if [ -z "$url" ]; then
        # No package lists were ever downloaded here: ask for the addresses that an update would use.
        url=$(apt-get update --print-uris -o Debug::NoLocking=1 2>/dev/null | tr -d "'" |
            awk -v security="$([ "$1" = Debian-Security ] && echo 1 || echo 0)" '
                match($1, "/dists/") && (($1 ~ /-security\//) == security) {print substr($1, 1, RSTART); exit}')
    fi
    echo "$url"
}

suite_apt() { # suite program args...
    local world=$APT_WORLD/$1 program=$2
    shift 2
    "$program" -q -o Dir::Etc::sourcelist="$world/sources.list" -o Dir::Etc::sourceparts=- -o Dir::State="$world/state" \
        -o Dir::Cache="$world/cache" -o Dir::State::status=/dev/null -o APT::Sandbox::User="$(id -un)" \
        -o Acquire::Retries=3 -o Acquire::Languages=none -o Acquire::AllowInsecureRepositories=false \
        -o APT::Get::AllowUnauthenticated=false "$@"
}

update_suite() { # suite options...
    local world=$APT_WORLD/$1
    # An incomplete update only warns, so the index itself has to be there.
    suite_apt "$1" apt-get "${@:2}" update >"$world/update.log" 2>&1 && ls "$world"/state/lists/*Sources* >/dev/null 2>&1
}

# Downloads and verifies the suite's index, once a run.
open_suite() { # suite
    if [ -z "${SUITE_STATE[$1]:-}" ]; then
        local world=$APT_WORLD/$1 label=Debian url
        [[ $1 == *-security ]] && label=Debian-Security
        url=$(mirror_url $label)
        SUITE_STATE[$1]=closed
        if [ -n "$url" ]; then
            mkdir -p "$world/state/lists/partial" "$world/cache/archives/partial"
            echo "deb-src [signed-by=$KEYRING] $url $1 main" >"$world/sources.list"
            if update_suite "$1"; then
                SUITE_STATE[$1]=open
            elif grep -q 'is expired' "$world/update.log" && update_suite "$1" -o Acquire::Check-Valid-Until=false; then
                echo "deps: the index of $1 is past its date, as on a frozen mirror; its signature is good"
                SUITE_STATE[$1]=open
            fi
        fi
    fi
    [ "${SUITE_STATE[$1]}" = open ]
}

# The whole source package where all its files are there, else the upstream archive alone; apt checks either one
# against the signed index.
fetch_from_suite() { # package suite folder
    local package=$1 suite=$2 folder=$3 version work option
    open_suite "$suite" || return 1
    version=$(suite_apt "$suite" apt-get source --print-uris --download-only "$package" 2>/dev/null |
        sed -n "s/.* \(${package}_[^ ]*\)\.dsc .*/\1/p" | head -1)
    version=${version#"${package}_"}
    [ -n "$version" ] || return 1
    work=$folder/.partial
    for option in "" --tar-only; do
        rm -rf "$work"
        mkdir -p "$work"
        if (cd "$work" && suite_apt "$suite" apt-get source --download-only ${option:+"$option"} "$package" \
            >"$folder/fetch.log" 2>&1); then
            rm -f "$work"/*.asc
            (cd "$work" && sha256sum -- *.* >SHA256SUMS && echo "$suite" >SUITE)
            rm -rf "${folder:?}/$version"
            mv "$work" "$folder/$version"
            FETCHED=$version
            return 0
        fi
    done
    rm -rf "$work"
    return 1
}

# Sets FETCHED to the version whose verified files now lie in $SOURCES/<package>/<version>.
fetch_source() { # package suites...
    local package=$1 folder=$SOURCES/$1 version suite
    shift
    mkdir -p "$folder"
    for version in $(find "$folder" -mindepth 1 -maxdepth 1 -type d -name '[0-9]*' -printf '%f\n' | sort -rV); do
        if (cd "$folder/$version" 2>/dev/null && sha256sum --quiet -c SHA256SUMS >/dev/null 2>&1); then
            FETCHED=$version
            return 0
        fi
    done
    for suite in "$@"; do
        echo "deps: fetching $package from $suite"
        fetch_from_suite "$package" "$suite" "$folder" && return 0
    done
    cat >&2 <<EOM
No source of $package could be had.
  looked in:   the suites $* of $(mirror_url Debian)
  last answer: $(cat "$APT_WORLD"/*/update.log "$folder/fetch.log" 2>/dev/null | grep -E '^(E|W): .*(fetch|http)' | tail -1)
  what to do:  try again later (mirrors lose single files for a while), or put another Debian mirror into this
               machine's apt sources, or copy $folder
               from a machine where it worked.
EOM
    return 1
}

# Unpacks into an empty folder, Debian's security fixes applied where the whole package was there.
unpack_source() { # package version folder
    local files=$SOURCES/$1/$2 dsc
    dsc=$(find "$files" -name '*.dsc' | head -1)
    if [ -n "$dsc" ]; then
        dpkg-source --no-check -x "$dsc" "$3" >/dev/null
    else
        mkdir -p "$3"
        tar -xf "$(find "$files" -name '*.orig.tar.*' | head -1)" -C "$3" --strip-components=1
    fi
}
