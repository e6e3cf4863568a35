#!/usr/bin/env python3
"""Runs the built benchmarks, prints one table with each ratio beside its goal and writes it as JSON.

    bench/report.py BUILD [--smoke]

BUILD is the build folder. Instructions are counted by callgrind inside BenchMeasured, in the calling thread alone;
times are medians of interleaved repetitions. A competitor that was not built is reported as missing. The exit status
says whether the benchmarks ran, not whether the goals are met.
"""

import argparse
import collections
import json
import os
import re
import statistics
import subprocess
import sys
import tempfile

sys.dont_write_bytecode = True  # the tree stays as it is
import check  # noqa: E402

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))

# Work to count, by program, with how often it is run under the counter.
COUNTED = {
    "bench-config": {r"(load|save)/.*": 20, r"(load|save)-sections/.*": 5, r"load-ignored/.*": 2},
    "bench-log": {r"log/.*": 50},
    "bench-frame": {r"frame.*/.*": 50, r"popup-drives/.*": 20},
}
TIMED = {
    "bench-config": r"^(load|save)/",
    "bench-log": r"^log",
    "bench-frame": r"^frame",
}
REPETITIONS = 15
START_ROUNDS = 21

Goal = collections.namedtuple("Goal", "what unit own other goal")

# A goal of None: told, not aimed at.
GOALS = [
    Goal("load, against inih", "instructions", "load/own", "load/inih", 0.80),
    Goal("load, against inih that drops all values", "instructions", "load/own", "load/inih-scan", None),
    Goal("load, against GLib's key file", "instructions", "load/own", "load/glib", None),
    Goal("load, against fgets and memchr", "instructions", "load/own", "load/floor", 6.50),
    Goal("save, against fprintf of each item", "instructions", "save/own", "save/fprintf", 1.00),
    Goal("100 messages, against snprintf and memcpy", "instructions", "log/own", "log/floor", 1.15),
    Goal("100 messages, against spdlog", "instructions", "log/own", "log/spdlog", 0.80),
    Goal("100 messages, against spdlog", "ns", "log/own", "log/spdlog", 0.85),
    Goal("frame, against the bare toolkit calls", "instructions", "frame/own", "frame/bare", 1.02),
    Goal("frame with the drive popup, against the same", "instructions", "frame-popup/own", "frame-popup/bare", None),
    Goal("start, against a bare window", "CPU ms", "own", "bare", 1.20),
    Goal("start, against a bare window", "peak KB", "own", "bare", 1.03),
    Goal("start, against a bare window without shaders", "CPU ms", "own", "bare-fixed", None),
    Goal("start, against a bare window without shaders", "peak KB", "own", "bare-fixed", None),
    Goal("start, against a GTK 3 form", "CPU ms", "own", "gtk", None),
    Goal("start, against a GTK 3 form", "peak KB", "own", "gtk", None),
]
CHECK_MS = 20  # goal: CPU time of a check of a full system
LIBRARIES_MORE = 1  # goal: libraries that the program loads beyond the bare window's

# Series whose cost is told by size, in the unit of the figures.
GROWTH = [
    ("load, by sections", "load-sections", "instructions"),
    ("load, by ignored lines", "load-ignored", "instructions"),
    ("save, by sections", "save-sections", "instructions"),
    ("frame with the drive popup, by drives", "popup-drives", "instructions"),
    ("100 messages of each writer, by writers", "log-writers", "ns"),
]


def fail(message):
    sys.exit(f"report.py: {message}")


def run(command, **options):
    done = subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True, check=False, **options)
    if done.returncode != 0:
        fail(f"{' '.join(command)} ended with {done.returncode}: {done.stderr.strip()[-500:]}")
    return done.stdout


def programs(build):
    found = {name: os.path.join(build, "bin", name) for name in COUNTED}
    return {name: path for name, path in found.items() if os.path.exists(path)}


def count(program, work, runs):
    """Instructions of one run of the work."""
    with tempfile.TemporaryDirectory() as folder:
        profile = os.path.join(folder, "profile")
        command = ["valgrind", "--tool=callgrind", "--collect-atstart=no", "--toggle-collect=BenchMeasured",
                   f"--callgrind-out-file={profile}", program, "--count", work, str(runs)]
        run(command, timeout=600)
        with open(profile, encoding="utf-8") as file:
            totals = re.findall(r"^totals: (\d+)", file.read(), re.MULTILINE)
    return sum(map(int, totals)) / runs


def count_all(build, smoke):
    counts = {}
    for name, path in programs(build).items():
        for work in run([path, "--list"]).split():
            for pattern, runs in COUNTED[name].items():
                if re.fullmatch(pattern, work):
                    counts[work] = count(path, work, 1 if smoke else runs)
    return counts


def time_all(build, smoke):
    """Median nanoseconds of one run of each work."""
    times = {}
    for name, path in programs(build).items():
        command = [path, "--benchmark_format=json", f"--benchmark_filter={TIMED[name]}",
                   "--benchmark_enable_random_interleaving=true", "--benchmark_report_aggregates_only=true",
                   f"--benchmark_repetitions={3 if smoke else REPETITIONS}",
                   f"--benchmark_min_time={0.001 if smoke else 0.1}"]
        for row in json.loads(run(command, timeout=1200))["benchmarks"]:
            if row["aggregate_name"] == "median":
                work = re.sub(r"/manual_time.*", "", row["run_name"])
                # The library divides by the number of threads; what counts here is what each of them spends.
                times[work] = row["real_time"] * row["threads"]
    return times


def start_all(build, smoke):
    """Medians of the start of each program."""
    if not os.path.exists(os.path.join(build, "bin", "bench-bare-window")):
        return {}
    command = [os.path.join(ROOT, "scripts", "private_mounts.sh"), os.path.join(ROOT, "bench", "start.sh"),
               os.path.join(build, "bin"), str(1 if smoke else START_ROUNDS)]
    starts = collections.defaultdict(list)
    for line in run(command, timeout=1200).splitlines():
        row = json.loads(line)
        starts[row.pop("program")].append(row)
    return {program: {key: statistics.median(row[key] for row in rows) for key in rows[0]}
            for program, rows in starts.items()}


def check_milliseconds(build, smoke):
    """CPU time of one check of a full system, none where the checker was not built."""
    program = os.path.join(build, "bin", "vesmara-check")
    return check.cpu_seconds(program, 1 if smoke else START_ROUNDS) * 1000 if os.path.exists(program) else None


def figures(unit, counts, times, starts):
    return {
        "instructions": counts,
        "ns": times,
        "CPU ms": {program: row["cpu_s"] * 1000 for program, row in starts.items()},
        "peak KB": {program: row["peak_kb"] for program, row in starts.items()},
    }[unit]


def goal_rows(counts, times, starts, check_ms):
    rows = []
    for goal in GOALS:
        known = figures(goal.unit, counts, times, starts)
        own, other = known.get(goal.own), known.get(goal.other)
        ratio = own / other if own is not None and other else None
        rows.append({"what": goal.what, "unit": goal.unit, "own": own, "other": other, "ratio": ratio,
                     "goal": goal.goal, "met": None if ratio is None or goal.goal is None else ratio <= goal.goal})
    if "bare" in starts:
        own, other = starts["own"]["libraries"], starts["bare"]["libraries"]
        rows.append({"what": "start, libraries beyond the bare window's", "unit": "libraries", "own": own,
                     "other": other, "ratio": own - other, "goal": LIBRARIES_MORE,
                     "met": own - other <= LIBRARIES_MORE})
    if check_ms is not None:
        rows.append({"what": "check of 64 nodes, 63 sections, 15 storages", "unit": "CPU ms", "own": check_ms,
                     "other": CHECK_MS, "ratio": check_ms / CHECK_MS, "goal": 1.0, "met": check_ms <= CHECK_MS})
    return rows


def growth_rows(counts, times):
    rows = []
    for what, series, unit in GROWTH:
        known = figures(unit, counts, times, {})
        sizes = sorted(int(work.split("/")[1]) for work in known if work.startswith(series + "/"))
        costs = [{"size": size, "cost": known[f"{series}/{size}"]} for size in sizes]
        for before, row in zip(costs, costs[1:]):
            row["each_more"] = (row["cost"] - before["cost"]) / (row["size"] - before["size"])
        rows.append({"what": what, "unit": unit, "costs": costs})
    return rows


def number(value):
    if value is None:
        return "missing"
    return f"{value:,.0f}" if abs(value) >= 1000 else f"{value:.4g}"


def print_goals(rows):
    line = "{:<46} {:<12} {:>12} {:>12} {:>8} {:>8}  {}"
    print(line.format("what", "unit", "own", "other", "ratio", "goal", ""))
    for row in rows:
        verdict = {True: "met", False: "MISSED", None: ""}[row["met"]]
        ratio = "-" if row["ratio"] is None else f"{row['ratio']:.3f}"
        goal = "-" if row["goal"] is None else f"{row['goal']:.2f}"
        print(line.format(row["what"], row["unit"], number(row["own"]), number(row["other"]), ratio, goal, verdict))


def print_growth(rows):
    print("\ngrowth: size: cost (each more)")
    for row in rows:
        print(f"{row['what']}, {row['unit']}")
        for cost in row["costs"]:
            more = f" ({number(cost['each_more'])})" if "each_more" in cost else ""
            print(f"{cost['size']:>10}: {number(cost['cost']):>14}{more}")


def main():
    parser = argparse.ArgumentParser(description="Runs the built benchmarks and prints one table.")
    parser.add_argument("build", help="the build folder")
    parser.add_argument("--smoke", action="store_true", help="as little of everything as possible")
    arguments = parser.parse_args()
    if not programs(arguments.build):
        fail(f"no benchmark is built in {arguments.build}")
    counts = count_all(arguments.build, arguments.smoke)
    times = time_all(arguments.build, arguments.smoke)
    starts = start_all(arguments.build, arguments.smoke)
    check_ms = check_milliseconds(arguments.build, arguments.smoke)
    report = {"goals": goal_rows(counts, times, starts, check_ms), "growth": growth_rows(counts, times),
              "instructions": counts, "median_ns": times, "start": starts}
    print_goals(report["goals"])
    print_growth(report["growth"])
    path = os.path.join(arguments.build, "report.json")
    with open(path, "w", encoding="utf-8") as file:
        json.dump(report, file, indent=2)
        file.write("\n")
    print(f"\nas JSON: {os.path.relpath(path)}")


if __name__ == "__main__":
    main()
