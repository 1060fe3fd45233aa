#!/usr/bin/env bash
# The studio's page in Chromium.  run.sh PROGRAM FOLDER
# The long form also tries axe-core's rules, which npm fetches into FOLDER once; TUMBLEWASH_NODE_MODULES names a node_modules
# that has it already. It opens the page in Firefox too.
set -euo pipefail
program=$1 folder=$2
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
for tool in chromium node; do
    command -v "$tool" >/dev/null || { echo "run.sh: $tool is missing: apt-get install chromium nodejs" >&2; exit 1; }
done
rules=()
if [ -n "${TUMBLEWASH_LONG:-}" ]; then
    modules=${TUMBLEWASH_NODE_MODULES:-$folder/node_modules}
    if [ ! -s "$modules/axe-core/axe.min.js" ]; then
        mkdir -p "$folder"
        cp "$here/package.json" "$here/package-lock.json" "$folder"
        for pause in 0 5 15 30; do
            sleep "$pause"
            (cd "$folder" && npm ci --ignore-scripts --no-audit --no-fund --loglevel=error --fetch-retries=0) >"$folder/npm.log" 2>&1 && break
        done
        if [ ! -s "$modules/axe-core/axe.min.js" ]; then
            cat "$folder/npm.log" >&2
            echo "run.sh: npm could not fetch axe-core: run npm ci in tests/studio/browser where it can, and set TUMBLEWASH_NODE_MODULES to its node_modules" >&2
            exit 1
        fi
    fi
    rules=("$modules/axe-core/axe.min.js")
fi
node "$here/controls.mjs" "$program" "$(command -v chromium)"
node "$here/page.mjs" "$program" "$(command -v chromium)" "${rules[@]}"
if [ -n "${TUMBLEWASH_LONG:-}" ]; then
    if command -v firefox-esr >/dev/null; then
        node "$here/firefox.mjs" "$program" "$(command -v firefox-esr)"
    else
        echo "run.sh: Firefox is not installed here: left out (apt-get install firefox-esr)"
    fi
fi
