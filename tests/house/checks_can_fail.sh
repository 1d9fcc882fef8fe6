#!/bin/bash
# The checks themselves: a small sound tree passes, and each way to spoil it is found and named.
set -euo pipefail
here="$(dirname "$(readlink -f "$0")")"
tree="$(mktemp -d)"
trap 'rm -rf "$tree"' EXIT
failed=0

sound_tree() {
    rm -rf "${tree:?}"/*
    mkdir -p "$tree"/{base,daemon,modem,decode,wwan,stats,platform,posix,store,view,host,tools,fuzz} \
        "$tree"/sim/{inside,outside,scenario,stand_ins}
    touch "$tree/base/flag.h" "$tree/platform/store.h"
    printf '#include "base/flag.h"\n#include <string>\n' >"$tree/decode/lte.h"
    printf '#include "decode/lte.h"\n  #  include "platform/store.h"\n' >"$tree/decode/lte.cpp"
    printf '#include "decode/lte.h" // the one decoder\n' >"$tree/daemon/main.cpp"
    printf '#include <lmdb.h>\n#include "posix/descriptor.h"\n' >"$tree/store/environment.cpp"
    touch "$tree/posix/descriptor.h"
    printf '#include "store/environment.h"\n#include "platform/store.h"\n' >"$tree/host/sysdb.cpp"
    printf '%s\n' '```text' 'daemon/main: not/this' '```' '```arrows' 'daemon/main: decode/lte' \
        'decode/lte: base/flag platform/store' 'base/flag:' 'platform/store:' '```' \
        '```folders' 'host: platform store' 'store: posix' 'posix:' \
        'daemon: decode' 'decode: base platform' 'base:' 'platform:' '```' >"$tree/ARCHITECTURE.md"
}

# finds WHY CHECK TEXT COMMAND: after COMMAND in a sound tree, CHECK fails and says TEXT.
finds() {
    local why=$1 check=$2 text=$3 command=$4 output status=0
    sound_tree
    (cd "$tree" && eval "$command")
    output="$("$here/$check.sh" "$tree" 2>&1)" || status=$?
    if [ "$status" = 0 ] || ! grep -qF -- "$text" <<<"$output"; then
        printf 'not found: %s\n    wanted: %s\n    exit status %s: %s\n' "$why" "$text" "$status" "$output"
        failed=1
    fi
}

for check in check_arrows check_walls; do
    sound_tree
    "$here/$check.sh" "$tree" || { echo "$check refuses a sound tree" && failed=1; }
done

finds 'a test that is named and not there' check_named_tests \
    'files.no_such_case is named in docs/, but there is no such test' \
    'mkdir -p docs tests && echo "\`files.no_such_case\`" | tee docs/reliability.md >docs/security.md'
finds 'an include that the table does not have' check_arrows \
    'daemon/main includes base/flag, but' \
    'echo "#include \"base/flag.h\"" >>daemon/main.cpp'
finds 'an arrow that no include uses' check_arrows \
    'decode/lte does not include platform/store' \
    'sed -i /store/d decode/lte.cpp'
finds 'a unit without a line' check_arrows \
    'wwan/route has no line' \
    'touch wwan/route.h'
finds 'a unit without a line, in a folder of a folder' check_arrows \
    'decode/deep/gsm has no line' \
    'mkdir decode/deep && touch decode/deep/gsm.cpp'
finds 'a line without a unit' check_arrows \
    'ARCHITECTURE.md names base/flag, which does not exist' \
    'rm base/flag.h'
finds 'an arrow that leads upwards, as each circle has one' check_arrows \
    'daemon/main stands above decode/lte' \
    'touch daemon/main.h; echo "#include \"daemon/main.h\"" >>decode/lte.cpp; sed -i "s|^decode/lte:|& daemon/main|" ARCHITECTURE.md'
finds 'an arrow to a unit that has no line' check_arrows \
    'host/store has no line of its own' \
    'echo "#include \"host/store.h\"" >>decode/lte.h; sed -i "s|^decode/lte:|& host/store|" ARCHITECTURE.md'
finds 'a unit with two lines: the lower one would hide an arrow upwards' check_arrows \
    'base/flag has two lines' \
    'sed -i "s|^daemon/main:.*|base/flag:\n&|" ARCHITECTURE.md'
finds 'a line that is no line of the table' check_arrows \
    'no colon behind the unit' \
    'sed -i "s|^base/flag:|base/flag|" ARCHITECTURE.md'
finds 'a page without the table' check_arrows \
    'has no table' \
    'sed -i "s|^.*arrows$||" ARCHITECTURE.md'
finds 'an include of a folder that the table does not have' check_arrows \
    'tools includes store, but' \
    'echo "#include \"store/environment.h\"" >tools/view.cpp; sed -i "s|^host:|tools:\n&|" ARCHITECTURE.md'
finds 'a folder without a line' check_arrows \
    'view has no line' \
    'touch view/keys.h'
finds 'a folder that a folder does not include any more' check_arrows \
    'store does not include posix' \
    'echo >store/environment.cpp'
finds 'a folder that includes one above it' check_arrows \
    'host stands above store' \
    'echo "#include \"host/stop.h\"" >>store/environment.cpp; sed -i "s|^store:|& host|" ARCHITECTURE.md'
finds 'a folder of the daemon that includes one above it, though no two units do' check_arrows \
    'decode stands above base' \
    'echo "#include \"decode/bits.h\"" >base/flag.h; touch decode/bits.h
     sed -i -e "s|^base/flag:|& decode/bits\ndecode/bits:|" -e "s|^base:|& decode|" ARCHITECTURE.md'
finds 'a page without the table of folders' check_arrows \
    'begins with ```folders' \
    'sed -i "s|^.*folders$||" ARCHITECTURE.md'

finds 'the daemon reaches into the host' check_walls \
    'decode/lte.h:3:' \
    'echo "#include \"host/store.h\"" >>decode/lte.h'
finds 'the same with angle brackets, blanks, and dots' check_walls \
    'modem/port.cpp:1:' \
    'echo " # include <../tests/fake.h>" >modem/port.cpp'
finds 'an include that is not written from the root' check_walls \
    'decode/lte.cpp:3:' \
    'echo "#include \"lte.h\"" >>decode/lte.cpp'
finds 'an include in angle brackets, which the table of arrows does not see' check_walls \
    'daemon/main.cpp:2:' \
    'echo "#include <stats/x.h>" >>daemon/main.cpp'
finds 'the store'"'"'s library in the daemon' check_walls \
    'stats/map.cpp:1:' \
    'echo "#include <lmdb.h>" >stats/map.cpp'
finds 'the store'"'"'s library in what uses the store' check_walls \
    'host/sysdb.cpp:3:' \
    'echo "#include <lmdb.h>" >>host/sysdb.cpp'
finds 'the broker'"'"'s library in a tool' check_walls \
    'tools/view.h:1:' \
    'echo "#include <mosquitto.h>" >tools/view.h'
finds 'what the keys mean depending on who shows them' check_walls \
    'view/picture.h:1:' \
    'echo "#include \"tools/top/page.h\"" >view/picture.h'
finds 'the language reaches for who plays it' check_walls \
    'sim/scenario/words.cpp:1:' \
    'echo "#include \"sim/inside/player.h\"" >sim/scenario/words.cpp'
finds 'the inside of the box reaches for its outside' check_walls \
    'sim/inside/player.cpp:1:' \
    'echo "#include \"sim/outside/box.h\"" >sim/inside/player.cpp'
finds 'the outside of the box reaches for its inside' check_walls \
    'sim/outside/box.cpp:1:' \
    'echo "#include \"sim/inside/player.h\"" >sim/outside/box.cpp'
finds 'a stand-in needs more than itself' check_walls \
    'sim/stand_ins/stand_in.h:1:' \
    'echo "#include \"sim/scenario/parser.h\"" >sim/stand_ins/stand_in.h'
finds 'a folder that is gone, so that nothing of it is checked' check_walls \
    'there is no folder platform' \
    'rm -r platform'

[ "$failed" = 0 ] && echo "the checks of the house find what they are for"
