#!/usr/bin/env bash
# Long runs of the fuzz drivers, and the line coverage that their inputs reach.
#
#   scripts/fuzz.sh [SECONDS [DRIVER...]]   seconds for each driver, 60 when nothing is said; all drivers
#
# Inputs that are worth keeping gather in build/fuzz/corpus, findings in build/fuzz/findings; a further run starts from
# both the seeds and what has gathered. Seeds for the repository: copy them to tests/fuzz/corpus under a telling name.
set -euo pipefail
cd "$(dirname "$(readlink -f "$0")")/.."
. scripts/common.sh

seconds=${1:-60}
[[ $seconds =~ ^[1-9][0-9]*$ ]] || die "the first argument is a number of seconds."
shift || true
drivers=("$@")
[ ${#drivers[@]} -gt 0 ] || drivers=(normalise format global local device_info device_map roundtrip)
for driver in "${drivers[@]}"; do
    [ -f "tests/fuzz/fuzz_$driver.cpp" ] || die "there is no driver '$driver': see tests/fuzz."
done

# A tool of LLVM under its plain name or that of Debian 12's version.
llvm_tool() {
    command -v "$1" || command -v "$1-14" || die "$1 is missing: run scripts/setup.sh check."
}
llvm_cov=$(llvm_tool llvm-cov)
llvm_profdata=$(llvm_tool llvm-profdata)

# $1: folder, then further settings.
build_drivers() {
    local folder=$1
    shift
    cmake --log-level=WARNING -S tests/fuzz/project -B "$folder" -G Ninja -DCMAKE_CXX_COMPILER=clang++ \
        "$@" >/dev/null || die "the drivers could not be configured."
    cmake --build "$folder" >/dev/null || die "the drivers could not be built."
}

step "Building"
build_drivers build/fuzz/drivers -DCMAKE_BUILD_TYPE=RelWithDebInfo
build_drivers build/fuzz/coverage -DCMAKE_BUILD_TYPE=Debug -DVESMARA_SANITIZE=fuzzer-no-link \
    -DCMAKE_CXX_FLAGS="-fprofile-instr-generate -fcoverage-mapping"

parent=/dev/shm
[ -w "$parent" ] || parent=${TMPDIR:-/tmp}
work=$(mktemp -d "$parent/vesmara-fuzz-run-XXXXXX")
trap 'rm -rf "$work"' EXIT
mkdir -p build/fuzz/findings

# $1: driver. The rows come in the order of the run: executions, inputs gathered, then the driver's own count.
run_driver() {
    local gathered=build/fuzz/corpus/$1
    mkdir -p "$gathered"
    if ! TMPDIR=$work "build/fuzz/drivers/bin/fuzz_$1" -max_total_time="$seconds" -timeout=60 -print_final_stats=1 \
        -dict=tests/fuzz/config.dict -artifact_prefix="build/fuzz/findings/$1-" \
        "$gathered" "tests/fuzz/corpus/$1" >"$work/out" 2>&1; then
        grep -E '^FINDING|^ERROR|^==|SUMMARY|^  message|Test unit written' "$work/out" >&2 || tail -n 20 "$work/out" >&2
        die "the driver $1 has a finding."
    fi
    grep -E '^stat::number_of_executed_units|^loads: ' "$work/out"
    printf 'inputs gathered: %s\n' "$(find "$gathered" -type f | wc -l)"
}

# $1: driver. One pass over seeds and gathered inputs.
measure_driver() {
    LLVM_PROFILE_FILE=$work/$1.profraw TMPDIR=$work "build/fuzz/coverage/bin/fuzz_$1" -runs=0 \
        "build/fuzz/corpus/$1" "tests/fuzz/corpus/$1" >"$work/out" 2>&1 ||
        { tail -n 20 "$work/out" >&2 && die "the driver $1 fails on what it has gathered."; }
}

for driver in "${drivers[@]}"; do
    step "$driver"
    run_driver "$driver"
    measure_driver "$driver"
done

step "Coverage"
"$llvm_profdata" merge -sparse "$work"/*.profraw -o "$work/profile"
# The first driver is named as it is, the others as further objects.
binaries=("build/fuzz/coverage/bin/fuzz_${drivers[0]}")
for driver in "${drivers[@]:1}"; do
    binaries+=(-object "build/fuzz/coverage/bin/fuzz_$driver")
done
measure=("${binaries[@]}" -instr-profile="$work/profile" ConfigLib LogLib/FormatText.cpp)
"$llvm_cov" report "${measure[@]}"
"$llvm_cov" show "${measure[@]}" >build/fuzz/lines.txt
printf 'Lines that no input reached (all lines are in build/fuzz/lines.txt):\n'
awk '/^\/.*:$/ { file = $0; sub(/.*\//, "", file) } /^ +[0-9]+\| +0\|/ { print file $0 }' build/fuzz/lines.txt
