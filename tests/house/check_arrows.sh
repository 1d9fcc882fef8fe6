#!/bin/sh
# check_arrows.sh ROOT: the tables of arrows in ROOT/ARCHITECTURE.md say what includes what, no more and no less, and every
# arrow leads to a line further down. All is checked folder by folder, the daemon's folders unit by unit besides.
# Prints each fault; the exit status is 1 when there is one.
set -eu
cd "$1"
daemon='base daemon modem decode wwan stats platform'
around='posix store view host sim tools'

# includes FOLDER...: "unit X" for each unit, a path without its ending, and "include X Y" for each include of the project.
includes() {
    find "$@" -name '*.h' -o -name '*.cpp' | while read -r file; do
        echo "unit ${file%.*}"
        sed -n 's/^[[:blank:]]*#[[:blank:]]*include[[:blank:]]*"\([^"]*\)".*/\1/p' "$file" |
            sed -e 's/\.h$//' -e "s|^|include ${file%.*} |"
    done
}

# Folders in place of units. One that is included counts as there, whatever it includes itself.
folders_only() {
    sed -e 's| \([^/ ]*\)/[^ ]*| \1|g' -e 's|^include [^ ]* \(.*\)|&\nunit \1|'
}

# held_against BLOCK: what comes in is what the table in this block of ARCHITECTURE.md says.
held_against() {
    # shellcheck disable=SC2016
    { cat && sed -n '/^```'"$1"'$/,/^```$/{/^```/!s/^/table /p;}' ARCHITECTURE.md; } | awk -v block="$1" '
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
        if (!places) fault("ARCHITECTURE.md has no table (a block that begins with ```" block ")")
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
        print "include arrows: " places " lines of " block ", as ARCHITECTURE.md says"
    }'
}

existing() {
    for folder in "$@"; do
        [ ! -d "$folder" ] || echo "$folder"
    done
}

faults=0
# shellcheck disable=SC2046,SC2086
{
    includes $daemon | held_against arrows || faults=1
    includes $daemon $(existing $around) | folders_only | held_against folders || faults=1
}
exit "$faults"
