#!/bin/bash
# clean_root_test.sh [armhf]: the packages in build/package in a fresh Debian 12 that is thrown away: install, use, upgrade,
# remove and purge by apt, with nothing left; with "armhf" those packages beside it too, under emulation. As root, or as a
# user who may make user namespaces. After scripts/package.
set -euo pipefail
cd "$(dirname "$(readlink -f "$0")")/../.."
built=$PWD/build/package
mirror=${ZELT_MIRROR:-http://deb.debian.org/debian}
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
chmod 755 "$work" # apt of the new system reads it under another user

# The next version, whose files are the same ones.
version=$(sed -n '1s/^zelt-stats (\(.*\)) .*/\1/p' debian/changelog)
mkdir -p "$work/new" "$work/next" "$work/armhf"
cp "$built"/amd64/*_amd64.deb "$built"/amd64/*_all.deb "$work/new"
rm -f "$work"/new/*-dbgsym_*
for package in "$work"/new/*.deb; do
    dpkg-deb --raw-extract "$package" "$work/raw"
    sed -i "s/$version/$version+next/" "$work/raw/DEBIAN/control"
    dpkg-deb --root-owner-group --build "$work/raw" "$work/next" >/dev/null
    rm -r "$work/raw"
done
architectures=amd64
if [ "${1-}" = armhf ]; then
    cp "$built"/armhf/zelt-{stats,sim}_*_armhf.deb "$work/armhf"
    architectures=amd64,armhf
fi
cp tests/package/in_clean_root.sh "$work"

# Everything happens in hooks of the one command that makes the system: nothing of it is left, whoever runs it. The daemon's
# tools for armhf run in an emulator of this machine, with the libraries of the new system.
mmdebstrap --quiet --variant=apt --architectures=$architectures --include=passwd,mount \
    --customize-hook='mkdir "$1/packages"' --customize-hook="copy-in $work/new $work/next $work/armhf $work/in_clean_root.sh /packages" \
    --customize-hook='chroot "$1" bash /packages/in_clean_root.sh amd64' \
    --customize-hook='[ -z "$(ls "$1/packages/armhf")" ] || {
        chroot "$1" bash /packages/in_clean_root.sh armhf && "'"$PWD"'/tests/package/emulated.sh" "$1"; }' \
    bookworm "$work/root.tar" "deb $mirror bookworm main" >"$work/log" 2>&1 || {
    grep -vE '^(Get|Selecting|Preparing|Unpacking|\(Reading)' "$work/log" | tail -n 60
    echo 'clean root: FAILED, see above'
    exit 1
}
grep '^clean root:' "$work/log"
