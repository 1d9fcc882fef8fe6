#!/bin/bash
# in_systemd.sh: what systemd_test.sh starts, on a machine of its own. Ends with a sentence at the first fault.
set -euo pipefail
cd /trial
export DEBIAN_FRONTEND=noninteractive LC_ALL=C.UTF-8 HOME=/root

fault() {
    echo "systemd: FAULT: $1"
    journalctl --no-pager -n 15
    exit 1
}

# becomes SENTENCE COMMAND...: within a minute.
becomes() {
    for ((i = 0; i < 300; ++i)); do
        ! "${@:2}" >/dev/null 2>&1 || return 0
        sleep 0.2
    done
    fault "$1"
}

value_is() {
    [ "$(setpriv --reuid reader --regid reader --init-groups sysdb get CELL "$1")" = "$2" ]
}

useradd --create-home reader
apt-get -q -y --no-install-recommends install ./zelt-*.deb >/trial/apt.log 2>&1 || { cat apt.log && fault 'apt-get install'; }
! grep -q 'systemd does not run' apt.log || fault 'systemd was not seen'
becomes 'the service does not run' systemctl is-active zelt-stats
[ -e /tmp/zstats.running ] || fault 'no permission to run'
systemctl is-enabled --quiet zelt-stats || fault 'the service does not start with the machine'

usermod --append --groups zelt reader
perl /trial/module.pl /dev/ttyQSB3 &
sed -i 's/NONE/EC25/' /etc/zelt/config.json
becomes 'a reader sees no RSRP' value_is CELL_RSRP -95
becomes 'a reader sees no registration' value_is CELL_REGISTERED 1
journalctl -t cell --no-pager | grep -q 'Zelt Stats starting' || fault 'no log under the name "cell"'
echo 'systemd: the service runs, a reader has values'

first=$(systemctl show -P MainPID zelt-stats)
kill -SEGV "$first"
started_again() {
    [ "$(systemctl show -P NRestarts zelt-stats)" = 1 ] && systemctl is-active --quiet zelt-stats
}
becomes 'no new start after a crash' started_again
rm -f /tmp/zelt.cli # a crash within an exchange leaves the port's lock behind, and the daemon waits for it
becomes 'no values after a crash' value_is CELL_RSRP -95
systemctl stop zelt-stats
[ ! -e /tmp/zstats.running ] || fault 'the permission outlives the service'
[ "$(systemctl show -P Result zelt-stats)" = success ] || fault 'a stop is a failure'
systemctl start zelt-stats
becomes 'no values after a new start' value_is CELL_RSRP -95
echo 'systemd: a crash, a stop and a start'
systemd-analyze security zelt-stats.service --no-pager | tail -n 1 | grep -oE 'Overall.*[A-Z]+' | sed 's/^/systemd: /'

apt-get -q -y remove zelt-stats >/trial/apt.log 2>&1 || { cat apt.log && fault 'apt-get remove'; }
! systemctl is-active --quiet zelt-stats || fault 'the service outlives its package'
[ ! -e /tmp/zstats.running ] || fault 'the permission outlives the package'
gpasswd --delete reader zelt >/dev/null
apt-get -q -y purge zelt-stats >/trial/apt.log 2>&1 || { cat apt.log && fault 'apt-get purge'; }
for left in /run/sysdb /etc/zelt /etc/default/zelt-stats /lib/systemd/system/zelt-stats.service /run/zelt-stats.pid \
    /etc/systemd/system/multi-user.target.wants/zelt-stats.service; do
    [ ! -e "$left" ] && [ ! -L "$left" ] || fault "left: $left"
done
! getent group zelt >/dev/null || fault 'the group is left'
[ -z "$(systemctl list-units --all --plain --no-legend 'zelt*')" ] || fault 'systemd still knows the service'
echo 'systemd: purged, nothing left'
