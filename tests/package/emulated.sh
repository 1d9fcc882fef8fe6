#!/bin/sh
# emulated.sh SYSTEM: the armhf programs installed in SYSTEM run in the emulator, with the libraries there.
set -eu
system=$1
run() {
    program=$1
    shift
    qemu-arm -L "$system" "$system/usr/$program" "$@"
}
SYSDB_DIR=$(mktemp -d)
export SYSDB_DIR
trap 'rm -rf "$SYSDB_DIR"' EXIT

run bin/sysdb set CELL CELL_RSRP int -95
[ "$(run bin/sysdb get CELL CELL_RSRP)" = -95 ] || { echo 'clean root: FAULT: sysdb for armhf' && exit 1; }
run bin/zelt-top --once | grep -q -- '-95 dBm' || { echo 'clean root: FAULT: zelt-top for armhf' && exit 1; }
run sbin/zelt-stats --help | grep -q '^Usage: zelt-stats' || { echo 'clean root: FAULT: zelt-stats for armhf' && exit 1; }
echo 'clean root: the programs for armhf run in the emulator'
