# The portable modules, built for this machine itself, and their tests: once for addresses and undefined behaviour,
# once for data races.

# run_native TREE: its test programs; prints how many tests passed.
run_native() {
    local tree=$1 passed=0 program log
    while IFS= read -r program; do
        [ -n "$program" ] || continue
        log=$BUILD/logs/$tree-$program.log
        (cd "$BUILD/$tree/bin" && "./$program" --gtest_brief=1 >"$log" 2>&1) ||
            { tail -n 60 "$log" >&2; die "$program failed in build/$tree"; }
        passed=$((passed + $(sed -nE 's/^\[  PASSED  \] ([0-9]+) tests?.*/\1/p' "$log")))
    done <"$BUILD/$tree/test-programs.txt"
    printf '%d\n' "$passed"
}

for sanitizer in address thread; do
    say "portable modules with the $sanitizer sanitizer"
    configure_native "native-$sanitizer" -DORB_SANITIZE=$sanitizer
    build_tree "native-$sanitizer"
    say "$(run_native "native-$sanitizer") tests passed with the $sanitizer sanitizer"
done
