#!/bin/bash
# check_manuals.sh ROOT BUILD: the manuals against the programs and sources that they speak of. Prints each fault; the exit
# status is 1 when there is one.
set -euo pipefail
root=$1
build=$2
cd "$root"
page=man/cell-keys.md
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
failed=0

# same WHAT A B: two lists, one a line, are equal; otherwise their difference is printed.
same() {
    sort -u "$2" >"$work/a"
    sort -u "$3" >"$work/b"
    [ -s "$work/a" ] || { echo "$1: nothing was found to compare" && failed=1; }
    cmp -s "$work/a" "$work/b" || {
        echo "$1 (< sources, > manual):"
        diff "$work/a" "$work/b" | grep '^[<>]' || true
        failed=1
    }
}

# rows FILE SECTION: the rows of a section's tables, their cells between tabs, without the marks of code.
rows() {
    awk -v section="## $2" '
        /^## / { inside = section == "## " || $0 == section }
        inside && /^\| `/ { gsub(/`/, ""); sub(/^\| /, ""); sub(/ \|$/, ""); gsub(/ \| /, "\t"); print }' "$1"
}

# --- The statistics: each key with its type, and in which technologies a cycle writes it. ---

sed -n 's/^ *{"\(CELL_[A-Z0-9_]*\)", VALUE_\([A-Z]*\), .*/\1 \2/p' stats/cell_catalogue.h |
    sed 's/INTEGER/int/; s/REAL/real/; s/STRING/string/' >"$work/catalogue"
{ rows $page 'The network' && rows $page 'Where in the spectrum' && rows $page 'The signal'; } >"$work/statistics"
awk -F'\t' '{ print $1, $2 }' "$work/statistics" >"$work/documented"
same 'keys and types of the statistics' "$work/catalogue" "$work/documented"

# written LETTERS FILE [TABLE]: the keys in a table of a decoder, or in a whole file, with each of the letters.
written() {
    awk -v letters="$1" -v table="${3-}" '
        /_COLUMNS\[\]/ { inside = table == "" || index($0, " " table "[") }
        /^};/ { if (table != "") inside = 0 }
        {
            while ((inside || table == "") && match($0, /"CELL_[A-Z0-9_]*"/)) {
                for (i = 1; i <= length(letters); ++i) print substr($0, RSTART + 1, RLENGTH - 2), substr(letters, i, 1)
                $0 = substr($0, RSTART + RLENGTH)
            }
        }' "$2"
}
{
    written GWCLNS decode/network_type.cpp
    written G decode/gsm.cpp GSM_COLUMNS
    written W decode/wcdma.cpp WCDMA_COLUMNS | grep -v CELL_RSCP # the statistics have no such key
    written CLN decode/lte.cpp LTE_COLUMNS
    written N decode/nr.cpp NSA_COLUMNS
    written S decode/nr.cpp SA_COLUMNS
    # The queries that follow: the band of WCDMA, the signal of GSM.
    written X decode/follow_up_queries.cpp | sed 's/BAND X/BAND W/; s/X$/G/'
} >"$work/decoders"
awk -F'\t' '{ for (i = 1; i <= length($3); ++i) print $1, substr($3, i, 1) }' "$work/statistics" >"$work/letters"
same 'technologies that write a key' "$work/decoders" "$work/letters"

# --- Every other key. ---

grep -ohE '"CELL_[A-Z0-9_]+"' modem/*.cpp wwan/*.cpp stats/*.cpp | tr -d '"' | grep -vE '_SCC_' >"$work/keys"
grep -oE '"(CELL_[A-Z0-9_]+_SCC_)"' stats/carriers.cpp | tr -d '"' | sed 's/$/N/' >>"$work/keys"
grep -oE '"GPIO_[A-Z0-9_]+"' stats/summary_line.cpp | tr -d '"' >>"$work/keys"
grep -oE '"PORT_[A-Z0-9_]+"' host/sysdb.cpp host/port_record.cpp | cut -d: -f2 | tr -d '"' >>"$work/keys"
cut -d' ' -f1 "$work/catalogue" >>"$work/keys"
rows $page '' | awk -F'\t' '$1 ~ /^(CELL|GPIO|PORT)_/ && $1 !~ /,/ { print $1 }' >"$work/documented"
same 'keys' "$work/keys" "$work/documented"

grep -hE '^ *reset\(' stats/cell_stats_map.cpp | grep -oE 'CELL_[A-Z0-9_]+' >"$work/reset"
rows $page 'What clearing does' | awk -F'\t' '$2 == "-999" { print $1 }' | grep -oE 'CELL_[A-Z0-9_]+[A-Z0-9]' >"$work/documented"
grep -oE 'CELL_(LTE|NR5G)_[A-Z0-9]+' "$work/statistics" >>"$work/documented"
same 'keys that clearing resets' "$work/reset" <(grep -vxE 'CELL_(LTE|NR5G)' "$work/documented")

grep -oE 'NAMES\{.*\}' host/port_record.cpp | grep -oE '"[^"]+"' >"$work/states"
rows $page 'How old it is' | awk -F'\t' '$1 == "PORT_STATE" { print $3 }' | grep -oE '"[^"]+"' >"$work/documented"
same 'states of the port' "$work/states" "$work/documented"

# --- Files, the topic and the lines of the log. ---

grep -ohE '"/(tmp|var/run)/[^"% ]+"' base/*.[hc]* daemon/* modem/* wwan/* stats/* | tr -d '"' |
    grep -vxE '/tmp/fail.cnt' >"$work/files" # of another program: only deleted
grep -ohE '`/(tmp|var/run)/[^`]+`' $page man/zelt-stats.md | tr -d '`' >"$work/documented"
same 'files' "$work/files" "$work/documented"

grep -ohE '"(/usr/s?bin|/sbin|/etc/init.d|/run)/[^" ]+' daemon/*.cpp wwan/*.cpp | tr -d '"' >"$work/commands"
rows man/zelt-stats.md Commands | cut -f1 | grep -v /var/run >"$work/documented"
same 'commands' "$work/commands" "$work/documented"

grep -qF "\`$(grep -ohE '"v1/device/[^"]+' modem/health_check.cpp | tr -d '"')\`" $page || { echo 'the topic' && failed=1; }

# Without what is filled in: numbers, and words in capitals.
grep -ohE 'LOG_ALERT, "[^"]+"' -r base daemon modem wwan | sed 's/LOG_ALERT, //; s/"//g; s/%0.2f/12.34/; s/%s in %s/TEXT in OPERATION/' |
    grep -vx 'exception: %s' >"$work/lines"
echo 'Zelt Stats received SIGTERM' >>"$work/lines" # by the signal handler, which calls no syslog()
awk '/^## Log/ { inside = 1 } inside && /^```/ { code = !code; next } code' $page >"$work/documented"
same 'lines of the log' "$work/lines" "$work/documented"

# --- Options: what the help names, the manual names, and the other way round. ---

options() {
    grep -oE -- '(^|[^-a-z])--[a-z][a-z-]+' | grep -oE -- '--[a-z-]+'
}
help_against_manual() {
    local program=$1 manual=$2
    shift 2
    "$@" 2>&1 | options >"$work/help" || true
    options <"$manual" >"$work/manual" || true
    same "options of $program" "$work/help" "$work/manual"
}
help_against_manual zelt-stats man/zelt-stats.md "$build/zelt-stats" --help
help_against_manual sysdb man/sysdb.md "$build/sysdb" --help
help_against_manual zelt-top docs/zelt-top.md "$build/zelt-top" --help
help_against_manual zelt-sim man/zelt-sim.md "$build/zelt-sim" --help
help_against_manual zelt-name-port man/zelt-name-port.md "$build/deploy/zelt-name-port" --help

# --- The pages as a formatter sees them. ---

for manual in "$build"/man/*.[1-8]; do
    mandoc -Tlint -W warning "$manual" || failed=1
    grep -q "^.TH .* \"zelt.-stats $(sed -n '1s/.*(\(.*\)).*/\1/p' debian/changelog)\"" "$manual" ||
        { echo "$manual does not tell the version" && failed=1; }
done
exit $failed
