#!/usr/bin/env bash
# The studio's page in Chromium.  run.sh PROGRAM FOLDER
# The two packages that it needs come from the npm registry into FOLDER, once; TUMBLEWASH_NODE_MODULES names a node_modules
# that has them already.
set -euo pipefail
program=$1 folder=$2
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
for tool in chromium node npm; do
    command -v "$tool" >/dev/null || { echo "run.sh: $tool is missing: apt-get install chromium nodejs npm" >&2; exit 1; }
done
mkdir -p "$folder"
cp "$here/package.json" "$here/package-lock.json" "$here/page.mjs" "$folder"
cd "$folder"
if [ -n "${TUMBLEWASH_NODE_MODULES:-}" ]; then
    rm -rf node_modules
    ln -s "$TUMBLEWASH_NODE_MODULES" node_modules
elif ! cmp -s package-lock.json node_modules/.complete; then
    rm -rf node_modules
    fetched=
    for pause in 0 5 15 30 60; do
        sleep "$pause"
        if npm ci --ignore-scripts --no-audit --no-fund --loglevel=error --cache "$folder/npm-cache" >npm.log 2>&1; then
            fetched=yes
            break
        fi
    done
    if [ -z "$fetched" ]; then
        cat npm.log >&2
        echo "run.sh: the npm registry cannot be reached: run npm ci in tests/studio/browser where it can, and set TUMBLEWASH_NODE_MODULES to its node_modules" >&2
        exit 1
    fi
    cp package-lock.json node_modules/.complete
fi
exec node page.mjs "$program" "$(command -v chromium)"
