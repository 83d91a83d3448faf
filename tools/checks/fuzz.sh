# Each target of fuzz/, from its seeds and what earlier runs have found. A finding is written below build/fuzz/; it stays
# as a seed once it is mended.
say "building the fuzz targets"
configure_native fuzz -DORB_FUZZ=ON -DORB_SANITIZE=address \
    -DCMAKE_C_COMPILER="clang-$CLANG" -DCMAKE_CXX_COMPILER="clang++-$CLANG"
build_tree fuzz

# The files that targets write and read many hundred times a second.
[ ! -w /dev/shm ] || export TMPDIR=/dev/shm

# fuzz_target NAME SEEDS DICTIONARY
fuzz_target() {
    local name=$1 folder=$BUILD/fuzz/corpus/$1
    mkdir -p "$folder"
    quietly "fuzz-$name" nice "$BUILD/fuzz/bin/$name" -max_total_time="${FUZZ_SECONDS:-20}" -timeout=20 -print_final_stats=1 \
        -artifact_prefix="$BUILD/fuzz/$name-" -dict="$ROOT/fuzz/dictionaries/$3" "$folder" "$ROOT/fuzz/seeds/$2"
    say "$name: $(sed -nE 's/^stat::number_of_executed_units: *([0-9]+)/\1/p' "$BUILD/logs/fuzz-$name.log") executions," \
        "$(find "$folder" -type f | wc -l) inputs kept, no finding"
}

while read -r name seeds dictionary || [ -n "$name" ]; do
    case " ${FUZZ_TARGETS:-$name} " in
        *" $name "*) fuzz_target "$name" "$seeds" "$dictionary" ;;
    esac
done <"$BUILD/fuzz/fuzz-targets.txt"
