# The libraries that are linked, as targets. What a package manager installed is
# found like what tools/bootstrap built.
find_path(ORB_PCRE_INCLUDE pcrecpp.h REQUIRED)
find_library(ORB_PCRE_LIBRARY NAMES pcre libpcre REQUIRED)
find_library(ORB_PCRECPP_LIBRARY NAMES pcrecpp libpcrecpp REQUIRED)
add_library(orb_pcre INTERFACE)
target_include_directories(orb_pcre SYSTEM INTERFACE ${ORB_PCRE_INCLUDE})
target_link_libraries(orb_pcre INTERFACE ${ORB_PCRECPP_LIBRARY} ${ORB_PCRE_LIBRARY})
if(WIN32)
    target_compile_definitions(orb_pcre INTERFACE PCRE_STATIC)

    find_path(ORB_SQLITE_INCLUDE sqlite3.h REQUIRED)
    find_library(ORB_SQLITE_LIBRARY NAMES sqlite3 libsqlite3 REQUIRED)
    add_library(orb_sqlite INTERFACE)
    target_include_directories(orb_sqlite SYSTEM INTERFACE ${ORB_SQLITE_INCLUDE})
    target_link_libraries(orb_sqlite INTERFACE ${ORB_SQLITE_LIBRARY})
endif()

find_package(GTest REQUIRED)
