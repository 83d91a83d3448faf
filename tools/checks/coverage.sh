# Which lines and branches the tests of the Windows programs reach: a table by folder, and the files with the most
# lines that no test reaches. The lines themselves are in build/coverage/unreached.txt.
say "coverage of the Windows programs"
find "$BUILD/coverage" -name '*.gcda' -delete 2>/dev/null || true
# A program writes its counts beside its objects, whichever drive it runs on.
GCOV_PREFIX=Z: TEST_TREE=coverage TEST_OPTIONS=-DORB_COVERAGE=ON TEST_LIMIT=1800 "$ROOT/tools/test" || die "a test failed"
python3 "$ROOT/tools/checks/coverage_table.py" "$ROOT" "$BUILD/coverage" x86_64-w64-mingw32-gcov-posix
