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

[ $# -le 1 ] || die "one option at most: see ./bench.sh --help."
case "${1:-}" in
    '') ;;
    -h | --help) usage && exit 0 ;;
    *) die "unknown option '$1': see ./bench.sh --help." ;;
esac

scripts/setup.sh bench
need_root "Measuring the start"

build_release build/bench -DVESMARA_BUILD_BENCH=ON

step "Measuring"
bench/report.py build/bench
