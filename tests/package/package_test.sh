#!/usr/bin/env bash
# Installs the build tree that is named into an empty folder, builds the examples against what was installed alone, and
# runs them. Prints "ok" or "FAILED" and what was tried, a line each. tools/test runs it.
#   package_test.sh TREE
. "$(dirname "${BASH_SOURCE[0]}")/../../tools/lib.sh"
wine_env

TREE=$BUILD/$1
PLACE=$BUILD/package-test
ROOT_DIR=$PLACE/installed
DRIVE=$PREFIX/drive_c/orb-package-tests

try() {
    local what=$1
    shift
    if "$@"; then printf 'ok %s\n' "$what"; else printf 'FAILED %s\n' "$what"; fi
}

installs() { cmake --install "$TREE" --prefix "$ROOT_DIR"; }

# Programs and DLLs, those of the compiler among them.
has_no_debug_information() {
    local file
    for file in "$ROOT_DIR"/bin/*; do
        ! x86_64-w64-mingw32-objdump -h "$file" | grep -q -F .debug_info || { printf '%s\n' "$file"; return 1; }
    done
}

has_licences() {
    local name
    for name in pcre2 sqlite3 libsparsehash-dev nlohmann-json3-dev libspdlog-dev libfmt-dev libcli11-dev gcc-mingw-w64-base \
        mingw-w64-common; do
        [ -s "$ROOT_DIR/share/doc/OrbWatcher4/licences/$name.txt" ] || { printf '%s\n' "$name"; return 1; }
    done
}

builds() {
    cp -R "$ROOT_DIR/share/doc/OrbWatcher4/examples/$1" "$PLACE/$1" &&
        cmake -S "$PLACE/$1" -B "$PLACE/$1/build" -G Ninja -DCMAKE_BUILD_TYPE=Release \
            -DCMAKE_TOOLCHAIN_FILE="$ROOT/cmake/mingw-w64.cmake" -DCMAKE_PREFIX_PATH="$ROOT_DIR" \
            -DCMAKE_FIND_ROOT_PATH="$ROOT_DIR" &&
        cmake --build "$PLACE/$1/build"
}

# The DLLs lie beside the program, as a product ships them.
builds_go() {
    mkdir -p "$PLACE/go/build" && cp "$ROOT_DIR"/share/doc/OrbWatcher4/examples/go/*.* "$PLACE/go" &&
        (cd "$PLACE/go" && GOOS=windows GOARCH=amd64 CGO_ENABLED=0 GOCACHE="$BUILD/go-cache" GOFLAGS=-mod=mod \
            go build -o build/go.exe .) && cp "$ROOT_DIR"/bin/*.dll "$PLACE/go/build"
}

# wait_for FILE PATTERN: until it is found in the file, half a minute at most.
wait_for() {
    local try
    for try in {1..300}; do
        grep -q -E "$2" "$1" 2>/dev/null && return
        sleep 0.1
    done
    cat "$1"
    return 1
}

# A new file, made by another program of the prefix. Wine tells of changes in folders that were opened, from the top
# down, while they are watched.
changes() {
    local all='C:\orb-package-tests'
    timeout --signal=KILL 60 "$WINE" cmd.exe /c \
        "dir $all && dir $all\\$1 && dir $all\\$1\\watched && echo new> $all\\$1\\watched\\file.txt" </dev/null
}

# An example notes that all was enumerated, tells what changes after it has said "ready", and ends after one file.
runs() {
    local program=$PLACE/$1/build/$1.exe tree=$DRIVE/$1 said=$PLACE/$1/said status=0 running
    mkdir -p "$tree/data" "$tree/watched"
    printf '<Data><Item path="%s" type="1" includeSub="1"/></Data>' "C:\\orb-package-tests\\$1\\watched" >"$tree/selection.xml"
    ORB_DATA_FOLDER="C:\\orb-package-tests\\$1\\data" timeout --signal=KILL 120 "$WINE" "$program" \
        "C:\\orb-package-tests\\$1\\selection.xml" "C:\\orb-package-tests\\$1\\index.db" 1 >"$said" 2>&1 </dev/null &
    running=$!
    wait_for "$said" ready && wait_for "$tree/data/ServiceRunSettings.json" '"FirstTimeRunTime": [1-9]' &&
        changes "$1" && wait_for "$said" 'file.txt' || status=1
    wait "$running" || status=1
    grep -q -F ended "$said" || status=1
    [ $status -eq 0 ] || cat "$said"
    return $status
}

# Each public header with nothing before it, and nothing of the sources within reach.
headers_stand_alone() {
    local include=$ROOT_DIR/include/OrbWatcher4 header status=0
    cd "$include"
    while IFS= read -r header; do
        printf '#include "%s"\n' "$header" | x86_64-w64-mingw32-g++-posix -std=c++20 -fsyntax-only -Du_int16_t=uint16_t \
            -DWIN32_LEAN_AND_MEAN -DNOMINMAX -I"$include" -x c++ - || { status=1; printf '%s\n' "$header"; }
    done < <(find . -path ./sparsehash -prune -o -path ./google -prune -o -name '*.h' -printf '%P\n')
    cd - >/dev/null
    return $status
}

rm -rf "$PLACE" "$DRIVE"
mkdir -p "$PLACE"
try "installing" installs
try "nothing comes with debug information" has_no_debug_information
try "the licences of what is shipped come along" has_licences
try "the changelog is among the pages" test -s "$ROOT_DIR/share/doc/OrbWatcher4/CHANGELOG.md"
try "including each installed header alone" headers_stand_alone
for example in "$ROOT_DIR"/share/doc/OrbWatcher4/examples/*/; do
    name=$(basename "$example")
    build=(builds "$name")
    [ "$name" != go ] || build=(builds_go)
    try "building the example $name against the installed package alone" "${build[@]}"
    try "running the example $name" runs "$name"
done
rm -rf "$DRIVE"
