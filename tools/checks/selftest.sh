# The whole kit for Windows, run by cmd.exe under the Wine of this machine, in a prefix of its own. Its reports are left
# in build/selftest.
PLACE=$BUILD/selftest
rm -rf "$PLACE"
mkdir -p "$PLACE"
zip=$("$ROOT/tools/package" --selftest | tail -n 1)
(cd "$PLACE" && cmake -E tar xf "$zip")
status=0
"$ROOT/tests/package/run_kit.sh" "$PLACE/selftest" "$PLACE/prefix" >&2 || status=$?
cp "$PLACE"/prefix/drive_c/kit/report.* "$PLACE"
[ $status -eq 0 ] || die "the kit ended with $status; $PLACE/report.html says more"
