#!/usr/bin/env bash
# Builds a part of the tree again, from a copy in another folder and in a build folder of another name, with debugging
# information, which tells folders: the files are equal to the byte.  same_bytes.sh SOURCE_DIR CXX
set -euo pipefail
source=$1 cxx=$2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
export CCACHE_DISABLE=1
mapfile -t rooms < <(cd "$source" && printf '%s\n' cmake && for list in */CMakeLists.txt; do printf '%s\n' "${list%/*}"; done |
    grep -vxE 'build|tests|bench|fuzz|examples')
for copy in one another/folder; do
    mkdir -p "$work/$copy"
    (cd "$source" && cp -r CMakeLists.txt LICENSE "${rooms[@]}" "$work/$copy")
    cmake -S "$work/$copy" -B "$work/$copy/build-${copy%/*}" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DCMAKE_CXX_COMPILER="$cxx" \
        -DTUMBLEWASH_APP=OFF -DTUMBLEWASH_TESTS=OFF -DTUMBLEWASH_FREI0R=OFF -DTUMBLEWASH_TEXT=OFF >"$work/log" 2>&1 &&
        cmake --build "$work/$copy/build-${copy%/*}" --target platform memory >>"$work/log" 2>&1 || { cat "$work/log" >&2; exit 1; }
done
count=0
while read -r -d '' file; do
    cmp "$file" "$work/another/folder/build-another/${file#"$work/one/build-one/"}"
    count=$((count + 1))
done < <(find "$work/one/build-one" \( -name '*.a' -o -name '*.o' \) -print0)
[ "$count" -ge 10 ] || { echo "only $count files compared" >&2; exit 1; }
echo "$count files are equal"
