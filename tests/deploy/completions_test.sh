#!/bin/bash
# completions_test.sh bash|zsh ROOT BUILD: what the shell offers, word by word, and that each option of a program is offered.
set -euo pipefail
shell=$1
root=$2
build=$3
export PATH=$build:$build/deploy:$PATH
SYSDB_DIR=$(mktemp -d)
export SYSDB_DIR
trap 'rm -rf "$SYSDB_DIR"' EXIT
sysdb set CELL CELL_RSRP int -95
sysdb set CELL CELL_RSRQ int -10
sysdb set GPIO GPIO_TEMP real 41.5
failed=0

# offered LINE: what bash offers at the end of the line, one a line.
offered_by_bash() {
    bash -c '
        set -u
        for file in "$1"/deploy/completions/bash/*; do . "$file"; done
        read -ra COMP_WORDS <<<"$2"
        [[ $2 != *" " ]] || COMP_WORDS+=("")
        COMP_CWORD=$((${#COMP_WORDS[@]} - 1))
        function=$(complete -p "${COMP_WORDS[0]}" | sed "s/.*-F \([^ ]*\) .*/\1/")
        "$function"; printf "%s\n" "${COMPREPLY[@]}"' - "$root" "$1"
}

# The same of a zsh at a terminal of its own: there completion runs in the line editor only.
offered_by_zsh() {
    zsh -f "$root/tests/deploy/offered_by_zsh" "$root/deploy/completions/zsh" "$1"
}

# offers WHY LINE WORD...: exactly these, in any order.
offers() {
    local why=$1 line=$2 found wanted
    shift 2
    found=$("offered_by_$shell" "$line" | sort -u)
    wanted=$(printf '%s\n' "$@" | sort -u)
    [ "$found" = "$wanted" ] || {
        printf '%s: "%s" offers\n%s\n    wanted:\n%s\n' "$why" "$line" "$found" "$wanted"
        failed=1
    }
}

offers 'commands by their beginning' 'sysdb d' databases del
offers 'databases that are there' 'sysdb list ' CELL GPIO
offers 'keys of the database named' 'sysdb get CELL CELL_RSR' CELL_RSRP CELL_RSRQ
offers 'types' 'sysdb set CELL CELL_RSRP ' int real string
offers 'an option' 'zelt-top --pr' --private
offers 'a limit' 'zelt-top --check nr_s' nr_sinr= nr_sqi=
offers 'commands of the box' 'zelt-sim sh' shell
offers 'a shipped scenario' 'zelt-sim run driv' drive
offers 'modules' 'zelt-stats -d EC' EC21 EC25

# What the help of a program names is offered, so that a new option is not forgotten here.
for program in zelt-top zelt-name-port; do
    mapfile -t options < <("$program" --help | grep -oE -- '(^|[ [])--[a-z-]+' | grep -oE -- '--[a-z-]+' | sort -u)
    offers "options of $program" "$program --" "${options[@]}"
done
exit $failed
