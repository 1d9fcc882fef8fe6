#!/bin/bash
# procd_test.sh BUILD: the procd script under stand-ins of procd's functions, in folders of its own.
set -euo pipefail
build=$1
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
failed=0

# What /etc/rc.common and procd's library do with a script, as far as this one uses them: each call is a line.
cat >"$work/rc.common" <<'END'
. "$1"
for function in procd_open_instance procd_set_param procd_close_instance; do
    eval "$function() { set -- $function \"\$@\"; echo \"\$*\"; }"
done
case $2 in
    start) start_service ;;
    stop) echo procd_kill && service_stopped ;;
esac
END

# run WHY ACTION WANTED: the calls of one action, then what is in /tmp and how the database's folder stands.
run() {
    local why=$1 prepare=$2 action=$3 wanted=$4 said
    said=$(bwrap --ro-bind / / --unshare-user --uid 0 --gid 0 --dev /dev --tmpfs /run --tmpfs /etc/default --tmpfs /tmp \
        --ro-bind "$work" /mnt --ro-bind "$build/deploy/zelt-stats.init" /run/zelt-stats \
        --ro-bind "$work/group" /etc/group sh -c "$prepare
            sh /mnt/rc.common /run/zelt-stats $action 2>&1
            ls -l /tmp | sed -n 's/.* \(zstats.*\)/\1/p'; stat -c '%a %G' /run/sysdb 2>/dev/null || :")
    [ "$said" = "$wanted" ] || { printf '%s:\n%s\n    wanted:\n%s\n' "$why" "$said" "$wanted" && failed=1; }
}

daemon=$(sed -n 's/.*procd_set_param command \([^ ]*\) .*/\1/p' "$build/deploy/zelt-stats.init")
started="procd_set_param respawn 60 5 5
procd_set_param stderr 1
procd_set_param term_timeout 90
procd_close_instance
zstats.running"

printf 'root:x:0:\nzelt:x:0:\n' >"$work/group"
run 'a start' : start "procd_open_instance
procd_set_param command $daemon
$started
2750 root"
run 'options' 'echo "ZELT_STATS_OPTIONS=\"-d EC25\"" >/etc/default/zelt-stats' start "procd_open_instance
procd_set_param command $daemon -d EC25
$started
2750 root"
run 'the permission follows no link' 'echo mine >/run/file; ln -s /run/file /tmp/zstats.running' start "procd_open_instance
procd_set_param command $daemon
$started
2750 root"
run 'a stop' 'touch /tmp/zstats.running' stop procd_kill
printf 'root:x:0:\n' >"$work/group"
run 'no group of readers' : start "procd_open_instance
procd_set_param command $daemon
$started
700 root"
exit $failed
