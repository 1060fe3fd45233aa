#!/usr/bin/env bash
# The installed C library, Python module and their examples, used as a stranger would: nothing of ours comes from anywhere but
# ROOT, and the program there says what the pictures and movies must be.  languages.sh ROOT CC PYTHON
set -euo pipefail
root=${1%/} cc=$2 python=$3
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
fail() { echo "languages.sh: $*" >&2; exit 1; }
examples=$root/usr/share/doc/tumblewash/examples
program=$root/usr/bin/tumblewash
pc=$(find "$root/usr/lib" -name tumblewash.pc)
library=$(cd "$(dirname "$pc")/.." && pwd)
export PKG_CONFIG_PATH=${pc%/*} LD_LIBRARY_PATH=$library PYTHONPATH=$root/usr/lib/python3/dist-packages PYTHONDONTWRITEBYTECODE=1
cd "$work"

# A movie of both scenes, for both languages.
a='pattern:harbour?size=64x48&seconds=1&fps=10' b='pattern:city?size=64x48&seconds=1&fps=10'
"$program" join "$a" "$b" --effect tilt-away --duration 6f -q -o md5:by_program

for name in mix render_edit; do
    "$cc" -std=c99 -pedantic-errors -Wall -Wextra -Werror "$examples/c/$name.c" $(pkg-config --cflags --libs tumblewash) -o "$name" ||
        fail "examples/c/$name.c does not build"
done
case $(ldd mix | grep libtumblewash.so) in
    *"$library/libtumblewash.so."*) ;;
    *) fail "mix runs with $(ldd mix | grep libtumblewash.so)" ;;
esac
./mix wash-away 0.4 mixed.ppm && [ "$(stat -c %s mixed.ppm)" -eq $((320 * 240 * 3 + 15)) ] || fail "mix wrote no picture"
printf '{"tumblewash": 1, "output": {"size": "64x48", "rate": "10"}, "clips": [{"file": "%s"}, {"file": "%s", "seam": {"effect": "tilt-away", "duration": "6f"}}]}' \
    "$a" "$b" >my.edit.json
./render_edit my.edit.json md5:by_c 2>error || fail "$(cat error)"
cmp by_c by_program || fail "the movie from C is not the program's"

# The picture that mix draws, in Python: the same bytes.
cat >same.py <<'END'
import sys

import numpy as np
import tumblewash

assert tumblewash.__file__.startswith(sys.argv[1]), tumblewash.__file__
assert len(tumblewash.effects()) == 14
y, x = np.mgrid[0:240, 0:320]
board = np.where((x // 16 + y // 16) % 2, 200, 60)
first = np.stack([x * 255 // 320, y * 255 // 240, board], axis=-1).astype(np.uint8)
second = np.stack([255 - x * 255 // 320, 40 + 0 * x, board], axis=-1).astype(np.uint8)
mixed = tumblewash.render(first, second, effect="wash-away", position=0.4, direction="left", seed=7)
assert mixed.tobytes() == open("mixed.ppm", "rb").read()[15:], "Python and C give two pictures"
tumblewash.join(sys.argv[2:4], "md5:by_python", effect="tilt-away", duration="6f")
END
"$python" same.py "$root/usr/lib/python3" "$a" "$b" || fail "the module does something else"
cmp by_python by_program || fail "the movie from Python is not the program's"
# The example draws with matplotlib, which no package of ours brings.
if "$python" -c 'import matplotlib' 2>/dev/null; then
    "$python" "$examples/python/strip.py" tumble-away strip.png >/dev/null && [ -s strip.png ] || fail "strip.py drew nothing"
fi
echo "C and Python from $root: the program's pictures"
