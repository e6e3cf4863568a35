#!/usr/bin/env python3
"""The oracle held to worked examples, and its scanning to the C library's sscanf."""

import ctypes
import random
import struct
import unittest

import cfg_oracle as oracle
from cfg_oracle import World, hexed, unhexed

ROOT = "/root"
LOCATION = b"/root/Orvan/Config/Server/"
FOUR_AND_FOUR = b'ClusterName = "Site A"\nNodeCount = 2\nCamerasConnectedToNode1 = 4\nCamerasConnectedToNode2 = 4\n'
BOARD = b'CaptureDevice = "board", "settings"\n'
MODEL = b'CameraModel = "model", "settings"\n'


class Session:
    """A world with two files, loaded."""

    def __init__(self, global_cfg=None, local_cfg=None, index=0):
        self.world = World(ROOT)
        self.world.op_init(index)
        if global_cfg is not None:
            self.world.files["global.cfg"] = global_cfg
        if local_cfg is not None:
            self.world.files[self.world.local_name] = local_cfg
        self.global_messages, self.global_result = self.ask("loadg")
        self.local_messages, self.local_result = self.ask("loadl")

    def ask(self, *operation):
        answer = self.world.run([operation])[0]
        messages = [unhexed(line.split(" ")[1]).decode() for line in answer if line.startswith("msg ")]
        last = answer[-1].split(" ")
        return messages, int(last[1]) if last[0] == "ret" else (last[0], unhexed(last[1]).decode())

    @property
    def globals(self):
        return self.world.globals

    @property
    def local(self):
        return self.world.local

    def saved(self, name):
        return self.world.files[name]


def global_session(text):
    return Session(text)


def local_session(text, system=FOUR_AND_FOUR):
    return Session(system, text)


class Scanning(unittest.TestCase):
    PATTERNS = [
        (b"%u", "u"), (b"%x", "x"), (b"%hhx:%hhx", "hh"), (b"%f", "f"), (b"%f,%f", "ff"), (b"%u-%u%c", "uuc"),
        (b"%u%c", "uc"), (b"a%u = %u", "uu"), (b"m=%u%%", "u"), (b"a=%4[^,\n],%5[^\n]", "ss"), (b"a=%4[^\n]", "s"),
        (b"%u.%u.%u.%u,%u.%u.%u.%u", "u" * 8), (b"a#%x=%4[^,\n],%f,%f", "xsff"),
    ]
    PIECES = [b"inf", b"infinity", b"nan", b"0x", b"1e", b"e+", b".", b"p-", b"99999999999999999999999", b"4294967296",
              b"18446744073709551615", b"18446744073709551616", b"-18446744073709551615", b"a=", b"m=", b"a#", b"-0"]
    ALPHABET = b"0123456789abcdefxXpPeE+-. \t\n\v,:%=]infatyNY#m\x80"

    @staticmethod
    def c_scan(pattern, kinds, text):
        buffers = [ctypes.create_string_buffer(64) for _ in kinds]
        result = ctypes.CDLL(None).sscanf(text, pattern, *buffers)
        values = []
        for kind, buffer in list(zip(kinds, buffers))[:max(result, 0)]:
            wide = struct.unpack("<I", buffer.raw[:4])[0]
            values.append(buffer.value if kind == "s" else buffer.raw[0] if kind in "hc" else wide)
        return values, result

    def test_agrees_with_the_c_library(self):
        rng = random.Random(7)
        compiled = [oracle.compile_format(pattern) for pattern, _ in self.PATTERNS]
        for _ in range(60000):
            which = rng.randrange(len(self.PATTERNS))
            pattern, kinds = self.PATTERNS[which]
            pieces = [rng.choice(self.PIECES) if rng.random() < 0.3 else bytes([rng.choice(self.ALPHABET)])
                      for _ in range(rng.randrange(9))]
            text = (pattern.split(b"%")[0] if rng.random() < 0.5 else b"") + b"".join(pieces)
            self.assertEqual(oracle.scan(compiled[which], text), self.c_scan(pattern, kinds, text), (pattern, text))

    def test_worked_examples(self):
        for pattern, text, expected in (
                (b"%u", b" 42x", ([42], 1)), (b"%u", b"-1", ([0xFFFFFFFF], 1)), (b"%u", b"+7", ([7], 1)),
                (b"%u", b"4294967297", ([1], 1)), (b"%u", b"99999999999999999999", ([0xFFFFFFFF], 1)),
                (b"%u", b"-99999999999999999999", ([0xFFFFFFFF], 1)), (b"%u", b"x", ([], 0)), (b"%u", b"", ([], -1)),
                (b"%u", b"0x10", ([0], 1)), (b"%x", b"0x10", ([16], 1)), (b"%x", b"0x", ([0], 1)),
                (b"%hhx", b"123", ([0x23], 1)), (b"%hhx", b"-1", ([0xFF], 1)), (b"tag=%u", b"tag", ([], -1)),
                (b"tag=%u", b"tax", ([], 0)), (b"%u%c", b"3]", ([3, 0x5D], 2)), (b"%u%c", b"3", ([3], 1)),
                (b"%u.%u,%u", b"1.2;3", ([1, 2], 2)), (b"%3[^,\n],%3[^\n]", b"abcd,e", ([b"abc"], 1)),
                (b"%3[^,\n],%3[^\n]", b"abc,d,ef", ([b"abc", b"d,e"], 2)), (b"%3[^,\n]", b",", ([], 0))):
            self.assertEqual(oracle.scan(oracle.compile_format(pattern), text), expected, (pattern, text))


class Lines(unittest.TestCase):
    def test_quotes_keep_blanks_and_case_and_vanish(self):
        self.assertEqual(oracle.normalise(b'Tag = "A  b" , "C"'), b"tag=A  b,C")
        self.assertEqual(oracle.normalise(b'ClusterName = "Site A"\n'), b"clustername=Site A")

    def test_blanks_controls_and_high_bytes_go_outside_quotes_only(self):
        self.assertEqual(oracle.normalise(b" \t \r\n"), b"")
        self.assertEqual(oracle.normalise(b'a\xe9b"\xe9\r "\x7f'), b"ab\xe9\r \x7f")

    def test_a_quote_inside_flips_the_rest(self):
        self.assertEqual(oracle.normalise(b'N = "A"B C" D'), b"n=Abc D")

    def test_lines_are_cut_at_the_buffer_and_at_a_zero_byte(self):
        self.assertEqual(list(oracle.normalised_lines(b"abcdefgh\nij", 5)), [b"abcd", b"efgh", b"ij"])
        self.assertEqual(list(oracle.normalised_lines(b"a\0b\nc\n\nd", 10)), [b"a", b"c", b"d"])
        self.assertEqual(list(oracle.normalised_lines(b"", 10)), [])

    def test_the_closing_slash(self):
        for path, expected in ((b"/", b"/"), (b"x", b"x"), (b"", b""), (b"/mnt/a", b"/mnt/a/"), (b"C:\\", b"C:\\"),
                               (b"b" * 1022, b"b" * 1022 + b"/"), (b"b" * 1023, b"b" * 1023)):
            self.assertEqual(oracle.closed_directory(path), expected)


class GlobalFile(unittest.TestCase):
    def test_the_least_file(self):
        s = global_session(b'ClusterName = "Site A"\nNodeCount = 1\n')
        self.assertEqual((s.global_messages, s.global_result), ([], 2))
        self.assertEqual((s.globals.cluster, s.globals.node_count), (b"Site A", 1))

    def test_what_the_writer_leaves(self):
        text = (b'ClusterName = "Site A"\n\nNodeCount = 2\n\n'
                b'CamerasConnectedToNode1 = 4\nCamerasConnectedToNode2 = 4\n\n'
                b'ManagerMachineIP = 192.168.0.10\n\nGeneralStoragePath = "/mnt/general/"\n\nLogLevelNode = 0\n\n'
                b'LogLevelManager = 0\n\nShowAllParameters = 0\n\nAllowFailedDevices = 0\n\nAllowFailedNodes = 0\n\n')
        s = global_session(text)
        self.assertEqual(s.globals.first[0][:4], [0, 1, 5, 0])
        self.assertEqual(s.globals.connected[0][:3], [8, 4, 4])
        self.assertEqual(s.ask("saveg"), ([], 1))
        self.assertEqual(s.saved("global.cfg"), text)

    def test_failures(self):
        for text, message in (
                (None, "Config: Cannot open config file '/root/Orvan/Config/Server/global.cfg' (2)"),
                (b"NodeCount=3\nNodeCount=3", "Config: Miltiple definitions of tag 'NodeCount'"),
                (b"NodeCount=65", "Config: 'NodeCount' is too big"),
                (b"NodeCount=1", "Config: 'ClusterName' is not defined"),
                (b"ClusterName=a", "Config: 'NodeCount' is not defined"),
                (b'ClusterName = ""\nNodeCount=1', "Config: 'ClusterName' is not defined"),
                (b"ClusterName=a\nNodeCount=2\nCamerasConnectedToNode1=64\nCamerasConnectedToNode2=1",
                 "Config: Max cameras per node is 64")):
            s = global_session(text)
            self.assertEqual((s.global_messages, s.global_result), ([message], 0))
        self.assertEqual(s.globals.node_count, 0)

    def test_complaints(self):
        for text, message in (
                (b"SensorsConnectedToNode3=1\nNodeCount=1",
                 "Config: 'NodeCount' should be defined before 'SensorsConnectedToNode3'"),
                (b"NodeCount=1\nCamerasConnectedToNode1=65", "Config: 'CamerasConnectedToNode' is too big"),
                (b"NodeCount=1\nCamerasConnectedToNode2=1",
                 "Config: 'CamerasConnectedToNode' refers to incorrect node"),
                (b"NodeCount=1\nSensorsConnectedToNode0=1",
                 "Config: 'SensorsConnectedToNode' refers to incorrect node")):
            s = global_session(b"ClusterName=a\n" + text)
            self.assertEqual((s.global_messages, s.global_result), ([message], 1))

    def test_node_count_of_zero_stays_open(self):
        self.assertEqual(global_session(b"ClusterName=a\nNodeCount=0\nNodeCount=3").globals.node_count, 3)

    def test_addresses(self):
        base = b"ClusterName=a\nNodeCount=1\nManagerMachineIP = "
        for text, words in ((b"1.2.3", [0, 0]), (b"1.2.3.4, 5.6", [0, 0]), (b"1.2.3.4", [0x04030201, 0]),
                            (b"1.2.3.4, 5.6.7.8\nManagerMachineIP=9.0.0.0", [9, 0x08070605]),
                            (b"256.1.0.0", [0x100, 0]), (b"257.1.0.0", [0x101, 0])):
            self.assertEqual(global_session(base + text).globals.manager, words)

    def test_offline_nodes(self):
        s = global_session(b"ClusterName=a\nNodeCount=3\nNodesOffline = 2, 5,\nxnodesoffline=1")
        self.assertEqual((s.globals.offline, s.global_result), (0b10010, 2))
        s.ask("saveg")
        self.assertIn(b"\nNodesOffline = 2\n\nCameras", s.saved("global.cfg"))

    def test_a_bad_offline_node_never_ends(self):
        for number in (b"0", b"65"):
            world = World(ROOT)
            world.files["global.cfg"] = b"NodesOffline = 3, " + number
            answers = world.run([("loadg",), ("dumpg",)])
            message = b"Config: Invalid node  number in offline list (" + number + b")"
            self.assertEqual(answers, [["endless " + hexed(message)]])

    def test_values_are_cut(self):
        s = global_session(b'ClusterName = "' + b"n" * 70 + b'"\nNodeCount=1\nClusterName=Site A')
        self.assertEqual(s.globals.cluster, b"sitea")
        self.assertEqual(global_session(b'ClusterName = "' + b"n" * 70 + b'"').globals.cluster, b"n" * 63)

    def test_sensors_are_read_and_never_written(self):
        s = global_session(b"ClusterName=a\nNodeCount=1\nSensorsConnectedToNode1=3")
        self.assertEqual(s.globals.connected[1][:2], [3, 3])
        s.ask("saveg")
        self.assertNotIn(b"Sensors", s.saved("global.cfg"))

    def test_an_index_of_two_saves_nothing(self):
        s = Session(None, None, 2)
        self.assertEqual(s.ask("saveg"), ([], 1))
        self.assertEqual(s.world.files, {})


class LocalFile(unittest.TestCase):
    def test_the_least_file(self):
        s = local_session(b"NodeID = 1\n")
        self.assertEqual((s.local_messages, s.local_result, s.local.storage_count), ([], 2, 0))

    def test_what_the_writer_leaves(self):
        text = (b'NodeID = 1\n\nIP = 192.168.0.11\n\nRecordingStorage1 = "/mnt/rec1/"\n\n'
                b'RecordingStorage2 = "/mnt/rec2/"\n\nMaxMemUseAllowed = 50%\n\n'
                b'[Camera 1-4]\nCaptureDevice = "board", "board settings"\n'
                b'CTI = "producer", "options"\nSyncMode = 1\nCameraMAC1 = 00:11:22:33:44:01\n'
                b'CameraMAC2 = 00:11:22:33:44:02\nCameraMAC3 = 00:11:22:33:44:03\nCameraMAC4 = 00:11:22:33:44:04\n'
                b'CameraModel = "model", "model settings"\n\n')
        s = local_session(text)
        self.assertEqual((s.local_messages, s.local_result), ([], 2))
        self.assertEqual(s.local.hardware[0][0].macs[0], 0x001122334401)
        self.assertEqual(s.ask("savel"), ([], 1))
        self.assertEqual(s.saved("local.cfg"), text)

    def test_failures(self):
        for text, message in (
                (None, "Config: Cannot open config file '/root/Orvan/Config/Server/local.cfg' (2)"),
                (b"NodeID=1\nNodeID=1", "Config: Miltiple definitions of tag 'NodeID'"),
                (b"NodeID=3", "Config: Invalid 'NodeID'"),
                (b"NodeID=0\nNodeID=0", "Config: 'NodeID' is not defined")):
            s = local_session(text)
            self.assertEqual((s.local_messages, s.local_result), ([message], 0))
        s = Session(None, b"IP=1.2.3.4\nNodeID = 1\n")
        self.assertEqual((s.local_messages, s.local.ip), (["Config: Invalid 'NodeID'"], [0x04030201, 0]))

    def complaints(self, text, system=FOUR_AND_FOUR):
        s = local_session(text, system)
        self.assertEqual(s.local_result, 1 if s.local_messages else 2)
        return [message.replace("Config: ", "", 1) for message in s.local_messages]

    def test_headers(self):
        for header, expected in (
                (b"[Camera 5-8]", []), (b"[Camera]", []), (b"[camera5-8] behind", []),
                (b"[Camera 1-4]", ["Specified Camera ID range is incorrect [1-4] for Node 2"]),
                (b"[Camera 9]", ["Specified Camera ID is incorrect (9) for Node 2"]),
                (b"[Camera 4-3]", ["Specified Camera ID range is incorrect [4-3] for Node 2"]),
                (b"[Camera 0-2]", ["Specified Camera ID range is incorrect [0-2] for Node 2"]),
                (b"[Camera 0]", ["Specified Camera ID is incorrect (0) for Node 2"]),
                (b"[Cameras 1]", ["Invalid device selector '[cameras1]'"]), (b"[Foo 1]", []), (b"[", []),
                (b"[Sensor]", ["Invalid sensor range specified 1-0"])):
            self.assertEqual(self.complaints(b"NodeID=2\n%s\n%s%s" % (header, BOARD, MODEL)), expected, header)
        self.assertEqual(self.complaints(b"[Camera]\nNodeID=1"), ["'NodeID' should be defined first"])
        self.assertEqual(self.complaints(b"NodeID=1\n[Camera]", b"NodeCount=1"),
                         ["Correct Global config is required to process Local configuration"])

    def test_sections_have_to_cover_the_node_once(self):
        one, two = b"[Camera 1-2]\n" + BOARD + MODEL, b"[Camera 2-3]\n" + BOARD + MODEL
        self.assertEqual(self.complaints(b"NodeID=1\n" + one), ["Not all [Camera] are defined"])
        self.assertEqual(self.complaints(b"NodeID=1\n" + one + two),
                         ["Invalid cameras range specified 2-3 (overlaping)"])
        self.assertEqual(self.complaints(b"NodeID=1\n[Camera 1]\n" + MODEL),
                         ["'CaptureDevice' is not defined correctly for cameras 1-1"])

    def test_sixty_four_cameras_on_one_node_fail(self):
        system = b"ClusterName=a\nNodeCount=1\nCamerasConnectedToNode1=64"
        self.assertEqual(self.complaints(b"NodeID=1\n[Camera]\n" + BOARD + MODEL, system),
                         ["Not all [Camera] are defined"])

    def test_models(self):
        system = b"ClusterName=a\nNodeCount=1\nCamerasConnectedToNode1=2"
        start = b"NodeID=1\n[Camera]\n" + BOARD
        mismatch = "Mismatch in number of defined 'CameraModel' in cameras 1-2 range"
        for lines, expected in (
                (b'CameraModel1="a","b"\nCameraModel2="a","b"', []),
                (b'CameraModel1="a","b"\nCameraModel1="a","b"', []),
                (MODEL + MODEL, [mismatch]), (b"", [mismatch]),
                (b'CameraModel1-2="a","b"', [mismatch]),
                (b'CameraModel3="a","b"\n' + MODEL, ["Specified Camera ID is incorrect (3)"])):
            self.assertEqual(self.complaints(start + lines, system), expected, lines)

    def test_macs(self):
        system = b"ClusterName=a\nNodeCount=1\nCamerasConnectedToNode1=2"
        start = b"NodeID=1\n[Camera]\n" + BOARD + MODEL
        partly = "Not all 'CameraMAC' are defined for cameras 1-2"
        for lines, expected in (
                (b"CameraMAC1=0:1:2:3:4:5\nCameraMAC2=0:0:0:0:0:1", []), (b"CameraMAC1=0:0:0:0:0:0", []),
                (b"CameraMAC1=0:0:0:0:0:0\nCameraMAC2=1:1:1:1:1:1", [partly]),
                (b"CameraMAC3=0:0:0:0:0:0", ["Specified Camera ID is incorrect (3)"])):
            self.assertEqual(self.complaints(start + lines, system), expected, lines)

    def test_sync_mode_ends_at_four(self):
        system = b"ClusterName=a\nNodeCount=1\nCamerasConnectedToNode1=1"
        start = b"NodeID=1\n[Camera]\n" + BOARD + MODEL
        self.assertEqual(self.complaints(start + b"SyncMode=4", system), [])
        self.assertEqual(self.complaints(start + b"SyncMode=5", system), ["Specified sync mode is incorrect (5)"])

    def test_storages(self):
        lines = b"".join(b'RecordingStorage%d = "/r%d"\n' % (n, n) for n in range(0, 17))
        s = local_session(b"NodeID=1\n" + lines)
        self.assertEqual(s.local_messages, ["Config: Invalid RecordingStorage number (0)",
                                            "Config: Invalid RecordingStorage number (16)"])
        self.assertEqual((s.local.storage_count, s.local.storages[14]), (15, b"/r15/"))
        s = local_session(b'NodeID=1\nRecordingStorage1="/a"\nRecordingStorage3="/c"\nRecordingStorage1="/b"')
        self.assertEqual(s.local_messages, ["Config: RecordingStorage1 is defined more than once",
                                            "Config: RecordingStorage2 is not defined"])
        self.assertEqual(s.local.storages[:3], [b"/a/", b"", b"/c"])

    def test_pairs(self):
        for line, name, params in (
                (b'"name,with comma", "x"', b"name", b"with comma,x"), (b'"a", ""', b"", b""),
                (b'"%s", "p"' % (b"n" * 64), b"n" * 63, b"p"), (b'"%s", "p"' % (b"n" * 65), b"", b"")):
            s = local_session(b"NodeID=1\n[Camera]\nCaptureDevice = " + line)
            self.assertEqual((s.local.hardware[0][0].name, s.local.hardware[0][0].params), (name, params))

    def test_the_share_of_memory_passes_through_a_float(self):
        for text, percent in ((b"250%", 100), (b"50", 50), (b"53%", 52), (b"59%", 58), (b"4294967295%", 100)):
            s = local_session(b"NodeID=1\nMaxMemUseAllowed = " + text)
            s.ask("savel")
            self.assertIn(b"\nMaxMemUseAllowed = %d%%\n" % percent, s.saved("local.cfg"))
        changed = [n for n in range(1, 101) if oracle.percent_of_share(oracle.share_of_percent(n)) != n]
        self.assertEqual(changed, [53, 59])

    def test_what_ends_a_section(self):
        for line, open_still in ((b"IP=1.2.3.4", True), (b"PostProcessPluginName=x", True),
                                 (b"CameraStreamPluginName=x", True),
                                 (b"MaxMemUseAllowed=5", False), (b'RecordingStorage1="/a"', False),
                                 (b'RecordingStorage16="/a"', True), (b"[Foo]", False), (b"[Camera 9]", False)):
            s = local_session(b"NodeID=1\n[Camera]\n" + line + b"\n" + BOARD)
            self.assertEqual(s.local.hardware[0][0].name == b"board", open_still, line)

    def test_offline_lists_have_no_effect_unless_the_tenth_place_holds_a_number(self):
        s = local_session(b"NodeID=1\nCamerasOffline = 1, 2\nSensorsOffline = 0\n0123456789 7,camerasoffline=3")
        self.assertEqual(s.local.devices_offline, [{7}, set()])

    def test_camera_lines_of_a_sensor_section_are_ignored(self):
        system = b"ClusterName=a\nNodeCount=1\nSensorsConnectedToNode1=1"
        self.assertEqual(self.complaints(b"NodeID=1\n[Sensor]\nSyncMode=9\nCameraModel9=a,b\n" + BOARD, system), [])


class LocalWriter(unittest.TestCase):
    def written(self, *edits):
        world = World(ROOT)
        world.run([("edit",) + edit for edit in edits] + [("savel",)])
        return world.files["local.cfg"]

    def test_an_empty_record(self):
        self.assertEqual(self.written(("node", 1)), b"NodeID = 1\n\n\n\n")

    def test_a_second_address_stands_alone(self):
        self.assertEqual(self.written(("node", 1), ("ip", 0, 0x0100000A)), b"NodeID = 1\n\n, 10.0.0.1\n\n")

    def test_empty_slots_are_left_out(self):
        edits = [("storage", n, hexed(b"/r")) for n in range(16)] + [("storage", 1, "-"), ("count", 16)]
        text = self.written(*edits)
        self.assertNotIn(b"RecordingStorage2 ", text)
        self.assertIn(b'RecordingStorage16 = "/r"\n\n', text)

    def test_the_offline_list_runs_into_the_header(self):
        text = self.written(("deviceoffline", 0, 2), ("section", 0, 1, 4, hexed(b"d"), hexed(b"p")))
        self.assertTrue(text.endswith(b'CamerasOffline = 2[Camera 1-4]\nCaptureDevice = "d", "p"\n\n'))

    def test_model_lines_number_one_past_the_run(self):
        text = self.written(("section", 0, 5, 8, hexed(b"d"), hexed(b"p")), ("model", hexed(b"a"), hexed(b"b"), 1),
                            ("model", hexed(b"c"), hexed(b"d"), 3))
        self.assertTrue(text.endswith(b'CameraModel5 = "a", "b"\nCameraModel6-9 = "c", "d"\n\n'))

    def test_a_section_of_one_camera(self):
        text = self.written(("section", 0, 7, 7, hexed(b"d"), hexed(b"p")), ("macs", 0),
                            ("model", hexed(b"a"), hexed(b"b"), 1))
        self.assertTrue(text.endswith(b'[Camera 7]\nCaptureDevice = "d", "p"\nCameraMAC7 = 00:00:00:00:00:00\n'
                                      b'CameraModel = "a", "b"\n\n'))

    def test_a_section_of_sensors_has_three_lines(self):
        text = self.written(("section", 1, 1, 2, hexed(b"d"), hexed(b"p")), ("section", 1, 3, 3, hexed(b"d"), "-"))
        self.assertTrue(text.endswith(b'[Sensor 1-2]\nCaptureDevice = "d", "p"\n\n'))

    def test_a_failed_save_leaves_the_old_file(self):
        world = World(ROOT)
        answers = world.run([("put", "local.cfg", "00"), ("mkdir", "local.cfg.tmp"), ("savel",), ("get", "local.cfg")])
        message = b"Config: Cannot open config file '" + LOCATION + b"local.cfg.tmp' (21)"
        self.assertEqual(answers[2:], [["msg " + hexed(message), "ret 0"], ["file 00"]])


class DeviceInformation(unittest.TestCase):
    LINE = b'Camera#    1a2b = "Gate", 1.500000, 0.000000, 2.250000,   0.000000, 90.000000, 0.000000,   1.000000\n'

    def test_a_line_comes_back_as_written(self):
        devices = oracle.read_devices(0, self.LINE)
        self.assertEqual(list(devices), [0x1A2B])
        self.assertEqual(oracle.write_devices(0, [(0x1A2B,) + devices[0x1A2B]]), self.LINE)

    def test_what_is_ignored(self):
        numbers = b", 1, 2, 3, 4, 5, 6, 7\n"
        for line in (b'Camera#1 = "x", 1, 2, 3, 4, 5, 6\n', b"Sensor#1 = x" + numbers, b'Camera#1 = ""' + numbers,
                     b"Camera#1 = " + b"n" * 65 + numbers):
            self.assertEqual(oracle.read_devices(0, line), {}, line)

    def test_key_case_and_cut_name(self):
        devices = oracle.read_devices(0, b"CAMERA#1A2B = " + b"n" * 64 + b", 1, 2, 3, 4, 5, 6, 7")
        self.assertEqual(devices[0x1A2B][0], b"n" * 63)

    def test_file_names(self):
        world = World(ROOT)
        world.run([("init", 2)])
        self.assertEqual([world.device_file(1, 0), world.device_file(0, 1)], ["sensor2.cfg", "cameraEmuDef.cfg"])
        message = b"Config: Cannot open camera config file '" + LOCATION + b"camera2.cfg'"
        self.assertEqual(world.run([("loadi", 0, 0)]), [["msg " + hexed(message), "ret 0"]])

    def test_the_map_keeps_its_block_when_the_file_is_missing(self):
        world = World(ROOT)
        answers = world.run([("savem", "0102"), ("loadm", 0), ("del", "DeviceMapInfo.cfgbin"), ("loadm", 0), ("dumpm",),
                             ("savem", "-"), ("loadm", 0), ("dumpm",)])
        self.assertEqual(answers[1], ["ret 2"])
        self.assertEqual(answers[4], ["map set 2 0102"])
        self.assertEqual(answers[6:], [["ret 0"], ["map set 0 -"]])


if __name__ == "__main__":
    unittest.main()
