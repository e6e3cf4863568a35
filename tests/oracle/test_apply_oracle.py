#!/usr/bin/env python3
"""The oracle of "Apply" held to worked examples, and its mount table to the C library's getmntent."""

import ctypes
import os
import random
import tempfile
import unittest

import apply_oracle as oracle
from apply_oracle import Outcome
from cfg_oracle import Global, Local

DIR = b"/srv/cfg"


def system(storage=b"/mnt/g", more=b"", name=b"Site A", count=1):
    """A global.cfg as "Apply" writes it, without devices."""
    counts = b"".join(b"CamerasConnectedToNode%d = 0\n" % n for n in range(1, count + 1))
    return (b'ClusterName = "%s"\n\nNodeCount = %d\n\n%s\nManagerMachineIP = 0.0.0.0\n\nGeneralStoragePath = "%s"\n\n'
            b"LogLevelNode = 0\n\nLogLevelManager = 0\n\nShowAllParameters = 0\n\nAllowFailedDevices = 0\n\n"
            b"AllowFailedNodes = 0\n\n%s" % (name, count, counts, storage, more))


def node(storages=(), more=b"", number=1):
    """A local.cfg as "Apply" writes it, without devices."""
    rows = b"".join(b'RecordingStorage%d = "%s"\n\n' % row for row in enumerate(storages, 1))
    return b"NodeID = %d\n\n\n\n%s%s" % (number, rows, more)


def table(*points):
    return b"".join(b"/dev/sd%d %s ext4 rw 0 0\n" % item for item in enumerate(points))


def outcome(global_cfg, local_cfg, points=(b"/mnt/g", b"/mnt/r")):
    return Outcome((global_cfg, local_cfg), table(*points), DIR)


def camera_system(count=4, more=b""):
    text = b'ClusterName = "A"\nNodeCount = 1\nCamerasConnectedToNode1 = %d\nGeneralStoragePath = "/mnt/g"\n' % count
    return text + more


BOARD = b'CaptureDevice = "board", "slot=0"\n'
MODEL = b'CameraModel = "model", "gain=1"\n'


class MountTable(unittest.TestCase):
    def points(self, text):
        return list(oracle.mount_points(text))

    def test_fields_end_at_runs_of_blanks_and_tabs(self):
        self.assertEqual(self.points(b" \t/dev/a \t /mnt/a\text4 rw 0 0\n"), [b"/mnt/a"])

    def test_comments_and_blank_lines_are_no_entries(self):
        self.assertEqual(self.points(b"# c /mnt/c\n\n  \t\n  #d /mnt/d\ne /mnt/#e x y 0 0"), [b"/mnt/#e"])

    def test_escapes_are_undone_once(self):
        self.assertEqual(self.points(b"d /mnt/a\\040b\\011c\\012d\\134e\\\\f\\134040\\041 t o 0 0\n"),
                         [b"/mnt/a b\tc\nd\\e\\f\\040\\041"])

    def test_entry_without_a_mount_point_has_an_empty_one(self):
        self.assertEqual(self.points(b"/mnt/device\n"), [b""])

    def test_of_a_long_line_the_first_4095_bytes_count(self):
        line = b"d /mnt/" + b"x" * 5000 + b" ext4 rw 0 0\nd /mnt/b t o 0 0\n"
        self.assertEqual(self.points(line), [b"/mnt/" + b"x" * 4088, b"/mnt/b"])

    def test_zero_byte_before_the_line_end_costs_the_next_line(self):
        self.assertEqual(self.points(b"d /mnt/a\0b t o 0 0\nd /mnt/c t o 0 0\nd /mnt/d t o 0 0\n"),
                         [b"/mnt/a", b"/mnt/d"])

    def test_automounts_that_ask_for_it_are_left_out(self):
        text = b"d /mnt/a autofs rw,ignore 0 0\nd /mnt/b autofs rw,ignored 0 0\nd /mnt/c ext4 ignore 0 0\n"
        self.assertEqual(self.points(text), [b"/mnt/b", b"/mnt/c"])

    def test_drives_have_one_of_two_words_anywhere_in_their_path(self):
        points = (b"/", b"/mnt", b"/home/u/media", b"/run/media/u/d", b"/MNT/a", b"/mnt2", b"/srv", b"/mnt", b"/mn/t")
        self.assertEqual(oracle.drives_of(table(*points)),
                         [b"/mnt", b"/home/u/media", b"/run/media/u/d", b"/mnt2", b"/mnt"])

    def test_the_c_library_reads_the_same(self):
        rng = random.Random(4)
        pieces = [b"/dev/sda1", b"/mnt/a", b" ", b"  ", b"\t", b"\n", b"\n", b"\\040", b"\\011", b"\\012", b"\\134",
                  b"\\\\", b"\\", b"0", b"#", b"ext4", b"autofs", b" rw,ignore", b"ignore=1", b",", b"xignore,ignore",
                  b"\0",
                  b"y" * 1022, b"z" * 1500, b"x" * 4090, b"\xe9", b"0 0"]
        for _ in range(1500):
            text = b"".join(rng.choice(pieces) for _ in range(rng.randrange(1, 14)))
            self.assertEqual(self.points(text), library_points(text), text[:200])


class Entry(ctypes.Structure):
    _fields_ = [(name, ctypes.c_char_p) for name in ("fsname", "dir", "type", "opts")]


def library_points(text):
    libc = ctypes.CDLL(None)
    libc.setmntent.restype = ctypes.c_void_p
    libc.getmntent.argtypes = libc.endmntent.argtypes = [ctypes.c_void_p]
    libc.getmntent.restype = ctypes.POINTER(Entry)
    with tempfile.NamedTemporaryFile() as file:
        file.write(text)
        file.flush()
        stream = libc.setmntent(os.fsencode(file.name), b"r")
        points = []
        entry = libc.getmntent(stream)
        while entry:
            points.append(entry.contents.dir)
            entry = libc.getmntent(stream)
        libc.endmntent(stream)
    return points


class FormState(unittest.TestCase):
    def form(self, storage=b"", rows=(), points=(b"/mnt/a", b"/mnt/b"), **fields):
        records = Global(), Local()
        records[0].storage = storage
        records[1].storages[:len(rows)] = rows
        records[1].storage_count = len(rows)
        for name, value in fields.items():
            setattr(records[name == "node_id"], name, value)
        return oracle.Form(*records, list(points))

    def test_an_empty_name_and_numbers_of_0_are_repaired(self):
        form = self.form()
        self.assertEqual((form.name, form.count, form.id), (b"The Recorder", 1, 1))

    def test_the_id_is_at_most_the_number_of_recorders_which_may_be_above_8(self):
        form = self.form(node_count=12, node_id=40)
        self.assertEqual((form.count, form.id), (12, 12))

    def test_the_last_drive_with_the_name_is_the_general_storage(self):
        self.assertEqual(self.form(b"/mnt/a/", points=(b"/mnt/a", b"/mnt/b", b"/mnt/a", b"/mnt/c")).general, 2)

    def test_the_general_storage_is_compared_as_it_stands_too(self):
        self.assertEqual(self.form(b"/mnt/b/", points=(b"/mnt/a", b"/mnt/b/")).general, 1)

    def test_a_general_storage_that_is_not_mounted_shows_the_first_drive(self):
        self.assertEqual(self.form(b"/mnt/a/below/").general, 0)

    def test_all_rows_of_a_drive_that_is_mounted_twice_are_selected(self):
        form = self.form(rows=[b"/mnt/b//"], points=(b"/mnt/b", b"/mnt/a", b"/mnt/b"))
        self.assertEqual(form.flags, [True, False, True])

    def test_recording_storages_are_compared_without_their_closing_slashes_alone(self):
        self.assertEqual(self.form(rows=[b"/mnt/b/"], points=(b"/mnt/a", b"/mnt/b/")).flags, [False, False])

    def test_rows_after_the_count_are_not_looked_at(self):
        form = self.form(rows=[b"/mnt/a/"], points=(b"/mnt/a", b"/mnt/b"))
        form.node.storages[1] = b"/mnt/b/"
        self.assertEqual(form.find_recording(), [True, False])

    def test_of_seventeen_selected_drives_sixteen_go_into_the_record(self):
        points = [b"/mnt/%02d" % n for n in range(17)]
        form = self.form(rows=points[:15], points=points)
        form.flags = [True] * 17
        oracle.into_records(form)
        self.assertEqual((form.node.storages, form.node.storage_count), (points[:16], 16))

    def test_a_name_of_64_characters_clears_the_low_byte_of_the_number_of_recorders(self):
        for length, count in ((63, 8), (64, 0), (70, 0)):
            form = self.form(node_count=8)
            form.name = b"n" * length
            oracle.into_records(form)
            self.assertEqual((form.system.cluster, form.system.node_count), (b"n" * min(length, 64), count))

    def test_of_a_long_mount_point_2048_bytes_are_taken(self):
        form = self.form(points=(b"/mnt/" + b"p" * 3000,))
        oracle.into_records(form)
        self.assertEqual(form.system.storage, b"/mnt/" + b"p" * 2043)

    def test_the_general_storage_is_held_against_selected_drives_with_and_without_slashes(self):
        for points, flags, valid in (((b"/mnt/x/", b"/mnt/x"), [False, True], False),
                                     ((b"/mnt/x", b"/mnt/x/"), [False, True], True),
                                     ((b"/mnt/x", b"/mnt/x"), [False, True], False),
                                     ((b"/mnt/x", b"/mnt/x/y"), [False, True], True),
                                     ((b"/mnt/x", b"/mnt/y"), [False, False], True), ((), [], True)):
            form = self.form(points=points)
            form.flags = flags
            oracle.into_records(form)
            self.assertEqual(oracle.storages_are_valid(form), valid, points)


class Verdicts(unittest.TestCase):
    def assertOutcome(self, found, verdict, result="saved", changed=(), dropped=()):
        self.assertEqual((found.verdict, found.apply["result"], tuple(found.apply["changed"])),
                         (verdict, result, tuple(changed)))
        self.assertEqual([(d["file"], d["line"], d["text"]) for d in found.apply["dropped"]], list(dropped))

    def test_files_as_apply_writes_them_are_clean(self):
        found = outcome(system(), node([b"/mnt/r"]))
        self.assertOutcome(found, "clean")
        self.assertEqual(found.status, 0)

    def test_closing_slashes_are_no_change_of_a_value(self):
        found = outcome(system(b"/mnt/g/"), node([b"/mnt/r//"]))
        self.assertOutcome(found, "clean", changed=["global.cfg", "local.cfg"])

    def test_defaults_that_become_explicit_comments_and_layout_are_no_change_of_a_value(self):
        found = outcome(b'# two\n;x\n clustername="Site A"\r\nNODECOUNT=01\nGeneralStoragePath= "/mnt/g"',
                        b'\n \t\nNodeID = 1 # here\n  ; none\nRecordingStorage 1 = "/mnt/r/"\n')
        self.assertOutcome(found, "clean", changed=["global.cfg", "local.cfg"])

    def test_a_camera_header_that_comes_back_numbered_is_no_drop(self):
        for header in (b"[Camera]", b"[camera 1-4] # all", b"[Camera 01 - 4]"):
            local_cfg = b"NodeID=1\n" + header + b"\n" + BOARD + MODEL
            self.assertOutcome(outcome(camera_system(), local_cfg), "clean", changed=["global.cfg", "local.cfg"])

    def test_a_camera_header_whose_section_does_not_come_back_is_dropped(self):
        found = outcome(camera_system(), b'NodeID=1\n[Camera]\nCaptureDevice = "a", ""\n' + MODEL)
        self.assertOutcome(found, "notice", changed=["global.cfg", "local.cfg"],
                           dropped=[("local.cfg", 2, "[Camera]"), ("local.cfg", 3, 'CaptureDevice = "a", ""'),
                                    ("local.cfg", 4, MODEL.decode()[:-1])])

    def test_unknown_and_mistyped_lines_are_dropped(self):
        found = outcome(system(more=b'Colour = red\n"LogLevelNode" = 3\nword\n'), node(more=b"[Foo 1]\nSyncMode = 1\n"))
        self.assertOutcome(found, "notice", changed=["global.cfg", "local.cfg"],
                           dropped=[("global.cfg", 21, "Colour = red"), ("global.cfg", 22, '"LogLevelNode" = 3'),
                                    ("global.cfg", 23, "word"), ("local.cfg", 5, "[Foo 1]"),
                                    ("local.cfg", 6, "SyncMode = 1")])

    def test_sensor_counts_are_dropped_and_their_sections_with_them_at_the_next_start(self):
        found = outcome(camera_system(0, b"SensorsConnectedToNode1 = 2\n"), b"NodeID=1\n[Sensor]\n" + BOARD)
        self.assertOutcome(found, "notice", changed=["global.cfg", "local.cfg"],
                           dropped=[("global.cfg", 5, "SensorsConnectedToNode1 = 2")])
        self.assertEqual(found.recorder["sensors"], [1, 2])
        self.assertEqual(found.apply["next_start"],
                         ["Config: Specified Sensor ID range is incorrect [1-2] for Node 1"])

    def test_a_share_of_memory_that_comes_back_as_another_number_is_a_change(self):
        for percent, left in ((53, 52), (59, 58)):
            found = outcome(system(), node(more=b"MaxMemUseAllowed = %d%%\n\n" % percent))
            self.assertOutcome(found, "notice", changed=["local.cfg"])
            self.assertEqual(found.report()["values"]["local"]["max_mem_use"], left)
        self.assertOutcome(outcome(system(), node(more=b"MaxMemUseAllowed = 50%\n\n")), "clean")

    def test_a_device_off_line_is_dropped(self):
        found = outcome(system(), node(more=b"CamerasOffline = 2\n"))
        self.assertOutcome(found, "notice", changed=["local.cfg"], dropped=[("local.cfg", 5, "CamerasOffline = 2")])

    def test_an_offline_node_above_the_number_of_recorders_is_a_change(self):
        self.assertOutcome(outcome(system(more=b"NodesOffline = 1, 5\n"), node()), "notice", changed=["global.cfg"])

    def test_an_empty_value_of_a_tag_that_comes_back_is_no_drop(self):
        text = b'ClusterName = "A"\nNodeCount = 1\nGeneralStoragePath = ""\nAllowFailedNodes = \n'
        self.assertOutcome(outcome(text, node(), ()), "clean", changed=["global.cfg"])

    def test_without_drives_the_general_storage_is_emptied_and_all_recording_storages_are_lost(self):
        found = outcome(system(), node([b"/mnt/r"]), ())
        self.assertOutcome(found, "notice", changed=["global.cfg", "local.cfg"],
                           dropped=[("local.cfg", 5, 'RecordingStorage1 = "/mnt/r"')])
        self.assertIn(b'GeneralStoragePath = ""\n', found.after["global.cfg"])

    def test_a_general_storage_that_is_not_mounted_becomes_the_first_drive(self):
        found = outcome(system(b"/mnt/gone"), node(), (b"/mnt/a", b"/mnt/b"))
        self.assertOutcome(found, "notice", changed=["global.cfg"])
        self.assertEqual(found.after["global.cfg"], system(b"/mnt/a"))
        self.assertEqual(found.report()["storages"],
                         [{"role": "general", "number": None, "path": "/mnt/gone/", "mounted": False}])

    def test_a_general_storage_that_is_recorded_to_is_refused(self):
        found = outcome(system(b"/mnt/gone"), node([b"/mnt/a"]), (b"/mnt/a",))
        self.assertOutcome(found, "notice", "refused")
        self.assertIsNone(found.after)

    def test_a_drive_that_is_mounted_twice_is_written_twice(self):
        found = outcome(system(), node([b"/mnt/r"]), (b"/mnt/g", b"/mnt/r", b"/mnt/r"))
        self.assertOutcome(found, "notice", changed=["local.cfg"])
        self.assertEqual(found.after["local.cfg"], node([b"/mnt/r", b"/mnt/r"]))

    def test_storages_follow_the_mount_table_and_lose_their_numbers(self):
        text = b'NodeID = 1\nRecordingStorage1 = "/mnt/b"\nRecordingStorage2 = "/mnt/a"\nRecordingStorage4 = "/mnt/c"\n'
        found = outcome(system(), text, (b"/mnt/g", b"/mnt/a", b"/mnt/b", b"/mnt/c"))
        self.assertOutcome(found, "notice", changed=["local.cfg"],
                           dropped=[("local.cfg", 4, 'RecordingStorage4 = "/mnt/c"')])
        self.assertEqual(found.after["local.cfg"], node([b"/mnt/a", b"/mnt/b"]))
        self.assertEqual(found.pair.messages, [b"Config: RecordingStorage3 is not defined"])
        self.assertEqual([(s["number"], s["path"], s["mounted"]) for s in found.report()["storages"]],
                         [(1, "/mnt/b/", True), (2, "/mnt/a/", True), (4, "/mnt/c", True), (None, "/mnt/g/", True)])

    def test_a_sixteenth_storage_is_written_and_refused_at_the_next_start(self):
        rows = [b"/mnt/r%02d" % n for n in range(15)]
        found = outcome(system(), node(rows), [b"/mnt/g"] + rows + rows[:1])
        self.assertIn(b'RecordingStorage16 = "/mnt/r00"\n', found.after["local.cfg"])
        self.assertOutcome(found, "notice", changed=["local.cfg"])
        self.assertEqual(found.apply["next_start"], ["Config: Invalid RecordingStorage number (16)"])

    def test_a_line_feed_in_a_mount_point_breaks_the_written_file(self):
        found = outcome(system(b""), node(), (b"/mnt/x\\012NodeCount=2",))
        self.assertOutcome(found, "notice", changed=["global.cfg"])
        self.assertEqual(found.apply["next_start"], ["Config: Miltiple definitions of tag 'NodeCount'"])

    def test_a_next_start_without_end_says_its_message_once(self):
        found = outcome(system(b""), node(), (b"/mnt/x\\012NodesOffline=0",))
        self.assertEqual(found.apply["next_start"], ["Config: Invalid node  number in offline list (0)"])
        self.assertEqual(found.verdict, "notice")

    def test_a_quote_in_a_mount_point_changes_the_value(self):
        found = outcome(system(b"/mnt/g"), node(), (b'/mnt/a"B',))
        self.assertEqual(found.next.system.record.storage, b"/mnt/ab/")

    def test_a_mount_point_whose_line_the_writer_cannot_hold_leaves_global_cfg_as_it_is(self):
        longest = b"/mnt/" + b"p" * (2047 - len(b'GeneralStoragePath = ""\n\n') - 5)
        self.assertOutcome(outcome(system(b""), node(), (longest,)), "notice", changed=["global.cfg"])
        self.assertOutcome(outcome(system(b""), node(), (longest + b"p",)), "notice")


class Broken(unittest.TestCase):
    def test_missing_files_are_broken_and_apply_makes_them(self):
        found = outcome(None, None)
        report = found.report()
        self.assertEqual((report["verdict"], report["start"], found.status), ("broken", "form", 2))
        self.assertEqual([f["load"] for f in report["files"]], [0, 0])
        self.assertEqual([m["text"] for f in report["files"] for m in f["messages"]],
                         ["Config: Cannot open config file '/srv/cfg/global.cfg' (2)",
                          "Config: Cannot open config file '/srv/cfg/local.cfg' (2)"])
        self.assertEqual(report["values"], {"global": None, "local": None})
        self.assertEqual(report["recorder"],
                         {"id": 1, "count": 1, "name": "The Recorder", "cameras": None, "sensors": None})
        self.assertEqual(found.after, {"global.cfg": system(name=b"The Recorder"), "local.cfg": node()})

    def test_an_id_above_the_number_of_recorders_shows_1_and_loses_the_file(self):
        found = outcome(system(count=2), node([b"/mnt/r"], number=3))
        self.assertEqual([f["load"] for f in found.report()["files"]], [2, 0])
        self.assertEqual((found.verdict, found.form.id, found.after["local.cfg"]), ("broken", 1, node()))

    def test_a_load_of_global_cfg_without_end_leaves_local_cfg_unread(self):
        found = outcome(system(more=b"LogLevelNode = 1\nNodesOffline = 3, 0\n"), node())
        report = found.report()
        self.assertEqual((report["verdict"], report["start"]), ("broken", "endless-load"))
        self.assertEqual([f["load"] for f in report["files"]], [None, None])
        self.assertEqual([m["text"] for m in report["files"][0]["messages"]],
                         ["Config: Invalid node  number in offline list (0)"])
        self.assertEqual(report["apply"], oracle.UNREACHABLE)

    def test_a_load_of_local_cfg_without_end_leaves_the_values_of_global_cfg(self):
        found = outcome(system(), node(more=b"0123456789 70 camerasoffline=\n"))
        report = found.report()
        self.assertEqual([f["load"] for f in report["files"]], [2, None])
        self.assertEqual([m["text"] for m in report["files"][1]["messages"]],
                         ["Config: Invalid device number in offline list (70)"])
        self.assertEqual(report["values"]["global"]["cluster_name"], "Site A")
        self.assertIsNone(report["values"]["local"])

    def test_messages_come_with_the_line_that_brought_them_about(self):
        text = b"# one\n\nNodeID = 1\n" + b"x" * 5000 + b"\nRecordingStorage16 = \"/a\"\n\n[Camera 9]\n[Camera"
        found = outcome(camera_system(), text + b"]\n[Camera 1-4]\n")
        self.assertEqual([(m["text"], m["line"]) for m in found.report()["files"][1]["messages"]],
                         [("Config: Invalid RecordingStorage number (16)", 5),
                          ("Config: Specified Camera ID is incorrect (9) for Node 1", 7),
                          ("Config: 'CaptureDevice' is not defined correctly for cameras 1-4", None)])

    def test_a_general_storage_of_512_characters_ends_the_program_before_its_form(self):
        for length, start in ((510, "form"), (511, "path-too-long"), (512, "path-too-long")):
            # The reader adds a slash.
            found = outcome(system(b"/mnt/" + b"g" * (length - 5)), node())
            self.assertEqual((found.start, found.apply["result"] == "unreachable"), (start, start != "form"), length)


class Values(unittest.TestCase):
    SYSTEM = (b'ClusterName = "Caf\xc3\xa9 \xe9\xff"\nNodeCount = 3\nNodesOffline = 2, 3, 40\n'
              b"CamerasConnectedToNode1 = 2\nCamerasConnectedToNode2 = 3\nSensorsConnectedToNode2 = 1\n"
              b"ManagerMachineIP = 10.0.0.1, 10.0.0.2\nGeneralStoragePath = \"/mnt/g\"\nShowAllParameters = 7\n"
              b"LogLevelManager = 4\n")
    NODE = (b"NodeID = 2\nIP = 0.0.0.0, 10.1.2.3\nPostProcessPluginName = \"Post\"\nMaxMemUseAllowed = 53\n"
            b"[Sensor]\nCaptureDevice = \"loop\", \"port=1\"\n"
            b"[Camera]\nCaptureDevice = \"board\", \"slot=0\"\nCTI = \"p\", \"o\"\nSyncMode = 3\n"
            b"CameraMAC3 = 0a:1:2:3:4:5\nCameraMAC4 = 0a:1:2:3:4:6\nCameraMAC5 = 0a:1:2:3:4:7\n"
            b"CameraModel3 = \"m\", \"1\"\nCameraModel4 = \"m\", \"2\"\nCameraModel5 = \"m\", \"3\"\n")

    def test_all_names(self):
        report = outcome(self.SYSTEM, self.NODE).report()
        self.assertEqual(report["values"]["global"], {
            "cluster_name": "Caf\u00e9 \ufffd\ufffd", "node_count": 3, "nodes_offline": [2, 3, 40],
            "cameras_connected": [2, 3, 0], "sensors_connected": [0, 1, 0], "manager_ips": ["10.0.0.1", "10.0.0.2"],
            "general_storage": "/mnt/g/", "log_level_node": 0, "log_level_manager": 4, "show_all_parameters": True,
            "allow_failed_devices": False, "allow_failed_nodes": False})
        self.assertEqual(report["values"]["local"], {
            "node_id": 2, "ips": ["0.0.0.0", "10.1.2.3"], "recording_storages": [], "camera_stream_plugin": "",
            "sensor_stream_plugin": "", "capture_process_plugin": "", "post_process_plugin": "Post", "max_mem_use": 52,
            "sections": [
                {"type": "camera", "first": 3, "last": 5, "capture_device": ["board", "slot=0"], "cti": ["p", "o"],
                 "sync_mode": 3, "max_dma_buffers": 0, "max_detection_time": 0, "link_speed": 0,
                 "macs": ["0A:01:02:03:04:05", "0A:01:02:03:04:06", "0A:01:02:03:04:07"],
                 "models": [["m", "1"], ["m", "2"], ["m", "3"]]},
                {"type": "sensor", "first": 1, "last": 1, "capture_device": ["loop", "port=1"]}]})
        self.assertEqual(report["recorder"], {"id": 2, "count": 3, "name": "Caf\u00e9 \ufffd\ufffd",
                                              "cameras": [3, 5], "sensors": [1, 1]})


if __name__ == "__main__":
    unittest.main()
