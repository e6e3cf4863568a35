#!/usr/bin/env bash
# Installs the Debian packages that are missing and fetches the toolkit's header. A second run finds everything in place
# and needs no network.
#
#   scripts/setup.sh [run|test|bench|check]   what the machine is made ready for; "run" when nothing is said
set -euo pipefail
cd "$(dirname "$(readlink -f "$0")")/.."
. scripts/common.sh

# What the program and its demonstration are built from and run on.
run_packages=(
    g++ cmake ninja-build nlohmann-json3-dev
    libx11-dev libgl-dev libxtst-dev libxdamage-dev libpng-dev
    libgl1-mesa-dri libglx-mesa0 xvfb
    fonts-roboto-unhinted
    ca-certificates dpkg-dev xz-utils
    diffutils mount util-linux
)
# What the test suite needs beside that: clang for the fuzz drivers, valgrind for the memory checks, file for the
# package, devscripts for its hardening-check; jsonschema, patch, mandoc and strace for the checker; libfuse and the
# makers of file systems for the power cuts.
test_packages=(
    libgtest-dev libgmock-dev libbenchmark-dev
    clang libclang-rt-14-dev valgrind python3 file pkg-config devscripts
    python3-jsonschema patch mandoc strace
    libfuse3-dev e2fsprogs xfsprogs btrfs-progs
)
# The competitors of the benchmarks.
bench_packages=(libinih-dev libglib2.0-dev libspdlog-dev libgtk-3-dev)
check_packages=(clang-format clang-tidy git lcov llvm)

case "${1:-run}" in
    run) packages=("${run_packages[@]}") ;;
    test) packages=("${run_packages[@]}" "${test_packages[@]}") ;;
    bench) packages=("${run_packages[@]}" "${test_packages[@]}" "${bench_packages[@]}") ;;
    check) packages=("${run_packages[@]}" "${test_packages[@]}" "${bench_packages[@]}" "${check_packages[@]}") ;;
    *) die "unknown purpose '$1': say run, test, bench or check." ;;
esac
[ $# -le 1 ] || die "one purpose at most: run, test, bench or check."

is_installed() {
    case "$(dpkg-query -W -f '${db:Status-Abbrev}' "$1" 2>/dev/null)" in
        ?i*) return 0 ;;
        *) return 1 ;;
    esac
}

apt() {
    # A fresh machine may be busy with updates of its own.
    as_root env DEBIAN_FRONTEND=noninteractive apt-get -q -y -o DPkg::Lock::Timeout=300 "$@"
}

first_error() {
    grep -m 1 '^E: ' "$output" || tail -n 1 "$output"
}

install_missing() {
    local missing=() package
    command -v dpkg-query >/dev/null || die "this is no Debian system; install by hand what scripts/setup.sh lists."
    for package in "${packages[@]}"; do
        is_installed "$package" || missing+=("$package")
    done
    [ ${#missing[@]} -gt 0 ] || return 0

    step "Installing ${missing[*]}"
    need_root "Installing packages"
    output=$(mktemp)
    trap 'rm -f "$output"' EXIT
    # Lists that cannot be brought up to date, as of some foreign archive, do no harm while the packages can be had.
    apt update >"$output" 2>&1 || true
    apt -o Dpkg::Use-Pty=0 install --no-install-recommends "${missing[@]}" >>"$output" 2>&1 ||
        die "the packages could not be installed: $(first_error)"
}

install_missing
scripts/fetch_toolkit.sh
