#!/usr/bin/env bash
# Compares the names that each DLL exports with those of docs/exports, so that none vanishes unseen. Prints "ok" or
# "FAILED" and what was tried, a line each. tools/test runs it.
#   exports_test.sh TREE
#   exports_test.sh --update TREE    writes the lists anew, after names were added or removed on purpose
. "$(dirname "${BASH_SOURCE[0]}")/../../tools/lib.sh"

UPDATE=
[ "$1" != --update ] || { UPDATE=1 && shift; }
LISTS=$ROOT/docs/exports

exported() {
    x86_64-w64-mingw32-objdump -p "$BUILD/$TREE_NAME/bin/$1.dll" |
        sed -n '/Name Pointer\] Table/,/^$/s/^\t\[ *[0-9]*\]\( +base\[ *[0-9]*\] *[0-9a-f]*\)\{0,1\} *//p' | LC_ALL=C sort
}

TREE_NAME=$1
mkdir -p "$LISTS"
for dll in OrbWatcher4 OrbSettings OrbIndexDB OrbLogging ReadersWriters OnlineHandler; do
    [ -z "$UPDATE" ] || exported "$dll" >"$LISTS/$dll.txt"
    if difference=$(diff "$LISTS/$dll.txt" <(exported "$dll")); then
        printf 'ok %s.dll exports what docs/exports/%s.txt lists\n' "$dll" "$dll"
    else
        printf 'FAILED %s.dll exports other names than docs/exports/%s.txt lists:\n%s\n' "$dll" "$dll" "$difference"
    fi
done
