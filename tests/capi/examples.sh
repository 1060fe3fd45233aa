#!/usr/bin/env bash
# The examples in C, compiled strictly and run.  examples.sh ROOT CC LIBRARY_DIR PROGRAM
set -euo pipefail
root=$1 cc=$2 lib=$3 program=$4
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
fail() { echo "examples.sh: $*" >&2; exit 1; }
strict=(-std=c99 -pedantic-errors -Wall -Wextra -Werror)
printf '#include <tumblewash.h>\nint main(void) { return (int)(tw_version() - TW_VERSION); }\n' >"$work/header.c"
"$cc" "${strict[@]}" -I"$root/capi" "$work/header.c" -L"$lib" -ltumblewash -o "$work/header"
export LD_LIBRARY_PATH=$lib
"$work/header" || fail "the header and the library differ in version"
# The header costs nothing but the C library's own headers.
"$cc" -std=c99 -M -I"$root/capi" "$work/header.c" | tr -d '\\' | tr ' ' '\n' | grep -E '\.h$' | grep -vE "^/usr/|capi/tumblewash\.h$" &&
    fail "the header includes more than the C library's"
for name in mix render_edit; do
    "$cc" "${strict[@]}" -I"$root/capi" "$root/examples/c/$name.c" -L"$lib" -ltumblewash -o "$work/$name"
done

"$work/mix" wash-away 0.4 "$work/mixed.ppm"
[ "$(stat -c %s "$work/mixed.ppm")" -eq $((320 * 240 * 3 + 15)) ] || fail "mix wrote no picture"
"$work/mix" none 0 "$work/first.ppm" && ! cmp -s "$work/first.ppm" "$work/mixed.ppm" || fail "mix mixed nothing"
"$work/mix" wash-awya 0.4 "$work/no.ppm" 2>"$work/error" && fail "an unknown effect was rendered"
grep -q "did you mean wash-away" "$work/error" || fail "no hint: $(cat "$work/error")"

# The document's movie is the program's, picture by picture.
cat >"$work/my.edit.json" <<'END'
{ "tumblewash": 1, "output": { "size": "64x48", "rate": "10" },
  "clips": [ { "file": "pattern:harbour?size=64x48&seconds=1&fps=10" },
             { "file": "pattern:city?size=64x48&seconds=1&fps=10", "seam": { "effect": "tilt-away", "duration": "6f" } } ] }
END
"$work/render_edit" "$work/my.edit.json" "md5:$work/by_library" 2>"$work/error" || fail "$(cat "$work/error")"
"$program" render "$work/my.edit.json" -q -o "md5:$work/by_program"
cmp "$work/by_library" "$work/by_program" || fail "the library's movie is not the program's"
code=0
"$work/render_edit" "$work/my.edit.json" "$work/cancelled.mkv" 2 2>"$work/error" || code=$?
[ "$code" -eq 130 ] || fail "cancelling gave $code: $(cat "$work/error")"
[ -z "$(find "$work" -name '*cancelled*')" ] || fail "a cancelled run left something behind"
