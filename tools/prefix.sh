# The private Wine prefix: several drives, a share, and no display. Sourced after lib.sh.

# A prefix that was made elsewhere is used as it is.
make_prefix() {
    if [ "$PREFIX" != "$BUILD/wine" ] && [ -f "$PREFIX/system.reg" ]; then return; fi
    local is_new=
    [ -f "$PREFIX/.ready" ] || is_new=1
    make_bare_prefix
    # The drives that come now are known to a server that starts after them only.
    [ -z "$is_new" ] || timeout 60 "${WINE%/*}/wineserver64" -w || true
    local letter
    for letter in e f g; do
        make_drive "$letter"
    done
    mkdir -p "$PREFIX/drives/share" "$PREFIX/dosdevices/unc/server"
    ln -sfn "$PREFIX/drives/share" "$PREFIX/dosdevices/unc/server/share"
}

# Without drives and shares for tests.
make_bare_prefix() {
    wine_env
    if [ ! -f "$PREFIX/.ready" ]; then
        say "making the Wine prefix"
        # Our own prefix is made anew when its set-up was interrupted.
        [ "$PREFIX" != "$BUILD/wine" ] || rm -rf "$PREFIX"
        mkdir -p "$PREFIX"
        quietly wineboot timeout 180 "$WINE" wineboot.exe -i
        quietly wine-graphics "$WINE" reg.exe add 'HKCU\Software\Wine\Drivers' /v Graphics /d null /f
        touch "$PREFIX/.ready"
    fi
    quiet_drive_z
}

# Drive Z: is the root of this system. Wine asks its device for a label and a serial, and prints a notice each time when
# it may not read the device. An empty device has neither.
quiet_drive_z() {
    [ -e "$PREFIX/dosdevices/z::" ] || [ -L "$PREFIX/dosdevices/z::" ] || {
        mkdir -p "$PREFIX/drives"
        head -c 131072 /dev/zero >"$PREFIX/drives/z.device"
        ln -s ../drives/z.device "$PREFIX/dosdevices/z::"
    }
}

# Each drive is a folder; its serial and label are in files that Wine reads.
make_drive() {
    local folder=$PREFIX/drives/$1
    [ -d "$folder" ] || {
        mkdir -p "$folder"
        printf '4f5242%02x\n' "'$1" >"$folder/.windows-serial"
        printf 'ORB_%s\n' "${1^^}" >"$folder/.windows-label"
    }
    ln -sfn "$folder" "$PREFIX/dosdevices/$1:"
}
