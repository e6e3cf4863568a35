#!/usr/bin/env python3
"""Runs every piece of work of a benchmark program once, timed and counted.

    smoke.py PROGRAM NAME...

Fails unless all of it runs and each NAME is among it.
"""

import json
import re
import subprocess
import sys


def main():
    program, expected = sys.argv[1], set(sys.argv[2:])
    done = subprocess.run([program, "--benchmark_min_time=0", "--benchmark_format=json"], stdout=subprocess.PIPE,
                          check=True, text=True)
    rows = json.loads(done.stdout)["benchmarks"]
    timed = {re.sub(r"/manual_time.*", "", row["name"]) for row in rows}
    idle = [row["name"] for row in rows if row["iterations"] < 1 or row["real_time"] <= 0]
    counted = subprocess.run([program, "--list"], stdout=subprocess.PIPE, check=True, text=True).stdout.split()
    for name in counted:
        subprocess.run([program, "--count", name, "1"], stdout=subprocess.DEVNULL, check=True)
    if subprocess.run([program, "--count", "no/such", "1"], stderr=subprocess.DEVNULL, check=False).returncode == 0:
        sys.exit("work that does not exist is counted")
    missing = (expected | set(counted)) - timed
    if missing or idle or not counted:
        sys.exit(f"not run: {sorted(missing)}; without a time: {idle}")


if __name__ == "__main__":
    main()
