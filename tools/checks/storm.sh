# A storm of changes, kills, and random calls of the watcher and of the engine that are longer than those of a test run, and
# every repetition that must leave nothing behind.
say "a storm of ${STORM_ROUNDS:-40} rounds, kills of ${KILL_ROUNDS:-10}, 8 times ${WATCHER_STEPS:-5000} steps of the watcher," \
    "${ENGINE_STEPS:-100000} of the engine, and growth"
ORB_STORM_ROUNDS=${STORM_ROUNDS:-40} ORB_KILL_ROUNDS=${KILL_ROUNDS:-10} ORB_ENGINE_STEPS=${ENGINE_STEPS:-100000} \
    ORB_WATCHER_STORM_STEPS=${WATCHER_STEPS:-5000} ORB_GROWTH_SHARE=1 TEST_LIMIT=${STORM_LIMIT:-1800} \
    "$ROOT/tools/test" storm_tests watcher_tests engine_tests growth_tests || die "the storm found something"
