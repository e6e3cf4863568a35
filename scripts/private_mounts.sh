#!/usr/bin/env bash
# Runs a command, as root, in a mount namespace of its own: what it mounts is seen by no other process and is gone with
# it. The command finds "/" to be a mount point, so that it can make namespaces below this one in the usual way.
#
#   scripts/private_mounts.sh COMMAND [ARGUMENT...]
set -euo pipefail
. "$(dirname "$(readlink -f "$0")")/common.sh"

refuse() {
    die "this machine allows no private mounts: run where root may mount file systems."
}

if [ "${1:-}" != --inside ]; then
    [ $# -gt 0 ] || die "name the command to run."
    need_root "A mount namespace"
    [ -e /proc/self/ns/mnt ] || die "/proc is not mounted."
    as_root unshare --mount --propagation unchanged true 2>/dev/null || refuse
    # No exec: as_root is a function.
    as_root unshare --mount --propagation unchanged "$(readlink -f "$0")" --inside "$@"
    exit
fi
shift

if mount --make-rprivate / 2>/dev/null; then
    exec "$@"
fi

# "/" is a folder of a larger file system here, as in a plain chroot. Such a folder has no propagation of its own; the
# mount that it lies in has, and is out of reach. Entering our own namespace anew leads to its root, where it can be
# set.
nsenter --mount=/proc/self/ns/mnt mount --make-rprivate / 2>/dev/null || refuse
# Now the folder is made a mount point: of a second view of itself, which becomes the root. /mnt is only where the view
# is hung up; inside the view, /mnt is the folder that it always was.
mount --rbind / /mnt 2>/dev/null || refuse
exec chroot /mnt env -C "$PWD" "$@"
