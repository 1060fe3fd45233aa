#!/usr/bin/env bash
# Builds the image of the Containerfile without a network, from the program's package and those it depends on, and
# renders a movie in parts in it: the same movie as outside.  container.sh BUILD_DIR SOURCE_DIR; needs root or sudo,
# buildah, and a mirror where the base image or its packages are not at hand (TUMBLEWASH_MIRROR, else Debian's).
set -euo pipefail
build=$1 source=$2 mirror=${TUMBLEWASH_MIRROR:-http://deb.debian.org/debian}
base=docker.io/library/debian:12-slim image=localhost/tumblewash-test:$$
as_root=()
[ "$(id -u)" -eq 0 ] || as_root=(sudo)
work=$(mktemp -d)
# An image and its containers of this test alone: whatever else is stored on this machine stays as it is.
store=(--root "$work/store" --runroot "$work/run" --storage-driver vfs)
buildah=("${as_root[@]}" buildah "${store[@]}")
trap '"${buildah[@]}" rm --all >/dev/null 2>&1 || true; "${as_root[@]}" rm -rf --one-file-system "$work"' EXIT
logged() { "$@" >"$work/log" 2>&1 || { tail -n 30 "$work/log" >&2; echo "container.sh: failed: $*" >&2; exit 1; }; }

mkdir "$work/debs" "$work/films"
(cd "$build" && logged cpack -G DEB -B "$work/packages")
cp "$work/packages/"tumblewash_*.deb "$work/debs"

# A base of our own, so that no registry is asked.
logged "${as_root[@]}" debootstrap --variant=minbase bookworm "$work/base" "$mirror"
container=$("${buildah[@]}" from scratch)
logged "${buildah[@]}" add "$container" "$work/base" /
logged "${buildah[@]}" commit "$container" "$base"
logged "${buildah[@]}" rm "$container"
# What the program depends on, as files.
"${as_root[@]}" cp "$work/debs/"tumblewash_*.deb "$work/base/tmp"
logged "${as_root[@]}" chroot "$work/base" env -i PATH=/usr/sbin:/usr/bin:/sbin:/bin sh -c \
    'apt-get update && apt-get install -y --no-install-recommends --download-only /tmp/tumblewash_*.deb'
"${as_root[@]}" sh -c "cp '$work/base/var/cache/apt/archives/'*.deb '$work/debs'"
"${as_root[@]}" rm -rf --one-file-system "$work/base"

cp "$source/Containerfile" "$work"
logged "${as_root[@]}" unshare --net buildah "${store[@]}" build --isolation chroot --pull=never --build-arg 'DEB=debs/*.deb' \
    --file "$work/Containerfile" --tag "$image" "$work"
left=$("${buildah[@]}" images --format '{{.Name}}' | grep -c tumblewash-test)
[ "$left" = 1 ] || { echo "container.sh: $left images" >&2; exit 1; }

# In the image as a cluster would: each part in a container of its own, then the merge.
container=$("${buildah[@]}" from --pull=never "$image")
contained() {
    "${as_root[@]}" unshare --net buildah "${store[@]}" run --isolation chroot --volume "$work/films:/films" "$container" -- tumblewash "$@"
}
outside=$build/app/tumblewash
(cd "$work/films" && logged "$outside" plan 'pattern:harbour?size=64x48&seconds=2' 'pattern:city?size=64x48&seconds=2' \
    --codec ffv1 --duration 0.4 -o whole.edit.json && logged "$outside" render whole.edit.json -o whole.mkv)
logged contained --version
logged contained plan /films/whole.edit.json --format mkv --parts 2 -o /films/show.plan.json
for part in sound 1 2; do logged contained render /films/show.plan.json --part "$part" -o /films/show.parts/; done
logged contained merge /films/show.plan.json /films/show.parts/ -o /films/merged.mkv
prints() { ffmpeg -v error -i "$1" -map 0:v -f framemd5 - | grep -v '^#'; }
prints "$work/films/whole.mkv" >"$work/whole.md5"
prints "$work/films/merged.mkv" >"$work/merged.md5"
[ -s "$work/whole.md5" ]
cmp "$work/whole.md5" "$work/merged.md5"
echo "an image built without a network, and a movie of two parts in it"
