# A storm of changes that is longer than one of a test run.
say "a storm of ${STORM_ROUNDS:-40} rounds"
ORB_STORM_ROUNDS=${STORM_ROUNDS:-40} TEST_LIMIT=${STORM_LIMIT:-1800} "$ROOT/tools/test" storm_tests || die "the storm found something"
