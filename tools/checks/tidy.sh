# The findings of clang-tidy in the library and in orbwatch. .clang-tidy names its checks, and says why others are left out.
# Its compiler also warns of what ours does not see. Tests and benchmarks are left out: with them it would take twice as
# long.
configure_windows checks -DCMAKE_BUILD_TYPE=Checks
mapfile -t sources < <(python3 "$ROOT/tools/checks/tidy_commands.py" "$ROOT" "$BUILD/checks" "$BUILD/tidy" |
    grep -E "${TIDY_FILES:-.}")
[ ${#sources[@]} -gt 0 ] || die "no source is called so"
say "clang-tidy on ${#sources[@]} files"

# The commands are those of GCC: clang need not know each of its warnings, and what it finds is counted at the end.
tidy_sources() {
    printf '%s\n' "${sources[@]}" | xargs -P "$JOBS" -n 4 "clang-tidy-$CLANG" --quiet -p "$BUILD/tidy" \
        --extra-arg=--target=x86_64-w64-mingw32 --extra-arg=-Wno-unknown-warning-option --extra-arg=-Wno-error
}

# A finding in a header is printed for each source that includes it.
log=$BUILD/logs/tidy.log
mkdir -p "$BUILD/logs"
if ! tidy_sources >"$log" 2>"$BUILD/logs/tidy-errors.log"; then
    grep -hE '^/.*: (warning|error): ' "$log" | sed "s|^$ROOT/||" | sort -u || tail -n 20 "$BUILD/logs/tidy-errors.log" >&2
    die "clang-tidy has findings; build/logs/tidy.log shows the lines"
fi
say "${#sources[@]} files, no finding"
