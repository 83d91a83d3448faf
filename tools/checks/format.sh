# Every source is as clang-format writes it.
say "formatting"
mapfile -t sources < <(cd "$ROOT" && git ls-files '*.cpp' '*.h')
(cd "$ROOT" && "clang-format-$CLANG" --dry-run -Werror "${sources[@]}") || die "these files are not formatted; clang-format-$CLANG -i mends them"
say "${#sources[@]} files are formatted"
