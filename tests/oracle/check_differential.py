#!/usr/bin/env python3
"""Compares the checker with the oracle of "Apply" over generated pairs of files and mount tables.

    check_differential.py --checker <vesmara-check> [--cases N] [--seed S ...] [--only K]

Of each case the whole JSON object and the exit status are compared; of every fourth one the text output too, whose
diffs have to be those of `diff -u` on the files that the oracle says "Apply" leaves. The folder has to be the same
afterwards, and the folder for temporary files empty. A case depends on the seed and its number alone; `--only` runs one
case and shows it; the seed `random` picks one. The first differences are cut down to few lines and shown. The exit
status is 0 when there is none.
"""

import argparse
import collections
import json
import multiprocessing
import os
import random
import re
import subprocess
import sys
import tempfile
import time

import apply_cases
from apply_oracle import GLOBAL, LOCAL, Outcome
from differential import shown

TEXT_EVERY = 4
BATCH = 50
SHOWN = 5
SCRATCH = "/dev/shm" if os.path.isdir("/dev/shm") else None


class Place:
    """A folder with the files of one case, a mount table, and a folder for the checker's temporary files."""

    def __init__(self, root):
        self.folder, self.table, self.temporary = (os.path.join(root, name) for name in ("the files", "mtab", "tmp"))
        os.mkdir(self.folder)
        os.mkdir(self.temporary)
        self.directory = os.fsencode(self.folder)

    def fill(self, case):
        for name, content in zip((GLOBAL, LOCAL), case.contents):
            write(os.path.join(self.folder, name), content)
        write(self.table, case.table)

    def content(self):
        return {name: read(os.path.join(self.folder, name)) for name in sorted(os.listdir(self.folder))}


def write(path, content):
    if content is None:
        if os.path.exists(path):
            os.unlink(path)
        return
    with open(path, "wb") as file:
        file.write(content)


def read(path):
    with open(path, "rb") as file:
        return file.read()


class Checker:
    def __init__(self, program, place):
        self.program, self.place = program, place

    def run(self, *options):
        """Exit status, standard output and standard error."""
        command = [self.program, "--directory=" + self.place.folder, "--mtab=" + self.place.table, *options]
        done = subprocess.run(command, stdin=subprocess.DEVNULL, capture_output=True, check=False,
                              env={**os.environ, "TMPDIR": self.place.temporary})
        return done.returncode, done.stdout, done.stderr


# ---------------------------------------------------------------------------------------------------------------------
# What is to be equal. Each function yields (what, expected, got).
# ---------------------------------------------------------------------------------------------------------------------


def differences(expected, got, path=""):
    """Places where two values of JSON differ; a number is not equal to a boolean."""
    if isinstance(expected, dict) and isinstance(got, dict):
        for key in sorted(expected.keys() | got.keys()):
            yield from differences(expected.get(key, "(no such key)"), got.get(key, "(no such key)"), path + "." + key)
    elif isinstance(expected, list) and isinstance(got, list) and len(expected) == len(got):
        for number, pair in enumerate(zip(expected, got)):
            yield from differences(*pair, "%s[%d]" % (path, number))
    elif expected != got or isinstance(expected, bool) != isinstance(got, bool):
        yield path[1:], expected, got


def messages_of(report):
    return [message for file in report.get("files", []) for message in file.get("messages", [])]


def without_explanations(report):
    """Takes out what is for people, whose words are free; yields explanations that are no text."""
    for explained in messages_of(report) + report.pop("findings", []):
        explanation = explained.get("explanation")
        explained["explanation"] = None
        if not isinstance(explanation, str) or not explanation.strip():
            yield "explanation", "a text for " + str(explained.get("text")), explanation


def without_free_lines(report, expected):
    """A message at the end of a file may name the section that it is about, or no line."""
    for message, other in zip(messages_of(report), messages_of(expected)):
        if other["line"] is None:
            message["line"] = None


def loaded(out):
    """The one object that the checker printed; text instead where it is none."""
    try:
        return json.loads(out.decode("utf-8"))
    except ValueError as error:
        return "%s: %r" % (error, out[:300])


def check_json(ending, outcome):
    status, out, err = ending
    yield from differences([outcome.status, ""], [status, err.decode("utf-8", "replace")], ".status and standard error")
    report = loaded(out)
    if isinstance(report, str):
        yield "JSON", "one object in UTF-8", report
        return
    yield from without_explanations(report)
    expected = outcome.report()
    without_free_lines(report, expected)
    yield from differences(expected, report)


def unified_diff(checker, outcome, name):
    """The diff that `diff -u` makes between the present and the written file."""
    path = os.path.join(checker.place.folder, name)
    present = path if outcome.pair.contents[name] is not None else os.devnull
    command = ["diff", "-u", "--label", path, "--label", path + ' (after "Apply")', present, "-"]
    return subprocess.run(command, input=outcome.after[name], capture_output=True, check=False).stdout


def count_of_findings(out):
    report = loaded(out)
    return 0 if isinstance(report, str) else len(messages_of(report)) + len(report.get("findings", []))


def last_line_of(outcome, out):
    if outcome.verdict == "clean":
        return b"clean\n"
    return b"%s: %d\n" % (outcome.verdict.encode(), count_of_findings(out))


def check_text(checker, outcome, expected_last):
    status, out, err = checker.run()
    yield from differences([outcome.status, ""], [status, err.decode("utf-8", "replace")], ".status and standard error")
    diffs = b"".join(unified_diff(checker, outcome, name) for name in outcome.apply["changed"])
    body, last = out[:out.rfind(b"\n", 0, -1) + 1], out[out.rfind(b"\n", 0, -1) + 1:]
    if last != expected_last:
        yield "last line", expected_last, last
    cut = body.find(diffs) if diffs else body.find(b"--- " + checker.place.directory)
    if (cut < 0) == bool(diffs):
        yield "diffs", diffs, body
    if diffs and b"--- " + checker.place.directory in body.replace(diffs, b"", 1):
        yield "diffs", "no other diff", body
    # A message that several lines of the files brought about comes with each of them. It may hold a line feed itself.
    head = b"\n" + (body[:cut] if cut >= 0 else body)
    for message, count in collections.Counter(outcome.pair.messages).items():
        got = head.count(b"\n" + message + b"\n")
        if got != count:
            yield "message in the text", [message] * count, [message] * got
    quiet = checker.run("--quiet")
    if quiet != (outcome.status, last, b""):
        yield "--quiet", (outcome.status, last, b""), quiet


def check_traces(checker, case):
    """The folder is as it was, and nothing is left of the checker's own."""
    expected = {name: content for name, content in zip((GLOBAL, LOCAL), case.contents) if content is not None}
    yield from differences(expected, checker.place.content(), ".files")
    yield from differences([], os.listdir(checker.place.temporary), ".temporary files")


def check(checker, case, with_text):
    """All differences of one case, and what the oracle says on it."""
    checker.place.fill(case)
    outcome = Outcome(case.contents, case.table, checker.place.directory)
    ending = checker.run("--json")
    found = list(check_json(ending, outcome))
    if with_text:
        found += check_text(checker, outcome, last_line_of(outcome, ending[1]))
    return found + list(check_traces(checker, case)), outcome


# ---------------------------------------------------------------------------------------------------------------------
# Showing a difference
# ---------------------------------------------------------------------------------------------------------------------


def fewer_lines(content):
    lines = content.split(b"\n")
    for size in (len(lines) // 2, len(lines) // 4, 1):
        for start in range(0, len(lines), max(size, 1)):
            yield b"\n".join(lines[:start] + lines[start + max(size, 1):])


def candidates(case):
    for place, content in enumerate(case.contents):
        for fewer in fewer_lines(content or b""):
            contents = list(case.contents)
            contents[place] = fewer
            yield apply_cases.Case(tuple(contents), case.table, None)
    for fewer in fewer_lines(case.table):
        yield apply_cases.Case(case.contents, fewer, None)


def general_name(what):
    return re.sub(r"\[[0-9]+\]", "", what)


def shrink(checker, case):
    """Cuts a case down as long as the same key differs."""
    name = general_name(check(checker, case, True)[0][0][0])
    budget = 500
    smaller = True
    while smaller and budget > 0:
        smaller = False
        for candidate in candidates(case):
            budget -= 1
            if budget <= 0:
                break
            if candidate.contents == case.contents and candidate.table == case.table:
                continue
            found = check(checker, candidate, True)[0]
            if found and general_name(found[0][0]) == name:
                case, smaller = candidate, True
                break
    return case


def report(checker, seed, number):
    case = apply_cases.make_case(seed, number)
    case = shrink(checker, case)
    print("\nseed %s case %d differs:" % (seed, number))
    for title, content in zip((GLOBAL, LOCAL, "mtab"), case.contents + (case.table,)):
        print("  %s:%s" % (title, " missing" if content is None else ""))
        for line in (content or b"").split(b"\n"):
            print("    " + shown(line))
    for what, expected, got in check(checker, case, True)[0][:6]:
        print("  %s\n    expected %s\n    got      %s" % (what, printable(expected), printable(got)))
    sys.stdout.flush()


def printable(value):
    return str(value if isinstance(value, bytes) else repr(value))[:1500]


# ---------------------------------------------------------------------------------------------------------------------
# Running
# ---------------------------------------------------------------------------------------------------------------------


def run_batch(arguments):
    """Checks some cases in a process of its own. Those that differ and in what, and what all of them covered."""
    program, seed, numbers = arguments
    seen, differing = collections.Counter(), []
    with tempfile.TemporaryDirectory(dir=SCRATCH) as root:
        checker = Checker(program, Place(root))
        for number in numbers:
            with_text = number % TEXT_EVERY == 0
            found, outcome = check(checker, apply_cases.make_case(seed, number), with_text)
            tally(outcome, with_text, seen)
            if found:
                names = sorted({general_name(what) for what, _, _ in found})
                differing.append((number, tuple(names)))
                seen.update("differs: " + name for name in names)
    return differing, seen


def tally(outcome, with_text, seen):
    seen["text output"] += with_text
    for title, value in (("verdict", outcome.verdict), ("start", outcome.start), ("result", outcome.apply["result"])):
        seen["%s %s" % (title, value)] += 1
    seen["with messages"] += bool(outcome.pair.messages)
    seen["with dropped lines"] += bool(outcome.apply["dropped"])
    seen["with messages at the next start"] += bool(outcome.apply["next_start"])


def run_seed(program, seed, count, jobs):
    started = time.monotonic()
    batches = [(program, seed, range(start, min(start + BATCH, count))) for start in range(0, count, BATCH)]
    seen, differing = collections.Counter(), []
    with multiprocessing.Pool(jobs) as pool:
        for found, part in pool.imap(run_batch, batches):
            differing += found
            seen += part
    with tempfile.TemporaryDirectory(dir=SCRATCH) as root:
        checker = Checker(program, Place(root))
        # One of each kind.
        for number in list({names: number for number, names in reversed(differing)}.values())[:SHOWN]:
            report(checker, seed, number)
    print("seed %s: %d cases, %d differences, %.1f s" % (seed, count, len(differing), time.monotonic() - started))
    print("  " + ", ".join("%s %d" % item for item in sorted(seen.items())))
    sys.stdout.flush()
    return len(differing)


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--checker", required=True, help="the program vesmara-check")
    parser.add_argument("--cases", type=int, default=3000, help="cases for each seed")
    parser.add_argument("--seed", action="append", help="a seed, or 'random'; may be given several times")
    parser.add_argument("--only", type=int, help="run this case of the first seed alone")
    parser.add_argument("--jobs", type=int, default=2)
    options = parser.parse_args()
    fresh = str(random.SystemRandom().getrandbits(32))
    seeds = [fresh if seed == "random" else seed for seed in options.seed or ["1", "random"]]
    if options.only is not None:
        with tempfile.TemporaryDirectory(dir=SCRATCH) as root:
            checker = Checker(options.checker, Place(root))
            if not check(checker, apply_cases.make_case(seeds[0], options.only), True)[0]:
                print("seed %s case %d: no difference" % (seeds[0], options.only))
                return 0
            report(checker, seeds[0], options.only)
            return 1
    return 1 if sum(run_seed(options.checker, seed, options.cases, options.jobs) for seed in seeds) else 0


if __name__ == "__main__":
    sys.exit(main())
