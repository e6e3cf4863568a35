#!/usr/bin/env bash
# Long runs of what other users and the world around can do to the program, with one table of figures at the end.
set -euo pipefail
cd "$(dirname "$(readlink -f "$0")")/.."
. scripts/common.sh

usage() {
    cat <<'END'
usage: scripts/neighbours.sh [--seconds N] [--ends N]

Builds the tests in build/faults and runs them: objects planted at the program's names, neighbours who swap them while
it works, and the program's end by "Apply" and by "Cancel" while its log is busy. The status is 0 when nothing was
reached, nothing hung and every end was good. Nothing of the machine is touched.

  --seconds N   of each race; 20 when nothing is said
  --ends N      of each kind, with each kind of busy log; 500 when nothing is said
END
}

seconds=20 ends=500
while [ $# -gt 0 ]; do
    case $1 in
        -h | --help) usage && exit 0 ;;
        --seconds | --ends)
            [[ ${2:-} =~ ^[1-9][0-9]*$ ]] || die "$1 needs a number above 0."
            declare "${1#--}=$2"
            shift
            ;;
        *) die "unknown word '$1': see scripts/neighbours.sh --help." ;;
    esac
    shift
done

readonly programs=(PlantedTest RacingTest ModesTest LogDiskTest gui_fault_test)

scripts/setup.sh test
need_root "Another user"
step "Building"
cmake --log-level=WARNING -S . -B build/faults -G Ninja -DCMAKE_BUILD_TYPE=Release -DVESMARA_BUILD_TESTS=ON \
    >/dev/null || die "the build could not be configured."
cmake --build build/faults --target "${programs[@]}" || die "the build failed."

output=$(mktemp)
trap 'rm -f "$output"' EXIT
status=0
for program in "${programs[@]}"; do
    step "$program"
    scripts/private_mounts.sh env VESMARA_NEIGHBOURS_SECONDS="$seconds" VESMARA_REPEAT="$ends" \
        "build/faults/bin/$program" --gtest_brief=1 | tee -a "$output" || status=1
done
step "Figures"
awk -F ' [|] ' '
    /^figures [|]/ { printf "%-76s | %8d | %8d\n", $2, $3, $4; runs += $3; hits += $4 }
    END { printf "%-76s | %8d | %8d\n", "all", runs, hits }' "$output"
exit "$status"
