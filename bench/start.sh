#!/usr/bin/env bash
# Starts the program and its competitors in turn, each up to its first frame, and prints a line of JSON for each start.
#
#   scripts/private_mounts.sh bench/start.sh BIN ROUNDS   BIN: folder of the built programs
#
# As root and in a mount namespace of its own: /etc becomes a copy in memory with the sample system in it, /mnt holds
# the sample drives, and Xvfb is the display.
set -euo pipefail
bin=$(readlink -f "$1")
rounds=$2
cd "$(dirname "$(readlink -f "$0")")/.."
. scripts/common.sh

[ "$(readlink /proc/self/ns/mnt)" != "$(readlink /proc/1/ns/mnt)" ] || die "run it under scripts/private_mounts.sh."

readonly font=/usr/share/fonts/truetype/roboto/unhinted/RobotoTTF/Roboto-Regular.ttf

work=$(mktemp -d -p /tmp)
server=
clean_up() {
    [ -z "$server" ] || end_process "$server"
    umount -l "$work" || true
    rmdir "$work" || true
} 2>/dev/null
trap clean_up EXIT
mount -t tmpfs tmpfs "$work"

make_sample_system() {
    local drive
    # The X server compiles keyboard maps there.
    [ ! -d /var/lib/xkb ] || mount -t tmpfs tmpfs /var/lib/xkb
    cp -a /etc "$work/etc"
    rm -rf "$work/etc/Orvan" "$work/etc/mtab"
    mkdir -p "$work/etc/Orvan/Config/Server" "$work/etc/Orvan/Log/Server" "$work/etc/Orvan/Assets/Fonts" "$work/home"
    ln -s /proc/self/mounts "$work/etc/mtab"
    cp scripts/demo/sample/*.cfg "$work/etc/Orvan/Config/Server/"
    cp "$font" "$work/etc/Orvan/Assets/Fonts/"
    mount --bind "$work/etc" /etc
    # The loader splits the list of preloaded libraries at blanks, which the build's path may have.
    cp "$bin/libbench-first-frame.so" "$work/"
    mount -t tmpfs tmpfs /mnt
    for drive in record-a record-b general; do
        mkdir "/mnt/$drive"
        mount -t tmpfs -o size=1g "$drive" "/mnt/$drive"
    done
}

# $1: name in the output, the rest: program and arguments. HOME is where the GL driver keeps its compiled shaders and
# the desktop toolkit its tables.
start_once() {
    local name=$1 program=$2
    shift 2
    rm -f "$work/report"
    env LC_ALL=C HOME="$work/home" BENCH_REPORT="$work/report" LD_PRELOAD="$work/libbench-first-frame.so" \
        timeout 60 "$bin/$program" "$@" >"$work/printed" 2>&1 ||
        die "$name has not shown a frame: $(tail -n 1 "$work/printed")"
    sed "s/^{/{\"program\": \"$name\", /" "$work/report"
}

start_all() {
    start_once own Vesmara
    start_once bare bench-bare-window
    start_once bare-fixed bench-bare-window fixed
    [ ! -x "$bin/bench-gtk-form" ] || start_once gtk bench-gtk-form
}

make_sample_system
start_xvfb "$work"
start_all >"$work/first"  # fills the tables in HOME; not measured
for ((round = 0; round < rounds; ++round)); do
    start_all
done
