#!/usr/bin/env bash
# headers.sh ROOT COMPILER [FLAGS...]: every header compiles alone, several in one run of the compiler.
set -euo pipefail
root=$1 compiler=$2
shift 2
cd "$root"
stubs=$(mktemp -d)
trap 'rm -rf "$stubs"' EXIT
count=0
while read -r header; do
    printf '#include "%s"\n' "$header" >"$stubs/$(printf '%s' "$header" | tr '/' '_').cpp"
    count=$((count + 1))
done < <(find memory platform hostapi ImageLib Utility pluginDistort effects host media edit farm studio app capi adapters -name '*.h' | sort)
[ "$count" -gt 50 ] || { echo "only $count headers found" >&2; exit 1; }
# Each stub is a translation unit of its own; xargs hands several to one run to save start-up.
find "$stubs" -name '*.cpp' -print0 |
    xargs -0 -n 8 -P 2 "$compiler" -std=c++20 -fsyntax-only -Wall -Wextra -Wpedantic -Wconversion -Werror -I"$root" "$@"
echo "$count headers compile alone with $compiler"
