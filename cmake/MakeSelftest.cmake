# Puts the kit that tries the product on another machine together: cmake -D ... -P MakeSelftest.cmake, as the target
# selftest_kit runs it. tests/selftest/Kit.h says what it holds.
#   SOURCES   this project; BIN the folder of the programs; OUT the folder that is made
#   PROGRAMS  the test programs, separated by blanks
#   STRIP the tool that removes debug information, OBJDUMP the one that names the DLLs of a program
#   COMPILER_FOLDER  where the DLLs of a package manager are, on Windows
file(REMOVE_RECURSE ${OUT})
file(MAKE_DIRECTORY ${OUT}/bin)

# The test programs, and the programs that they start.
separate_arguments(tests UNIX_COMMAND ${PROGRAMS})
set(files selftest misbehaving orbwatch storm_changer ${tests})
list(TRANSFORM files PREPEND ${BIN}/)
list(TRANSFORM files APPEND .exe)
file(GLOB dlls ${BIN}/*.dll)

# A package manager of Windows has some libraries as DLLs, which lie beside its compiler.
if(CMAKE_HOST_WIN32)
    set(CMAKE_GET_RUNTIME_DEPENDENCIES_PLATFORM windows+pe)
    set(CMAKE_GET_RUNTIME_DEPENDENCIES_TOOL objdump)
    set(CMAKE_GET_RUNTIME_DEPENDENCIES_COMMAND ${OBJDUMP})
    file(GET_RUNTIME_DEPENDENCIES
        EXECUTABLES ${files}
        RESOLVED_DEPENDENCIES_VAR found
        UNRESOLVED_DEPENDENCIES_VAR missing
        PRE_EXCLUDE_REGEXES "^api-ms-" "^ext-ms-"
        POST_EXCLUDE_REGEXES "[Ss]ystem32"
        DIRECTORIES ${COMPILER_FOLDER})
    list(APPEND dlls ${found})
endif()

foreach(file IN LISTS files dlls)
    cmake_path(GET file FILENAME name)
    if(NOT EXISTS ${OUT}/bin/${name})
        execute_process(COMMAND ${STRIP} -o ${OUT}/bin/${name} ${file} COMMAND_ERROR_IS_FATAL ANY)
    endif()
endforeach()

# The sources may have been checked out by another account.
execute_process(COMMAND git -C ${SOURCES} -c safe.directory=${SOURCES} -c core.quotePath=off ls-files
    OUTPUT_VARIABLE tracked COMMAND_ERROR_IS_FATAL ANY ENCODING UTF-8)
string(REGEX MATCHALL "[^\n]+" tracked "${tracked}")
foreach(name IN LISTS tracked)
    if(EXISTS ${SOURCES}/${name})
        cmake_path(GET name PARENT_PATH folder)
        file(COPY ${SOURCES}/${name} DESTINATION ${OUT}/sources/${folder})
    endif()
endforeach()

file(COPY ${SOURCES}/tests/selftest/selftest.cmd ${SOURCES}/tests/selftest/README.txt DESTINATION ${OUT})
list(JOIN tests "\n" lines)
file(WRITE ${OUT}/test-programs.txt "${lines}\n")
