# What tools/check builds in beside the checks of every test run.
set(flags)
if(ORB_SANITIZE STREQUAL "address")
    set(flags -fsanitize=address,undefined -fno-sanitize-recover=all -fno-omit-frame-pointer)
elseif(ORB_SANITIZE STREQUAL "thread")
    set(flags -fsanitize=thread -fno-omit-frame-pointer)
elseif(ORB_SANITIZE STREQUAL "trap")
    # Windows has no library that could say what was wrong: the place where the program ends says it. What the
    # checks insert makes the compiler see doubtful values where there are none.
    set(flags -fsanitize=undefined -fsanitize-undefined-trap-on-error -Wno-maybe-uninitialized)
elseif(ORB_SANITIZE)
    message(FATAL_ERROR "ORB_SANITIZE is address, thread or trap, not ${ORB_SANITIZE}")
endif()
if(ORB_COVERAGE)
    # Without optimisation, so that a line is a line; threads count together.
    list(APPEND flags --coverage -fprofile-update=atomic -O0)
endif()
if(ORB_FUZZ)
    list(APPEND flags -fsanitize=fuzzer-no-link)
endif()
target_compile_options(orb_options INTERFACE ${flags})
target_link_options(orb_options INTERFACE ${flags})
