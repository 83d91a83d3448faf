# The same programs, built by clang: tools/check clang.
include(${CMAKE_CURRENT_LIST_DIR}/mingw-w64.cmake)
set(CMAKE_C_COMPILER clang-19)
set(CMAKE_CXX_COMPILER clang++-19)
set(CMAKE_C_COMPILER_TARGET x86_64-w64-mingw32)
set(CMAKE_CXX_COMPILER_TARGET x86_64-w64-mingw32)

# As GCC does it for this target: the C++ library is shared with it, and its thread-local variables are emulated ones.
string(APPEND CMAKE_CXX_FLAGS_INIT " -femulated-tls")
foreach(kind EXE SHARED MODULE)
    string(APPEND CMAKE_${kind}_LINKER_FLAGS_INIT " -pthread")
endforeach()
