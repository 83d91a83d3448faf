# Everything for Windows, built by clang: its warnings are errors, and it checks what each lock guards (mfc/ThreadSafety.h).
"$ROOT/tools/bootstrap" --bench
configure_windows clang -DCMAKE_TOOLCHAIN_FILE="$ROOT/cmake/mingw-w64-clang.cmake" -DCMAKE_BUILD_TYPE=Checks -DORB_BENCH=ON
build_tree clang
say "$(grep -c '"file":' "$BUILD/clang/compile_commands.json") sources, no warning"
