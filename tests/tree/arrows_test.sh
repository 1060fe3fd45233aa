#!/usr/bin/env bash
# The check of arrows itself: this tree passes, and each kind of fault, put into a copy of a few files, is found.
set -euo pipefail
root=$1
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
python3 "$here/arrows.py" "$root"
copy=$(mktemp -d)
trap 'rm -rf "$copy"' EXIT
fresh() {  # a tree of small files without a fault
    rm -rf "$copy"/*
    cp "$root/ARCHITECTURE.md" "$copy"
    for room in memory platform hostapi ImageLib Utility pluginDistort host media app adapters; do
        mkdir -p "$copy/$room/kernels" "$copy/$room/source"
        printf '#pragma once\n#include <vector>\n' >"$copy/$room/a.h"
    done
}
complains() {  # complains WHAT TEXT: the check of the copy fails and says TEXT
    if python3 "$here/arrows.py" "$copy" >"$copy/said"; then
        echo "not found: $1" >&2
        exit 1
    fi
    grep -q -- "$2" "$copy/said" || { echo "$1 said:" >&2; cat "$copy/said" >&2; exit 1; }
}
expect() {  # expect FILE INCLUDE-LINE TEXT: the line in that file gives a fault that holds TEXT
    fresh
    printf '%s\n' "$2" >>"$copy/$1"
    complains "$2 in $1" "$3"
}
fresh
python3 "$here/arrows.py" "$copy" >"$copy/said" || { cat "$copy/said" >&2; exit 1; }
expect platform/a.h '#include "host/a.h"' 'platform may not include host/a.h'
expect host/a.h '#include "media/a.h"' 'host may not include media/a.h'
expect host/a.h '#include "tests/a.h"' 'host may not include tests/a.h'
expect app/a.h '#include "a.h"' 'is no path from the root'
expect app/a.h '#include "host/missing.h"' 'host/missing.h does not exist'
expect app/a.h '#include <libavutil/md5.h>' 'belongs in media/'
expect ImageLib/source/a.h '#include <hwy/highway.h>' 'belongs in ImageLib/kernels/'
expect ImageLib/kernels/a.h '#include "ImageLib/a.h"' 'a kernel may not include'
expect host/a.h '#include <gtest/gtest.h>' 'tests and benches only'

# A circle that the table itself allows: each arrow of it stands there, so that only the walk along them finds it. Two
# folders that include each other, and three in a ring; a folder that only leads into a ring is no part of it.
ring() {  # ring FOLDER...: each includes the next, the last the first, and the table says they may
    fresh
    local rooms=("$@" "$1") i
    for ((i = 0; i < $#; i++)); do
        sed -i -E "s/^(${rooms[i]} +-> .*)$/\1 ${rooms[i + 1]}/" "$copy/ARCHITECTURE.md"
        printf '#include "%s/a.h"\n' "${rooms[i + 1]}" >>"$copy/${rooms[i]}/a.h"
    done
    printf '#include "%s/a.h"\n' "$1" >>"$copy/adapters/a.h"
    for room in "$@"; do complains "the ring $*" "^$room includes itself through other folders$"; done
    [ "$(grep -c 'includes itself' "$copy/said")" -eq $# ] && grep -q ", $# against the arrows$" "$copy/said" ||
        { echo "the ring $* said:" >&2; cat "$copy/said" >&2; exit 1; }
}
ring platform hostapi
ring platform hostapi host
echo "every kind of fault is found"
