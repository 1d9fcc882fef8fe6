#!/bin/bash
# What scripts/fuzz-seeds gathers, byte by byte: a fuzzer passes as gladly without a seed.
set -euo pipefail
root=$1
seeds="$(mktemp -d)"
trap 'rm -rf "$seeds"' EXIT
failed=0
"$root/scripts/fuzz-seeds" "$seeds"

# holds WHY FUZZER TEXT: one of the fuzzer's seeds is exactly TEXT, with its escapes.
holds() {
    local why=$1 fuzzer=$2 text=$3 seed
    for seed in "$seeds/$fuzzer"/*; do
        ! printf '%b' "$text" | cmp -s - "$seed" || return 0
    done
    printf 'no seed of %s: %s\n    wanted: %s\n' "$fuzzer" "$why" "$text"
    failed=1
}

holds 'the line alone where the daemon is handed a line' fuzz_follow_up '+CSQ: 5,99'
holds 'a line among other answers' fuzz_follow_up '+QNWINFO: No Service'
holds 'a line of the serving cell among others' fuzz_serving_cell_4g \
    '+QENG: "servingcell","NOCONN","LTE","FDD",222,88,243800E,20,3350,7,5,5,3AC9,-86,-13,-52,15,-'
holds 'the whole answer with its echo, and a blank written as an escape' fuzz_serving_cell_5g \
    'at+qeng="servingcell"\r\r\n+QENG: "NR5G-NSA", 460, 00,570,-90,64,-11 \r\n\r\nOK\r\n'
holds 'no echo, and line ends of its own' fuzz_serving_cell_5g \
    'AT+QENG="servingcell"\n+QENG: "servingcell","NOCONN"\n+QENG: "LTE","FDD",204,08,158110C,437,6400,20,3,3,7B0D,-97,-15,-65,9,5,180,-\n+QENG: "NR5G-NSA",204,08,889,-97,-1,-14,154570,28,1,0\n\nOK\n'
holds 'carriers' fuzz_carrier_aggregation 'at+qcainfo\r\r\n+QCAINFO: "PCC",516270,12,"NR5G BAND 41",335\r\n\r\nOK\r\n'
nonsense='\x01\xff\x1b[2J\r\r\x00IPv4 addr\nIPv4 subnet mask:255.255.255.248\n'
holds 'settings of a module that passes the MTU on' fuzz_ipv4_settings " $nonsense"
holds 'settings of a module whose MTU is fixed' fuzz_ipv4_settings "1$nonsense"
holds 'the configuration' fuzz_configuration '{"hardware": {"wireless": {"cell": {"module": "EC25"}}}}\n'
holds 'an answer as it comes over the port' fuzz_at_exchange 'at+cereg?\r\r\n+CEREG: 0,1\r\n\r\nOK\r\n'
[ -s "$seeds/fuzz_scenario/first_connection.scenario" ] || { echo 'no seed of fuzz_scenario' && failed=1; }
holds 'one made by hand' fuzz_ipv4_settings ' MTU: 0\n'
exit $failed
