#!/usr/bin/env bash
# The check of arrows itself: this tree passes, and each kind of fault, put into a copy of a few files, is found.
set -euo pipefail
root=$1
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
python3 "$here/arrows.py" "$root"
copy=$(mktemp -d)
trap 'rm -rf "$copy"' EXIT
expect() {  # expect FILE INCLUDE-LINE TEXT: the line in that file gives a fault that holds TEXT
    rm -rf "$copy"/*
    cp "$root/ARCHITECTURE.md" "$copy"
    for room in platform hostapi ImageLib Utility pluginDistort host media app adapters; do
        mkdir -p "$copy/$room/kernels" "$copy/$room/source"
        printf '#pragma once\n#include <vector>\n' >"$copy/$room/a.h"
    done
    printf '%s\n' "$2" >>"$copy/$1"
    if python3 "$here/arrows.py" "$copy" >"$copy/said"; then
        echo "not found: $2 in $1" >&2
        exit 1
    fi
    grep -q -- "$3" "$copy/said" || { echo "$1 with $2 said:" >&2; cat "$copy/said" >&2; exit 1; }
}
expect platform/a.h '#include "host/a.h"' 'platform may not include host/a.h'
expect host/a.h '#include "pluginDistort/a.h"' 'host may not include pluginDistort/a.h'
expect host/a.h '#include "tests/a.h"' 'host may not include tests/a.h'
expect app/a.h '#include "a.h"' 'is no path from the root'
expect app/a.h '#include "host/missing.h"' 'host/missing.h does not exist'
expect app/a.h '#include <libavutil/md5.h>' 'belongs in media/'
expect ImageLib/source/a.h '#include <hwy/highway.h>' 'belongs in ImageLib/kernels/'
expect ImageLib/kernels/a.h '#include "ImageLib/a.h"' 'a kernel may not include'
expect host/a.h '#include <gtest/gtest.h>' 'tests and benches only'
echo "every kind of fault is found"
