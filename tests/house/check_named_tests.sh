#!/bin/bash
# Each test that docs/reliability.md and docs/security.md name is there: `suite.case` in a source, `story.name` as a
# scenario or as a fault of tests/sim/CMakeLists.txt.
set -euo pipefail
root=$1
failed=0

exists() {
    local name=$1
    case $name in
    story.fault.clock_steps.*) [ -f "$root/tests/sim/stories/${name##*.}.scenario" ] ;;
    story.fault.*) grep -q "zelt_add_fault(${name##*.} " "$root/tests/sim/CMakeLists.txt" ;;
    story.*) [ -f "$root/tests/sim/stories/${name#story.}.scenario" ] ;;
    *) grep -rqE "TEST(_F)?\(${name%.*}, ${name#*.}\)" "$root/tests" --include='*_test.cpp' ;;
    esac
}

pages=("$root/docs/reliability.md" "$root/docs/security.md")
names=$(grep -ohE '`[a-z_]+\.[a-z_.]*[a-z]_[a-z_.]*`|`story\.[a-z_.]+`' "${pages[@]}" | tr -d '`' | sort -u)
[ -n "$names" ] || { echo "${pages[*]} name no test" && exit 1; }
for name in $names; do
    exists "$name" || { echo "$name is named in docs/, but there is no such test" && failed=1; }
done
exit $failed
