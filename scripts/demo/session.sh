#!/usr/bin/env bash
# One session of the form, as root, and what it changed. Started by ./run.sh:
#
#   session.sh private user|driver   on the sample system; to be run under private_mounts.sh
#   session.sh live user             on this machine's directories
#
# "driver" starts an X server without a screen and works through walkthrough.txt; "user" leaves the form to the display.
#
# The sample system is a root folder of memory into which the machine's programs and libraries are mounted. So the tool
# finds its fixed paths, /mnt holds the sample drives and no others, and no folder of the machine is written to.
set -euo pipefail
cd "$(dirname "$(readlink -f "$0")")/../.."
. scripts/common.sh

readonly place=$1 hands=$2
readonly font=/usr/share/fonts/truetype/roboto/unhinted/RobotoTTF/Roboto-Regular.ttf
readonly asset=/etc/Orvan/Assets/Fonts/Roboto-Regular.ttf
readonly configuration=/etc/Orvan/Config/Server
readonly log=/etc/Orvan/Log/Server/Log.txt
readonly entry=StartRecordingServer.desktop
readonly autostart=/etc/xdg/autostart/$entry
# Where the program lies: as the build left it, or in the sample system where an installation puts it.
bin=$PWD/build/release/bin

# In /tmp whatever TMPDIR says: below a folder named mnt or media its mounts would be offered as drives.
work=$(mktemp -d -p /tmp)
root=
server=
form=

clean_up() {
    local process
    for process in $form $server; do
        end_process "$process"
    done
    [ -z "$root" ] || umount -l "$root"
    rm -rf --one-file-system "$work"
} 2>/dev/null
trap clean_up EXIT

# ---- The sample system -----------------------------------------------------------------------------------------------

show_machine_folders() {
    local folder
    for folder in /bin /sbin /lib /lib32 /lib64 /libx32 /usr /var; do
        if [ -L "$folder" ]; then
            cp -P "$folder" "$root/"
        elif [ -d "$folder" ]; then
            mkdir "$root$folder"
            mount --bind "$folder" "$root$folder"
        fi
    done
    for folder in /proc /sys /dev; do
        mkdir "$root$folder"
        mount --rbind "$folder" "$root$folder"
    done
    # The X server compiles keyboard maps there.
    [ ! -d "$root/var/lib/xkb" ] || mount -t tmpfs tmpfs "$root/var/lib/xkb"
    cp -a /etc "$root/"
}

# /usr/share is shown as a folder of links: as before, but names can be added to it.
show_private_applications() {
    mkdir "$root/.share" "$root/.links" "$root/.links/applications"
    mount --bind /usr/share "$root/.share"
    (cd "$root/.share" && find . -mindepth 1 -maxdepth 1 ! -name applications -printf '%P\n') |
        while IFS= read -r name; do
            ln -s "/.share/$name" "$root/.links/$name"
        done
    cp scripts/demo/sample/"$entry" "$root/.links/applications/"
    mount --bind "$root/.links" "$root/usr/share"
}

# The display's socket and the key to it, nothing else of the folders that they lie in.
show_display() {
    mkdir -m 1777 "$root/tmp" "$root/tmp/.X11-unix"
    mkdir -m 700 "$root/root"
    local key=${XAUTHORITY:-${HOME:-/root}/.Xauthority}
    export HOME=/root
    [ "$hands" = user ] || return 0
    [ ! -d /tmp/.X11-unix ] || mount --bind /tmp/.X11-unix "$root/tmp/.X11-unix"
    if [ -f "$key" ]; then
        cp "$key" "$root/root/.Xauthority"
        export XAUTHORITY=/root/.Xauthority
    fi
}

install_samples() {
    rm -rf "$root/etc/Orvan"
    mkdir -p "$root$configuration" "$root$(dirname "$log")" "$root$(dirname "$asset")" "$root$(dirname "$autostart")"
    cp scripts/demo/sample/*.cfg "$root$configuration/"
    cp "$font" "$root$asset"
    rm -f "$root$autostart" "$root/etc/mtab"
    ln -s /proc/self/mounts "$root/etc/mtab"
    mkdir -p "$root/opt/Orvan"
    cp -r "$bin" "$root/opt/Orvan/"
    bin=/opt/Orvan/bin
}

# A drive of memory that takes only what is written to it, whatever size it claims.
sample_drive() {
    mkdir -p "$root/mnt/$1"
    mount -t tmpfs -o "size=$2" "$1" "$root/mnt/$1"
}

make_sample_system() {
    mount -t tmpfs -o mode=755 tmpfs "$work"
    root=$work
    show_machine_folders
    show_private_applications
    show_display
    install_samples
    sample_drive record-a 3720g
    sample_drive record-b 1860g
    sample_drive general 465g
}

# ---- The form --------------------------------------------------------------------------------------------------------

# Becomes a command in the sample system, or on the machine when the session is live. Called in a subshell, so that the
# process id of a background call is the command's own.
inside() {
    if [ -n "$root" ]; then
        exec chroot "$root" "$@"
    else
        exec "$@"
    fi
}

drive_form() {
    mkdir -p build/demo "$root/pictures"
    rm -f build/demo/*.png
    mount --bind build/demo "$root/pictures"
    (inside env -C /pictures "$bin/vesmara-demo-driver" <scripts/demo/walkthrough.txt) ||
        die "the form could not be driven to its end."
    chown --reference=run.sh build/demo build/demo/*.png
}

run_form() {
    local status=0
    inside "$bin/Vesmara" >"$work/printed" &
    form=$!
    [ "$hands" = user ] || drive_form
    wait "$form" || status=$?
    form=
    [ "$status" -eq 0 ] || die "the form ended with status $status; it had printed: $(cat "$work/printed")"
}

# ---- What it changed -------------------------------------------------------------------------------------------------

# $1: folder that receives a copy of every file that the tool may write, but for the log.
keep_copies() {
    mkdir -p "$1"
    cp "$root$configuration"/*.cfg "$1/" 2>/dev/null || true
    cp "$root$autostart" "$1/" 2>/dev/null || true
}

show_change() {
    local name=$1 path=$2 old=$work/before/$1 new=$work/after/$1
    if [ ! -e "$old" ] && [ ! -e "$new" ]; then
        printf '\n%s: absent before and after\n' "$path"
    elif [ -e "$old" ] && [ -e "$new" ] && cmp -s "$old" "$new"; then
        printf '\n%s: unchanged\n' "$path"
    else
        printf '\n%s:\n' "$path"
        diff -uN --label "before the session" --label "after it" "$old" "$new" || true
    fi
}

show_changes() {
    step "What the session changed"
    show_change global.cfg "$configuration/global.cfg"
    show_change local.cfg "$configuration/local.cfg"
    show_change "$entry" "$autostart"
    printf '\n%s:\n' "$log"
    tail -c +"$((log_length + 1))" "$root$log" 2>/dev/null || printf 'absent\n'
}

if [ "$place" = private ]; then
    make_sample_system
else
    [ -e "$asset" ] || { mkdir -p "$(dirname "$asset")" && ln -s "$font" "$asset"; }
fi

log_length=$(stat -c %s "$root$log" 2>/dev/null || echo 0)
keep_copies "$work/before"
if [ "$hands" = driver ]; then
    step "Driving the form in Xvfb"
    start_xvfb "$work" inside
else
    step "The form is open on $DISPLAY"
fi
run_form
keep_copies "$work/after"
show_changes
if [ "$hands" = driver ]; then
    step "Pictures: $(echo build/demo/*.png)"
fi
