#!/usr/bin/env bash
# Asks bash what it completes with the script that orbwatch prints, and looks at the one for PowerShell. Prints "ok" or
# "FAILED" and what was tried, a line each. tools/test runs it.
#   completion_test.sh TREE
. "$(dirname "${BASH_SOURCE[0]}")/../../tools/lib.sh"
wine_env

TREE=$BUILD/$1
PLACE=$BUILD/completion-test
rm -rf "$PLACE"
mkdir -p "$PLACE/a folder"
cd "$PLACE"

orbwatch() { (cd "$TREE/bin" && ORB_DATA_FOLDER='C:\orb-completion-tests' timeout 60 "$WINE" ./orbwatch.exe "$@" </dev/null); }
orbwatch completion bash >bash.sh
orbwatch completion powershell >powershell.ps1
touch 'a folder/selection.xml' archive.xml
printf '<Data><Item path="C:\\a" pluginId="12"/><Item path="C:\\b" pluginId="7"/><Item path="C:\\c" pluginId="12"/></Data>' >selection.xml
cp selection.xml 'my selection.xml'
cp selection.xml C:selection.xml

# expect WORDS OFFER: what a new shell offers for the last of the words, in one line.
expect() {
    local offer
    offer=$(bash --norc -c '. ./bash.sh; eval "COMP_WORDS=($1)"; COMP_CWORD=$((${#COMP_WORDS[@]} - 1)); _orbwatch
        printf "%s\n" "${COMPREPLY[@]}"' - "$1" 2>&1 | sort | paste -sd' ')
    if [ "$offer" = "$2" ]; then printf 'ok %s\n' "$1"; else printf 'FAILED %s: %s, not %s\n' "$1" "$offer" "$2"; fi
}

# try WHAT COMMAND...
try() {
    local what=$1
    shift
    if "$@"; then printf 'ok %s\n' "$what"; else printf 'FAILED %s\n' "$what"; fi
}

expect 'orbwatch e' 'enumerate estimate explain export'
expect 'orbwatch --v' '--version'
expect 'orbwatch watch --re' '--record'
expect 'orbwatch watch --record --in' '--index'
expect 'orbwatch overlay --fault ""' 'die late silent'
expect 'orbwatch overlay --fault late --t' '--times'
expect 'orbwatch overlay --after ""' ''
expect 'orbwatch completion ""' 'bash powershell'
expect 'orbwatch watch --data s' 'selection.xml'
expect 'orbwatch watch --json --data "a f"' 'a folder'
expect 'orbwatch estimate --data selection.xml --include archive.xml s' 'selection.xml'
expect 'orbwatch estimate --data selection.xml --profile ""' '12 7'
expect 'orbwatch estimate --data selection.xml --profile 12 7' '7'
expect 'orbwatch estimate --data my\\\ selection.xml --profile ""' '12 7'
expect 'orbwatch estimate --data "\"my selection.xml\"" --profile ""' '12 7'
expect 'orbwatch estimate --data C : selection.xml --profile ""' '12 7'
expect 'orbwatch estimate --data "\$(touch made)" --profile ""' ''
expect 'orbwatch estimate --data missing.xml --profile ""' ''
expect 'orbwatch explain --data selection.xml a' 'a folder archive.xml'
expect 'orbwatch init a' 'a folder'
try 'no word of the line is run' test ! -e made
try 'the function is the one of orbwatch' bash --norc -c '. ./bash.sh; complete -p orbwatch | grep -q _orbwatch'

# balanced TEXT OPEN CLOSE: as many of the one as of the other.
balanced() { [ "$(grep -oF -- "$2" <<<"$1" | wc -l)" = "$(grep -oF -- "$3" <<<"$1" | wc -l)" ]; }
# No PowerShell runs here: the script is taken apart. Strings are those in single quotes, a doubled quote within.
check_powershell() {
    local script bare command
    script=$(sed -E 's/^ *#.*//' powershell.ps1)
    bare=$(sed -E "s/'([^']|'')*'//g" <<<"$script")
    try 'PowerShell: the completer is registered' grep -q '^Register-ArgumentCompleter -Native -CommandName orbwatch' powershell.ps1
    try 'PowerShell: each string ends' test "$(grep -c "'" <<<"$bare")" = 0
    try 'PowerShell: braces' balanced "$bare" '{' '}'
    try 'PowerShell: parentheses' balanced "$bare" '(' ')'
    try 'PowerShell: brackets' balanced "$bare" '[' ']'
    for command in $(bash --norc -c '. ./bash.sh; _orbwatch_words ""'); do
        try "PowerShell: $command" grep -qF "'$command' = @{" powershell.ps1
    done
}
check_powershell
rm -rf "$PLACE"
