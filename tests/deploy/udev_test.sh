#!/bin/bash
# udev_test.sh ROOT BUILD: the rules in the hands of udev, on a device that every Linux has, with a /dev and rules of its
# own; and the program that writes the table of modules. Skipped (77) without udev.
set -euo pipefail
root=$1
build=$2
command -v udevadm >/dev/null && [ -e /sys/class/tty/ptmx ] || { echo 'no udevadm, or no device to try it on' && exit 77; }
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
mkdir "$work/rules" "$work/bin" "$work/etc"
failed=0

# The device as the port of a USB interface, as 60-serial.rules would have described it.
given() {
    rm -f "$work"/rules/*
    cp "$root/deploy/udev/62-zelt-stats.rules" "$work/rules"
    printf 'KERNEL=="ptmx", ENV{ID_VENDOR_ID}="%s", ENV{ID_MODEL_ID}="%s", ENV{ID_USB_INTERFACE_NUM}="%s"\n' \
        "$1" "$2" "$3" >"$work/rules/60-serial.rules"
    printf '%s\n' "$4" >"$work/rules/61-zelt-modules.rules"
}

# What udev makes of it: its messages and the device's properties.
udev_says() {
    bwrap --ro-bind / / --dev /dev --proc /proc --tmpfs /run --tmpfs /etc/udev --tmpfs /usr/lib/udev/rules.d \
        --ro-bind "$work/rules" /etc/udev/rules.d udevadm test --action="${1-add}" /sys/class/tty/ptmx 2>&1
}

# says WHY yes|no TEXT
says() {
    local said
    said=$(udev_says "${4-add}")
    if grep -qF -- "$3" <<<"$said"; then found=yes; else found=no; fi
    [ "$found" = "$2" ] || { printf '%s: wanted "%s": %s\n%s\n' "$1" "$3" "$2" "$said" && failed=1; }
    ! grep -qiE 'rules:[0-9]+ .*(invalid|unknown|fail|ignor)' <<<"$said" || { echo "$1: $said" && failed=1; }
}

module='ENV{ID_VENDOR_ID}=="0000", ENV{ID_MODEL_ID}=="0001", ENV{ZELT_AT_INTERFACE}="02"'
given 0000 0001 02 "$module"
says 'the interface of the table' yes "Successfully created symlink '/dev/ttyQSB3'"
says 'the interface of the table' yes ID_MM_PORT_IGNORE=1
says 'only the port is kept from ModemManager' no ID_MM_DEVICE_IGNORE
says 'a port that goes gets no name' no ttyQSB3 remove
given 0000 0001 03 "$module"
says 'another interface of the module' no ttyQSB3
given 0000 0002 02 "$module"
says 'another kind of module' no ttyQSB3
given 0000 0001 02 "# $module"
says 'a table without lines' no ttyQSB3
# A USB device of its own kind is not at hand: the rule for it, applied to the one that is.
given 0000 0001 02 "$module, ENV{ZELT_ALONE}=\"1\""
says 'the rule for the whole module is not for its ports' no ID_MM_DEVICE_IGNORE
sed -i 's/SUBSYSTEM=="usb", ENV{DEVTYPE}=="usb_device"/SUBSYSTEM=="tty"/' "$work/rules/62-zelt-stats.rules"
says 'the whole module' yes ID_MM_DEVICE_IGNORE=1

# The shipped table names nobody's module.
given 0000 0001 02 "$(cat "$root/deploy/udev/61-zelt-modules.rules")"
says 'the shipped table' no ttyQSB3

# --- The program that writes it, with a udevadm that knows one port. ---

cat >"$work/bin/udevadm" <<'END'
#!/bin/sh
case $1 in
    info) printf 'DEVNAME=/dev/null\nID_VENDOR_ID=0000\nID_MODEL_ID=0001\n%s\n' "${INTERFACE-ID_USB_INTERFACE_NUM=02}" ;;
    trigger) ln -sf null /dev/ttyQSB3 ;;
esac
END
chmod +x "$work/bin/udevadm"

# name_port STATUS TEXT [ARGUMENT...]: in a system whose rules are in $work/etc.
name_port() {
    local wanted=$1 text=$2 status=0 said
    shift 2
    said=$(bwrap --ro-bind / / --dev /dev --tmpfs /etc/udev --bind "$work/etc" /etc/udev/rules.d \
        --ro-bind "$work/bin" /srv --setenv PATH "/srv:$PATH" sh "$build/deploy/zelt-name-port" "$@" 2>&1) || status=$?
    [ "$status" = "$wanted" ] && grep -qF -- "$text" <<<"$said" ||
        { printf 'zelt-name-port %s: status %s, wanted %s and "%s":\n%s\n' "$*" "$status" "$wanted" "$text" "$said" && failed=1; }
}

table=$work/etc/61-zelt-modules.rules
cp "$root/deploy/udev/61-zelt-modules.rules" "$table" # its example is no line
name_port 2 Usage
name_port 1 'no serial port' /dev/not-there
name_port 0 "$module" --print /dev/null
! grep -qxF "$module" "$table" || { echo '--print wrote the table' && failed=1; }
name_port 0 'is now /dev/ttyQSB3' /dev/null
rm "$table"
name_port 0 'is now /dev/ttyQSB3' /dev/null
name_port 0 'has the line already' /dev/null
[ "$(grep -cxF "$module" "$table")" = 1 ] || { echo 'the line is not in the table once' && failed=1; }
export INTERFACE=ID_USB_INTERFACE_NUM=03
name_port 1 'names another port of this kind' /dev/null
export INTERFACE=
name_port 1 'not the port of a USB device' /dev/null
exit $failed
