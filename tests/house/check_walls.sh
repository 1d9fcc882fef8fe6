#!/bin/sh
# check_walls.sh ROOT: the daemon's folders know nothing of what surrounds them, a library behind one folder stays there,
# and the rooms of the box keep apart. Prints each fault as file:line; the exit status is 1 when there is one.
set -eu
cd "$1"
daemon='base daemon modem decode wwan stats platform'
faults=0

# wall TEXT PATTERN FOLDER...: no #include of a file in these folders may match PATTERN.
wall() {
    text=$1
    pattern=$2
    shift 2
    for folder in "$@"; do
        [ -d "$folder" ] || { echo "walls: there is no folder $folder" && faults=1 && continue; }
        if grep -rnE --include='*.h' --include='*.cpp' "^[[:blank:]]*#[[:blank:]]*include[[:blank:]]*$pattern" "$folder"
        then
            echo "walls: $text"
            faults=1
        fi
    done
}

# shellcheck disable=SC2086
{
    wall 'the daemon must not know what surrounds it' '["<](\.\./)*(posix|store|view|host|sim|tools|tests|fuzz)/' $daemon
    wall 'the project'"'"'s own files are included as "folder/file.h", from the root' \
        '("([^/"]*|\.[^"]*)"|<(base|daemon|modem|decode|wwan|stats|platform)/)' $daemon
    wall 'view/ knows the values of the store and the time, and nothing else of the house' \
        '["<](\.\./)*(base|daemon|modem|decode|wwan|stats|platform|host|sim|tools|tests|fuzz)/' view
    # Outside the box and inside it are two programs; both read scenarios, and nothing of either is needed for that.
    wall 'the language of scenarios must not know who plays it' '["<](\.\./)*sim/(inside|outside|stand_ins|handover)' sim/scenario
    wall 'outside the box nothing is known of its inside' '["<](\.\./)*sim/(inside|stand_ins)/' sim/outside
    wall 'inside the box nothing is known of its outside' '["<](\.\./)*sim/outside/' sim/inside
    wall 'a stand-in is a program of its own' '["<](\.\./)*sim/(inside|outside|scenario)/' sim/stand_ins
    wall 'only store/ may use this library' '["<](\.\./)*lmdb\.h' $daemon posix view host sim tools fuzz
    # The box's broker has a subscriber of its own.
    wall 'only host/ and the box may use this library' '["<](\.\./)*mosquitto\.h' $daemon posix store view tools fuzz
}
exit "$faults"
