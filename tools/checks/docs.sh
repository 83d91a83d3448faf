# The reference of the public headers: every public declaration says what it is.
say "the reference of the public headers"
"$ROOT/tools/docs" >/dev/null || die "something public says nothing of itself"
say "the page of what was measured"
python3 "$ROOT/bench/report.py" --check || die "the page does not show its results"
