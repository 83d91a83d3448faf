#!/usr/bin/env bash
# Makes the kit for Windows and runs a little of it under Wine, as a person would run it on Windows. Prints "ok" or
# "FAILED" and what was tried, a line each. tools/test runs it. tools/check selftest runs the whole kit.
. "$(dirname "${BASH_SOURCE[0]}")/../../tools/lib.sh"
shopt -s nullglob

PLACE=$BUILD/selftest-test
KIT=$PLACE/unpacked/selftest
RUN=$PLACE/prefix/drive_c/kit
FOLDER=$(dirname "${BASH_SOURCE[0]}")

try() {
    local what=$1
    shift
    if "$@"; then printf 'ok %s\n' "$what"; else printf 'FAILED %s\n' "$what"; fi
}

makes_kit() {
    local zip
    zip=$("$ROOT/tools/package" --selftest | tail -n 1) && mkdir -p "$PLACE/unpacked" &&
        (cd "$PLACE/unpacked" && cmake -E tar xf "$zip")
}
has_all_programs() {
    local program
    while IFS= read -r program; do
        [ -s "$KIT/bin/$program.exe" ] || { printf 'missing: %s\n' "$program"; return 1; }
    done <"$BUILD/checks/test-programs.txt"
    cmp "$KIT/test-programs.txt" "$BUILD/checks/test-programs.txt"
}
# Another name makes the program behave otherwise.
add_programs() {
    local name
    for name in "$@"; do
        cp "$KIT/bin/misbehaving.exe" "$KIT/bin/$name.exe"
    done
}
run() { KEEP_WINE=1 "$FOLDER/run_kit.sh" "$KIT" "$PLACE/prefix" "$@" >"$PLACE/said" 2>&1; }
ends_with() {
    local expected=$1 status=0
    shift
    run "$@" || status=$?
    [ $status -eq "$expected" ] || { cat "$PLACE/said"; return 1; }
}
said() { grep -q -E "$1" "$PLACE/said" || { cat "$PLACE/said"; return 1; }; }
is_xml() {
    python3 - "$RUN/report.xml" "$1" <<'END'
import sys
import xml.etree.ElementTree as tree
root = tree.parse(sys.argv[1]).getroot()
found = " ".join(f"{root.get(name)} {name}" for name in ("tests", "failures", "skipped"))
cases = len(root.findall("testsuite/testcase"))
sys.exit(0 if found == sys.argv[2] and cases == int(root.get("tests")) else f"{found}, {cases} cases")
END
}
page_says() { grep -q -F "$1" "$RUN/report.html" || { sed -n '/<body>/,$p' "$RUN/report.html"; return 1; }; }
# The kit, the two reports, and nothing else; no drive; nothing in the folders of the user.
nothing_is_left() {
    local left
    left=$(diff -rq "$KIT" "$RUN" | grep -v -E '^Only in .*: report\.(xml|html)$')
    [ -z "$left" ] || { printf '%s\n' "$left"; return 1; }
    ! ls "$PLACE/prefix/dosdevices" | grep -E '^[d-y]:$' || return 1
    ! find "$PLACE/prefix/drive_c" -path "$RUN" -prune -o -name 'orb-*' -print | grep .
}

end_wine() { [ ! -d "$PLACE/prefix" ] || WINEPREFIX=$PLACE/prefix "${WINE%/*}/wineserver64" -k -w || true; }

trap end_wine EXIT
end_wine
rm -rf "$PLACE"
mkdir -p "$PLACE"
try "making the kit" makes_kit
try "the kit holds every test program" has_all_programs
add_programs fails crashes hangs litters
try "a run without a failed test ends with 0" ends_with 0 mfc_tests windows_tests litters --filter 'CString*:Misbehaving.*:WindowsLinks.*'
try "the totals stand at the end" said '^[0-9]+ passed, 0 failed, [0-9]+ skipped'
try "the page names the reasons of skipped tests" page_says 'FSCTL_SET_REPARSE_POINT'
try "nothing is left but the reports" nothing_is_left
try "a program that fails, crashes or hangs makes the run end with 1" ends_with 1 fails crashes hangs mfc_tests --limit 3
try "the page is written all the same" said '^report.xml and report.html are written'
try "the programs after it run all the same" said '^mfc_tests +[1-9][0-9]* passed, 0 failed'
try "the page says which test failed, and how" page_says 'fails: Misbehaving.Second'
try "the page says which test crashed" page_says 'ended with code 0xC0000005 during this test'
try "the page says which test hung" page_says 'was ended after 3 seconds'
try "nothing is left after them" nothing_is_left
try "a name that is no program ends with 2" ends_with 2 no_such_tests
try "and says so" said 'there is no test program "no_such_tests"'
ln -s "$PLACE" "$PLACE/prefix/dosdevices/f:"
try "a drive F: of the machine keeps all from running" ends_with 2 mfc_tests
try "and is named" said 'in use, and the tests need them: F:\. '
try "and stays" test -L "$PLACE/prefix/dosdevices/f:"
end_wine
rm -rf "$PLACE"
