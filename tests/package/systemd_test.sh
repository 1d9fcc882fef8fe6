#!/bin/bash
# systemd_test.sh: the amd64 packages in build/package on a machine that systemd runs: a fresh Debian 12 with systemd as its
# first process, in namespaces of its own, that is thrown away. As root, after scripts/package; exit status 77 where the
# kernel lets nobody have that.
set -euo pipefail
cd "$(dirname "$(readlink -f "$0")")/../.."
mirror=${ZELT_MIRROR:-http://deb.debian.org/debian}
mounts=$(awk '$3 == "cgroup2" { print $2; exit }' /proc/mounts)
own=$(sed -n 's/^0:://p' /proc/self/cgroup)
group=${mounts}${own%/}/zelt-package-$$
if [ "$(id -u)" != 0 ] || [ -z "$mounts" ] || ! mkdir "$group" 2>/dev/null; then
    echo 'systemd: not tried: it takes root, and a control group of its own'
    exit 77
fi
work=$(mktemp -d)
cleanup() {
    rm -rf "$work"
    find "$group" -depth -type d -exec rmdir {} + 2>/dev/null || true
}
trap cleanup EXIT
chmod 755 "$work" # apt of the new system reads it under another user

mapfile -t packages < <(ls build/package/amd64/zelt-{stats,sim}_*_amd64.deb)
needed=$(for package in "${packages[@]}"; do dpkg-deb --field "$package" Depends; done | tr , '\n' | sed 's/[(|].*//' | tr -d ' ' |
    grep -v ^zelt- | sort -u | paste -sd,)
mmdebstrap --quiet --variant=apt --include="systemd,systemd-sysv,dbus,passwd,$needed" bookworm "$work/root" \
    "deb $mirror bookworm main" >"$work/log" 2>&1 || { tail -n 20 "$work/log" && exit 1; }
mkdir "$work/root/trial"
cp "${packages[@]}" tests/package/in_systemd.sh tests/package/module.pl "$work/root/trial"
# What tries the packages is a service too, and the machine ends behind it.
cat >"$work/root/etc/systemd/system/trial.service" <<'END'
[Service]
Type=oneshot
ExecStart=/bin/bash /trial/in_systemd.sh
ExecStopPost=/bin/systemctl --quiet --no-block --force --force poweroff
StandardOutput=append:/trial/said
StandardError=append:/trial/said
END
mkdir -p "$work/root/etc/systemd/system/multi-user.target.wants"
ln -s ../trial.service "$work/root/etc/systemd/system/multi-user.target.wants"

# The switches of this machine's kernel, and /sys, can only be read: systemd takes that for a container, and lets both alone.
# shellcheck disable=SC2016  # the variables are the inner shell's
machine='
    set -e
    root=$1
    mount --bind "$root" "$root"
    mount -t proc proc "$root/proc"
    mount --bind "$root/proc/sys" "$root/proc/sys"
    mount -o remount,bind,ro "$root/proc/sys"
    mount -t sysfs sysfs "$root/sys"
    mount -t cgroup2 cgroup2 "$root/sys/fs/cgroup"
    mount -o remount,bind,ro "$root/sys"
    mount -t tmpfs -o mode=755 tmpfs "$root/dev"
    for device in null zero full random urandom tty; do
        : >"$root/dev/$device"
        mount --bind "/dev/$device" "$root/dev/$device"
    done
    mkdir "$root/dev/pts" "$root/dev/shm"
    mount -t devpts -o newinstance,ptmxmode=666 devpts "$root/dev/pts"
    ln -s pts/ptmx "$root/dev/ptmx"
    for folder in dev/shm run tmp; do mount -t tmpfs tmpfs "$root/$folder"; done
    chmod 755 "$root/run"
    ip link set lo up
    mkdir "$root/outside"
    cd "$root"
    pivot_root . outside
    umount -l /outside
    exec env -i container=zelt PATH=/usr/sbin:/usr/bin:/sbin:/bin /lib/systemd/systemd --log-target=console'
# In the control group before the namespace is made, which is then all that systemd sees.
timeout 300 bash -c 'echo $$ >"$1/cgroup.procs" && exec unshare --pid --mount --uts --ipc --net --cgroup --fork --kill-child \
    --propagation private bash -c "$2" machine "$3"' - "$group" "$machine" "$work/root" </dev/null >"$work/log" 2>&1 || true
if [ ! -s "$work/root/trial/said" ]; then
    tail -n 5 "$work/log"
    echo 'systemd: not tried: it did not start here'
    exit 77
fi
cat "$work/root/trial/said"
grep -q '^systemd: purged' "$work/root/trial/said"
