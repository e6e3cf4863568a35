#!/usr/bin/env bash
# Builds the tool and runs it: see usage below.
set -euo pipefail
cd "$(dirname "$(readlink -f "$0")")"
. scripts/common.sh

usage() {
    cat <<'END'
usage: ./run.sh [--live]

Installs what is missing, builds in build/release and opens the form on a sample
system: two Recorders, three drives, a start entry. All of it lies in a private
mount namespace, so nothing of this machine's configuration is read or changed.

With a display the form opens there and is yours. Without one it opens in Xvfb,
is driven by X events up to "Apply", and pictures of it go to build/demo/.
When the form has ended, the changes of each file and the log are shown.

  --live    run on this machine's real directories instead; needs a display, and
            links the font to where the tool looks for it
  --help    show this text

Needs root rights (or sudo without a password), for the namespace and the packages.
END
}

[ $# -le 1 ] || die "one option at most: see ./run.sh --help."
mode=demo
case "${1:-}" in
    '') ;;
    --live) mode=live ;;
    -h | --help) usage && exit 0 ;;
    *) die "unknown option '$1': see ./run.sh --help." ;;
esac

readonly no_display="--live changes this machine's files and is left to a person: set DISPLAY to a display with GLX."
[ "$mode" = demo ] || [ -n "${DISPLAY:-}" ] || die "$no_display"

scripts/setup.sh run
need_root "Running the tool"

build_release build/release -DVESMARA_BUILD_DEMO=ON

if [ -n "${DISPLAY:-}" ] && build/release/bin/vesmara-demo-driver probe; then
    hands=user
else
    hands=driver
fi

if [ "$mode" = live ]; then
    [ "$hands" = user ] || die "$no_display"
    as_root scripts/demo/session.sh live user
else
    as_root scripts/private_mounts.sh scripts/demo/session.sh private "$hands"
fi
