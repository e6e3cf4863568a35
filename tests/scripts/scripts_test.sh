#!/usr/bin/env bash
# One case of the scripts' tests: scripts_test.sh CASE. Works on a copy of the scripts in a folder of its own.
set -euo pipefail
source_tree=$(cd "$(dirname "$(readlink -f "$0")")/../.." && pwd)

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
tree=$work/tree stand_ins=$work/bin
mkdir "$tree" "$stand_ins" "$work/tmp"
cp -r "$source_tree/scripts" "$source_tree/run.sh" "$source_tree/test.sh" "$source_tree/bench.sh" "$tree/"
export TMPDIR=$work/tmp PATH=$stand_ins:$PATH
unset DISPLAY
cd "$tree"

fail() {
    printf 'FAILED: %s\n' "$*" >&2
    exit 1
}

# Runs a command and keeps what came of it in $status, $out and $err.
try() {
    status=0
    "$@" >"$work/out" 2>"$work/err" || status=$?
    out=$(<"$work/out") err=$(<"$work/err")
}

expect() {
    [ "$2" = "$3" ] || fail "$1 is '$2', not '$3'"
}

expect_refusal() {
    expect status "$status" 1
    expect "standard error" "$err" "$1"
}

# $1: name of a program that the scripts call; its body comes on standard input.
stand_in() {
    { printf '#!/bin/bash\n' && cat; } >"$stand_ins/$1"
    chmod +x "$stand_ins/$1"
}

header_of_version() {
    mkdir -p "$1"
    printf '/// - 2019/09/20 (%s) - A change\n/// - 2017/01/01 (4.00.0) - Another\n' "$2" >"$1/nuklear.h"
}

all_is_installed() {
    stand_in dpkg-query <<<'printf "ii "'
}

xvfb_is_missing() {
    stand_in dpkg-query <<<'[ "${@: -1}" = xvfb ] || printf "ii "'
    stand_in sudo <<<'shift 2; exec "$@"'
}

# apt whose only archive has the source package, with a header of the version $1 and more beside it.
apt_has_header() {
    header_of_version "$work/package/glfw-3.4/deps" "$1"
    touch "$work/package/glfw-3.4/deps/other.h" "$work/package/glfw-3.4/README.md"
    tar -cJf "$work/package.tar.xz" -C "$work/package" glfw-3.4
    stand_in apt-get <<END
case "\$*" in
    indextargets*) echo http://mirror.invalid/debian ;;
    *--download-only*) cp "$work/package.tar.xz" glfw3_3.4.orig.tar.xz ;;
esac
END
}

HelpIsShown() {
    local script
    for script in ./run.sh ./test.sh ./bench.sh; do
        try "$script" --help
        expect status "$status" 0
        expect "first words" "${out%% *}" usage:
        expect "standard error" "$err" ""
    done
}

UnknownOptionsEndWithOneSentence() {
    try ./run.sh --fast
    expect_refusal "run.sh: unknown option '--fast': see ./run.sh --help."
    try ./run.sh --live --live
    expect_refusal "run.sh: one option at most: see ./run.sh --help."
    try ./test.sh fast
    expect_refusal "test.sh: unknown option 'fast': see ./test.sh --help."
    try ./bench.sh --fast
    expect_refusal "bench.sh: unknown option '--fast': see ./bench.sh --help."
    try ./bench.sh --help --help
    expect_refusal "bench.sh: one option at most: see ./bench.sh --help."
    try scripts/setup.sh everything
    expect_refusal "setup.sh: unknown purpose 'everything': say run, test, bench or check."
}

LiveWithoutADisplayIsRefused() {
    try ./run.sh --live
    expect_refusal \
        "run.sh: --live changes this machine's files and is left to a person: set DISPLAY to a display with GLX."
}

SetUpOfAReadyMachineAsksNobody() {
    all_is_installed
    stand_in apt-get <<<"touch '$work/asked'; exit 1"
    header_of_version .deps/nuklear 4.01.3
    try scripts/setup.sh test
    expect status "$status" 0
    expect output "$out$err" ""
    [ ! -e "$work/asked" ] || fail "apt-get was called"
}

SetUpInstallsWhatIsMissing() {
    xvfb_is_missing
    stand_in apt-get <<<"echo \"\$*\" >>'$work/asked'"
    header_of_version .deps/nuklear 4.01.3
    try scripts/setup.sh run
    expect status "$status" 0
    expect "last call of apt-get" "$(tail -n 1 "$work/asked")" \
        "-q -y -o DPkg::Lock::Timeout=300 -o Dpkg::Use-Pty=0 install --no-install-recommends xvfb"
}

PackagesThatCannotBeHadEndTheSetUpWithOneSentence() {
    xvfb_is_missing
    stand_in apt-get <<<'echo "W: old lists"; echo "E: no such host"; exit 100'
    try scripts/setup.sh run
    expect_refusal "setup.sh: the packages could not be installed: E: no such host"
    expect "temporary files" "$(ls "$TMPDIR")" ""
}

OnlyTheHeaderOfTheSourcePackageIsKept() {
    apt_has_header 4.01.3
    try scripts/fetch_toolkit.sh
    expect status "$status" 0
    expect "files kept" "$(find .deps -type f)" .deps/nuklear/nuklear.h
    cmp .deps/nuklear/nuklear.h "$work/package/glfw-3.4/deps/nuklear.h" || fail "the header differs"
    expect "temporary files" "$(ls "$TMPDIR")" ""
}

HeaderThatIsTooOldIsRefused() {
    apt_has_header 4.01.2
    try scripts/fetch_toolkit.sh
    expect_refusal "fetch_toolkit.sh: the toolkit's header is older than 4.01.3."
    [ ! -e .deps/nuklear/nuklear.h ] || fail "the old header was kept"
    expect "temporary files" "$(ls "$TMPDIR")" ""
}

HeaderThatCannotBeDownloadedEndsTheSetUpWithOneSentence() {
    stand_in apt-get <<<'echo "E: no such host" >&2; exit 100'
    try scripts/fetch_toolkit.sh
    expect_refusal "fetch_toolkit.sh: the source package glfw3 of trixie could not be downloaded: is the network up?"
    expect "temporary files" "$(ls "$TMPDIR")" ""
}

PrivateMountsAreSeenByTheCommandAlone() {
    try scripts/private_mounts.sh sh -c 'mount -t tmpfs private-test /mnt && grep -c ^private-test /proc/self/mounts'
    expect status "$status" 0
    expect "mounts of the command" "$out" 1
    ! grep -q ^private-test /proc/self/mounts || fail "the mount is still there"
}

[ "$(type -t "${1:-}")" = function ] || fail "no such case: ${1:-}"
"$1"
