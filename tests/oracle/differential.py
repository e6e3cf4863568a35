#!/usr/bin/env python3
"""Compares the configuration library with the oracle over generated files.

differential.py --probe <cfg_probe> [--cases N] [--seed S ...] [--only K]

Each case is a list of operations: files are put in place, loaded, dumped, saved and fetched back. Files come from the
grammar and are then mutated. A case depends on the seed and its number alone; `--only` runs one case and shows it. The
seed `random` picks one. The first differences are cut down to few lines and shown. The exit status is 0 when there is
none.
"""

import argparse
import collections
import os
import random
import re
import struct
import subprocess
import sys
import tempfile
import time

from cfg_oracle import LABELS, World, hexed, unhexed

BATCH = 250
SHOWN = 5

# ---------------------------------------------------------------------------------------------------------------------
# Pieces of lines
# ---------------------------------------------------------------------------------------------------------------------

ODD_NUMBERS = [
    b"0", b"1", b"2", b"3", b"4", b"5", b"15", b"16", b"17", b"63", b"64", b"65", b"99", b"100", b"101", b"128", b"255",
    b"256", b"257", b"1000", b"007", b"0x10", b"0X1f", b"0x", b"-0", b"-1", b"-2", b"-64", b"+1", b"+4", b"++1", b"-",
    b"+", b"", b"1e1", b"1.5", b"4294967295", b"4294967296", b"4294967297", b"-4294967295", b"9223372036854775808",
    b"18446744073709551615", b"18446744073709551616", b"-18446744073709551615", b"99999999999999999999999", b"1a",
    b"\"3\"", b"\" 3\"", b"1\"\t\"", b"0000000000000000000000001", b"\xb2", b"\xd9\xa1",
]
ODD_FLOATS = [
    b"0", b"-0.0", b"1.5", b"-2.25", b".5", b"5.", b".", b"1e3", b"1E-3", b"1e", b"1e+", b"1e400", b"-1e400", b"1e-60",
    b"1e39", b"3.4028235e38", b"3.4028236e38", b"1.17549435e-38", b"1e-45", b"7e-46", b"0x1.8p3", b"0x", b"0x.8",
    b"0x1p-149", b"inf", b"-INFINITY", b"infin", b"nan", b"-nan", b"nan(1)", b"0.1", b"16777217", b"123456789",
    b"0.30000001192092896", b"1,5", b"", b"x", b"1..2", b"1-2", b"--1", b"+7", b"1e0x", b"0.000000059604644775390625",
]
LIST_SEPARATORS = [b", ", b",", b" , ", b",,", b";", b" "]
WORDS = [
    b"Site A", b"a", b"/mnt/rec", b"/mnt/rec/", b"C:\\data\\", b"/", b"\\", b"x", b"Board  1", b"plugin.so", b"a,b",
    b"caf\xc3\xa9", b"\xe9t\xe9",
    b"nodesoffline=1", b"x5,nodesoffline=7", b"sensorsoffline=1", b"a=b", b"[x]", b"tab\there", b"\x01\x7f\x80",
    b" ", b"  ", b"%s%n", b"'q'", b"CamerasOffline=3", b"=", b"-", b"0", b"\r", b"z\xff", b"1,2,3", b"/a/b/c",
]
# Besides comments: one form inside another, and blanks that quotes keep ahead of a mark.
STRAY_LINES = [
    b"", b" \t\r", b"# note", b"Unknown = 3", b"\"", b"\"\"", b"\x00", b"=",
    b"NodeCount = 2, 77nodesoffline=1", b"NodeID=0001camerasoffline=", b"IP=11.2.3.45 camerasoffline=",
    b'IP = "1 .2.3.4"', b'RecordingStorage1" "= /a', b'[Camera 1" "]', b'CameraMAC1 = 1" ":2:3:4:5:6',
    b'CameraModel1" "= m, p',
]
LENGTHS = [1, 2, 3, 30, 31, 32, 33, 62, 63, 64, 65, 66, 70, 100, 500, 1000, 1020, 1021, 1022, 1023, 1024, 1025, 1030]
BUFFERS = {"global": 1184, "local": 2048, "device": 1024}


class Maker:
    """Makes the files of one case."""

    def __init__(self, rng):
        self.rng = rng
        self.tame = rng.random()  # share of the pieces that are as they should be
        self.tame = 1.0 if self.tame > 0.75 else 0.8 + 0.2 * self.tame

    def odd(self, share=1.0):
        return self.rng.random() < (1.0 - self.tame) * share

    def number(self, usual):
        return self.rng.choice(ODD_NUMBERS) if self.odd() else b"%d" % usual

    def text(self, usual=None, size=None):
        """A value, usually the usual one; at times about as long as its field of `size` bytes."""
        r = self.rng
        if usual is not None and not self.odd(3):
            return usual
        if size is not None and r.random() < 0.5:
            return (r.choice([b"a", b"B c", b"\xc3\xa4"]) * size)[:size + r.choice([-2, -1, 0, 1, 2])]
        if r.random() < 0.3:
            filler = r.choice([b"a", b"Z", b"/", b"ab c", b"\xc3\xa4", b"q,"])
            length = r.choice(LENGTHS)
            return (filler * length)[:length]
        return r.choice(WORDS)

    def quoted(self, usual=None, size=None):
        value = self.text(usual, size)
        r = self.rng.random()
        if not self.odd(2):
            return b'"%s"' % value
        if r < 0.3:
            return value
        if r < 0.45:
            return b'"' + value
        if r < 0.6:
            return value + b'"'
        if r < 0.7:
            return b'""'
        if r < 0.85:
            middle = self.rng.randrange(len(value) + 1)
            return b'"' + value[:middle] + b'"' + value[middle:] + b'"'
        return b'""%s"' % value

    def tag(self, name):
        r = self.rng
        if self.odd():
            name = r.choice([name.lower(), name.upper(), name.swapcase(), b" ".join([name[:3], name[3:]]), b" " + name,
                             b'"' + name.lower() + b'"', name[:-1], name + b"x", b"x" + name, b"\xa0" + name,
                             name + name, b"#" + name, b"\t" + name + b"\x0b", b'"' + name + b'"'])
        return name

    def assign(self, name, value):
        equals = b" = "
        if self.odd(2):
            equals = self.rng.choice(
                [b"=", b"  =", b"\t=\t", b"= ", b"==", b" ", b":", b"\" \"=", b"=\" \"", b"", b"=+"])
        return self.tag(name) + equals + value

    def address(self):
        r = self.rng
        usual = [192, 168, r.randrange(256), r.randrange(1, 255)]
        octets = [self.number(o) for o in usual]
        if self.odd():
            del octets[r.randrange(4)]
        if self.odd():
            octets.append(b"5")
        return r.choice([b".", b". ", b"."]).join(octets)

    def addresses(self):
        count = self.rng.choice([1, 1, 2, 2, 3 if self.odd() else 1])
        return self.rng.choice(LIST_SEPARATORS[:3]).join(self.address() for _ in range(count))

    def offline_list(self, endless_share):
        r = self.rng
        numbers = [b"%d" % r.randrange(1, 65) for _ in range(r.randrange(0, 6))]
        if self.odd(2) and numbers:
            numbers[-1] = r.choice([b"x", b"", b"+3", b" 7", b"-4294967295", b"64", b"1x", b"4294967298"])
        if r.random() < endless_share and numbers:
            numbers[r.randrange(len(numbers))] = r.choice([b"0", b"65", b"-1", b"99999999999999999999", b"4294967296"])
        separator = r.choice(LIST_SEPARATORS) if self.odd(2) else b", "
        return separator.join(numbers) + (b"," if self.odd(2) else b"")

    def flag(self):
        return self.number(self.rng.randrange(2))

    # Whole files.

    def system(self):
        """What both files speak of: counts of devices by type and node."""
        r = self.rng
        self.nodes = r.choice([1, 1, 2, 2, 3, 4, 8, 8, 64])
        self.node = r.randrange(1, self.nodes + 1)
        budget = r.choice([64, 64, 64, 70])
        self.counts = []
        for _ in LABELS:
            left = budget
            row = {}
            for node in r.sample(range(1, self.nodes + 1), min(self.nodes, 8)):
                row[node] = min(left, r.choice([0, 1, 2, 3, 4, 4, 8, 16, 64]))
                left -= row[node]
            self.counts.append(row)

    def global_lines(self):
        r = self.rng
        lines = []
        if not self.odd(0.5):
            lines.append(self.assign(b"ClusterName", self.quoted(b"Site A", 64)))
        if not self.odd(0.5):
            lines.append(self.assign(b"NodeCount", self.number(self.nodes)))
        rest = []
        if r.random() < 0.4:
            rest.append(self.assign(b"NodesOffline", self.offline_list(0.03)))
        for kind, plural in ((0, b"Cameras"), (1, b"Sensors")):
            if kind and r.random() < 0.5:
                continue
            for node in sorted(self.counts[kind]):
                tag = b"%sConnectedToNode%s" % (plural, self.number(node))
                rest.append(self.assign(tag, self.number(self.counts[kind][node])))
        for tag, share, value in (
                (b"ManagerMachineIP", 0.7, self.addresses), (b"GeneralStoragePath", 0.7, self.quoted),
                (b"LogLevelNode", 0.5, lambda: self.number(r.randrange(6))),
                (b"LogLevelManager", 0.5, lambda: self.number(r.randrange(6))),
                (b"ShowAllParameters", 0.5, self.flag), (b"AllowFailedDevices", 0.5, self.flag),
                (b"AllowFailedNodes", 0.5, self.flag)):
            if r.random() < share:
                rest.append(self.assign(tag, value()))
        if r.random() < 0.3:
            r.shuffle(rest)
        return lines + rest

    def node_lines(self):
        r = self.rng
        lines = []
        if not self.odd(0.5):
            lines.append(self.assign(b"NodeID", self.number(self.node)))
        if r.random() < 0.6:
            lines.append(self.assign(b"IP", self.addresses()))
        for slot in range(1, r.choice([0, 1, 2, 3, 15, 16]) + 1):
            if not self.odd():
                path = self.quoted(b"/mnt/rec%d" % slot, 1024)
                lines.append(self.assign(b"RecordingStorage" + self.number(slot), path))
        for tag in (b"CameraStreamPluginName", b"SensorStreamPluginName", b"CaptureProcessPluginName",
                    b"PostProcessPluginName"):
            if r.random() < 0.4:
                lines.append(self.assign(tag, self.quoted()))
        if r.random() < 0.6:
            percent = self.number(r.randrange(0, 130)) + r.choice([b"%", b" %", b""])
            lines.append(self.assign(b"MaxMemUseAllowed", percent))
        for tag in (b"CamerasOffline", b"SensorsOffline"):
            if r.random() < 0.1:
                lines.append(self.assign(tag, self.offline_list(0.03)))
        if self.odd(2):
            # The list is looked for at a fixed place of the line, behind anything else than the tag.
            start = r.choice([b"0123456789", b"x" * 10, b"x" * 9, b"[camera xx", b"ip=1.2.3.4", b"postproces"])
            tag = r.choice([b"camerasoffline=", b"sensorsoffline=", b"sensorsoffline=camerasoffline="])
            lines.append(start + self.offline_list(0.1) + r.choice([b"", b","]) + tag + self.offline_list(0.1))
        return lines

    def pair(self, first, second, sizes=(64, 1024)):
        separator = b", "
        if self.odd(2):
            separator = self.rng.choice([b",", b" ,", b"", b";", b",,", b"\",\"", b"\" , \""])
        return self.quoted(first, sizes[0]) + separator + self.quoted(second, sizes[1])

    def section(self, kind, first, last, whole):
        r = self.rng
        label = LABELS[kind][0]
        a, b = self.number(first), self.number(last)
        if whole and r.random() < 0.2:
            header = b"[%s]" % label
        elif first == last and r.random() < 0.8:
            header = b"[%s %s]" % (label, a)
        else:
            header = b"[%s %s-%s]" % (label, a, b)
        if self.odd(3):
            header = r.choice([
                b"[%s]" % label, b"[%ss %s]" % (label, a), b"[%s %s-%s" % (label, a, b), b"[ %s%s-%s ]" % (label, a, b),
                b"[%s %s - %s] x" % (label, b, a), b"[%s %s,%s]" % (label, a, b), b"[Foo 1]", b"[]", b"[",
                b"[%s" % label, b"[Foo",
                b"[%s %s-%s]" % (label[:5], a, b), b"[%s -%s]" % (label, a), b"[%s %s--%s]" % (label, a, b),
                b"[%s\" %s-%s\"]" % (label, a, b), b"[\"%s\" %s]" % (label, a), b"[%s 0-2]" % label, b"[%s 0]" % label,
                b"[%s %s-%s\x80]" % (label, a, b), b" [%s %s-%s]" % (label, a, b), b"x[%s %s]" % (label, a),
                b"[%s %s\" ]\"" % (label, a), b"[%s \"%s-%s]" % (label, a, b),
                header.upper()])
        lines = []
        if not self.odd(0.5):
            lines.append(self.assign(b"CaptureDevice", self.pair(b"board", b"board settings")))
        if kind == 0 or self.odd(3):
            lines += self.camera_lines(first, last)
        if self.odd():
            r.shuffle(lines)
        if self.odd(2):
            # Settings of the node inside a section: some end it, some do not.
            lines.insert(r.randrange(len(lines) + 1), r.choice(self.node_lines() or [b"MaxMemUseAllowed = 5"]))
        return [header] + lines + [b""]

    def camera_lines(self, first, last):
        r = self.rng
        lines = []
        if r.random() < 0.5:
            lines.append(self.assign(b"CTI", self.pair(b"producer", b"options", (1024, 32))))
        modes = 6 if self.odd(3) else 5
        for tag, top in ((b"SyncMode", modes), (b"MaxDMABuffers", 100), (b"MaxDetectionTime", 9000), (b"LinkSpeed", 9)):
            if r.random() < 0.4:
                lines.append(self.assign(tag, self.number(r.randrange(top))))
        if r.random() < 0.4:
            for camera in range(first, last + 1):
                if not self.odd(2):
                    lines.append(self.assign(b"CameraMAC" + self.number(camera), self.mac()))
        if r.random() < 0.6:
            if not self.odd():
                lines.append(self.assign(b"CameraModel", self.pair(b"model", b"model settings")))
        else:
            for camera in range(first, last + 1):
                number = self.number(camera) + (b"-%d" % (camera + 2) if self.odd() else b"")
                lines.append(self.assign(b"CameraModel" + number, self.pair(b"model", b"settings %d" % camera)))
        return lines

    def mac(self):
        r = self.rng
        if self.odd(2):
            odd = [b"00", b"0", b"f", b"FF", b"0x1", b"100", b"-1", b"g", b"", b"+a", b"0x", b"123456789abcdef01"]
            octets = [r.choice(odd) for _ in range(6)]
        else:
            octets = [b"%02X" % r.randrange(256) for _ in range(6)]
        if self.odd():
            octets = [b"00"] * 6
        if self.odd():
            octets.pop()
        return r.choice([b":", b" : "] if self.odd() else [b":"]).join(octets)

    def local_lines(self):
        r = self.rng
        lines = self.node_lines()
        if self.odd(2):
            r.shuffle(lines)
        sections = []
        for kind in range(2):
            first = 1 + sum(c for n, c in self.counts[kind].items() if n < self.node)
            count = self.counts[kind].get(self.node, 0)
            if r.random() < 0.3:
                continue
            position = first
            while position < first + count:
                size = min(first + count - position, r.choice([1, 2, 4, 64, 64]))
                if not self.odd():
                    sections.append(self.section(kind, position, position + size - 1, size == count))
                position += size
            if self.odd(2):
                sections.append(self.section(kind, first + r.randrange(3), first + r.randrange(5), True))
        if self.odd():
            sections.append([b"[Network 1]", b"CaptureDevice = \"a\", \"b\"", b"SyncMode = 9"])
        if self.odd(2):
            r.shuffle(sections)
        if self.odd(0.5) and sections:
            lines, sections = [], sections + [lines]
        return lines + [line for section in sections for line in section]

    def device_lines(self, kind):
        r = self.rng
        lines = []
        for _ in range(r.randrange(0, 8)):
            label = LABELS[kind if not self.odd(2) else 1 - kind][0]
            key = b"%8x" % r.randrange(1, 2 ** r.choice([4, 8, 16, 32]))
            if self.odd(2):
                key = r.choice([b"1A2B", b"0x1a2b", b"0X", b"ffffffff", b"100000000", b"-1", b"", b"g", b"+1f", b"0",
                                b"\" 1\""])
            values = [b"%f" % r.uniform(-500, 500) for _ in range(7)]
            values = [r.choice(ODD_FLOATS) if self.odd(2) else v for v in values]
            if self.odd():
                values.pop()
            if self.odd():
                values.append(b"8")
            name = self.quoted(b"Gate %d" % r.randrange(9))
            lines.append(self.tag(label) + b"#" + key + b" = " + name + b", " + b", ".join(values))
        return lines

    def mangle(self, lines, size):
        """Mutates a whole file: its lines, then its bytes."""
        r = self.rng
        lines = list(lines)
        for _ in range(r.choice([1, 1, 2, 3]) if self.odd(3) and lines else 0):
            at = r.randrange(len(lines))
            action = r.randrange(8)
            if action == 0:
                lines.insert(r.randrange(len(lines) + 1), lines[at])
            elif action == 1:
                del lines[at]
            elif action == 2:
                lines.insert(at, r.choice(STRAY_LINES))
            elif action == 3:
                other = r.randrange(len(lines))
                lines[at], lines[other] = lines[other], lines[at]
            elif action == 4:
                lines[at] = self.stretched(lines[at], size)
            elif action == 5 and lines[at]:
                place = r.randrange(len(lines[at]))
                intruder = bytes([r.choice(b"\0\r\t \"\x80\xe9\xff\x7f,=-]0aZ\x0b")])
                lines[at] = lines[at][:place] + intruder + lines[at][place:]
            elif action == 6 and lines[at]:
                place = r.randrange(len(lines[at]))
                lines[at] = lines[at][:place] + lines[at][place + 1:]
            elif action == 7 and at + 1 < len(lines):
                lines[at:at + 2] = [lines[at] + lines[at + 1]]
            if not lines:
                break
        if self.odd(2):
            lines = [line for line in lines for line in (line, b"")]
        end = b"\r\n" if r.random() < 0.15 else b"\n"
        content = end.join(lines)
        if r.random() < 0.8:
            content += end
        if self.odd() and content:
            for _ in range(r.randrange(1, 4)):
                place = r.randrange(len(content))
                content = content[:place] + bytes([r.randrange(256)]) + content[place + r.randrange(2):]
        return content

    def stretched(self, line, size):
        """Makes a line about as long as the buffer, so that the cut falls around what it holds."""
        r = self.rng
        wanted = max(0, size - 1 + r.choice([-2, -1, 0, 1, 2, 3, 20]))
        filler = r.choice([b" ", b"x", b"0", b"\x80", b"\t"])
        place = r.choice([0, line.find(b"=") + 1, max(line.rfind(b'"'), 0), len(line)])
        second = r.choice([b"", line, b"NodeID = 1", b"NodeCount = 1", b"\"", b"SyncMode = 2", b"zz"])
        pad = filler * max(0, wanted - len(line))
        return line[:place] + pad + line[place:] + second


# ---------------------------------------------------------------------------------------------------------------------
# Cases
# ---------------------------------------------------------------------------------------------------------------------


def file_case(rng):
    """Loads generated files, saves them, and loads and saves what was saved."""
    maker = Maker(rng)
    maker.system()
    index = rng.choice([0, 0, 0, 0, 1, 2, 3, 10, 99])
    suffix = str(index) if index >= 2 else ""
    local = "local%s.cfg" % suffix
    case = [("init", index)]
    if rng.random() < 0.98:
        case.append(("put", "global.cfg", hexed(maker.mangle(maker.global_lines(), BUFFERS["global"]))))
    if rng.random() < 0.98:
        case.append(("put", local, hexed(maker.mangle(maker.local_lines(), BUFFERS["local"]))))
    case += [("loadg",), ("dumpg",), ("loadl",), ("dumpl",)]
    case += [("saveg",), ("get", "global.cfg"), ("savel",), ("get", local)]
    case += [("loadg",), ("loadl",), ("dumpg",), ("dumpl",)]
    case += [("saveg",), ("get", "global.cfg"), ("get", "global.cfg.temp")]
    case += [("savel",), ("get", local), ("get", local + ".tmp")]
    if rng.random() < 0.5:
        kind = rng.randrange(2)
        emulated = int(rng.random() < 0.2)
        plain = LABELS[kind][1].decode() + suffix + ".cfg"
        name = LABELS[kind][1].decode() + "EmuDef.cfg" if emulated else plain
        if rng.random() < 0.95:
            case.append(("put", name, hexed(maker.mangle(maker.device_lines(kind), BUFFERS["device"]))))
        case += [("loadi", kind, emulated), ("dumpi", kind), ("savei", kind), ("get", plain)]
        case += [("loadi", kind, 0), ("dumpi", kind), ("savei", kind), ("get", plain)]
    return case


def random_bits(rng):
    if rng.random() < 0.3:
        return "%08x" % rng.choice([0, 1, 0x80000000, 0x7F800000, 0xFF800000, 0x7FC00000, 0xFFC00000, 0x7F7FFFFF])
    return struct.pack(">f", rng.uniform(-1000, 1000)).hex()


def field(rng, size):
    """A text that fits a field of the size; at times as long as it can be."""
    length = rng.choice([0, 1, 5, 9, size - 2, size - 1])
    return hexed(bytes(rng.choice(b"abcXYZ019 ,/\\=%\"\xc3\xa9\n") for _ in range(min(length, size - 1))))


def record_case(rng):
    """Saves records that no file brings about, and reads the result back."""
    index = rng.choice([0, 0, 0, 1, 2, 99])
    local = "local%d.cfg" % index if index >= 2 else "local.cfg"
    case = [("init", index), ("edit", "cluster", field(rng, 64)), ("edit", "general", field(rng, 1024)),
            ("edit", "nodes", rng.choice([0, 1, 3, 63, 64])),
            ("edit", "nodesoffline", rng.choice([0, 1, 6, 1 << 63, rng.getrandbits(64)])),
            ("edit", "manager", rng.choice([0, rng.getrandbits(32)]), rng.choice([0, rng.getrandbits(32)]))]
    for _ in range(5):
        case.append(("edit", "connected", rng.randrange(2), rng.randrange(65), rng.choice([0, 5, 2 ** 32 - 1])))
    case += [("edit", "node", rng.choice([0, 1, 64, 2 ** 32 - 1])),
             ("edit", "ip", rng.choice([0, rng.getrandbits(32)]), rng.choice([0, rng.getrandbits(32)])),
             ("edit", "count", rng.choice([0, 1, 3, 15, 16]))]
    case += [("edit", "storage", place, field(rng, 1024)) for place in range(16) if rng.random() < 0.7]
    case += [("edit", "stream", kind, field(rng, 1024)) for kind in range(2)]
    case += [("edit", "capture", field(rng, 1024)), ("edit", "post", field(rng, 1024))]
    share = rng.choice([0.0, -0.0, 1.0, 0.5, 0.001, 1e-40, 5.0, rng.random(), rng.randrange(200) / 100.0, 1e5])
    case.append(("edit", "memory", struct.pack(">f", share).hex()))
    for kind in range(2):
        if rng.random() < 0.3:
            case += [("edit", "deviceoffline", kind, rng.choice([1, 2, 63, 64])) for _ in range(rng.randrange(1, 4))]
        for _ in range(rng.randrange(0, 4)):
            case += section_edits(rng, kind)
    case += [("dumpg",), ("dumpl",), ("saveg",), ("get", "global.cfg"), ("savel",), ("get", local)]
    entries = ["%x:%s:%s" % (rng.getrandbits(rng.choice([1, 8, 32])), field(rng, 64),
                             ",".join(random_bits(rng) for _ in range(7))) for _ in range(rng.randrange(0, 5))]
    kind = rng.randrange(2)
    name = LABELS[kind][1].decode() + (str(index) if index >= 2 else "") + ".cfg"
    case += [("savex", kind) + tuple(entries), ("get", name), ("loadi", kind, 0), ("dumpi", kind), ("deinit",)]
    return case


def section_edits(rng, kind):
    first = rng.randrange(1, 65)
    last = min(64, first + rng.choice([0, 0, 1, 3, 63]))
    edits = [("edit", "section", kind, first, last, field(rng, 64), field(rng, 1024))]
    if kind == 0:
        edits.append(("edit", "cti", field(rng, 1024), field(rng, 32)))
        edits.append(("edit", "numbers") + tuple(rng.choice([0, 1, 4, 2 ** 32 - 1]) for _ in range(4)))
        if rng.random() < 0.5:
            macs = [rng.choice([0, rng.getrandbits(48)]) for _ in range(last - first + 1)]
            edits.append(("edit", "macs") + tuple(macs))
        for _ in range(rng.randrange(0, 4)):
            count = rng.choice([0, 1, 2, last - first + 1, 2 ** 32 - 1])
            edits.append(("edit", "model", field(rng, 64), field(rng, 1024), count))
    return edits


def text_case(rng):
    """Single lines through the normalisation, the device map, and where the files lie."""
    alphabet = b'""  \t\r\nAbZ=,[]-09%\x00\x01\x1f\x20\x21\x7f\x80\xa0\xe9\xff/\\'
    case = [("init", 0), ("loc", 1), ("loc", 0)]
    for _ in range(20):
        case.append(("norm", hexed(bytes(rng.choice(alphabet) for _ in range(rng.randrange(0, 40))))))
    for _ in range(4):
        emulated = rng.randrange(2)
        name = "DeviceMapInfoEmuDef.cfgbin" if emulated else "DeviceMapInfo.cfgbin"
        block = rng.randbytes(rng.choice([0, 1, 100, 4096, 70000]))
        case += [("dumpm",), rng.choice([("put", name, hexed(block)), ("savem", hexed(block)), ("del", name)])]
        case += [("get", "DeviceMapInfo.cfgbin"), ("loadm", emulated), ("dumpm",)]
    return case


def failure_case(rng):
    """Saves with something in their way: what is no file at the temporary name, a folder in the place of the old one."""
    case = [("init", 0), ("edit", "nodes", 2), ("edit", "node", 1)]
    case += [("edit", "section", 0, 1, 1, hexed(b"d"), hexed(b"x" * 1000)) for _ in range(80)]
    case.append(("edit", "cluster", hexed(b"New")))
    case += [("put", name, hexed(b"old")) for name in ("global.cfg", "local.cfg")]
    obstacles = [("mkdir", "global.cfg.temp"), ("mkdir", "local.cfg.tmp"), ("full", "local.cfg.tmp"),
                 ("put", "global.cfg.temp", hexed(b"stale")), ("put", "local.cfg.tmp", hexed(b"stale")),
                 ("mkdir", "camera.cfg"), ("mkdir", "DeviceMapInfo.cfgbin")]
    rng.shuffle(obstacles)
    taken = set()
    for operation in obstacles[:rng.randrange(1, 5)]:
        if operation[1] not in taken:
            taken.add(operation[1])
            case.append(operation)
    for name in ("global.cfg", "local.cfg"):
        if rng.random() < 0.3:
            case += [("del", name), ("mkdir", name)]
    for operation in (("saveg",), ("savel",), ("savex", 0), ("savem", "00")):
        case.append(operation)
    case += [("get", name) for name in ("global.cfg", "global.cfg.temp", "local.cfg", "local.cfg.tmp")]
    for name in ("global.cfg.temp", "local.cfg.tmp", "global.cfg", "local.cfg"):
        case.append(("del", name))
    return case + [("saveg",), ("savel",), ("get", "global.cfg"), ("get", "local.cfg"), ("get", "global.cfg.temp")]


def make_case(seed, number):
    rng = random.Random("%s/%d" % (seed, number))
    share = rng.random()
    if share < 0.86:
        return file_case(rng)
    if share < 0.95:
        return record_case(rng)
    return text_case(rng) if share < 0.98 else failure_case(rng)


# ---------------------------------------------------------------------------------------------------------------------
# Running and comparing
# ---------------------------------------------------------------------------------------------------------------------


class Probe:
    def __init__(self, program, root):
        self.program, self.root = program, root

    def run(self, cases):
        """Answers of the library: for each case a list of lists of lines."""
        lines = []
        for case in cases:
            lines += [" ".join(str(word) for word in operation) for operation in case]
            lines.append("end")
        done = subprocess.run([self.program, self.root], input="\n".join(lines) + "\n", capture_output=True, text=True,
                              check=False)
        results, answers, answer = [], [], []
        for line in done.stdout.splitlines():
            if line == "--":
                answers.append(answer)
                answer = []
            elif line == "end":
                results.append(answers + [answer] if answer else answers)
                answers, answer = [], []
            else:
                answer.append(line)
        if done.returncode or len(results) != len(cases):
            raise RuntimeError("the probe failed with %d after %d cases\n%s" %
                               (done.returncode, len(results), done.stderr))
        return results


def first_difference(case, expected, got):
    """Number of the first operation that was answered otherwise, or None."""
    for place in range(max(len(expected), len(got))):
        mine = expected[place] if place < len(expected) else ["(no answer)"]
        theirs = got[place] if place < len(got) else ["(no answer)"]
        if mine != theirs:
            return min(place, len(case) - 1), mine, theirs
    return None


def check(probe, case):
    expected = World(probe.root).run(case)
    return first_difference(case, expected, probe.run([case])[0])


def candidates(case):
    """Smaller forms of a case: without an operation, or with one line of a file gone."""
    for place in range(len(case) - 1, 0, -1):
        yield case[:place] + case[place + 1:]
    for place, operation in enumerate(case):
        if operation[0] != "put":
            continue
        lines = unhexed(operation[2]).split(b"\n")
        for step in (len(lines) // 2, len(lines) // 4, 1):
            for start in range(0, len(lines), max(step, 1)):
                kept = lines[:start] + lines[start + max(step, 1):]
                yield case[:place] + [operation[:2] + (hexed(b"\n".join(kept)),)] + case[place + 1:]


def shrink(probe, case):
    """Cuts a case down as long as the same operation is still answered otherwise."""
    name = case[check(probe, case)[0]][0]
    budget = 400
    smaller = True
    while smaller and budget > 0:
        smaller = False
        for candidate in candidates(case):
            budget -= 1
            if budget <= 0:
                break
            try:
                found = check(probe, candidate)
            except (RuntimeError, LookupError, ValueError):
                continue
            if found and candidate[found[0]][0] == name:
                case, smaller = candidate, True
                break
    return case


LONG_RUN = re.compile(rb"(.{1,4}?)\1{20,}", re.DOTALL)


def shown(data):
    """Bytes as a literal, with long repetitions counted."""
    parts, at = [], 0
    for run in LONG_RUN.finditer(data):
        parts += [repr(data[at:run.start()])] if run.start() > at else []
        parts.append("%r*%d" % (run.group(1), len(run.group(0)) // len(run.group(1))))
        at = run.end()
    return " + ".join(parts + ([repr(data[at:])] if at < len(data) or not parts else []))


def readable(line):
    """An answer's line with its hexadecimal words as text."""
    kind, _, rest = line.partition(" ")
    if kind.rstrip("0123456789") in ("msg", "endless", "file", "norm", "loc", "cluster", "capture", "post", "storage",
                                     "stream", "section", "cti", "model"):
        words = [shown(unhexed(w)) if len(w) % 2 == 0 and all(c in "0123456789abcdef" for c in w) else w
                 for w in rest.split(" ")]
        return kind + " " + " ".join(words)
    return line


def report(probe, seed, number, case):
    case = shrink(probe, case)
    place, mine, theirs = check(probe, case)
    print("\nseed %s case %d differs at '%s':" % (seed, number, " ".join(str(w) for w in case[place])[:100]))
    for operation in case[:place + 1]:
        if operation[0] == "put":
            print("  %s:" % operation[1])
            for line in unhexed(operation[2]).split(b"\n"):
                print("    " + shown(line))
        else:
            print("  " + " ".join(str(word) for word in operation)[:200])
    for title, answer, other in (("expected", mine, theirs), ("got", theirs, mine)):
        for line in answer:
            if line not in other or len(answer) != len(other):
                print("  %-9s %s" % (title, readable(line)[:1000]))


def run_seed(probe, seed, count):
    differing, operations, seen = 0, 0, collections.Counter()
    started = time.monotonic()
    for start in range(0, count, BATCH):
        numbers = range(start, min(start + BATCH, count))
        cases = [make_case(seed, n) for n in numbers]
        for number, case, got in zip(numbers, cases, probe.run(cases)):
            expected = World(probe.root).run(case)
            operations += len(expected)
            tally(case, expected, seen)
            if first_difference(case, expected, got):
                differing += 1
                if differing <= SHOWN:
                    report(probe, seed, number, case)
    print("seed %s: %d cases, %d operations, %d differences, %.1f s" %
          (seed, count, operations, differing, time.monotonic() - started))
    print("  " + ", ".join("%s %d" % item for item in sorted(seen.items())))
    sys.stdout.flush()
    return differing


def tally(case, expected, seen):
    """Counts how the loads ended, to show that the cases reach them all."""
    for operation, answer in zip(case, expected):
        if operation[0] in ("loadg", "loadl", "saveg", "savel") and answer:
            last = answer[-1].split(" ")
            seen["%s %s" % (operation[0], "endless" if last[0] == "endless" else last[1])] += 1


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--probe", required=True, help="the program cfg_probe")
    parser.add_argument("--cases", type=int, default=3000, help="cases for each seed")
    parser.add_argument("--seed", action="append", help="a seed, or 'random'; may be given several times")
    parser.add_argument("--only", type=int, help="run this case of the first seed alone")
    options = parser.parse_args()
    fresh = str(random.SystemRandom().getrandbits(32))
    seeds = [fresh if seed == "random" else seed for seed in options.seed or ["1", "random"]]
    with tempfile.TemporaryDirectory(dir="/dev/shm" if os.path.isdir("/dev/shm") else None) as root:
        probe = Probe(options.probe, root)
        if options.only is not None:
            case = make_case(seeds[0], options.only)
            if not check(probe, case):
                print("seed %s case %d: no difference" % (seeds[0], options.only))
                return 0
            report(probe, seeds[0], options.only, case)
            return 1
        differing = sum(run_seed(probe, seed, options.cases) for seed in seeds)
    return 1 if differing else 0


if __name__ == "__main__":
    sys.exit(main())
