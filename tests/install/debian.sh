#!/usr/bin/env bash
# Makes the Debian packages of a build and uses them in an empty Debian 12, where nothing but their own dependencies and
# the tools of a developer were installed.  debian.sh BUILD_DIR; needs root or sudo, debootstrap and a mirror
# (TUMBLEWASH_MIRROR, else Debian's).
set -euo pipefail
build=$1 mirror=${TUMBLEWASH_MIRROR:-http://deb.debian.org/debian}
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
as_root=()
[ "$(id -u)" -eq 0 ] || as_root=(sudo)
work=$(mktemp -d)
root=$work/root
trap '"${as_root[@]}" rm -rf --one-file-system "$work"' EXIT
logged() { "$@" >"$work/log" 2>&1 || { tail -n 30 "$work/log" >&2; echo "debian.sh: failed: $*" >&2; exit 1; }; }
inside() { "${as_root[@]}" chroot "$root" env -i PATH=/usr/sbin:/usr/bin:/sbin:/bin LANG=C.UTF-8 DEBIAN_FRONTEND=noninteractive "$@"; }

(cd "$build" && logged cpack -G DEB -B "$work/packages")
for package in tumblewash tumblewash-dev tumblewash-frei0r tumblewash-openfx tumblewash-obs libtumblewash0 python3-tumblewash; do
    ls "$work/packages/${package}_"*.deb >/dev/null
done
logged "${as_root[@]}" debootstrap --variant=minbase bookworm "$root" "$mirror"
"${as_root[@]}" mkdir "$root/packages"
"${as_root[@]}" cp "$work/packages/"*.deb "$here/use.sh" "$here/languages.sh" "$root/packages"

# The program first, alone: its dependencies must do for rendering.
logged inside apt-get update
logged inside sh -c 'apt-get install -y --no-install-recommends /packages/tumblewash_*.deb'
logged inside tumblewash frame "pattern:harbour?size=64x64" "pattern:city?size=64x64" -o /tmp/frame.png --effect tumble-reveal --frame 14 --of 30
logged inside tumblewash join "pattern:harbour?size=64x64&seconds=1" "pattern:city?size=64x64&seconds=1" -o /tmp/join.mp4 --effect morph --duration 0.4
[ -s "$root/tmp/frame.png" ] && [ -s "$root/tmp/join.mp4" ] || { echo "debian.sh: nothing was rendered" >&2; exit 1; }

logged inside sh -c 'apt-get install -y --no-install-recommends /packages/*.deb g++ cmake ninja-build'
logged inside /packages/use.sh /usr /usr/share/doc/tumblewash/examples g++
logged inside /packages/languages.sh / gcc python3
for file in $(dpkg-deb -c "$work/packages/tumblewash-frei0r_"*.deb | awk '/\.so$/ { print $NF }') \
            $(dpkg-deb -c "$work/packages/tumblewash-openfx_"*.deb | awk '/\.ofx$/ { print $NF }') \
            $(dpkg-deb -c "$work/packages/tumblewash-obs_"*.deb | awk '/\.so$/ { print $NF }'); do
    loaded=$((${loaded:-0} + 1))
    missing=$(inside ldd "${file#.}" | grep 'not found' || true)
    [ -z "$missing" ] || { echo "debian.sh: $file: $missing" >&2; exit 1; }
done
[ "${loaded:-0}" -ge 15 ] || { echo "debian.sh: ${loaded:-0} loadable files in the packages of the adapters" >&2; exit 1; }

logged inside apt-get purge -y tumblewash tumblewash-dev tumblewash-frei0r tumblewash-openfx tumblewash-obs libtumblewash0 python3-tumblewash
left=$(cd "$root" && find usr etc -iname '*tumblewash*' -o -iname 'pluginDistort*' | grep -v '^usr/share/doc' || true)
[ -z "$left" ] || { echo "debian.sh: left behind: $left" >&2; exit 1; }
echo "packages installed, used and removed; $loaded loadable files"
