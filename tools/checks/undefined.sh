# Every test of the Windows programs, built so that undefined behaviour ends the program where it happens.
say "undefined behaviour in the Windows programs"
TEST_TREE=undefined TEST_OPTIONS=-DORB_SANITIZE=trap TEST_LIMIT=1800 "$ROOT/tools/test" || die "undefined behaviour, or a failed test"
