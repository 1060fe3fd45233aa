#!/usr/bin/env bash
# Builds a part of the tree again, from a copy in another folder and in a build folder of another name, with debugging
# information, which tells folders: the files are equal to the byte. With TUMBLEWASH_LONG=1 it is the whole tree as it is
# shipped, and every file that is installed.  same_bytes.sh SOURCE_DIR CXX
set -euo pipefail
source=$1 cxx=$2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
export CCACHE_DISABLE=1
options=(-DTUMBLEWASH_APP=OFF -DTUMBLEWASH_FREI0R=OFF -DTUMBLEWASH_TEXT=OFF)
targets=(--target platform memory)
if [ -n "${TUMBLEWASH_LONG:-}" ]; then options=() targets=(); fi
mapfile -t rooms < <(cd "$source" && printf '%s\n' cmake && for list in */CMakeLists.txt; do printf '%s\n' "${list%/*}"; done |
    grep -vxE 'build|tests|bench|fuzz|examples')
[ -z "${TUMBLEWASH_LONG:-}" ] || rooms+=(README.md CHANGELOG.md docs examples)

# logged COMMAND...: shows what it said only when it fails.
logged() {
    "$@" >"$work/log" 2>&1 || { cat "$work/log" >&2; exit 1; }
}
for copy in one another/folder; do
    build=$work/$copy/build-${copy%/*}
    mkdir -p "$work/$copy"
    (cd "$source" && cp -r CMakeLists.txt LICENSE "${rooms[@]}" "$work/$copy")
    logged cmake -S "$work/$copy" -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo "-DCMAKE_CXX_COMPILER=$cxx" \
        -DTUMBLEWASH_TESTS=OFF "${options[@]}"
    logged cmake --build "$build" "${targets[@]}"
    [ -z "${TUMBLEWASH_LONG:-}" ] || logged cmake --install "$build" --prefix "$build/installed"
done
# same FOLDER FIND_TESTS...: how many files below it, which the tests choose, are equal in both builds.
same() {
    local folder=$1 count=0 file
    shift
    while read -r -d '' file; do
        cmp "$file" "$work/another/folder/build-another/${file#"$work/one/build-one/"}" || exit 1
        count=$((count + 1))
    done < <(find "$work/one/build-one/$folder" -type f "$@" -print0)
    echo "$count"
}
count=$(same . \( -name '*.a' -o -name '*.o' \))
[ "$count" -ge 10 ] || { echo "only $count files compared" >&2; exit 1; }
echo "$count files are equal"
if [ -n "${TUMBLEWASH_LONG:-}" ]; then
    count=$(same installed)
    [ "$count" -ge 100 ] || { echo "only $count installed files compared" >&2; exit 1; }
    echo "$count installed files are equal"
fi
