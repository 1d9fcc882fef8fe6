#!/bin/bash
# in_clean_root.sh ARCHITECTURE: inside the system that clean_root_test.sh makes. Ends with a sentence at the first fault.
set -euo pipefail
arch=$1
cd /packages
export DEBIAN_FRONTEND=noninteractive LC_ALL=C.UTF-8 PATH=/usr/sbin:/usr/bin:/sbin:/bin

fault() {
    echo "clean root: FAULT: $1"
    exit 1
}

apt_get() {
    apt-get -q -y --no-install-recommends "$@" >/packages/apt.log 2>&1 || { cat /packages/apt.log && fault "apt-get $*"; }
}

command_of() {
    sed -n "s/^$1=//p" /lib/systemd/system/zelt-stats.service
}

# Everything but what each package leaves its traces in.
all_files() {
    find / -xdev \( -path /packages -o -path /proc -o -path /sys -o -path /var/lib/dpkg -o -path /var/cache -o -path /var/log \
        -o -path /var/lib/apt -o -path /var/lib/systemd/deb-systemd-helper-enabled \) -prune -o -print | sort
}

if [ "$arch" = armhf ]; then
    apt_get install ./armhf/zelt-stats_*.deb
    echo 'clean root: installed for armhf'
    exit 0
fi

# Machines have an administrator's user; its being there must not count as a trace.
useradd --create-home reader
useradd --create-home stranger

# What the packages need stays behind when they go, as apt wants it: so it comes first.
apt-get -q update >/dev/null
mapfile -t needed < <(for package in new/*.deb; do dpkg-deb --field "$package" Depends; done | tr -d ' ' | tr , '\n' |
    sed 's/(.*//; s/|.*//' | grep -v ^zelt- | sort -u)
apt_get install "${needed[@]}"
all_files >/packages/before
getent group | sort >/packages/groups

# --- A full disk: a sentence, and nothing of a package that does not fit ---

# full FOLDER COMMAND...: fails while nothing more fits into the folder.
full() {
    local folder=$1 copy
    shift
    copy=$(mktemp -d)
    mkdir -p "$folder"
    cp -a "$folder/." "$copy"
    mount -t tmpfs -o size=256k,mode=755 tmpfs "$folder"
    cp -a "$copy/." "$folder"
    dd if=/dev/zero of="$folder/ballast" 2>/dev/null || true
    ! "$@" >/packages/full.log 2>&1 || fault "on a full disk: $*"
    grep -q 'No space left on device' /packages/full.log || { cat /packages/full.log && fault 'no word of the full disk'; }
    umount "$folder"
    rm -rf "$copy" /run/mount # the second is of mount(8)
    rmdir "$folder" 2>/dev/null || true
}

full /usr/share/zelt-stats apt-get -q -y --no-install-recommends install ./new/*.deb
dpkg --purge zelt-stats zelt-sim libzelt-sysdb-dev >/dev/null 2>&1 || fault 'what did not fit cannot be purged'
all_files >/packages/after
diff /packages/before /packages/after >/packages/left || fault "left of what did not fit: $(cat /packages/left)"

# --- Install: on a machine where a source build has run, which let root alone read ---

mkdir -m 0700 /run/sysdb
install -m 0600 /dev/null /run/sysdb/data.mdb
install -m 0600 /dev/null /run/sysdb/lock.mdb
apt_get install ./new/*.deb
grep -q 'systemd does not run here' apt.log || fault 'no word that nothing starts the daemon'
grep -q 'name the module in /etc/zelt/config.json' apt.log || fault 'no word about the module'
for program in sysdb zelt-top zelt-sim; do
    [ "$($program --version)" = "$program $(dpkg-query -W -f '${Version}' zelt-stats)" ] || fault "$program --version"
done
[ "$(stat -c '%a %U %G' /run/sysdb)" = '2750 root zelt' ] || fault "the database's folder: $(stat -c '%a %U %G' /run/sysdb)"
[ -e /lib/systemd/system/zelt-stats.service ] || fault 'no service'
systemctl is-enabled --quiet zelt-stats || fault 'the service does not start with the machine'
for package in zelt-stats zelt-sim libzelt-sysdb-dev; do
    grep -q 'No licence has been chosen' /usr/share/doc/$package/copyright || fault "the copyright of $package"
done
zelt-sim list | grep -q '^drive ' || fault 'no scenarios'

# --- Use: the daemon as the service starts it, a port under the name that udev gives, values for a member of the group ---

usermod --append --groups zelt reader
sed -i 's/NONE/EC25/' /etc/zelt/config.json
eval "$(command_of ExecStartPre)"
: >/dev/ttyQSB3 # somebody who never answers
zelt-stats & daemon=$!
for ((i = 0; i < 300; ++i)); do
    [ "$(sysdb get CELL CELL_CONNECTED 2>/dev/null)" != 0 ] || [ ! -e /run/zelt-stats.pid ] || break
    sleep 0.2
done
as() {
    setpriv --reuid "$1" --regid "$1" --init-groups "${@:2}"
}
sysdb get CELL CELL_RSSIMON >/packages/seen || fault 'the daemon published nothing'
grep -q 'no roam' /packages/seen || fault "the summary: $(cat /packages/seen)"
as reader sysdb get CELL CELL_RSSIMON >/dev/null || fault 'a member of the group reads nothing'
as reader zelt-top --once >/dev/null || fault 'a member of the group sees no picture'
! as reader sysdb set CELL CELL_RSRP int 1 2>/dev/null || fault 'a member of the group may write'
echo 'clean root: the group of readers reads'
! as stranger sysdb list CELL >/dev/null 2>&1 || fault 'a stranger reads the subscriber'
echo 'clean root: installed, the daemon runs'

# --- Upgrade: what the administrator wrote stays, and the daemon's values with it ---

full /usr/share/zelt-stats apt-get -q -y install ./next/*.deb
[ "$(zelt-top --version)" = "zelt-top $(dpkg-query -W -f '${Version}' zelt-stats)" ] || fault 'an upgrade that did not fit broke it'
[ "$(dpkg-query -W -f '${db:Status-Abbrev}' zelt-stats)" = 'ii ' ] || fault 'an upgrade that did not fit left the package broken'
echo 'clean root: a full disk breaks nothing'
apt_get install ./next/*.deb
grep -q EC25 /etc/zelt/config.json || fault 'the upgrade lost the configuration'
sysdb get CELL CELL_CONNECTED >/dev/null || fault 'the upgrade lost the values'
[ "$(stat -c '%a %G' /run/sysdb)" = '2750 zelt' ] || fault 'the upgrade changed the folder'
kill $daemon
wait $daemon || fault "the daemon ended with $?"
eval "$(command_of ExecStopPost)"
[ ! -e /tmp/zstats.running ] || fault 'the permission is still there'
echo 'clean root: upgraded'

# --- Remove, then purge: nothing is left, but for who is a member of the group ---

apt_get remove zelt-stats zelt-sim libzelt-sysdb-dev
[ ! -e /usr/sbin/zelt-stats ] && [ -e /etc/zelt/config.json ] || fault 'remove took too little or too much'
apt_get purge zelt-stats # the others have nothing that removing leaves
getent group zelt >/dev/null || fault 'the purge took the group of a member'
rm -f /dev/ttyQSB3
gpasswd --delete reader zelt >/dev/null
all_files >/packages/after
diff /packages/before /packages/after >/packages/left || fault "left or lost: $(cat /packages/left)"

# A second time with nobody in the group; on the way, a machine with an older configuration.
mkdir -p /etc/zelt && echo '{}' >/etc/zelt/config.json
apt_get -o Dpkg::Options::=--force-confold install ./new/zelt-stats_*.deb
[ "$(cat /etc/zelt/config.json)" = '{}' ] || fault 'an older configuration was lost'
apt_get purge zelt-stats
getent group | sort | diff /packages/groups - || fault 'a group is left'
echo 'clean root: removed and purged, nothing left'
