#!/bin/bash
# install_test.sh BUILD: what `cmake --install` puts below a prefix works there, beside no build folder, and each program
# belongs to its component.
set -euo pipefail
build=$1
prefix=$(mktemp -d)
trap 'rm -rf "$prefix"' EXIT
failed=0

fault() {
    echo "$1"
    failed=1
}

install_component() {
    cmake --install "$build" --prefix "$prefix" --component "$1" >/dev/null
}

install_component daemon
for program in sbin/zelt-stats bin/sysdb bin/zelt-top; do
    [ -x "$prefix/$program" ] || fault "the component daemon has no $program"
done
[ ! -e "$prefix/bin/zelt-sim" ] || fault 'the component daemon holds the box'

install_component sim
scenarios=$("$prefix/bin/zelt-sim" list)
grep -q '^drive ' <<<"$scenarios" || fault "the installed box knows no drive: $scenarios"

# The daemon is not beside the box, nor is what makes its pauses shorter.
printf 'module EC25\nafter cycle 1\nexpect-log local0.alert\n| Zelt Stats starting\nend\n' >"$prefix/one.scenario"
journal=$("$prefix/bin/zelt-sim" run "$prefix/one.scenario" --speed 10 2>&1) || fault "the installed box: $journal"
exit $failed
