#!/bin/sh
# shell_test.sh ROOT BUILD: shellcheck over what is installed and over the packages' own scripts. Skipped (77) without it.
set -eu
cd "$1"
command -v shellcheck >/dev/null || { echo 'no shellcheck' && exit 77; }
shellcheck --severity=warning --shell=sh "$2/deploy/zelt-stats.init" "$2/deploy/zelt-name-port" debian/*.postinst debian/*.postrm
shellcheck --severity=warning --shell=bash deploy/completions/bash/* tests/deploy/*.sh tests/man/*.sh tests/package/*.sh scripts/package scripts/package-check
