#!/usr/bin/env bash
# Builds the benchmarks with all competitors and prints the table of ratios and goals.
set -euo pipefail
cd "$(dirname "$(readlink -f "$0")")"
. scripts/common.sh

usage() {
    cat <<'END'
usage: ./bench.sh

Installs what is missing, the competitors included, builds in build/bench and
runs all benchmarks: instructions under callgrind, times, and starts in Xvfb.
Prints one table with each ratio beside its goal and writes it to
build/bench/report.json. Takes about six minutes.

Needs root rights (or sudo without a password), for the packages and for the
mount namespace that the starts are measured in.
END
}

case "${1:-}" in
    '') ;;
    -h | --help) usage && exit 0 ;;
    *) die "unknown option '$1': see ./bench.sh --help." ;;
esac

# The competitors, and what finds them.
competitors=(pkg-config libinih-dev libglib2.0-dev libspdlog-dev libgtk-3-dev)

install_competitors() {
    local missing=() package output
    for package in "${competitors[@]}"; do
        dpkg-query -W -f '${db:Status-Status}' "$package" 2>/dev/null | grep -qx installed || missing+=("$package")
    done
    [ ${#missing[@]} -gt 0 ] || return 0
    step "Installing ${missing[*]}"
    need_root "Installing packages"
    output=$(as_root env DEBIAN_FRONTEND=noninteractive apt-get -q -y install --no-install-recommends "${missing[@]}" 2>&1) ||
        die "the packages could not be installed: $(tail -n 1 <<<"$output")"
}

scripts/setup.sh test
install_competitors
need_root "Measuring the start"

build_release build/bench -DVESMARA_BUILD_BENCH=ON

step "Measuring"
bench/report.py build/bench
