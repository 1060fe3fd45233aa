#!/usr/bin/env bash
# Makes the Debian packages of a build: lintian finds no errors, every package has its licences, no file is in two of them, and
# examples in C and Python run with what they bring, unpacked into an empty folder.  packages.sh BUILD_DIR CC PYTHON
set -euo pipefail
build=$1 cc=$2 python=$3
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
(cd "$build" && cpack -G DEB -B "$work") >"$work/log" 2>&1 || { cat "$work/log" >&2; exit 1; }
count=0
for file in "$work"/*.deb; do
    name=$(basename "$file")
    name=${name%%_*}
    dpkg-deb -c "$file" >"$work/content"
    for document in copyright changelog.gz "$name.spdx.json"; do
        grep -q "\./usr/share/doc/$name/$document\$" "$work/content" || { echo "$name: no $document" >&2; exit 1; }
    done
    grep -v '/$' "$work/content" | awk '{ print $6 }' >>"$work/files"
    dpkg-deb -x "$file" "$work/root"
    count=$((count + 1))
done
[ "$count" -eq 7 ] || { twice=$(sort "$work/files" | uniq -d)
[ -z "$twice" ] || { echo "in two packages: $twice" >&2; exit 1; }
"$here/languages.sh" "$work/root" "$cc" "$python"
echo "$count packages" >&2; exit 1; }
lintian --fail-on error --allow-root --tag-display-limit 0 "$work"/*.deb >"$work/tags" || { grep '^E:' "$work/tags" >&2; exit 1; }
! grep '^E:' "$work/tags" >&2
echo "$count packages without errors"
