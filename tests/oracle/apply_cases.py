#!/usr/bin/env python3
"""Generates pairs of configuration files with a mount table to check them against.

A case depends on the seed and its number alone. Most open the form: their files come from the grammar with few or no
mutations, and their storages are drives of the table, with and without closing slashes. The others have odd mount
points, storages that are not mounted, broken files, or none.

    apply_cases.py --dump FOLDER [--cases N] [--seed S]

writes cases for the test of the real form as folders 0000, 0001, ...: `global.cfg` and `local.cfg` (none where the file
is missing), and `mounts` with one mount point a line, in the order to mount them in, a backslash and a line feed in a
name as `\\\\` and `\\n`. Only cases that reach the form and whose mount points can be real are dumped.
"""

import argparse
import os
import random

import apply_oracle
import cfg_oracle
import differential

USUAL_POINTS = [
    b"/mnt", b"/mnt/a", b"/mnt/b", b"/mnt/disk1", b"/mnt/disk2", b"/mnt/rec", b"/mnt/rec/deep", b"/media/usb",
    b"/media/root/Card", b"/run/media/user/disk", b"/mnt/general", b"/mnt/A", b"/home/u/mnt/x", b"/media1", b"/mnt2",
]
ODD_POINTS = [
    b"/mnt/a b", b"/mnt/x;y", b"/mnt/tab\there", b"/mnt/#1", b"/mnt/q\"uote", b"/mnt/\"whole\"", b"/mnt/back\\slash",
    b"/mnt/end\\", b"/mnt/\xe9t\xe9", b"/mnt/caf\xc3\xa9", b"/mnt/a,b", b"/mnt/%s%n", b"/mnt/ ", b"/mnt/a=b",
    b"/mnt/[x]", b"/mnt/line\nfeed", b"/mnt/x\nNodeCount = 9", b"/mnt/x\nNodesOffline = 1", b"/mnt/'", b"/mnt/\x01\x7f",
    b"/mnt/\xf0\x9f\x92", b"/mnt/x\n# note", b"/mnt/\rx", b"/media/\xe2\x82",
]
# Only a table that is written by hand has these.
UNREAL_POINTS = [b"/mnt/a/", b"/mnt//", b"/mnt/a//", b"mnt/mnt", b"/mnt/x\nNodesOffline = 0", b"/mnt/rec/"]
OTHER_POINTS = [b"/", b"/proc", b"/data", b"/boot", b"/MNT/disk1", b"/mn/t", b"/home"]
LONG_LENGTHS = [480, 509, 510, 511, 512, 513, 900, 1021, 1022, 1023, 1024, 1025, 1160, 1500, 2021, 2022, 2023, 2048,
                2049]


def escaped(point):
    """A mount point as the kernel writes it into the table."""
    for raw, code in ((b"\\", b"\\134"), (b" ", b"\\040"), (b"\t", b"\\011"), (b"\n", b"\\012")):
        point = point.replace(raw, code)
    return point


def long_point(length):
    """A mount point of this many bytes whose names are short enough for a file system."""
    parts = [b"/mnt"]
    while length > sum(map(len, parts)):
        parts.append((b"/" + b"p" * 200)[:length - sum(map(len, parts))])
    point = b"".join(parts)
    return point[:-1] + b"p" if point.endswith(b"/") else point


class Maker(differential.Maker):
    """Files of a system whose storages are drives of a mount table."""

    def __init__(self, rng):
        super().__init__(rng)
        self.tame = 1.0 if rng.random() < 0.75 else max(self.tame, 0.93)
        self.exact = self.tame == 1.0  # no word of the files is odd
        self.system()
        if rng.random() < 0.8:
            self.fit_counts()
        self.make_drives()
        self.choose_storages()

    def fit_counts(self):
        """At most 63 devices of a type on a node: 64 always bring a complaint. Few systems have sensors."""
        for row in self.counts:
            for node in row:
                row[node] = min(row[node], 8)
        if self.rng.random() < 0.6:
            self.counts[1] = {}

    # Drives and storages.

    def make_drives(self):
        r = self.rng
        count = r.choice([0, 1, 2, 2, 3, 3, 4, 4, 5, 8, 15, 16, 17, 20])
        points = r.sample(USUAL_POINTS, min(count, len(USUAL_POINTS)))
        points += [b"/mnt/d%02d" % n for n in range(count - len(points))]
        if r.random() < 0.25:
            points += r.sample(ODD_POINTS, r.randrange(1, 3))
        if r.random() < 0.08:
            points.append(r.choice(UNREAL_POINTS))
        if r.random() < 0.08:
            points.append(long_point(r.choice(LONG_LENGTHS)))
        if r.random() < 0.12 and points:
            points += r.sample(points, min(len(points), r.randrange(1, 3)))
        if r.random() < 0.04 and points:
            points.append(r.choice(points) + b"/")
        r.shuffle(points)
        self.drives = points

    def choose_storages(self):
        r = self.rng
        self.general, self.recording = b"", []
        pool = list(dict.fromkeys(self.drives))
        if r.random() < 0.9 and pool:
            self.general = r.choice(pool)
            if r.random() < 0.93:
                pool.remove(self.general)
        self.recording = r.sample(pool, min(len(pool), r.choice([0, 1, 1, 2, 2, 3, 4, 15, 16])))
        if r.random() < 0.12:
            self.general = r.choice([b"/mnt/gone", b"/mnt/a/below", b"/", b"/srv/data", b"C:\\data\\", b"/mnt/A", b"/m",
                                     long_point(r.choice(LONG_LENGTHS)), b"x"])
        if r.random() < 0.12:
            gone = r.choice([b"/mnt/gone", b"/mnt/rec/below", b"/", b"/srv", long_point(r.choice(LONG_LENGTHS[:10]))])
            self.recording.insert(r.randrange(len(self.recording) + 1), gone)
        if r.random() < 0.05 and self.recording:
            self.recording.append(self.recording[0])

    def written(self, path):
        """A path as a line holds it: closing slashes come and go."""
        return path + self.rng.choice([b"", b"", b"/", b"/", b"/", b"//"])

    # Files.

    def text(self, usual=None, size=None):
        if self.exact and usual is None:
            return self.rng.choice([b"plugin", b"Plug In.so", b"a,b", b"caf\xc3\xa9", b"=", b"x" * 200, b"\xe9"])
        return super().text(usual, size)

    def name(self):
        r = self.rng
        if r.random() < 0.8:
            return b"Site A"
        return r.choice([b"n" * 62, b"n" * 63, b"n" * 64, b"\xc3\xa9" * 32, b"A", b" ", b"The Recorder", b"a\tb", b"#",
                         b"]", b"[Camera]", b"k=v", b"\xff\xfe", b"caf\xc3\xa9"])

    def global_lines(self):
        r = self.rng
        lines = [line for line in super().global_lines()
                 if not line.lower().startswith((b"generalstoragepath", b"sensors", b"clustername = \"site a\""))]
        if self.exact or not self.odd(0.5):
            lines.insert(0, b'ClusterName = "%s"' % self.name())
        for node in sorted(self.counts[1]):
            lines.append(self.assign(b"SensorsConnectedToNode%d" % node, self.number(self.counts[1][node])))
        if self.general or r.random() < 0.5:
            lines.append(self.assign(b"GeneralStoragePath", b'"%s"' % self.written(self.general)))
        return lines

    def node_lines(self):
        r = self.rng
        lines = [line for line in super().node_lines() if not line.lower().startswith(b"recordingstorage")]
        numbers = list(range(1, len(self.recording) + 1))
        if r.random() < 0.06 and numbers:
            numbers[r.randrange(len(numbers))] += r.choice([1, 2, 13, -1])
        for number, path in zip(numbers, self.recording):
            lines.append(self.assign(b"RecordingStorage%d" % number, b'"%s"' % self.written(path)))
        return lines

    def section(self, kind, first, last, whole):
        lines = super().section(kind, first, last, whole)
        if self.rng.random() < 0.1:
            lines[0] = lines[0].replace(b" ", b"").swapcase() + b" # section"
        return lines

    def decorated(self, lines):
        """Blank lines, comments and lines that a save drops, as people leave them in files."""
        r = self.rng
        strays = [b"", b"  ", b"# comment", b"; old = 1", b" # NodeCount = 2"]
        if r.random() < 0.3:
            strays += [b"Unknown = 3", b"RecordingStorages = 2", b"[Network 1]", b"\"NodeID\" = 1", b"word", b"=",
                       b"\"\"", b"\x01", b"CamerasOffline = 1", b"CameraMac = 0", b"\xe9=\xe9", b"Sync Mode 2",
                       b"x # y", b"[", b"]"]
        for _ in range(r.choice([0, 0, 1, 3, 6])):
            lines.insert(r.randrange(len(lines) + 1), r.choice(strays))
        return lines


def as_saved(contents, table):
    """The pair as the form's "Apply" leaves it: clean at the next check unless something cannot be kept."""
    after = apply_oracle.Outcome(contents, table, b"/x").after
    return (after["global.cfg"], after["local.cfg"]) if after else contents


def layout_of_save(contents):
    """The pair as the writers lay it out, with the storages as they are configured."""
    pair = apply_oracle.Pair(contents, b"/x")
    if not pair.ends:
        return contents
    return cfg_oracle.write_global(pair.system.record), cfg_oracle.write_local(pair.node.record)


class Case:
    """`contents`: both files, None for a missing one. `table`: the mount table. `points`: what it is to list."""

    def __init__(self, contents, table, points):
        self.contents, self.table, self.points = contents, table, points


def make_table(rng, points):
    """A mount table that lists these points, usually among others."""
    lines = []
    for place, point in enumerate(points):
        kind = rng.choice([b"ext4", b"xfs", b"tmpfs", b"fuse.sshfs"])
        device = rng.choice([b"/dev/sd%d" % place, b"//nas/share", b"tmpfs"])
        lines.append(b" ".join([device, escaped(point), kind, b"rw 0 0"]))
    for point in rng.sample(OTHER_POINTS, rng.randrange(len(OTHER_POINTS))):
        lines.insert(rng.randrange(len(lines) + 1), b"/dev/other %s ext4 rw 0 0" % point)
    if rng.random() < 0.06:
        odd = rng.choice([b"# comment /mnt/c", b"", b"   \t", b"  /dev/x\t/mnt/tabs \t ext4", b"onlyone", b"\0/mnt",
                          b"auto /mnt/auto autofs rw,ignore 0 0", b"d /mnt/" + b"y" * 4100 + b" ext4 rw 0 0",
                          b"d /mnt/z\0y ext4 rw 0 0", b"d /mnt/oct\\041\\\\040 ext4"])
        lines.insert(rng.randrange(len(lines) + 1), odd)
    return b"\n".join(lines) + rng.choice([b"\n", b"\n", b"\n", b""])


def make_case(seed, number):
    rng = random.Random("%s/%d" % (seed, number))
    maker = Maker(rng)
    contents = (maker.mangle(maker.decorated(maker.global_lines()), 1184),
                maker.mangle(maker.decorated(maker.local_lines()), 2048))
    table = make_table(rng, maker.drives)
    share = rng.random()
    if share < 0.3:
        contents = as_saved(contents, table) if share < 0.15 else layout_of_save(contents)
    contents = tuple(None if rng.random() < 0.015 else content for content in contents)
    return Case(contents, table, maker.drives)


# ---------------------------------------------------------------------------------------------------------------------
# Cases for the real form
# ---------------------------------------------------------------------------------------------------------------------

ROOTS = (b"/mnt/", b"/media/")


def can_be_mounted(points):
    """Real mount points below the two folders that the form's tests own, in an order in which none covers another."""
    if any(not p.startswith(ROOTS) or p.endswith(b"/") or b"//" in p or len(p) > 1000 for p in points):
        return False
    return not any(later != p and p.startswith(later + b"/") for i, p in enumerate(points) for later in points[i:])


def dumped_name(point):
    return point.replace(b"\\", b"\\\\").replace(b"\n", b"\\n")


def can_be_shown(contents):
    """A diff shows nothing of a file with a zero byte."""
    return not any(b"\0" in content for content in contents if content is not None)


def cases_for_the_form(seed, count):
    """Cases in which "Apply" can be reached, and whose drives can be mounted and files shown."""
    number = found = 0
    while found < count:
        case = make_case(seed, number)
        number += 1
        table = b"".join(b"drive %s tmpfs rw 0 0\n" % escaped(point) for point in case.points)
        fits = can_be_mounted(case.points) and can_be_shown(case.contents)
        if fits and apply_oracle.Outcome(case.contents, table, b"/x").start == "form":
            found += 1
            yield Case(case.contents, table, case.points)


def dump(folder, seed, count):
    for number, case in enumerate(cases_for_the_form(seed, count)):
        place = os.path.join(folder, "%04d" % number)
        os.makedirs(place)
        files = {"mounts": b"".join(dumped_name(point) + b"\n" for point in case.points)}
        files.update((name, content) for name, content in zip(("global.cfg", "local.cfg"), case.contents)
                     if content is not None)
        for name, content in files.items():
            with open(os.path.join(place, name), "wb") as file:
                file.write(content)


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--dump", required=True, help="an empty folder for the cases")
    parser.add_argument("--cases", type=int, default=20)
    parser.add_argument("--seed", default="1")
    options = parser.parse_args()
    dump(options.dump, options.seed, options.cases)


if __name__ == "__main__":
    main()
