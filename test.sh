#!/usr/bin/env bash
# Builds everything with its tests and runs the whole suite. The last line says how many passed and failed.
set -euo pipefail
cd "$(dirname "$(readlink -f "$0")")"
. scripts/common.sh

usage() {
    cat <<'END'
usage: ./test.sh

Installs what is missing, builds in build/test and runs the whole test suite.
The last line is "N passed, M failed"; the status is 0 when nothing failed.
END
}

# One attribute of the first <testsuite> element of ctest's report.
report_count() {
    sed -n "s/.*[[:space:]]$1=\"\([0-9]*\)\".*/\1/p" "$report" | head -n 1
}

[ $# -le 1 ] || die "one option at most: see ./test.sh --help."
case "${1:-}" in
    '') ;;
    -h | --help) usage && exit 0 ;;
    *) die "unknown option '$1': see ./test.sh --help." ;;
esac

readonly report=$PWD/build/test/report.xml

scripts/setup.sh test
need_root "The test suite"
build_release build/test -DVESMARA_BUILD_TESTS=ON

step "Testing"
rm -f "$report"
run_tests build/test --output-junit "$report" || true
give_back build/test
[ -s "$report" ] || die "the tests did not run."

# A test that was skipped or switched off has shown nothing: it counts as failed.
total=$(report_count tests)
failed=$(($(report_count failures) + $(report_count skipped) + $(report_count disabled)))
printf '%d passed, %d failed\n' $((total - failed)) "$failed"
[ "$failed" -eq 0 ]
