#!/bin/sh
# check_arrows.sh ROOT: the table of arrows in ROOT/ARCHITECTURE.md says what the daemon's folders include, no more and
# no less, and every arrow leads to a line further down. Prints each fault; the exit status is 1 when there is one.
set -eu
cd "$1"
folders='base daemon modem decode wwan stats platform'

{
    # "from to": one line for each include of the project, a unit being a path without its ending.
    # shellcheck disable=SC2086
    find $folders -name '*.h' -o -name '*.cpp' | while read -r file; do
        echo "unit ${file%.*}"
        sed -n 's/^[[:blank:]]*#[[:blank:]]*include[[:blank:]]*"\([^"]*\)".*/\1/p' "$file" |
            sed -e 's/\.h$//' -e "s|^|include ${file%.*} |"
    done
    # shellcheck disable=SC2016
    sed -n '/^```arrows$/,/^```$/{/^```/!s/^/table /p;}' ARCHITECTURE.md
} | awk '
    function fault(text) { print "include arrows: " text; faults++ }
    $1 == "unit" { exists[$2] = 1 }
    $1 == "include" && $2 != $3 { used[$2 " " $3] = 1 }
    $1 == "table" {
        unit = $2
        if (sub(/:$/, "", unit) != 1) fault("ARCHITECTURE.md: no colon behind the unit: " $0)
        if (unit in place) fault("ARCHITECTURE.md: " unit " has two lines")
        place[unit] = ++places
        for (i = 3; i <= NF; i++) arrow[unit " " $i] = 1
    }
    END {
        if (!places) fault("ARCHITECTURE.md has no table (a block that begins with ```arrows)")
        for (unit in exists) if (!(unit in place)) fault(unit " has no line in ARCHITECTURE.md")
        for (unit in place) if (!(unit in exists)) fault("ARCHITECTURE.md names " unit ", which does not exist")
        for (a in used) {
            split(a, ends, " ")
            if (!(a in arrow)) fault(ends[1] " includes " ends[2] ", but ARCHITECTURE.md has no such arrow")
        }
        for (a in arrow) {
            split(a, ends, " ")
            if (!(a in used)) fault("ARCHITECTURE.md: " ends[1] " does not include " ends[2] " (any more)")
            if (!(ends[2] in place)) fault("ARCHITECTURE.md: " ends[2] " has no line of its own")
            else if (place[ends[2]] <= place[ends[1]])
                fault("ARCHITECTURE.md: " ends[2] " stands above " ends[1] ", which includes it")
        }
        if (faults) exit 1
        print "include arrows: " places " units, as ARCHITECTURE.md says"
    }'
