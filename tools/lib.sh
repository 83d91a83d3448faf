# Shared by the commands in this folder; sourced, not run.
# Everything that is made lies below build/, so that removing that folder starts anew.

set -euo pipefail

ROOT=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
BUILD=$ROOT/build
DEPS=$BUILD/deps/windows
PREFIX=${ORB_WINEPREFIX:-$BUILD/wine}
WINE=/usr/lib/wine/wine64
JOBS=$(nproc)

# A command reports its progress on standard error: standard output is for results.
say() { printf '%s\n' "$*" >&2; }
die() { say "error: $*"; exit 1; }

as_root() {
    if [ "$(id -u)" = 0 ]; then "$@"; else sudo "$@"; fi
}

# Runs a command quietly; when it fails, shows the end of what it printed.
quietly() {
    local log=$BUILD/logs/$1.log
    shift
    mkdir -p "$BUILD/logs"
    if ! "$@" >"$log" 2>&1 </dev/null; then
        tail -n 60 "$log" >&2
        die "'$*' failed; all of its output is in ${log#"$ROOT"/}"
    fi
}

wine_env() {
    export WINEPREFIX=$PREFIX WINEDEBUG=${WINEDEBUG:--all} WINEDLLOVERRIDES="mscoree,mshtml=;winedbg.exe=d"
    unset DISPLAY WAYLAND_DISPLAY
    # Wine reads arguments and file names in the locale's encoding; in the plain C locale names would be lost.
    case ${LC_ALL:-${LC_CTYPE:-${LANG:-}}} in
    *[Uu][Tt][Ff]*) ;;
    *) export LC_ALL=C.UTF-8 ;;
    esac
}

# configure NAME [cmake arguments]: the build tree build/NAME for Windows programs.
configure_windows() {
    local name=$1
    shift
    quietly "configure-$name" cmake -S "$ROOT" -B "$BUILD/$name" -G Ninja \
        -DCMAKE_TOOLCHAIN_FILE="$ROOT/cmake/mingw-w64.cmake" -DORB_DEPS="$DEPS" "$@"
}
build_tree() {
    local name=$1
    shift
    quietly "build-$name" cmake --build "$BUILD/$name" --parallel "$JOBS" ${@:+--target "$@"}
}

# set_up [OPTION]: what tools/bootstrap installs and builds. With ORB_BUILT=1 only the Wine prefix is made, and what was
# built elsewhere is run as it is: so the programs can be tried under a system that cannot build them.
set_up() {
    if [ -z "${ORB_BUILT:-}" ]; then
        "$ROOT/tools/bootstrap" "$@"
        return
    fi
    . "$ROOT/tools/prefix.sh"
    mkdir -p "$BUILD/logs"
    make_prefix
}

# The host program and what it needs, one build at a time.
build_host() {
    [ -z "${ORB_BUILT:-}" ] || return 0
    mkdir -p "$BUILD"
    exec 9>"$BUILD/.build-lock"
    flock 9
    [ -f "$BUILD/checks/build.ninja" ] || configure_windows checks -DCMAKE_BUILD_TYPE=Checks
    build_tree checks orbwatch demo_changer
    flock -u 9
    exec 9>&-
}
