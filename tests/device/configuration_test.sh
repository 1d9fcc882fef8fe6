#!/bin/bash
# configuration_test.sh ROOT LIBRARIES [TOOLCHAIN]: ZELT_PLATFORM=device says what it needs, then links what it was given,
# nothing of host/, and builds no program that needs this machine's platform.
set -euo pipefail
root=$1
libraries=$2
toolchain=${3-}
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
failed=0

configure() {
    cmake -S "$root" -B "$work/build" -G Ninja -DZELT_TESTS=OFF -DZELT_PLATFORM=device \
        ${toolchain:+"-DCMAKE_TOOLCHAIN_FILE=$toolchain"} "$@" 2>&1
}

said=$(configure) && { echo 'configured without libraries' && failed=1; }
grep -q 'needs the device.s libraries' <<<"$said" || { echo "$said" && failed=1; }

list=$(printf '%s;' "$libraries"/*.so)
said=$(configure "-DZELT_DEVICE_LIBRARIES=${list%;}") || { echo "$said" && exit 1; }
plan=$(ninja -C "$work/build" -n -v)
for library in "$libraries"/*.so; do
    grep -qF -- "$library" <<<"$plan" || { echo "not linked: $library" && failed=1; }
done
# The folders of this tree, and the libraries of those.
for foreign in host/ store/ sim/ tools/ lmdb mosquitto; do
    ! grep -q -- "/$foreign\|-l$foreign" <<<"${plan//"$root"/}" || { echo "the plan holds $foreign" && failed=1; }
done
exit $failed
