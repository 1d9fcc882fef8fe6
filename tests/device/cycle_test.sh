#!/bin/bash
# cycle_test.sh DAEMON [EMULATOR...]: a daemon on the stand-ins of the device's libraries, in a /dev and /tmp of its own,
# from its start through a cycle to its end; and nothing of this machine's platform is in it.
set -euo pipefail
daemon=$1
shift
failed=0

for library in liblmdb libmosquitto libncurses; do
    ! grep -aq "$library\.so" "$daemon" || { echo "$daemon needs $library" && failed=1; }
done

# The libraries stay where the daemon looks for them, below /tmp too.
root=$(realpath "$(dirname "$0")/../..")
folder=$(dirname "$daemon")
# Until the second cycle has begun; 60 s at most. The journal comes through a pipe, as /tmp is gone behind the daemon.
# shellcheck disable=SC2016  # $@ is the inner shell's
journal=$(bwrap --ro-bind / / --dev /dev --proc /proc --tmpfs /tmp --ro-bind "$root" "$root" --ro-bind "$folder" "$folder" \
    --unshare-net --unshare-pid sh -c '
    : >/dev/ttyQSB3
    : >/tmp/zstats.running
    "$@" -d EC25 >/tmp/journal &
    for i in $(seq 600); do
        [ "$(grep -c "^module at+qeng" /tmp/journal)" -lt 2 ] || break
        sleep 0.1
    done
    kill -TERM $!
    wait $!
    echo "exit status $?"
    cat /tmp/journal' - "$@" "$daemon" 2>&1)

# Each in its place behind the one before; others may stand between them.
rest=$journal
while read -r line; do
    case $'\n'$rest$'\n' in
        *$'\n'"$line"$'\n'*) rest=${rest#*"$line"} ;;
        *) printf 'not found in its place: %s\n' "$line" && failed=1 ;;
    esac
done <<'END'
exit status 0
run /usr/bin/cmd_netgen WWAN_RESET
down wwan0
pid file /var/run/zelt-stats.pid
mqtt connect
module open /dev/ttyQSB3
sysdb one of CELL: CELL_REGISTERED int 1
module at+qeng="servingcell"
sysdb start CELL
sysdb CELL_CID int 27447297
sysdb CELL_RSRP int -95
sysdb CELL_SINR real 12.0
sysdb end
sysdb one of CELL: CELL_CARRIER string Test Network
module at+qcainfo
sysdb CELL_BAND_SCC_1 int 3
sysdb delete CELL_BAND_SCC_2
sysdb init 0x20000
sysdb one of CELL: CELL_CONNECTED int 0
mqtt gone
END
[ $failed = 0 ] || printf '%s\n' "$journal"
exit $failed
