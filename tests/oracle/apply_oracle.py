"""A second statement of what the checker says: what an untouched form would show, and what its "Apply" would write.

The readers and writers are those of cfg_oracle.py. Here stand the mount table as the C library reads it, the matching
of drives, the move of the form's values into the records, and the findings that follow. `report` gives the whole
object that the checker prints as JSON; explanations, whose wording is free, are None in it.

Everything works on bytes: two files (None for a missing one), a mount table, and the folder's name. Python's standard
library only.
"""

import copy

import cfg_oracle as cfg
from cfg_oracle import CAMERA, LABELS, SENSOR, TYPES

GLOBAL, LOCAL = "global.cfg", "local.cfg"
BLANKS = b" \t\n\v\f\r"

# ---------------------------------------------------------------------------------------------------------------------
# The mount table
# ---------------------------------------------------------------------------------------------------------------------

TABLE_BUFFER = 4096  # of one entry, in the C library
TABLE_REST = 1024  # what a longer line is thrown away in
ESCAPES = ((b"\\040", b" "), (b"\\011", b"\t"), (b"\\012", b"\n"), (b"\\\\", b"\\"), (b"\\134", b"\\"))


class Chunks:
    """fgets over bytes."""

    def __init__(self, data):
        self.data, self.at = data, 0

    def take(self, size):
        """At most size - 1 bytes, up to and with a line feed; None at the end."""
        if self.at >= len(self.data):
            return None
        stop = self.at + size - 1
        feed = self.data.find(b"\n", self.at, stop)
        end = feed + 1 if feed >= 0 else min(stop, len(self.data))
        chunk, self.at = self.data[self.at:end], end
        return chunk


def text_of(chunk):
    return chunk.split(b"\0", 1)[0]


def decoded(field):
    """A field of the table with its escapes undone, in one walk from the left."""
    out, at = b"", 0
    while at < len(field):
        for escape, meaning in ESCAPES:
            if field.startswith(escape, at):
                out, at = out + meaning, at + len(escape)
                break
        else:
            out, at = out + field[at:at + 1], at + 1
    return out


def table_lines(table):
    """Entries of the table as the C library cuts them: of a line that is too long, the first part alone."""
    chunks = Chunks(table)
    while True:
        chunk = chunks.take(TABLE_BUFFER)
        if chunk is None:
            return
        line = text_of(chunk)
        if b"\n" in line:
            line = line[:-1].rstrip(b" \t")
        else:
            rest = b""
            while rest is not None and b"\n" not in text_of(rest):
                rest = chunks.take(TABLE_REST)
        line = line.lstrip(b" \t")
        if line and not line.startswith(b"#"):
            yield line


def fields_of(line):
    """The first four fields. They end at one blank each; those that follow it belong to neither side."""
    fields = []
    for _ in range(4):
        cut = min((place for place in (line.find(b" "), line.find(b"\t")) if place >= 0), default=len(line))
        fields.append(decoded(line[:cut]))
        line = line[cut + 1:].lstrip(b" \t")
    return fields


def is_hidden(kind, options):
    """An automounter's entry that asks to be left out is passed over by the C library."""
    words = options.split(b",")
    return kind == b"autofs" and any(word == b"ignore" or word.startswith(b"ignore=") for word in words)


def mount_points(table):
    """Mount points of all entries, in the table's order, duplicates included."""
    for line in table_lines(table):
        _, point, kind, options = fields_of(line)
        if not is_hidden(kind, options):
            yield point


def drives_of(table):
    """What the form offers: the mount points with one of two words anywhere in them."""
    return [point for point in mount_points(table) if b"/mnt" in point or b"/media" in point]


# ---------------------------------------------------------------------------------------------------------------------
# Loading
# ---------------------------------------------------------------------------------------------------------------------


class Loaded:
    """What one load gave. `result` is None for a load that never ends, and for one that is never begun.

    `lines`: for each message the line of the file that brought it about, None for one of the whole file.
    """

    def __init__(self, result, messages, lines, record):
        self.result, self.messages, self.lines, self.record = result, messages, lines, record


def load(loader, content, path):
    try:
        result = loader.run(content, path, loader.BUFFER)
    except cfg.Endless as endless:
        return Loaded(None, loader.messages + [endless.message], loader.lines + [loader.number], loader.record)
    return Loaded(result, loader.messages, loader.lines, loader.record)


class Pair:
    """Both files, loaded one after the other. Nothing is loaded after a load that never ends."""

    def __init__(self, contents, directory):
        self.contents = dict(zip((GLOBAL, LOCAL), contents))
        self.system = load(cfg.GlobalLoader(), contents[0], directory + b"/" + GLOBAL.encode())
        if self.system.result is None:
            self.node = Loaded(None, [], [], cfg.Local())
        else:
            self.node = load(cfg.LocalLoader(self.system.record), contents[1], directory + b"/" + LOCAL.encode())
        self.loads = {GLOBAL: self.system, LOCAL: self.node}

    @property
    def ends(self):
        return self.node.result is not None

    @property
    def opens_clean(self):
        """Both loads brought something to work with."""
        return bool(self.system.result and self.node.result)

    @property
    def messages(self):
        return self.system.messages + self.node.messages


# ---------------------------------------------------------------------------------------------------------------------
# The form
# ---------------------------------------------------------------------------------------------------------------------

PATH_FIELD = 512  # of the form; a general storage that does not fit ends the program
NAME_FIELD = 64  # of the record
PATH_COPIED = 2048  # bytes of a mount point that the form puts into the record
MOST_STORAGES = 16  # rows of the record
WRITER_BUFFER = 2048  # one item of a file with its terminator


def trimmed(path):
    return path.rstrip(b"/")


class Form:
    """The values of the form at its start. Repairs number and ID in copies of the records, which it holds."""

    def __init__(self, system, node, drives):
        self.system, self.node, self.drives = copy.deepcopy(system), copy.deepcopy(node), drives
        self.name = system.cluster or b"The Recorder"
        self.system.node_count = system.node_count or 1
        self.node.node_id = min(node.node_id, self.system.node_count) or 1
        self.count, self.id = self.system.node_count, self.node.node_id
        self.general = self.find_general(system.storage)
        self.flags = self.find_recording()

    def find_general(self, path):
        """The last drive with this name counts, with or without the closing slashes; without any, the first one."""
        matching = [i for i, drive in enumerate(self.drives) if drive in (path, trimmed(path))]
        return matching[-1] if matching else 0

    def find_recording(self):
        """All drives of these names. Only as many rows are read as storages were counted; only trimmed names match."""
        wanted = {trimmed(row) for row in self.node.storages[:self.node.storage_count]}
        return [drive in wanted for drive in self.drives]


def into_records(form):
    """Moves the form's values into its records, as the press of "Apply" does first."""
    form.system.node_count = form.count
    form.node.node_id = form.id
    form.system.cluster = form.name[:NAME_FIELD]
    if len(form.name) >= NAME_FIELD:
        # Intended: the name's terminator falls on the lowest byte of the number of Recorders, the field that follows.
        form.system.node_count &= ~0xFF
    form.system.storage = form.drives[form.general][:PATH_COPIED] if form.drives else b""
    chosen = [drive for drive, flag in zip(form.drives, form.flags) if flag][:MOST_STORAGES]
    form.node.storages[:len(chosen)] = chosen
    if not chosen:
        form.node.storages[0] = b""
    form.node.storage_count = len(chosen)


def storages_are_valid(form):
    """Whether the general storage is no drive that is recorded to."""
    clashing = {form.system.storage, trimmed(form.system.storage)}
    return not any(flag and drive in clashing for drive, flag in zip(form.drives, form.flags))


def fits_writer(system):
    """An item that does not fit the writer's buffer makes the save fail, and the old file stays."""
    return len(b'GeneralStoragePath = "%s"\n\n' % system.storage) < WRITER_BUFFER


def apply_untouched(form, pair):
    """The two files after "Apply" on the form as it stands, or None where it is refused."""
    into_records(form)
    if not storages_are_valid(form):
        return None
    written = cfg.write_global(form.system) if fits_writer(form.system) else pair.contents[GLOBAL]
    return written, cfg.write_local(form.node)


# ---------------------------------------------------------------------------------------------------------------------
# What changes
# ---------------------------------------------------------------------------------------------------------------------


def closed(path):
    """A directory in the form that comparisons go by: its closing slashes make no difference, a "/" alone stays."""
    return trimmed(path) or path[:1]


def system_values(r):
    return (r.cluster, r.node_count, r.connected, r.first, r.offline, r.manager, r.log_levels, r.flags,
            closed(r.storage))


def section_values(s):
    models = [(m.name, m.params, m.cameras) for m in s.models]
    return s.name, s.params, s.first, s.last, s.cti, s.numbers, s.macs, models


def node_values(r):
    hardware = [[section_values(s) for s in r.hardware[kind]] for kind in TYPES]
    return (r.node_id, r.ip, [closed(s) for s in r.storages], r.storage_count, r.streams, r.capture, r.post, r.memory,
            r.devices_offline, hardware)


def values_differ(before, after):
    return (not after.ends or system_values(before.system.record) != system_values(after.system.record) or
            node_values(before.node.record) != node_values(after.node.record))


# ---------------------------------------------------------------------------------------------------------------------
# Lines that a save drops
# ---------------------------------------------------------------------------------------------------------------------

RANGE = cfg.compile_format(b"%u-%u%c")
NUMBER = cfg.compile_format(b"%u%c")


def lines_of(content):
    """Lines of a file with their numbers from 1, without their line ends."""
    lines = content.split(b"\n")
    if not lines[-1]:
        lines.pop()
    return list(enumerate(lines, 1))


def is_blank_or_comment(line):
    return line.lstrip(BLANKS)[:1] in (b"", b"#", b";")


def tag_of(line, pair):
    """What a line is known by: ("section", type, first, last) for a header that names one, else its tag."""
    text = cfg.normalise(text_of(line))
    if not text.startswith(b"["):
        return text.split(b"=", 1)[0]
    return section_of(text, pair) or text[:text.find(b"]") + 1] or text


def section_of(header, pair):
    kinds = [kind for kind in TYPES if header[1:].startswith(LABELS[kind][1])]
    if not kinds:
        return None
    selector = header[1 + len(LABELS[kinds[0]][1]):]
    if selector.startswith(b"]"):
        return section_of_node(kinds[0], pair)
    for steps in (RANGE, NUMBER):
        values, _ = cfg.scan(steps, selector)
        if len(values) == len([step for step in steps if step[0] != "literal"]) and values[-1] == cfg.CLOSING_BRACKET:
            return ("section", kinds[0], values[0], values[-2])
    return None


def section_of_node(kind, pair):
    """[Camera] stands for all of the node's cameras."""
    node = pair.node.record.node_id
    first = pair.system.record.first[kind][node]
    if not first:
        return None
    return ("section", kind, first, (first + pair.system.record.connected[kind][node] - 1) & cfg.U32)


def dropped_lines(name, before, written):
    """Lines of the present file whose tag or section the written one does not have."""
    kept = {tag_of(line, before) for _, line in lines_of(written) if not is_blank_or_comment(line)}
    return [{"file": name, "line": number, "text": as_text(line.removesuffix(b"\r"))}
            for number, line in lines_of(before.contents[name] or b"")
            if not is_blank_or_comment(line) and tag_of(line, before) not in kept]


# ---------------------------------------------------------------------------------------------------------------------
# The report
# ---------------------------------------------------------------------------------------------------------------------


def as_text(data):
    """Text for JSON: what is no UTF-8 becomes U+FFFD, one for each byte or begun character."""
    return data.decode("utf-8", "replace")


def texts(items):
    return [as_text(item) for item in items]


def addresses(words):
    """The second address counts only by being there; the first is 0.0.0.0 where the second stands alone."""
    shown = words if words[1] else words[:1] if words[0] else []
    return texts(cfg.dotted(word) for word in shown)


def system_report(r):
    nodes = range(1, r.node_count + 1)
    return {
        "cluster_name": as_text(r.cluster),
        "node_count": r.node_count,
        "nodes_offline": [n for n in range(1, 65) if r.offline >> (n - 1) & 1],
        "cameras_connected": [r.connected[CAMERA][n] for n in nodes],
        "sensors_connected": [r.connected[SENSOR][n] for n in nodes],
        "manager_ips": addresses(r.manager),
        "general_storage": as_text(r.storage),
        "log_level_node": r.log_levels[0],
        "log_level_manager": r.log_levels[1],
        "show_all_parameters": bool(r.flags[0]),
        "allow_failed_devices": bool(r.flags[1]),
        "allow_failed_nodes": bool(r.flags[2]),
    }


def mac_text(mac):
    return ":".join("%02X" % octet for octet in mac.to_bytes(6, "big"))


def section_report(kind, s):
    common = {"type": LABELS[kind][1].decode(), "first": s.first, "last": s.last,
              "capture_device": texts([s.name, s.params])}
    if kind == SENSOR:
        return common
    names = ("sync_mode", "max_dma_buffers", "max_detection_time", "link_speed")
    return {**common, **dict(zip(names, s.numbers)),
            "cti": texts(s.cti),
            "macs": [mac_text(mac) for mac in s.macs],
            "models": [texts([m.name, m.params]) for m in s.models]}


def node_report(r):
    return {
        "node_id": r.node_id,
        "ips": addresses(r.ip),
        "recording_storages": texts(s for s in r.storages if s),
        "camera_stream_plugin": as_text(r.streams[CAMERA]),
        "sensor_stream_plugin": as_text(r.streams[SENSOR]),
        "capture_process_plugin": as_text(r.capture),
        "post_process_plugin": as_text(r.post),
        "max_mem_use": cfg.percent_of_share(r.memory),
        "sections": [section_report(kind, s) for kind in TYPES for s in r.hardware[kind]],
    }


def values_report(pair):
    return {"global": system_report(pair.system.record) if pair.system.result else None,
            "local": node_report(pair.node.record) if pair.node.result else None}


def device_range(system, kind, node):
    first, count = system.first[kind][node], system.connected[kind][node]
    return [first, first + count - 1] if first and count else None


NO_RECORDER = {"id": None, "count": None, "name": None, "cameras": None, "sensors": None}


def recorder_report(form, pair):
    system = pair.system.record
    return {"id": form.id, "count": form.count, "name": as_text(form.name),
            "cameras": device_range(system, CAMERA, form.id), "sensors": device_range(system, SENSOR, form.id)}


def storages_report(pair, drives):
    """Each configured storage, and whether a drive has its name in the way that the form compares."""
    general = pair.system.record.storage
    found = [("recording", place + 1, path, trimmed(path) in drives)
             for place, path in enumerate(pair.node.record.storages) if path]
    if general:
        found.append(("general", None, general, general in drives or trimmed(general) in drives))
    return [{"role": role, "number": number, "path": as_text(path), "mounted": mounted}
            for role, number, path, mounted in found]


UNREACHABLE = {"result": "unreachable", "changed": [], "dropped": [], "next_start": [], "autostart": None}


class Outcome:
    """What the checker has to say on one pair of files, and the two files that "Apply" would leave."""

    def __init__(self, contents, table, directory):
        self.directory = directory
        self.pair = Pair(contents, directory)
        self.drives = drives_of(table)
        self.start = self.find_start()
        self.form = Form(self.pair.system.record, self.pair.node.record, self.drives)
        self.recorder = recorder_report(self.form, self.pair) if self.start == "form" else NO_RECORDER
        self.after = self.next = None
        self.apply = dict(UNREACHABLE)
        if self.start == "form":
            self.run_apply()
        self.verdict = self.find_verdict()

    def find_start(self):
        if not self.pair.ends:
            return "endless-load"
        return "path-too-long" if len(self.pair.system.record.storage) >= PATH_FIELD else "form"

    def run_apply(self):
        written = apply_untouched(self.form, self.pair)
        if written is None:
            self.apply["result"] = "refused"
            return
        self.after = dict(zip((GLOBAL, LOCAL), written))
        self.next = Pair(written, self.directory)
        changed = [name for name in (GLOBAL, LOCAL) if self.after[name] != self.pair.contents[name]]
        self.apply.update(
            result="saved", changed=changed, next_start=texts(self.next.messages),
            dropped=[line for name in changed for line in dropped_lines(name, self.pair, self.after[name])])

    def find_verdict(self):
        if self.start != "form" or not self.pair.opens_clean:
            return "broken"
        if self.apply["result"] == "refused" or self.pair.messages or self.next.messages or self.apply["dropped"]:
            return "notice"
        if not fits_writer(self.form.system):
            return "notice"
        return "notice" if values_differ(self.pair, self.next) else "clean"

    def report(self):
        """The object that the checker prints, explanations as None."""
        files = [{"name": name, "load": loaded.result,
                  "messages": [{"text": text, "explanation": None, "line": line}
                               for text, line in zip(texts(loaded.messages), loaded.lines)]}
                 for name, loaded in self.pair.loads.items()]
        return {"directory": as_text(self.directory), "verdict": self.verdict, "start": self.start, "files": files,
                "recorder": self.recorder, "values": values_report(self.pair),
                "storages": storages_report(self.pair, self.drives) if self.pair.ends else [], "apply": self.apply}

    @property
    def status(self):
        return ("clean", "notice", "broken").index(self.verdict)
