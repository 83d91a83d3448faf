# How this project builds: one target a folder, warnings are errors.

# A compiler that was not tried may warn of more: "cmake --compile-no-warning-as-error" lets it go on.
set(CMAKE_COMPILE_WARNING_AS_ERROR ON)
add_library(orb_options INTERFACE)
target_include_directories(orb_options INTERFACE ${CMAKE_SOURCE_DIR})
target_compile_options(orb_options INTERFACE -Wall -Wextra -Wnon-virtual-dtor -Woverloaded-virtual)
if(CMAKE_CXX_COMPILER_ID STREQUAL GNU AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
    # GCC 12 sees overlapping copies where a string is added to a literal (its bug 105651).
    target_compile_options(orb_options INTERFACE -Wno-restrict)
endif()
if(CMAKE_CXX_COMPILER_ID STREQUAL Clang)
    # The standard library of GCC 12 calls what it has declared deprecated, in its stable sort.
    target_compile_options(orb_options INTERFACE -Wno-deprecated-declarations
        $<$<NOT:$<BOOL:$<TARGET_PROPERTY:ORB_OWN_THREAD>>>:-Wthread-safety>)
endif()
if(WIN32)
    target_compile_definitions(orb_options INTERFACE
        UNICODE _UNICODE WIN32_LEAN_AND_MEAN NOMINMAX _WIN32_WINNT=0x0A00 WINVER=0x0A00)
endif()
if(MINGW)
    # Addresses that cannot be foreseen, and no data that runs; not left to what the linker does by itself. It has no
    # control flow guard.
    target_link_options(orb_options INTERFACE LINKER:--dynamicbase,--high-entropy-va,--nxcompat)
endif()
if(ORB_CHECKS)
    target_compile_definitions(orb_options INTERFACE _GLIBCXX_ASSERTIONS ORB_LOCK_ORDER)
endif()
# The build type of the tests, Checks, has no flags of its own: it is quick to build.
include(OrbInstrumentation)

# Headers of libraries that are used as they are; their warnings are not ours.
# ORB_DEPS is the folder that tools/bootstrap fills.
set(ORB_DEPS "" CACHE PATH "folder with the headers and libraries of the dependencies")
if(ORB_DEPS)
    list(PREPEND CMAKE_PREFIX_PATH ${ORB_DEPS})
    add_library(orb_deps INTERFACE)
    target_include_directories(orb_deps SYSTEM INTERFACE ${ORB_DEPS}/include)
else()
    add_library(orb_deps INTERFACE)
endif()
if(WIN32)
    # The hash tables' generated configuration names a type that Windows does not have.
    target_compile_definitions(orb_deps INTERFACE u_int16_t=uint16_t)
endif()

# orb_library(name [sources...]): the objects of one folder.
function(orb_library name)
    add_library(${name} STATIC ${ARGN})
    target_link_libraries(${name} PUBLIC orb_options orb_deps)
endfunction()

# orb_dll(name EXPORTS SYMBOL SOURCES ... LIBS ...): a DLL that the product ships.
function(orb_dll name)
    cmake_parse_arguments(A "" "EXPORTS" "SOURCES;LIBS" ${ARGN})
    add_library(${name} SHARED ${A_SOURCES})
    set_target_properties(${name} PROPERTIES PREFIX "" DEFINE_SYMBOL ${A_EXPORTS})
    target_link_libraries(${name} PUBLIC orb_options orb_deps PRIVATE ${A_LIBS})
endfunction()

# orb_test(name SOURCES ... LIBS ...): a test program, run by tools/test.
# Its sources are named one by one; a forgotten test is an error. (Natively only the portable ones are named.)
function(orb_test name)
    cmake_parse_arguments(A "" "" "SOURCES;LIBS" ${ARGN})
    file(GLOB tests CONFIGURE_DEPENDS RELATIVE ${CMAKE_CURRENT_SOURCE_DIR} ${CMAKE_CURRENT_SOURCE_DIR}/*Test.cpp)
    list(REMOVE_ITEM tests ${A_SOURCES})
    if(WIN32 AND tests)
        message(FATAL_ERROR "${name} does not name ${tests}")
    endif()
    add_executable(${name} ${A_SOURCES})
    target_link_libraries(${name} PRIVATE orb_test_main ${A_LIBS})
    # Tests look at what no other thread uses.
    set_target_properties(${name} PROPERTIES ORB_OWN_THREAD ON)
    set_property(GLOBAL APPEND PROPERTY ORB_TEST_PROGRAMS ${name})
    add_test(NAME ${name} COMMAND ${name})
endfunction()

# The compiler's runtime DLLs stand beside the programs, which share them. A compiler that runs on Windows has them
# beside itself.
if(WIN32)
    set(target)
    if(CMAKE_CXX_COMPILER_TARGET)
        set(target --target=${CMAKE_CXX_COMPILER_TARGET})
    endif()
    foreach(dll libstdc++-6.dll libgcc_s_seh-1.dll libwinpthread-1.dll)
        execute_process(COMMAND ${CMAKE_CXX_COMPILER} ${target} -print-file-name=${dll}
            OUTPUT_VARIABLE path OUTPUT_STRIP_TRAILING_WHITESPACE)
        if(NOT CMAKE_CROSSCOMPILING)
            cmake_path(GET CMAKE_CXX_COMPILER PARENT_PATH path)
            cmake_path(APPEND path ${dll})
        endif()
        file(COPY ${path} DESTINATION ${CMAKE_BINARY_DIR}/bin FOLLOW_SYMLINK_CHAIN)
        list(APPEND ORB_RUNTIME_DLLS ${CMAKE_BINARY_DIR}/bin/${dll})
    endforeach()
endif()
