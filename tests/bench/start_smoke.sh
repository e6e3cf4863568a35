#!/usr/bin/env bash
# One start of each program: every one shows a frame and tells its cost.
#
#   start_smoke.sh BIN   BIN: folder of the built programs
set -euo pipefail
cd "$(dirname "$(readlink -f "$0")")/../.."

output=$(scripts/private_mounts.sh bench/start.sh "$1" 1)
for program in own bare bare-fixed; do
    row="\"program\": \"$program\", \"cpu_s\": [0-9]+\.[0-9]+, \"peak_kb\": [1-9][0-9]+, \"libraries\": [1-9][0-9]*"
    grep -qxE "\{$row\}" <<<"$output" || { printf 'no figures of %s in:\n%s\n' "$program" "$output" >&2 && exit 1; }
done
