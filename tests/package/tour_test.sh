#!/usr/bin/env bash
# Pastes the tour of the README into a shell, and looks for the lines that the README shows. Prints "ok" or "FAILED" and
# what was tried, a line each. tools/test runs it.
. "$(dirname "${BASH_SOURCE[0]}")/../../tools/lib.sh"

TOUR=$PREFIX/drives/e/tour

# block LANGUAGE: the lines of the README's first block of this language.
block() { sed -n "/^\`\`\`$1\$/,/^\`\`\`\$/p" "$ROOT/README.md" | sed '1d;$d'; }

# The drives of the README are those of the prefix that is made here; another prefix may have them elsewhere.
commands() { block sh | sed "s|build/wine/drives/e|$PREFIX/drives/e|g"; }

rm -rf "$TOUR"
rm -f "$BUILD/tour.txt"
said=$(cd "$ROOT" && commands | timeout --signal=KILL 240 bash 2>&1 | tr -d '\r')
while IFS= read -r line; do
    [ -n "$line" ] || continue
    if grep -q -x -F -- "$line" <<<"$said"; then printf 'ok %s\n' "$line"; else printf 'FAILED %s\n' "$line"; fi
done < <(block text)
sed 's/^/| /' <<<"$said"
rm -rf "$TOUR"
