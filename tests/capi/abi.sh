#!/usr/bin/env bash
# What the library exports, compared with what programs that are out there were built against.  abi.sh ROOT LIBRARY
# A change that is meant is stored with:  abi.sh ROOT LIBRARY --store
set -euo pipefail
root=$1 library=$2 stored=$1/capi/libtumblewash.abi
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
readelf -d "$library" | grep -q 'SONAME.*\[libtumblewash\.so\.0\]' || { echo "abi.sh: not libtumblewash.so.0" >&2; exit 1; }
readelf --dyn-syms -W "$library" | awk '$7 != "UND" && $5 == "GLOBAL" && NR > 3 { print $8 }' | grep -v '^TUMBLEWASH_0$' |
    sort >"$work/exported"
grep -oE '\btw_[a-z_]+\(' "$root/capi/tumblewash.h" | grep -v tw_effect_count\(\)\ - | tr -d '(' | sort -u | sed 's/$/@@TUMBLEWASH_0/' >"$work/declared"
diff "$work/declared" "$work/exported" || { echo "abi.sh: the library exports something else than the header declares" >&2; exit 1; }
if [ "${3:-}" = --store ]; then
    abidw --headers-dir "$root/capi" --drop-private-types --no-corpus-path --no-comp-dir-path --no-show-locs \
        --type-id-style hash --drop-undefined-syms --exported-interfaces-only --no-elf-needed --out-file "$stored" "$library"
    sed -i "s|$root/||g" "$stored"
fi
abidiff --headers-dir2 "$root/capi" --drop-private-types "$stored" "$library"
