#!/usr/bin/env bash
# Long runs of the faults that a save has to survive, with one table of figures at the end.
set -euo pipefail
cd "$(dirname "$(readlink -f "$0")")/.."
. scripts/common.sh

usage() {
    cat <<'END'
usage: scripts/faults.sh [OPTION...] [KIND...]

Builds the fault tests in build/faults, runs the kinds that are named, or all of them, and prints one table: how often
each fault was tried and how many files were lost. The status is 0 when nothing was lost. Nothing of the machine is
touched: mounts, loop devices and processes are gone with the run, however it ends.

kinds:
  kill     kill -9 at each system call of a save and at random moments
  call     each system call of a save failing, once and for good; short writes
  disk     full disks, disks without inodes, every limit of a file's size
  memory   each allocation of load and save failing
  power    power cuts on ext4, ext4 with noauto_da_alloc, XFS and btrfs
  apply    kill -9 of the real program while "Apply" saves

options:
  --kills N     random moments of the kind kill; 10000 when nothing is said
  --limits N    limits of a file's size, of each of two file sizes and two reactions; every one when nothing is said
  --cuts N      power cuts; 1000 when nothing is said
  --applies N   kills of the program; 500 when nothing is said
  --help        this text
END
}

is_number() {
    [[ $1 =~ ^[1-9][0-9]*$ ]]
}

kills=10000 limits=10000000 cuts=1000 applies=500
kinds=()
while [ $# -gt 0 ]; do
    case $1 in
        -h | --help) usage && exit 0 ;;
        --kills | --limits | --cuts | --applies)
            is_number "${2:-}" || die "$1 needs a number above 0."
            declare "${1#--}=$2"
            shift
            ;;
        kill | call | disk | memory | power | apply) kinds+=("$1") ;;
        *) die "unknown word '$1': see scripts/faults.sh --help." ;;
    esac
    shift
done
[ ${#kinds[@]} -gt 0 ] || kinds=(kill call disk memory power apply)

declare -A programs=(
    [kill]=SaveKillTest
    [call]=SaveCallTest
    [disk]=SaveDiskTest
    [memory]=SaveMemoryTest
    [power]=PowerCutTest
    [apply]=ApplyKillTest
)
# A record of the disk serves this many cuts in all; further ones are made on new records.
readonly cuts_of_a_round=200

build() {
    step "Building"
    cmake --log-level=WARNING -S . -B build/faults -G Ninja -DCMAKE_BUILD_TYPE=Release \
        -DVESMARA_BUILD_TESTS=ON >/dev/null || die "the build could not be configured."
    local targets=() kind
    for kind in "${kinds[@]}"; do
        targets+=("${programs[$kind]}")
    done
    cmake --build build/faults --target "${targets[@]}" || die "the build failed."
}

# $1: kind. Its output goes to the terminal but for the rows of figures, which are gathered.
run_kind() {
    local rounds=1 round_cuts=$cuts
    if [ "$1" = power ] && [ "$cuts" -gt "$cuts_of_a_round" ]; then
        rounds=$(((cuts + cuts_of_a_round - 1) / cuts_of_a_round))
        round_cuts=$cuts_of_a_round
    fi
    scripts/private_mounts.sh env VESMARA_FAULT_KILLS="$kills" VESMARA_FAULT_LIMITS="$limits" \
        VESMARA_FAULT_CUTS="$round_cuts" VESMARA_FAULT_APPLIES="$applies" \
        "build/faults/bin/${programs[$1]}" --gtest_repeat="$rounds" --gtest_brief=1 |
        tee -a "$output" | { grep -v -e '^figures ' -e '^Repeating all tests' -e '^$' || true; }
}

# Rows of the same kind are added up; their order is that of the run.
table() {
    awk -F ' [|] ' '
        BEGIN { printf "%-52s | %8s | %8s\n", "kind", "runs", "lost" }
        /^figures [|]/ {
            if (!($2 in runs)) { order[++rows] = $2 }
            runs[$2] += $3
            lost[$2] += $4
        }
        END {
            for (row = 1; row <= rows; ++row) {
                kind = order[row]
                printf "%-52s | %8d | %8d\n", kind, runs[kind], lost[kind]
                all += runs[kind]
                gone += lost[kind]
            }
            printf "%-52s | %8d | %8d\n", "all", all, gone
        }' "$output"
}

scripts/setup.sh test
need_root "A disk or a limit of one's own"
output=$(mktemp)
trap 'rm -f "$output"' EXIT
build
status=0
for kind in "${kinds[@]}"; do
    step "$kind"
    run_kind "$kind" || status=1
done
step "Figures"
table
exit "$status"
