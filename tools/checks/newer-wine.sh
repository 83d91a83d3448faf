# The test programs, as they are built here, the demo and the kit for Windows under the Wine of a newer Debian, in a root
# of its own below build/. Needs root. Made once; remove build/newer-wine to make it anew.
NEWER=trixie
PLACE=$BUILD/newer-wine
SYSTEM=$PLACE/root
[ "$(id -u)" = 0 ] || die "newer-wine makes a root of another Debian, which only root may do"

# The mirror that this machine uses.
mirror() {
    sed -nE 's/^(URIs: *|deb +(\[.*\] +)?)(http[^ ]*\/debian)\/?( .*)?$/\3/p' /etc/apt/sources.list /etc/apt/sources.list.d/* \
        2>/dev/null | head -n 1
}

make_system() {
    [ ! -f "$PLACE/ready" ] || return 0
    say "making a root of Debian $NEWER"
    rm -rf "$SYSTEM"
    mkdir -p "$PLACE"
    command -v debootstrap >/dev/null ||
        quietly apt-debootstrap env DEBIAN_FRONTEND=noninteractive apt-get install -y --no-install-recommends debootstrap
    quietly debootstrap debootstrap --variant=minbase "$NEWER" "$SYSTEM" "$(mirror)"
    quietly newer-wine-apt chroot "$SYSTEM" env DEBIAN_FRONTEND=noninteractive \
        apt-get install -y --no-install-recommends wine64
    touch "$PLACE/ready"
}

# inside COMMAND...: with the project at its own path. The mounts end with the command.
inside() {
    mkdir -p "$SYSTEM$ROOT"
    unshare --mount --propagation private bash -c '
        mount --bind "$1" "$2$1" && mount -t proc proc "$2/proc" && mount --bind /dev "$2/dev" &&
            mount -t tmpfs tmpfs "$2/tmp" && exec chroot "${@:2}"' \
        inside "$ROOT" "$SYSTEM" env -i HOME=/root PATH=/usr/sbin:/usr/bin:/sbin:/bin LC_ALL=C.UTF-8 \
        ORB_BUILT=1 ORB_WINEPREFIX="$PLACE/prefix" TEST_LIMIT="${TEST_LIMIT:-600}" "$@"
}

"$ROOT/tools/bootstrap" --tests
say "building"
configure_windows checks -DCMAKE_BUILD_TYPE=Checks
build_tree checks
make_system
say "under $(inside dpkg-query -W wine64 | tr '\t' ' ')"
status=0
inside timeout --signal=KILL "${NEWER_LIMIT:-5400}" "$ROOT/tools/test" || status=1
inside timeout --signal=KILL 600 "$ROOT/tools/demo" >"$BUILD/logs/newer-wine-demo.log" 2>&1 ||
    { tail -n 20 "$BUILD/logs/newer-wine-demo.log" >&2; say "the demo failed"; status=1; }
tail -n 1 "$BUILD/logs/newer-wine-demo.log" >&2
build_tree checks selftest_kit
rm -rf "$PLACE/kit-prefix"
inside timeout --signal=KILL "${NEWER_LIMIT:-5400}" "$ROOT/tests/package/run_kit.sh" "$BUILD/checks/selftest" \
    "$PLACE/kit-prefix" >&2 || { say "the kit failed"; status=1; }
[ $status -eq 0 ]
