#!/usr/bin/env bash
# Installs a build into an empty prefix, moves it, and uses it as a stranger would.  installed.sh BUILD_DIR EXAMPLES_DIR CXX
set -euo pipefail
build=$1 examples=$2 cxx=$3
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

cmake --install "$build" --prefix "$work/first" >"$work/install.log" || { cat "$work/install.log" >&2; exit 1; }
mv "$work/first" "$work/moved"   # nothing may remember where it was installed
python3 "$here/files.py" "$work/moved" "$(cd "$build" && pwd)" "$(cd "$examples/.." && pwd)" "$work"
# What each public header allows from several threads stands on a page.
(cd "$work/moved/include" && find . -name '*.h' | sed 's|^\./\(tumblewash/\)\?||') | while read -r header; do
    grep -q "^|.*\`$header\`.*| .*|\( .*\)\? |" "$examples/../docs/threads.md" || { echo "docs/threads.md does not name $header" >&2; exit 1; }
done
"$here/use.sh" "$work/moved" "$examples" "$cxx"
