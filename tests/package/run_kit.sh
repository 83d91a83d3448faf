#!/usr/bin/env bash
# Runs the kit of tools/package --selftest as Windows would, by cmd.exe, in a Wine prefix without drives E, F and G.
# Prints what it says, and ends as it does.
#   run_kit.sh KIT PREFIX [OPTION...]   KIT is the unpacked folder; PREFIX is made when it is not there; the options
#                                       are those of selftest.cmd
# Afterwards PREFIX/drive_c/kit is the kit with its reports. With KEEP_WINE=1 the prefix's processes go on, so that the
# next run begins at once.
kit=$1
export ORB_WINEPREFIX=$2
shift 2
. "$(dirname "${BASH_SOURCE[0]}")/../../tools/lib.sh"
. "$ROOT/tools/prefix.sh"

# The server goes on until it is ended. By itself it ends with its last program, and a program that begins meanwhile
# fails.
mkdir -p "$PREFIX"
WINEPREFIX=$PREFIX "${WINE%/*}/wineserver64" -p || true # it may be running
make_bare_prefix
rm -rf "$PREFIX/drive_c/kit"
cp -Rl "$kit" "$PREFIX/drive_c/kit"
# The product trusts no file of its own that has a second name, so those that tests read as such are copies.
rm -rf "$PREFIX/drive_c/kit/sources"
cp -R "$kit/sources" "$PREFIX/drive_c/kit/sources"
cd "$PREFIX/drive_c/kit"
# Wine now and then cannot start a program, and says so itself; that says nothing of the kit, which is started again.
for attempt in 1 2 3; do
    status=0
    "$WINE" cmd.exe /c selftest.cmd "$@" </dev/null 2>"$PREFIX/errors" || status=$?
    cat "$PREFIX/errors" >&2
    grep -q '^ShellExecuteEx failed' "$PREFIX/errors" || break
    say "the kit has not begun (attempt $attempt)"
done
[ -n "${KEEP_WINE:-}" ] || "${WINE%/*}/wineserver64" -k || true
exit $status
