#!/usr/bin/env bash
# A short run of one fuzz driver: fuzz_test.sh engine|replay FOLDER_OF_DRIVERS NAME RUNS
#
# The number of runs is fixed and so is the engine's seed, but not the addresses that it draws on: no two runs are quite
# the same. A finding is printed as base64 with the driver's report, since the files of the run go away with it.
set -euo pipefail
here=$(dirname "$(readlink -f "$0")")
mode=$1 driver=$2/fuzz_$3 corpus=$here/corpus/$3 runs=$4

# Where there is a folder in memory it is much the faster one.
parent=/dev/shm
[ -w "$parent" ] || parent=${TMPDIR:-/tmp}
work=$(mktemp -d "$parent/vesmara-fuzz-test-XXXXXX")
trap 'rm -rf "$work"' EXIT
mkdir "$work/new" "$work/tmp"

status=0
case $mode in
    engine)
        # New inputs go to the first folder, the seeds are only read. Every seed is run, whatever the count.
        TMPDIR=$work/tmp "$driver" -runs="$runs" -seed=1 -timeout=60 -dict="$here/config.dict" \
            -artifact_prefix="$work/" "$work/new" "$corpus" >"$work/out" 2>&1 || status=$?
        ;;
    replay) TMPDIR=$work/tmp "$driver" "$corpus" >"$work/out" 2>&1 || status=$? ;;
esac
if [ "$status" -ne 0 ]; then
    grep -vE '^#[0-9]+[[:space:]]' "$work/out" >&2  # without the engine's progress
    exit 1
fi
grep -E '^Done [0-9]+ runs|^[0-9]+ inputs$|^loads: ' "$work/out"
leftover=$(ls "$work/tmp")
[ -z "$leftover" ] || { printf 'FAILED: the driver left %s\n' "$leftover" >&2 && exit 1; }
