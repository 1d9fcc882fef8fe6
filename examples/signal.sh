#!/bin/sh
# Prints technology and signal as of one commit, then each RSRP as it is published: signal.sh [--once]
set -eu
tab=$(printf '\t')

# One run of `sysdb list` is one snapshot; single `sysdb get` might each meet another commit.
sysdb list CELL | {
    technology='?' rsrp=-999
    while IFS=$tab read -r key _ value; do
        case $key in
            CELL_NET_TYPE) technology=$value ;;
            CELL_RSRP) rsrp=$value ;;
        esac
    done
    if [ "$rsrp" = -999 ]; then
        echo "$technology, no signal reported"
    else
        echo "$technology, RSRP $rsrp dBm"
    fi
}
[ "${1-}" != --once ] || exit 0

sysdb watch CELL | while IFS=$tab read -r key _ value; do
    [ "$key" != CELL_RSRP ] || echo "RSRP $value dBm"
done
