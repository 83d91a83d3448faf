# The libraries that are linked, as targets. They are found whether a
# package manager installed them or tools/bootstrap built them.
find_path(ORB_PCRE2_INCLUDE pcre2.h REQUIRED)
# Programs for Windows hold these libraries in themselves, also where a package manager has them as DLLs.
if(WIN32)
    set(static_pcre2 libpcre2-8.a)
    set(static_sqlite libsqlite3.a)
endif()
find_library(ORB_PCRE2_LIBRARY NAMES ${static_pcre2} pcre2-8 libpcre2-8 REQUIRED)
add_library(orb_pcre2 INTERFACE)
target_include_directories(orb_pcre2 SYSTEM INTERFACE ${ORB_PCRE2_INCLUDE})
target_link_libraries(orb_pcre2 INTERFACE ${ORB_PCRE2_LIBRARY})
if(WIN32)
    target_compile_definitions(orb_pcre2 INTERFACE PCRE2_STATIC)

    find_path(ORB_SQLITE_INCLUDE sqlite3.h REQUIRED)
    find_library(ORB_SQLITE_LIBRARY NAMES ${static_sqlite} sqlite3 libsqlite3 REQUIRED)
    add_library(orb_sqlite INTERFACE)
    target_include_directories(orb_sqlite SYSTEM INTERFACE ${ORB_SQLITE_INCLUDE})
    target_link_libraries(orb_sqlite INTERFACE ${ORB_SQLITE_LIBRARY})
endif()

find_package(GTest REQUIRED)
