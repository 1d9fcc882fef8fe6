#!/bin/bash
# unit_test.sh BUILD: systemd's own opinion of the unit. Skipped (77) without systemd.
set -euo pipefail
build=$1
command -v systemd-analyze >/dev/null || { echo 'no systemd-analyze' && exit 77; }
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
failed=0

# A program that is there, and no manuals, which are not installed.
sed -e "s|^ExecStart=[^ ]*|ExecStart=$build/zelt-stats|" -e /^Documentation=/d "$build/deploy/zelt-stats.service" \
    >"$work/zelt-stats.service"
said=$(systemd-analyze verify --man=no "$work/zelt-stats.service" 2>&1) || failed=1
[ -z "$said" ] || { echo "$said" && failed=1; }

# In tenths. A new opening has to be weighed here, and the figure in docs/packages.md changed with it.
if ! said=$(systemd-analyze security --offline=true --threshold=34 "$work/zelt-stats.service"); then
    grep '✗' <<<"$said"
    tail -n 1 <<<"$said"
    failed=1
fi

# The permission to run: given before the daemon starts, taken away behind its end, and never by way of a link.
permission=/tmp/zstats.running
command_of() {
    sed -n "s|^$1=||p" "$build/deploy/zelt-stats.service"
}
in_private_tmp() {
    bwrap --ro-bind / / --dev /dev --tmpfs /tmp --tmpfs /run sh -c "$1"
}
in_private_tmp "ln -s /run/victim $permission; $(command_of ExecStartPre); [ -f $permission ] && [ ! -L $permission ] &&
    [ ! -e /run/victim ]" || { echo 'the permission is not given' && failed=1; }
in_private_tmp "touch $permission; $(command_of ExecStopPost); [ ! -e $permission ]" ||
    { echo 'the permission is not taken away' && failed=1; }
exit $failed
