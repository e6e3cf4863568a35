#!/usr/bin/env python3
"""Holds the checker's JSON to its schema, and the schema to be strict.

    check_schema.py --checker <vesmara-check> --schema <vesmara-check.schema.json> [--cases N] [--seed S]

Validates the output for fixed pairs of files, one for each shape, and for generated ones. Then each key of the fixed
outputs in turn is taken away, given a neighbour, or given a value of another type: the schema has to refuse all that.
"""

import argparse
import copy
import json
import sys
import tempfile

import jsonschema

import apply_cases
from check_differential import SCRATCH, Checker, Place

TABLE = b"d /mnt/g ext4 rw 0 0\nd /mnt/r ext4 rw 0 0\n"
SYSTEM = (b'ClusterName = "A"\nNodeCount = 2\nNodesOffline = 2\nCamerasConnectedToNode1 = 2\n'
          b'SensorsConnectedToNode1 = 1\nManagerMachineIP = 1.2.3.4, 5.6.7.8\nGeneralStoragePath = "/mnt/g"\n')
NODE = (b'NodeID = 1\nIP = 1.2.3.4\nRecordingStorage1 = "/mnt/r"\nRecordingStorage2 = "/mnt/gone"\nUnknown = 1\n'
        b'MaxMemUseAllowed = 53%\n[Camera]\nCaptureDevice = "b", "s"\nCTI = "p", "o"\nCameraModel = "m", "s"\n'
        b'CameraMAC1 = 1:2:3:4:5:6\nCameraMAC2 = 1:2:3:4:5:7\n[Sensor]\nCaptureDevice = "l", "p"\n')
FIXED = {
    "rich": (SYSTEM, NODE, TABLE),
    "without CTI": (SYSTEM, NODE.replace(b"CTI", b"#"), TABLE),
    "missing files": (None, None, TABLE),
    "empty files": (b"", b"", b""),
    "no drives": (SYSTEM, NODE, b""),
    "refused": (SYSTEM, NODE.replace(b"/mnt/r", b"/mnt/g"), TABLE),
    "global.cfg without end": (SYSTEM + b"NodesOffline = 0\n", NODE, TABLE),
    "local.cfg without end": (SYSTEM, NODE + b"0123456789 0 camerasoffline=\n", TABLE),
    "path too long": (SYSTEM + b'GeneralStoragePath = "/mnt/' + b"g" * 600 + b'"\n', NODE, TABLE),
    "no UTF-8": (SYSTEM.replace(b"A", b"\xe9\x01\x7f\\"), NODE + b"\xff \"\t = \x02\0\n", TABLE),
    "gap": (SYSTEM, b'NodeID = 1\nRecordingStorage15 = "/"\nRecordingStorage99 = "/"\n', TABLE),
}


def fixed_cases():
    for name, (system, node, table) in FIXED.items():
        yield name, apply_cases.Case((system, node), table, None)


def generated_cases(seed, count):
    for number in range(count):
        yield "seed %s case %d" % (seed, number), apply_cases.make_case(seed, number)


def output(checker, case):
    checker.place.fill(case)
    status, out, _ = checker.run("--json")
    if status not in (0, 1, 2):
        raise RuntimeError("the checker ended with %d" % status)
    return json.loads(out.decode("utf-8"))


def objects_in(value):
    if isinstance(value, dict):
        yield value
    for part in value.values() if isinstance(value, dict) else value if isinstance(value, list) else ():
        yield from objects_in(part)


def spoilt(report):
    """Copies of a report with one thing wrong in each."""
    for place in range(len(list(objects_in(report)))):
        for action in ("extra key", "key gone", "other type"):
            keys = [""] if action == "extra key" else list(list(objects_in(report))[place])
            for key in keys:
                other = copy.deepcopy(report)
                target = list(objects_in(other))[place]
                if action == "extra key":
                    target["surprise"] = 1
                elif action == "key gone":
                    del target[key]
                else:
                    target[key] = {"surprise": [target[key]]}
                yield "%s %s" % (action, key), other


def faults(validator, checker, cases):
    """Sentences about outputs that do not fit the schema, and wrong ones that do."""
    seen = 0
    for name, case in cases:
        report = output(checker, case)
        seen += 1
        for error in validator.iter_errors(report):
            yield "%s: %s at %s" % (name, error.message[:300], "/".join(str(step) for step in error.absolute_path))
        if name in FIXED:
            for what, wrong in spoilt(report):
                if validator.is_valid(wrong):
                    yield "%s: the schema lets pass: %s" % (name, what)
    print("%d outputs validated" % seen)


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--checker", required=True)
    parser.add_argument("--schema", required=True)
    parser.add_argument("--cases", type=int, default=300)
    parser.add_argument("--seed", default="1")
    options = parser.parse_args()
    with open(options.schema, "rb") as file:
        schema = json.load(file)
    jsonschema.Draft7Validator.check_schema(schema)
    with tempfile.TemporaryDirectory(dir=SCRATCH) as root:
        checker = Checker(options.checker, Place(root))
        cases = list(fixed_cases()) + list(generated_cases(options.seed, options.cases))
        found = list(faults(jsonschema.Draft7Validator(schema), checker, cases))
    for sentence in found[:20]:
        print(sentence)
    print("%d faults" % len(found))
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main())
