#!/usr/bin/env bash
# Uses an installed tree: CMake package, pkg-config, the program with its texts, the module.  use.sh PREFIX EXAMPLES_DIR CXX
set -euo pipefail
prefix=$1 examples=$2 cxx=$3
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
fail() { echo "use.sh: $*" >&2; exit 1; }

cp -r "$examples" "$work/examples"
cmake -S "$work/examples" -B "$work/build" -G Ninja -DCMAKE_PREFIX_PATH="$prefix" -DCMAKE_CXX_COMPILER="$cxx" \
    -DCMAKE_EXPORT_COMPILE_COMMANDS=ON >"$work/configure.log" 2>&1 || { cat "$work/configure.log"; fail "the examples do not configure"; }
cmake --build "$work/build" >"$work/build.log" 2>&1 || { cat "$work/build.log"; fail "the examples do not build"; }

# Two pictures, one a moved copy of the other: a diagonal pattern without period in 48 x 48 pixels.
picture() { perl -e 'my $dx = shift; print "P6\n48 48\n255\n"; for my $y (0..47) { for my $x (0..47) {
    my $v = ($x + $dx) * ($x + $dx) * 7 + $y * $y * 3 + ($x + $dx) * $y; print pack("C3", $v % 251, $v * 5 % 241, $v * 11 % 239); } }' "$1"; }
for shift in 0 2; do picture $shift >"$work/$shift.ppm"; done
run=$work/build
"$run/load_picture" "$work/0.ppm" | grep -q '^48 x 48 pixels$' || fail "load_picture"
"$run/match_pictures" "$work/0.ppm" "$work/2.ppm" 4 | grep -q 'moved by -2,0 (score 0,' || fail "match_pictures"
"$run/warp_picture" "$work/0.ppm" "$work/warped.ppm" 0 && cmp "$work/0.ppm" "$work/warped.ppm" || fail "warp by nothing"
"$run/warp_picture" "$work/0.ppm" "$work/warped.ppm" && ! cmp -s "$work/0.ppm" "$work/warped.ppm" || fail "warp_picture"
"$run/tile_cache" "$work/0.ppm" 1 | grep -q '4096 pixels cached' || fail "tile_cache"
"$run/host_plugin" "$work/host.ppm" tilt-reveal && [ "$(stat -c %s "$work/host.ppm")" -eq $((320 * 240 * 3 + 15)) ] || fail "host_plugin"

export PKG_CONFIG_PATH=$(dirname "$(find "$prefix" -name tumblewash-host.pc)")
"$cxx" -std=c++20 -o "$work/by_hand" "$work/examples/host_plugin.cpp" $(pkg-config --cflags --libs --static tumblewash-host) || fail "pkg-config"
"$work/by_hand" "$work/by_hand.ppm" tilt-reveal && cmp "$work/host.ppm" "$work/by_hand.ppm" || fail "two ways to build give two pictures"

# The public headers: what they need is installed, and the system's headers do not take their names.
headers=$(dirname "$(find "$prefix" -name tumblewash_version.h)")
echo '#include <sys/times.h>' >"$work/headers.cpp"
(cd "$headers" && find . -name '*.h' | sort | sed 's/.*/#include "&"/') >>"$work/headers.cpp"
counted=$(wc -l <"$work/headers.cpp")
"$cxx" -std=c++20 -fsyntax-only -Wall -Wextra -Werror $(pkg-config --cflags tumblewash-imagelib) "$work/headers.cpp" || fail "the headers do not compile"
[ "$counted" -gt 50 ] || fail "only $counted public headers"
printf '#include "tumblewash_version.h"\nversion TUMBLEWASH_VERSION\n' |
    "$cxx" -E -I"$headers" -x c++ - | grep -q "^version \"$(pkg-config --modversion tumblewash-host)\"" || fail "tumblewash_version.h"
# Sums of products are fused where the processor can and nobody forbids it.
pkg-config --cflags tumblewash-host | grep -q -e -ffp-contract=off || fail "pkg-config allows fused arithmetic"
grep -q -e -ffp-contract=off "$work/build/compile_commands.json" || fail "the CMake package allows fused arithmetic"
# Names that others may have too, beside ours in one folder.
others=$(find "$prefix" -name 'lib*.a' ! -name 'libtumblewash*')
[ -z "$others" ] || fail "archives of other people's names: $others"

[ -f "$prefix/share/tumblewash/resources/de.strings" ] || fail "the texts are not installed"
if [ -x "$prefix/bin/tumblewash" ]; then
    module=$(find "$prefix" -name pluginDistort.so)
    "$prefix/bin/tumblewash" list --plugin "$module" >"$work/list.txt" || fail "the module does not load"
    grep -q tumble-reveal "$work/list.txt" || fail "the program lists nothing"
    LANG=de_DE.UTF-8 "$prefix/bin/tumblewash" list >"$work/german.txt"
    gzip -cd "$prefix/share/man/man1/tumblewash.1.gz" | grep -q '^\.SH NAME' || fail "no man page"
    [ -s "$prefix/share/tumblewash/edit.schema.json" ] || fail "no schema of edits"
fi
