#!/bin/sh
# version_test.sh VERSION FOLDER: each program in FOLDER tells VERSION when it is asked; the daemon, which cannot be
# asked, holds it where `strings` finds it. Prints each fault; the exit status is 1 when there is one.
set -u
faults=0
for program in sysdb zelt-top zelt-sim; do
    told=$("$2/$program" --version)
    [ "$told" = "$program $1" ] || { echo "$program --version says \"$told\"" && faults=1; }
done
# Text of its own in the binary: bounded by bytes that end a string.
grep -aqz "^zelt-stats version $1\$" "$2/zelt-stats" || { echo "zelt-stats holds no version $1" && faults=1; }
exit "$faults"
