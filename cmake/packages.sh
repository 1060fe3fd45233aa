# Sourced by ./run and ./test: makes sure that the packages of the named jobs are there.
# need_packages JOB...: silent and quick when nothing is missing.
need_packages() {
    local list missing=() package job name rest more
    list=$(dirname "${BASH_SOURCE[0]}")/debian-packages.txt
    local wanted=()
    for job in "$@"; do
        while read -r name rest; do
            [ "$name" = "$job" ] && read -ra more <<<"$rest" && wanted+=("${more[@]}")
        done <"$list"
    done
    if ! command -v dpkg-query >/dev/null 2>&1 || ! command -v apt-get >/dev/null 2>&1; then
        [ -n "${TUMBLEWASH_SKIP_PACKAGES:-}" ] && return 0
        echo "tumblewash: this is not Debian or Ubuntu, so nothing was installed." >&2
        echo "Install the counterparts of these packages, then run again with TUMBLEWASH_SKIP_PACKAGES=1:" >&2
        printf '  %s\n' "${wanted[@]}" >&2
        return 1
    fi
    for package in "${wanted[@]}"; do
        [ "$(dpkg-query -W -f='${db:Status-Status}' "$package" 2>/dev/null)" = installed ] || missing+=("$package")
    done
    [ ${#missing[@]} -eq 0 ] && return 0

    local as_root=()
    if [ "$(id -u)" -ne 0 ]; then
        if ! command -v sudo >/dev/null 2>&1; then
            echo "tumblewash: these packages are missing and there is no sudo; ask an administrator for: ${missing[*]}" >&2
            return 1
        fi
        as_root=(sudo)
    fi
    echo "tumblewash: installing ${#missing[@]} packages: ${missing[*]}" >&2
    local log
    log=$(mktemp)
    if "${as_root[@]}" apt-get update -qq >"$log" 2>&1 &&
        "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends "${missing[@]}" >>"$log" 2>&1; then
        rm -f "$log"
    else
        tail -n 15 "$log" >&2
        echo "tumblewash: apt-get could not install the packages above; the whole log is $log" >&2
        return 1
    fi
}

# configure_once DIR ARGS...: configures when DIR is new or ARGS changed; quiet unless it fails.
configure_once() {
    local dir=$1 log
    shift
    if [ -f "$dir/build.ninja" ] && [ "$(cat "$dir/.configured" 2>/dev/null)" = "$*" ]; then return 0; fi
    mkdir -p "$dir"
    log=$dir/configure.log
    if ! cmake "$@" >"$log" 2>&1; then
        cat "$log" >&2
        return 1
    fi
    printf '%s' "$*" >"$dir/.configured"
}

# build_quietly DIR TARGET...: one line when there is work of more than a few seconds, the compiler's words only when it fails.
build_quietly() {
    local dir=$1 log=$1/build.log
    shift
    cmake --build "$dir" --target "$@" >"$log" 2>&1 &
    local build=$! tenths=0
    while kill -0 "$build" 2>/dev/null && [ $tenths -lt 30 ]; do sleep 0.1; tenths=$((tenths + 1)); done
    if kill -0 "$build" 2>/dev/null; then
        echo "tumblewash: building in ${dir##*/} (the first time takes a few minutes)" >&2
    fi
    if ! wait "$build"; then
        grep -E -A12 'FAILED|error:' "$log" | head -n 80 >&2
        echo "tumblewash: the build failed; the whole log is $log" >&2
        return 1
    fi
}
