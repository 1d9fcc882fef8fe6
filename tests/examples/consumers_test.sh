#!/bin/bash
# consumers_test.sh ROOT BUILD: the examples, built against what is installed and run on a real database: what they print of a
# snapshot, that a change wakes them, and that they follow a database that is made anew.
set -euo pipefail
set -m # each example in a process group of its own, so that what it has started ends with it
root=$1
build=$2
export PATH=$build:$PATH
work=$(mktemp -d)
running=()
finish() {
    [ ${#running[@]} = 0 ] || kill -- "${running[@]/#/-}" 2>/dev/null || true
    rm -rf "$work"
}
trap finish EXIT
export SYSDB_DIR=$work/sysdb
failed=0

cmake --install "$build" --prefix "$work/prefix" --component dev >/dev/null
sed -i "s|^prefix=.*|prefix=$work/prefix|" "$work/prefix/share/pkgconfig/zelt-sysdb.pc"
export PKG_CONFIG_PATH=$work/prefix/share/pkgconfig
examples=$work/prefix/share/doc/libzelt-sysdb-dev/examples
warnings=(-Wall -Wextra -Wshadow -Wconversion -pedantic -Werror)
read -ra flags < <(pkg-config --cflags --libs zelt-sysdb)
cc -std=gnu99 "${warnings[@]}" "$examples/signal.c" -o "$work/signal" "${flags[@]}"
c++ -std=c++17 "${warnings[@]}" "$examples/carriers.cpp" -o "$work/carriers" "${flags[@]}"
[ "$(pkg-config --modversion zelt-sysdb)" = "$(sed -n '1s/.*(\(.*\)).*/\1/p' "$root/debian/changelog")" ] ||
    { echo 'pkg-config tells another version' && failed=1; }

# says WHY WANTED COMMAND...
says() {
    local why=$1 wanted=$2 said
    shift 2
    said=$("$@" 2>&1) || said+=" (exit status $?)"
    [ "$said" = "$wanted" ] || { printf '%s: "%s"\n    wanted: "%s"\n' "$why" "$said" "$wanted" && failed=1; }
}

# comes_to_say FILE LINE: within 30 s the file ends in this line.
comes_to_say() {
    local deadline=$((SECONDS + 30))
    until [ "$(tail -n 1 "$1")" = "$2" ]; do
        [ $SECONDS -lt $deadline ] || { printf '%s never came to say "%s":\n%s\n' "$1" "$2" "$(cat "$1")" && failed=1 && return; }
        sleep 0.1
    done
}

publish() {
    while read -r key type value; do
        sysdb set CELL "$key" "$type" "$value"
    done
}

# All of them wait before there is anything.
"$work/signal" >"$work/signal.says" & running+=($!)
says 'no database' 'no values: No such file or directory (exit status 1)' "$work/carriers"
comes_to_say "$work/signal.says" 'no values: No such file or directory'

publish <<'END'
CELL_NET_TYPE string LTE
CELL_BAND int 3
CELL_RSRP int -95
CELL_SINR real 12.5
CELL_BAND_SCC_1 int 7
CELL_RSRP_SCC_1 int -999
CELL_BAND_SCC_3 int 20
CELL_RSRP_SCC_3 int -101
END
comes_to_say "$work/signal.says" 'LTE, RSRP -95 dBm, SINR 12.5 dB'
says 'a snapshot in C++' 'primary band 3 RSRP -95
secondary 1 band 7 RSRP -
secondary 3 band 20 RSRP -101' "$work/carriers"
says 'a snapshot in the shell' 'LTE, RSRP -95 dBm' "$examples/signal.sh" --once

"$examples/signal.sh" >"$work/shell.says" & running+=($!)
comes_to_say "$work/shell.says" 'LTE, RSRP -95 dBm'
python=
if python3 -c 'import lmdb' 2>/dev/null; then
    python=yes
    python3 "$examples/follow.py" CELL_RSRP CELL_SINR >"$work/python.says" & running+=($!)
    comes_to_say "$work/python.says" 'CELL_SINR 12.5'
fi

# A change wakes each. The shell's watch may still be starting, so it is told until it says so.
sysdb set CELL CELL_RSRP int -88
comes_to_say "$work/signal.says" 'LTE, RSRP -88 dBm, SINR 12.5 dB'
[ -z "$python" ] || comes_to_say "$work/python.says" 'CELL_RSRP -88'
for ((rsrp = -87; rsrp < -60; ++rsrp)); do
    sysdb set CELL CELL_RSRP int $rsrp
    sleep 0.2
    [ "$(tail -n 1 "$work/shell.says")" != "RSRP $rsrp dBm" ] || break
done
comes_to_say "$work/shell.says" "RSRP $rsrp dBm"

# A value of nobody's form is no value.
sysdb set CELL CELL_SINR string foreign
comes_to_say "$work/signal.says" "LTE, RSRP $rsrp dBm"

# Made anew.
rm -r "$SYSDB_DIR"
comes_to_say "$work/signal.says" 'no values: No such file or directory'
publish <<<'CELL_RSRP int -60'
comes_to_say "$work/signal.says" '?, RSRP -60 dBm'
[ -z "$python" ] || comes_to_say "$work/python.says" 'CELL_RSRP -60'
exit $failed
