#!/usr/bin/env bash
# Runs tools/check over pieces of its own, in a copy of the commands without the project. Prints "ok" or "FAILED" and
# what was tried, a line each. tools/test runs it.
set -uo pipefail
TOOLS=$(cd "$(dirname "${BASH_SOURCE[0]}")/../../tools" && pwd)
PLACE=$(mktemp -d)
trap 'rm -rf "$PLACE"' EXIT

mkdir -p "$PLACE/tools/checks" "$PLACE/bin"
cp "$TOOLS/check" "$TOOLS/lib.sh" "$PLACE/tools/"
printf '#!/bin/sh\n' >"$PLACE/tools/bootstrap"
# Every package counts as installed.
printf '#!/bin/sh\necho "install ok installed"\n' >"$PLACE/bin/dpkg-query"
chmod +x "$PLACE/tools/bootstrap" "$PLACE/bin/dpkg-query"
export PATH=$PLACE/bin:$PATH

piece() { printf '%s\n' "$2" >"$PLACE/tools/checks/$1.sh"; }
piece good 'say "good has run"'
piece dies 'die "something is wrong"'
# The command in the middle fails without a word.
piece breaks $'false\nsay "breaks went on"'
piece last 'say "last has run"'

try() {
    local what=$1
    shift
    if "$@"; then printf 'ok %s\n' "$what"; else printf 'FAILED %s\n' "$what" && sed 's/^/    /' "$PLACE/said"; fi
}
check() { "$PLACE/tools/check" "$@" >"$PLACE/said" 2>&1; }
said() { grep -qE "$1" "$PLACE/said"; }
silent() { ! said "$1"; }
exits() {
    local expected=$1 status=0
    shift
    check "$@" || status=$?
    [ $status -eq "$expected" ]
}

try "a failed piece makes the exit code 1" exits 1 good dies breaks last
try "a failed piece does not keep later ones from running" said '^last has run'
try "a command that fails ends its piece" silent '^breaks went on'
try "each piece that passed has its line, with its time" said '^last: passed after [0-9]+ s$'
try "each piece that failed has its line, with its time" said '^dies: FAILED after [0-9]+ s$'
try "the end names the pieces that failed" said '^error: failed: dies breaks$'
try "without a failure the exit code is 0" exits 0 good last
try "the end names the pieces that passed" said '^passed: good last$'
try "a piece that does not exist keeps all from running" exits 1 good missing
try "a piece that does not exist is named" said 'there is no piece missing'
