"""A second statement of the configuration readers and writers, kept apart from the library on purpose.

The library reads lines with C code; here the same rules stand as tables over byte strings, with a model of the C
library's scanning underneath. `World` is a small file system plus the library's state: it runs a list of operations and
answers each one with lines of text. The probe program runs the same list on the real library and answers in the same
words, so that a comparison is a comparison of lists.

An operation is a tuple of a name and its arguments (see World.OPERATIONS). Python's standard library only.
"""

import re
import struct
from fractions import Fraction

U32 = 0xFFFFFFFF
ULONG_MAX = 0xFFFFFFFFFFFFFFFF
ENOENT = 2
EISDIR = 21

# ---------------------------------------------------------------------------------------------------------------------
# Scanning, as the C library does it
# ---------------------------------------------------------------------------------------------------------------------

SPACE = re.compile(rb"[ \t\n\v\f\r]*")
DECIMAL = re.compile(rb"([+-]?)([0-9]*)")
# The "0x" goes when it is there, also with no digit behind it: the 0 alone is then the number.
HEXADECIMAL = re.compile(rb"([+-]?)(0[xX][0-9a-fA-F]*|[0-9a-fA-F]*)")
INFINITY = re.compile(rb"[+-]?inf(inity)?", re.IGNORECASE)
NOT_A_NUMBER = re.compile(rb"[+-]?nan", re.IGNORECASE)
HEX_FLOAT = re.compile(rb"[+-]?0[xX]([0-9a-fA-F]*\.?[0-9a-fA-F]*)([pP][+-]?[0-9]*)?")
DEC_FLOAT = re.compile(rb"[+-]?(?:[0-9]+\.?[0-9]*(?:[eE][+-]?[0-9]*)?|\.[0-9]+(?:[eE][+-]?[0-9]*)?|\.)")

DIRECTIVE = re.compile(rb"%(?:(hh)?([uxcf%])|([0-9]+)\[\^([^\]]*)\])|(\s+)|([^%\s]+)")


def compile_format(pattern):
    """Turns a scanning pattern into a list of (kind, argument)."""
    steps = []
    position = 0
    while position < len(pattern):
        found = DIRECTIVE.match(pattern, position)
        if not found:
            raise ValueError("pattern not modelled: %r" % pattern)
        half, letter, width, excluded, blank, literal = found.groups()
        if blank:
            steps.append(("blank", None))
        elif literal:
            steps.append(("literal", literal))
        elif width:
            cls = re.compile(b"[^" + re.escape(excluded) + b"]{0,%d}" % int(width))
            steps.append(("set", cls))
        elif letter in b"ux":
            steps.append((letter.decode(), 0xFF if half else U32))
        else:
            steps.append((letter.decode(), None))
        position = found.end()
    return steps


def to_unsigned(sign, digits, base):
    """strtoul on 64 bits: too big a number becomes the greatest one whatever its sign, a negative one wraps."""
    magnitude = int(digits, base)
    if magnitude > ULONG_MAX:
        return ULONG_MAX
    return (-magnitude) & ULONG_MAX if sign == b"-" else magnitude


class Stop(Exception):
    """Ends a scan. `end_of_input`: nothing was left to read, against: something did not fit."""

    def __init__(self, end_of_input):
        super().__init__()
        self.end_of_input = end_of_input


def scan_integer(text, at, base):
    if at == len(text):
        raise Stop(True)
    found = (HEXADECIMAL if base == 16 else DECIMAL).match(text, at)
    sign, digits = found.groups()
    if not digits:
        raise Stop(False)
    if digits[:2] in (b"0x", b"0X"):
        digits = b"0" + digits[2:]
    return to_unsigned(sign, digits, base), found.end()


def round_to_float32(value):
    """The bits of the 32-bit float nearest to a fraction of at least 0, halves to even."""
    if value == 0:
        return 0
    exponent = value.numerator.bit_length() - value.denominator.bit_length()
    if Fraction(2) ** exponent > value:
        exponent -= 1
    unit = max(exponent - 23, -149)
    steps = round(value / Fraction(2) ** unit)
    if steps * Fraction(2) ** unit >= 2 ** 128:
        return 0x7F800000
    return struct.unpack("<I", struct.pack("<f", float(steps * Fraction(2) ** unit)))[0]


def power(base, exponent, limit):
    return Fraction(base) ** max(-limit, min(limit, exponent))


def float_bits(text):
    """Bits of the 32-bit float of a text that one of the float patterns took."""
    sign = 0x80000000 if text.startswith(b"-") else 0
    body = text.lstrip(b"+-").lower()
    if body.startswith(b"inf"):
        return sign | 0x7F800000
    if body.startswith(b"nan"):
        return sign | 0x7FC00000
    if body.startswith(b"0x"):
        mantissa, _, exponent = body[2:].partition(b"p")
        whole, _, rest = mantissa.partition(b".")
        digits = int(whole + rest or b"0", 16)
        shift = int_or_zero(exponent)
        scale = shift - 4 * len(rest)
        value = digits * power(2, scale, 6000) if digits else Fraction(0)
    else:
        mantissa, _, exponent = body.partition(b"e")
        whole, _, rest = mantissa.partition(b".")
        digits = int(whole + rest or b"0")
        scale = int_or_zero(exponent) - len(rest)
        value = digits * power(10, scale, 1500) if digits else Fraction(0)
    return sign | round_to_float32(value)


def int_or_zero(text):
    return int(text) if text.strip(b"+-") else 0


def scan_float(text, at):
    if at == len(text):
        raise Stop(True)
    body = at + 1 if text[at:at + 1] in (b"+", b"-") else at
    first = text[body:body + 1].lower()
    if first == b"n":
        found = NOT_A_NUMBER.match(text, at)
    elif first == b"i":
        found = INFINITY.match(text, at)
        # An "i" behind "inf" has to begin "inity".
        if found and not found.group(1) and text[found.end():found.end() + 1].lower() == b"i":
            raise Stop(False)
    elif text[body:body + 2].lower() == b"0x":
        found = HEX_FLOAT.match(text, at)
        if found.end(1) - body == 2:
            raise Stop(False)
        if not found.group(1).strip(b"."):
            # "0x." with no digit: what is taken reads as the 0 ahead of the x. A p is not taken then.
            return float_bits(text[at:body] + b"0"), found.end(1)
    else:
        found = DEC_FLOAT.match(text, at)
        if found and found.group(0).lstrip(b"+-") == b".":
            raise Stop(False)
    if not found:
        raise Stop(False)
    return float_bits(found.group(0)), found.end()


# One function for each kind of step. It takes the text and where to go on in it, appends what it takes to the values,
# and returns where it ended.

def skip_blank(text, at):
    return SPACE.match(text, at).end()


def need_more(text, at):
    if at == len(text):
        raise Stop(True)


def step_literal(text, at, literal, _values):
    if not text.startswith(literal, at):
        raise Stop(literal.startswith(text[at:]))
    return at + len(literal)


def step_blank(text, at, _, _values):
    return skip_blank(text, at)


def step_percent(text, at, _, _values):
    at = skip_blank(text, at)
    need_more(text, at)
    if text[at] != 0x25:
        raise Stop(False)
    return at + 1


def step_byte(text, at, _, values):
    need_more(text, at)
    values.append(text[at])
    return at + 1


def step_set(text, at, members, values):
    need_more(text, at)
    end = members.match(text, at).end()
    if end == at:
        raise Stop(False)
    values.append(text[at:end])
    return end


def step_float(text, at, _, values):
    value, at = scan_float(text, skip_blank(text, at))
    values.append(value)
    return at


def step_decimal(text, at, mask, values):
    value, at = scan_integer(text, skip_blank(text, at), 10)
    values.append(value & mask)
    return at


def step_hexadecimal(text, at, mask, values):
    value, at = scan_integer(text, skip_blank(text, at), 16)
    values.append(value & mask)
    return at


STEPS = {
    "literal": step_literal, "blank": step_blank, "%": step_percent, "c": step_byte, "set": step_set,
    "f": step_float, "u": step_decimal, "x": step_hexadecimal,
}


def scan(steps, text):
    """Runs a compiled pattern over a text without a zero byte. Returns the values taken, and sscanf's result."""
    values = []
    at = 0
    try:
        for kind, argument in steps:
            at = STEPS[kind](text, at, argument, values)
    except Stop as stop:
        if not values:
            return values, -1 if stop.end_of_input else 0
    return values, len(values)


class Pattern:
    """A compiled pattern that counts as met when as many values as wanted were taken."""

    def __init__(self, pattern, wanted):
        self.steps = compile_format(pattern)
        self.wanted = wanted
        self.prefix = self.steps[0][1] if self.steps[0][0] == "literal" else b""

    def take(self, text):
        if not text.startswith(self.prefix):
            return None
        values, _ = scan(self.steps, text)
        return values if len(values) in self.wanted else None


UNSIGNED = compile_format(b"%u")

# ---------------------------------------------------------------------------------------------------------------------
# Lines
# ---------------------------------------------------------------------------------------------------------------------

LOWER = bytes(range(256)).lower()
DROPPED = bytes(list(range(0, 33)) + list(range(128, 256)))


def normalise(line):
    """Every second stretch between quotes stays as it is; the others lose blanks, controls and high bytes."""
    stretches = line.split(b'"')
    return b"".join(s if i % 2 else s.translate(LOWER, DROPPED) for i, s in enumerate(stretches))


def numbered_lines(content, buffer_size):
    """The lines that a reader sees: cut at the buffer's size, ended by a zero byte, empty ones left out.

    With each comes the number, from 1, of the file's line that it belongs to.
    """
    position, number = 0, 1
    while position < len(content):
        end = content.find(b"\n", position, position + buffer_size - 1)
        feed = end >= 0
        end = end + 1 if feed else min(position + buffer_size - 1, len(content))
        line = normalise(content[position:end].split(b"\0", 1)[0])
        if line:
            yield number, line
        position, number = end, number + feed


def normalised_lines(content, buffer_size):
    return (line for _, line in numbered_lines(content, buffer_size))


def closed_directory(path):
    """Adds the closing slash that a directory of two characters or more is to have.

    A path that fills its field, 1023 characters, has no room for one and stays whole: to cut a character off for the
    slash would name another directory.
    """
    if 2 <= len(path) < 1023 and path[-1:] not in (b"\\", b"/"):
        return path + b"/"
    return path


def address(octets):
    word = 0
    for place, octet in enumerate(octets):
        word |= (octet << (8 * place)) & U32
    return word


def dotted(word):
    return b"%d.%d.%d.%d" % tuple(word.to_bytes(4, "little"))


# ---------------------------------------------------------------------------------------------------------------------
# Arithmetic of 32-bit floats
# ---------------------------------------------------------------------------------------------------------------------


def single(value):
    return struct.unpack("<f", struct.pack("<f", value))[0]


def bits_of(value):
    return struct.unpack("<I", struct.pack("<f", value))[0]


def value_of(bits):
    return struct.unpack("<f", struct.pack("<I", bits))[0]


def share_of_percent(number):
    return min(single(single(float(number)) / 100.0), 1.0)


def percent_of_share(share):
    return int(single(share * 100.0))


def six_decimals(bits):
    value = value_of(bits)
    if value != value:
        return b"-nan" if bits >> 31 else b"nan"
    return b"%f" % value


# ---------------------------------------------------------------------------------------------------------------------
# Records
# ---------------------------------------------------------------------------------------------------------------------

LABELS = ((b"Camera", b"camera", b"Cameras", b"cameras"), (b"Sensor", b"sensor", b"Sensors", b"sensors"))
CAMERA, SENSOR = 0, 1
TYPES = (CAMERA, SENSOR)
MAX = 64


class Global:
    def __init__(self):
        self.cluster = b""
        self.node_count = 0
        self.connected = [[0] * 65, [0] * 65]
        self.first = [[0] * 65, [0] * 65]
        self.offline = 0
        self.manager = [0, 0]
        self.log_levels = [0, 0]  # of the nodes, of the manager
        self.flags = [0, 0, 0]  # show all parameters, allow failed devices, allow failed nodes
        self.storage = b""


class Model:
    def __init__(self, name, params, cameras):
        self.name, self.params, self.cameras = name, params, cameras


class Section:
    def __init__(self, first, last):
        self.name = self.params = b""
        self.first, self.last = first, last
        self.cti = [b"", b""]
        self.numbers = [0, 0, 0, 0]  # sync mode, DMA buffers, detection time, link speed
        self.macs = []
        self.models = []

    @property
    def size(self):
        return (self.last - self.first + 1) & U32

    def holds(self, number):
        return self.first <= number <= self.last


class Local:
    def __init__(self):
        self.node_id = 0
        self.ip = [0, 0]
        self.storages = [b""] * 16
        self.storage_count = 0
        self.streams = [b"", b""]
        self.capture = self.post = b""
        self.memory = 0.0
        self.hardware = [[], []]
        self.devices_offline = [set(), set()]


class Endless(Exception):
    """The load repeats one message for ever."""

    def __init__(self, message):
        super().__init__(message)
        self.message = message


class Failed(Exception):
    """A load that ends at once with the result 0."""


def scan_offline_list(line, start, complaint, accept):
    """Walks a comma-separated list from a fixed place in the line. True when a number was taken."""
    taken = False
    while start < len(line):
        values, _ = scan(UNSIGNED, line[start:])
        if not values:
            break
        if not 1 <= values[0] <= MAX:
            raise Endless(b"Config: " + complaint % values[0])
        accept(values[0])
        taken = True
        comma = line.find(b",", start)
        if comma < 0:
            break
        start = comma + 1
    return taken


class Loader:
    """What the text readers share: the messages so far and the result."""

    def __init__(self):
        self.messages = []
        self.lines = []  # for each message the number of the line that brought it about, None at the end of the file
        self.number = None
        self.result = 2

    def say(self, text, *arguments):
        self.lines.append(self.number)
        self.messages.append(b"Config: " + (text % arguments if arguments else text))

    def complain(self, text, *arguments):
        self.say(text, *arguments)
        self.result = 1

    def fail(self, text, *arguments):
        self.say(text, *arguments)
        raise Failed()

    def run(self, content, path, buffer_size):
        try:
            if content is None:
                self.fail(b"Cannot open config file '%s' (%d)", path, ENOENT)
            for self.number, line in numbered_lines(content, buffer_size):
                self.line(line)
            self.number = None
            self.finish()
        except Failed:
            self.result = 0
        return self.result


# ---------------------------------------------------------------------------------------------------------------------
# global.cfg
# ---------------------------------------------------------------------------------------------------------------------

SOME = range(1, 2)


class GlobalLoader(Loader):
    BUFFER = 1184
    FORMS = [
        (Pattern(b"nodecount=%u", SOME), "node_count"),
        (Pattern(b"managermachineip=%u.%u.%u.%u,%u.%u.%u.%u", (4, 8)), "manager"),
        (Pattern(b"clustername=%63[^\n]", SOME), "cluster"),
        (Pattern(b"generalstoragepath=%1023[^\n]", SOME), "storage"),
        (Pattern(b"loglevelnode=%u", SOME), "level_node"),
        (Pattern(b"loglevelmanager=%u", SOME), "level_manager"),
        (Pattern(b"showallparameters=%u", SOME), "flag_show"),
        (Pattern(b"allowfaileddevices=%u", SOME), "flag_devices"),
        (Pattern(b"allowfailednodes=%u", SOME), "flag_nodes"),
        (Pattern(b"camerasconnectedtonode%u = %u", (2,)), "cameras"),
        (Pattern(b"sensorsconnectedtonode%u = %u", (2,)), "sensors"),
    ]

    def __init__(self):
        super().__init__()
        self.record = Global()

    def line(self, text):
        for number, (pattern, name) in enumerate(self.FORMS):
            values = pattern.take(text)
            if values is not None:
                getattr(self, "take_" + name)(*values)
                return
            if number == 0 and b"nodesoffline=" in text:
                scan_offline_list(text, 13, b"Invalid node  number in offline list (%d)", self.take_offline)

    def take_offline(self, node):
        self.record.offline |= 1 << (node - 1)

    def take_node_count(self, count):
        if self.record.node_count:
            self.fail(b"Miltiple definitions of tag 'NodeCount'")
        if count > MAX:
            self.fail(b"'NodeCount' is too big")
        self.record.node_count = count

    def take_manager(self, *octets):
        for place in range(len(octets) // 4):
            self.record.manager[place] = address(octets[4 * place:4 * place + 4])

    def take_cluster(self, name):
        self.record.cluster = name

    def take_storage(self, path):
        self.record.storage = closed_directory(path)

    def take_level_node(self, level):
        self.record.log_levels[0] = level

    def take_level_manager(self, level):
        self.record.log_levels[1] = level

    def take_flag_show(self, value):
        self.record.flags[0] = int(value != 0)

    def take_flag_devices(self, value):
        self.record.flags[1] = int(value != 0)

    def take_flag_nodes(self, value):
        self.record.flags[2] = int(value != 0)

    def take_cameras(self, node, count):
        self.take_connected(CAMERA, node, count)

    def take_sensors(self, node, count):
        self.take_connected(SENSOR, node, count)

    def take_connected(self, kind, node, count):
        plural = LABELS[kind][2]
        if not self.record.node_count:
            self.complain(b"'NodeCount' should be defined before '%sConnectedToNode%d'", plural, node)
        elif count > MAX:
            self.complain(b"'%sConnectedToNode' is too big", plural)
        elif not 1 <= node <= self.record.node_count:
            self.complain(b"'%sConnectedToNode' refers to incorrect node", plural)
        else:
            self.record.connected[kind][node] = count

    def finish(self):
        if not self.record.cluster:
            self.fail(b"'ClusterName' is not defined")
        if not self.record.node_count:
            self.fail(b"'NodeCount' is not defined")
        for kind in TYPES:
            counts, first = self.record.connected[kind], self.record.first[kind]
            first[1] = 1
            counts[0] = sum(counts[1:])
            if counts[0] > MAX:
                self.record = Global()
                self.fail(b"Max %s per node is %d", LABELS[kind][3], MAX)
            for node in range(1, self.record.node_count):
                first[node + 1] = first[node] + counts[node]


def write_global(r):
    nodes = range(1, r.node_count + 1)
    offline = [b"%d" % n for n in nodes if r.offline >> (n - 1) & 1]
    out = [b'ClusterName = "%s"\n\n' % r.cluster, b"NodeCount = %d\n\n" % r.node_count]
    if offline:
        out.append(b"NodesOffline = " + b", ".join(offline))
    if r.offline:
        out.append(b"\n\n")
    out += [b"CamerasConnectedToNode%d = %d\n" % (n, r.connected[CAMERA][n]) for n in nodes]
    out.append(b"\n")
    out.append(b"ManagerMachineIP = " + dotted(r.manager[0]))
    if r.manager[1]:
        out.append(b", " + dotted(r.manager[1]))
    out.append(b"\n\n")
    out.append(b'GeneralStoragePath = "%s"\n\n' % r.storage)
    tags = (b"LogLevelNode", b"LogLevelManager", b"ShowAllParameters", b"AllowFailedDevices", b"AllowFailedNodes")
    out += [b"%s = %d\n\n" % item for item in zip(tags, r.log_levels + r.flags)]
    return b"".join(out)


# ---------------------------------------------------------------------------------------------------------------------
# local.cfg
# ---------------------------------------------------------------------------------------------------------------------

RANGE_SELECTOR = compile_format(b"%u-%u%c")
NUMBER_SELECTOR = compile_format(b"%u%c")
CLOSING_BRACKET = 0x5D


class LocalLoader(Loader):
    BUFFER = 2048

    # Pattern, what takes the values, whether the line is done with then.
    FORMS = [
        (Pattern(b"nodeid=%u", SOME), "node_id", True),
        (Pattern(b"ip=%u.%u.%u.%u,%u.%u.%u.%u", (4, 8)), "ip", True),
        (Pattern(b"maxmemuseallowed=%u%%", SOME), "memory", True),
        (Pattern(b"recordingstorage%u=%1024[^\n]", (2,)), "storage", True),
        (Pattern(b"camerastreampluginname=%1024[^\n]", SOME), "camera_stream", True),
        (Pattern(b"sensorstreampluginname=%1024[^\n]", SOME), "sensor_stream", True),
    ]
    LATER_FORMS = [
        (Pattern(b"captureprocesspluginname=%1024[^\n]", SOME), "capture", False),
        (Pattern(b"postprocesspluginname=%1024[^\n]", SOME), "post", False),
    ]
    COMMON_SECTION_FORMS = [
        (Pattern(b"capturedevice=%64[^,\n],%1024[^\n]", (2,)), "capture_device", True),
    ]
    # A sensor's record has no room for these: its lines of these forms count as unknown ones.
    CAMERA_SECTION_FORMS = COMMON_SECTION_FORMS + [
        (Pattern(b"cameramodel=%64[^,\n],%1024[^\n]", (2,)), "model", True),
        (Pattern(b"cameramodel%u=%64[^,\n],%1024[^\n]", (3,)), "model_of_camera", True),
        (Pattern(b"syncmode=%u", SOME), "sync_mode", True),
        (Pattern(b"maxdmabuffers=%u", SOME), "buffers", True),
        (Pattern(b"maxdetectiontime=%u", SOME), "detection", True),
        (Pattern(b"linkspeed=%u", SOME), "link_speed", True),
        (Pattern(b"cameramac%u=%hhx:%hhx:%hhx:%hhx:%hhx:%hhx", (7,)), "mac", True),
        (Pattern(b"cti=%1024[^,\n],%32[^\n]", (2,)), "cti", True),
    ]

    def __init__(self, system):
        super().__init__()
        self.system = system
        self.record = Local()
        self.inside = False
        self.kind = CAMERA

    @property
    def section(self):
        return self.record.hardware[self.kind][-1]

    def match(self, forms, text):
        for pattern, name, done in forms:
            values = pattern.take(text)
            if values is not None:
                getattr(self, "take_" + name)(*values)
                if done:
                    return True
        return False

    def line(self, text):
        if self.match(self.FORMS, text) or self.offline_list(text):
            return
        self.match(self.LATER_FORMS, text)
        if text.startswith(b"["):
            self.header(text)
        elif self.inside:
            self.match(self.COMMON_SECTION_FORMS if self.kind == SENSOR else self.CAMERA_SECTION_FORMS, text)

    def offline_list(self, text):
        """Each type looks for its own tag; a number taken for either one makes the line a handled one."""
        taken = False
        for kind in TYPES:
            if LABELS[kind][3] + b"offline=" in text:
                taken |= scan_offline_list(text, 10, b"Invalid device number in offline list (%d)",
                                           self.record.devices_offline[kind].add)
        return taken

    # Settings of the node.

    def take_node_id(self, number):
        if self.record.node_id:
            self.fail(b"Miltiple definitions of tag 'NodeID'")
        if number > self.system.node_count:
            self.fail(b"Invalid 'NodeID'")
        self.record.node_id = number

    def take_ip(self, *octets):
        for place in range(len(octets) // 4):
            self.record.ip[place] = address(octets[4 * place:4 * place + 4])

    def take_memory(self, percent):
        self.inside = False
        self.record.memory = share_of_percent(percent)

    def take_storage(self, number, path):
        if not 1 <= number <= 15:
            self.complain(b"Invalid RecordingStorage number (%d)", number)
        elif self.record.storages[number - 1]:
            self.complain(b"RecordingStorage%d is defined more than once", number)
        else:
            self.record.storages[number - 1] = path[:1023]
            self.record.storage_count += 1
            self.inside = False

    def take_camera_stream(self, name):
        self.record.streams[CAMERA] = name[:1023]

    def take_sensor_stream(self, name):
        self.record.streams[SENSOR] = name[:1023]

    def take_capture(self, name):
        self.record.capture = name[:1023]

    def take_post(self, name):
        self.record.post = name[:1023]

    # Headers.

    def header(self, text):
        if not self.record.node_id:
            self.complain(b"'NodeID' should be defined first")
            return
        self.inside = False
        kinds = [k for k in TYPES if text[1:].startswith(LABELS[k][1])]
        if not kinds:
            return
        kind = kinds[0]
        first = self.system.first[kind][self.record.node_id]
        if not first:
            self.complain(b"Correct Global config is required to process Local configuration")
            return
        last = (first + self.system.connected[kind][self.record.node_id] - 1) & U32
        chosen = self.select(text, kind, first, last)
        if chosen:
            self.record.hardware[kind].append(Section(*chosen))
            self.kind = kind
            self.inside = True

    def select(self, text, kind, first, last):
        """The range that a header names, or None after a message."""
        label = LABELS[kind][0]
        selector = text[1 + len(label):]
        if selector.startswith(b"]"):
            return first, last
        values, _ = scan(RANGE_SELECTOR, selector)
        if len(values) == 3 and values[2] == CLOSING_BRACKET:
            a, b = values[:2]
            if a != 0 and first <= a <= b <= last:
                return a, b
            self.complain(b"Specified %s ID range is incorrect [%d-%d] for Node %d", label, a, b, self.record.node_id)
            return None
        values, _ = scan(NUMBER_SELECTOR, selector)
        if len(values) == 2 and values[1] == CLOSING_BRACKET:
            a = values[0]
            if a != 0 and first <= a <= last:
                return a, a
            self.complain(b"Specified %s ID is incorrect (%d) for Node %d", label, a, self.record.node_id)
            return None
        self.complain(b"Invalid device selector '%s'", text)
        return None

    # Lines of a section.

    def take_capture_device(self, name, params):
        self.section.name, self.section.params = name[:63], params[:1023]

    def take_model(self, name, params):
        self.section.models.append(Model(name[:63], params[:1023], self.section.size))

    def in_section(self, number):
        if self.section.holds(number):
            return True
        self.complain(b"Specified %s ID is incorrect (%d)", LABELS[self.kind][0], number)
        return False

    def take_model_of_camera(self, number, name, params):
        if self.in_section(number):
            self.section.models.append(Model(name[:63], params[:1023], 1))

    def take_sync_mode(self, mode):
        if mode > 4:
            self.complain(b"Specified sync mode is incorrect (%d)", mode)
        else:
            self.section.numbers[0] = mode

    def take_buffers(self, value):
        self.section.numbers[1] = value

    def take_detection(self, value):
        self.section.numbers[2] = value

    def take_link_speed(self, value):
        self.section.numbers[3] = value

    def take_mac(self, number, *octets):
        if not self.in_section(number):
            return
        value = int.from_bytes(bytes(octets), "big")
        if value:
            self.section.macs = self.section.macs or [0] * self.section.size
            self.section.macs[number - self.section.first] = value

    def take_cti(self, name, params):
        self.section.cti = [name[:1023], params[:31]]

    # The end of the file.

    def finish(self):
        if not self.record.node_id:
            self.fail(b"'NodeID' is not defined")
        for complaint in self.section_faults():
            self.complain(*complaint)
            break
        for place in range(self.record.storage_count):
            if self.record.storages[place]:
                self.record.storages[place] = closed_directory(self.record.storages[place])
            else:
                self.complain(b"RecordingStorage%d is not defined", place + 1)

    def section_faults(self):
        for kind in TYPES:
            singular, lower, _, plural = LABELS[kind]
            if not self.record.hardware[kind]:
                continue
            base = self.system.first[kind][self.record.node_id]
            covered = 0
            for s in self.record.hardware[kind]:
                ends = (s.first, s.last)
                if not s.params or not s.name:
                    yield (b"'CaptureDevice' is not defined correctly for %s %d-%d", plural) + ends
                if s.first > s.last:
                    yield (b"Invalid %s range specified %d-%d", lower) + ends
                if kind == CAMERA:
                    if any(not m.name and not m.params for m in s.models):
                        yield (b"'CameraModel' is not defined correctly for cameras %d-%d",) + ends
                    if sum(m.cameras for m in s.models) & U32 != s.size:
                        yield (b"Mismatch in number of defined 'CameraModel' in cameras %d-%d range",) + ends
                    if len({mac == 0 for mac in s.macs}) == 2:
                        yield (b"Not all 'CameraMAC' are defined for cameras %d-%d",) + ends
                low, high = (min((end - base) & U32, 64) for end in ends)
                for place in range(low, high + 1):
                    if covered >> (place % 64) & 1:
                        yield (b"Invalid %s range specified %d-%d (overlaping)", plural) + ends
                    covered |= 1 << (place % 64)
            if covered != (1 << (self.system.connected[kind][self.record.node_id] % 64)) - 1:
                yield b"Not all [%s] are defined", singular


def model_lines(section):
    camera = section.first
    for model in section.models:
        following = (camera + model.cameras) & U32
        if model.cameras == section.size:
            tag = b"CameraModel"
        elif model.cameras == 1:
            tag = b"CameraModel%d" % camera
        else:
            tag = b"CameraModel%d-%d" % (camera, following)
        yield b'%s = "%s", "%s"\n' % (tag, model.name, model.params)
        camera = following


def write_section(kind, s):
    label = LABELS[kind][0]
    yield b"[%s %d]\n" % (label, s.first) if s.first == s.last else b"[%s %d-%d]\n" % (label, s.first, s.last)
    yield b'CaptureDevice = "%s", "%s"\n' % (s.name, s.params)
    if kind == CAMERA:
        if s.cti[0]:
            yield b'CTI = "%s", "%s"\n' % tuple(s.cti)
        for tag, value in zip((b"SyncMode", b"MaxDMABuffers", b"MaxDetectionTime", b"LinkSpeed"), s.numbers):
            if value:
                yield b"%s = %d\n" % (tag, value)
        for place, mac in enumerate(s.macs):
            octets = ((mac >> 40) & 0xFF, (mac >> 32) & 0xFF, (mac >> 24) & 0xFF, (mac >> 16) & 0xFF,
                      (mac >> 8) & 0xFF, mac & 0xFF)
            yield b"CameraMAC%d = %02X:%02X:%02X:%02X:%02X:%02X\n" % (((s.first + place) & U32,) + octets)
        yield from model_lines(s)
    yield b"\n"


def write_local(r):
    out = [b"NodeID = %d\n\n" % r.node_id]
    if r.ip[0]:
        out.append(b"IP = " + dotted(r.ip[0]))
    if r.ip[1]:
        out.append(b", " + dotted(r.ip[1]))
    out.append(b"\n\n")
    for place in range(r.storage_count):
        if r.storages[place]:
            out.append(b'RecordingStorage%d = "%s"\n\n' % (place + 1, r.storages[place]))
    names = [(LABELS[kind][0] + b"StreamPluginName", r.streams[kind]) for kind in TYPES]
    names += [(b"CaptureProcessPluginName", r.capture), (b"PostProcessPluginName", r.post)]
    out += [b'%s = "%s"\n\n' % item for item in names if item[1]]
    if r.memory != 0.0:
        out.append(b"MaxMemUseAllowed = %d%%\n\n" % percent_of_share(r.memory))
    for kind in TYPES:
        if r.devices_offline[kind]:
            numbers = [b"%d" % n for n in sorted(r.devices_offline[kind])]
            out.append(LABELS[kind][2] + b"Offline = " + b", ".join(numbers))
        for section in r.hardware[kind]:
            if section.params:
                out += write_section(kind, section)
    return b"".join(out)


# ---------------------------------------------------------------------------------------------------------------------
# Device information
# ---------------------------------------------------------------------------------------------------------------------

DEVICE_BUFFER = 1024
DEVICE_LINES = [Pattern(LABELS[kind][1] + b"#%x=%64[^,\n],%f,%f,%f,%f,%f,%f,%f", (9,)) for kind in TYPES]


def read_devices(kind, content):
    devices = {}
    for line in normalised_lines(content, DEVICE_BUFFER):
        values = DEVICE_LINES[kind].take(line)
        if values is not None:
            devices[values[0]] = (values[1][:63], tuple(values[2:]))
    return devices


def write_devices(kind, entries):
    out = []
    for key, name, positions in entries:
        numbers = tuple(six_decimals(bits) for bits in positions)
        out.append(b'%s#%8x = "%s", %s, %s, %s,   %s, %s, %s,   %s\n' % ((LABELS[kind][0], key, name) + numbers))
    return b"".join(out)


# ---------------------------------------------------------------------------------------------------------------------
# The world: files and state, and the operations on them
# ---------------------------------------------------------------------------------------------------------------------

DIRECTORY = "directory"  # stands in the place of a file's content
FULL_DEVICE = "full device"  # a link to a device that takes no byte; a save removes it unopened


def hexed(data):
    return data.hex() or "-"


def unhexed(text):
    return b"" if text == "-" else bytes.fromhex(text)


def joined(numbers):
    return " ".join(str(n) for n in numbers) or "-"


class World:
    OPERATIONS = {
        "init": "configuration index", "deinit": "", "put": "file name, content in hexadecimal", "del": "file name",
        "mkdir": "file name", "full": "file name", "get": "file name", "norm": "line in hexadecimal",
        "loc": "1, or 0 for a system without a program data path",
        "loadg": "", "saveg": "", "dumpg": "", "loadl": "", "savel": "", "dumpl": "",
        "loadi": "type, EmuDef flag", "savei": "type", "dumpi": "type", "savex": "type, key:name:bits,...",
        "loadm": "EmuDef flag", "savem": "block in hexadecimal", "dumpm": "", "edit": "field, values",
    }

    def __init__(self, root):
        self.location = root.encode() + b"/Orvan/Config/Server/"
        self.files = {}
        self.index = 0
        self.globals = Global()
        self.local = Local()
        self.devices = [{}, {}]
        self.block = None

    def run(self, operations):
        """Answers of the operations, a list of lines for each. An endless one is the last."""
        answers = []
        for operation in operations:
            try:
                answers.append(getattr(self, "op_" + operation[0])(*operation[1:]) or [])
            except Endless as endless:
                answers.append(self.endless_answer + ["endless " + hexed(endless.message)])
                break
        return answers

    @staticmethod
    def said(messages, result):
        return ["msg " + hexed(m) for m in messages] + ["ret %d" % result]

    def path(self, name):
        return self.location + name.encode()

    # Files.

    def op_put(self, name, content):
        self.files[name] = unhexed(content)

    def op_del(self, name):
        self.files.pop(name, None)

    def op_mkdir(self, name):
        self.files[name] = DIRECTORY

    def op_full(self, name):
        self.files[name] = FULL_DEVICE

    def op_get(self, name):
        content = self.files.get(name)
        if content is None or isinstance(content, str):
            return ["file " + (content or "absent")]
        return ["file " + hexed(content)]

    # The frame.

    def op_init(self, index):
        self.index = int(index) if int(index) >= 2 else 0

    def op_deinit(self):
        pass

    def op_norm(self, line):
        return ["norm " + hexed(normalise(unhexed(line).split(b"\0", 1)[0]))]

    def op_loc(self, works):
        return ["loc " + hexed(self.location if int(works) else b"/Orvan/Config/Server/")]

    # The two configuration files.

    def load(self, loader, name):
        try:
            return self.said(loader.messages, loader.run(self.files.get(name), self.path(name), loader.BUFFER))
        except Endless:
            self.endless_answer = ["msg " + hexed(m) for m in loader.messages]
            raise

    def save(self, content, name, ending):
        temporary = name + ending
        held = self.files.get(temporary)
        if held == DIRECTORY:
            return self.said([b"Config: Cannot open config file '%s' (%d)" % (self.path(temporary), EISDIR)], 0)
        if self.files.get(name) == DIRECTORY:
            self.files[temporary] = content
            return self.said([], 0)
        self.files.pop(temporary, None)
        self.files[name] = content
        return self.said([], 1)

    @property
    def local_name(self):
        return "local%d.cfg" % self.index if self.index else "local.cfg"

    def op_loadg(self):
        loader = GlobalLoader()
        answer = self.load(loader, "global.cfg")
        self.globals = loader.record
        return answer

    def op_saveg(self):
        if self.index > 1:
            return self.said([], 1)
        return self.save(write_global(self.globals), "global.cfg", ".temp")

    def op_loadl(self):
        loader = LocalLoader(self.globals)
        answer = self.load(loader, self.local_name)
        self.local = loader.record
        return answer

    def op_savel(self):
        return self.save(write_local(self.local), self.local_name, ".tmp")

    def op_dumpg(self):
        g = self.globals
        out = ["cluster " + hexed(g.cluster), "nodes %d" % g.node_count]
        out += ["connected%d %s" % (t, joined(g.connected[t])) for t in TYPES]
        out += ["first%d %s" % (t, joined(g.first[t])) for t in TYPES]
        out += ["offline %d" % g.offline, "manager " + joined(g.manager), "levels " + joined(g.log_levels)]
        out += ["flags " + joined(g.flags), "storage " + hexed(g.storage)]
        return out

    def op_dumpl(self):
        r = self.local
        out = ["node %d" % r.node_id, "ip " + joined(r.ip), "count %d" % r.storage_count]
        out += ["storage%d %s" % (i, hexed(s)) for i, s in enumerate(r.storages)]
        out += ["stream%d %s" % (t, hexed(r.streams[t])) for t in TYPES]
        out += ["capture " + hexed(r.capture), "post " + hexed(r.post), "memory %08x" % bits_of(r.memory)]
        for kind in TYPES:
            out.append("offline%d %s" % (kind, joined(sorted(r.devices_offline[kind]))))
            for s in r.hardware[kind]:
                out.append("section%d %d %d %s %s" % (kind, s.first, s.last, hexed(s.name), hexed(s.params)))
                if kind == CAMERA:
                    out.append("cti %s %s" % (hexed(s.cti[0]), hexed(s.cti[1])))
                    out.append("numbers " + joined(s.numbers))
                    out.append("macs " + joined(s.macs))
                    out += ["model %s %s %d" % (hexed(m.name), hexed(m.params), m.cameras) for m in s.models]
        return out

    # Device information and map.

    def device_file(self, kind, emulated):
        suffix = "EmuDef" if emulated else str(self.index) if self.index else ""
        return LABELS[kind][1].decode() + suffix + ".cfg"

    def op_loadi(self, kind, emulated):
        kind = int(kind)
        name = self.device_file(kind, int(emulated))
        content = self.files.get(name)
        self.devices[kind] = {} if content is None else read_devices(kind, content)
        if content is None:
            complaint = b"Config: Cannot open %s config file '%s'" % (LABELS[kind][1], self.path(name))
            return self.said([complaint], 0)
        return self.said([], 2)

    def op_dumpi(self, kind):
        return ["device %x %s %s" % (key, hexed(name), " ".join("%08x" % b for b in bits))
                for key, (name, bits) in sorted(self.devices[int(kind)].items())]

    def save_devices(self, kind, entries):
        name = self.device_file(kind, False)
        if self.files.get(name) == DIRECTORY:
            complaint = b"Config: Cannot open %s config file '%s'" % (LABELS[kind][1], self.path(name))
            return self.said([complaint], 0)
        self.files[name] = write_devices(kind, entries)
        return self.said([], 1)

    def op_savei(self, kind):
        held = self.devices[int(kind)]
        return self.save_devices(int(kind), [(key,) + held[key] for key in sorted(held)])

    def op_savex(self, kind, *entries):
        listed = []
        for entry in entries:
            key, name, positions = entry.split(":")
            listed.append((int(key, 16), unhexed(name), tuple(int(b, 16) for b in positions.split(","))))
        return self.save_devices(int(kind), listed)

    def op_loadm(self, emulated):
        name = "DeviceMapInfoEmuDef.cfgbin" if int(emulated) else "DeviceMapInfo.cfgbin"
        content = self.files.get(name)
        if content is None:
            return self.said([b"Config: Cannot open Device Map info file '%s'" % self.path(name)], 0)
        self.block = content
        return self.said([], 2 if content else 0)

    def op_savem(self, block):
        name = "DeviceMapInfo.cfgbin"
        if self.files.get(name) == DIRECTORY:
            return self.said([b"Config: Cannot open Device Map info file '%s'" % self.path(name)], 0)
        self.files[name] = unhexed(block)
        return self.said([], 1)

    def op_dumpm(self):
        return ["map null 0 -" if self.block is None else "map set %d %s" % (len(self.block), hexed(self.block))]

    # Records that no file can bring about: fields are set from outside, as a client does.

    def op_edit(self, field, *values):
        getattr(self, "edit_" + field)(*values)

    def edit_cluster(self, text):
        self.globals.cluster = unhexed(text)

    def edit_general(self, text):
        self.globals.storage = unhexed(text)

    def edit_nodes(self, count):
        self.globals.node_count = int(count)

    def edit_nodesoffline(self, mask):
        self.globals.offline = int(mask)

    def edit_connected(self, kind, node, count):
        self.globals.connected[int(kind)][int(node)] = int(count)

    def edit_manager(self, first, second):
        self.globals.manager = [int(first), int(second)]

    def edit_node(self, number):
        self.local.node_id = int(number)

    def edit_ip(self, first, second):
        self.local.ip = [int(first), int(second)]

    def edit_storage(self, place, text):
        self.local.storages[int(place)] = unhexed(text)

    def edit_count(self, count):
        self.local.storage_count = int(count)

    def edit_stream(self, kind, text):
        self.local.streams[int(kind)] = unhexed(text)

    def edit_capture(self, text):
        self.local.capture = unhexed(text)

    def edit_post(self, text):
        self.local.post = unhexed(text)

    def edit_memory(self, bits):
        self.local.memory = value_of(int(bits, 16))

    def edit_deviceoffline(self, kind, number):
        self.local.devices_offline[int(kind)].add(int(number))

    def edit_section(self, kind, first, last, name, params):
        section = Section(int(first), int(last))
        section.name, section.params = unhexed(name), unhexed(params)
        self.local.hardware[int(kind)].append(section)

    # The following speak of the camera section added last.

    def edit_cti(self, name, params):
        self.local.hardware[CAMERA][-1].cti = [unhexed(name), unhexed(params)]

    def edit_numbers(self, *numbers):
        self.local.hardware[CAMERA][-1].numbers = [int(n) for n in numbers]

    def edit_macs(self, *macs):
        self.local.hardware[CAMERA][-1].macs = [int(m) for m in macs]

    def edit_model(self, name, params, cameras):
        self.local.hardware[CAMERA][-1].models.append(Model(unhexed(name), unhexed(params), int(cameras)))
