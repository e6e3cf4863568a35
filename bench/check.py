#!/usr/bin/env python3
"""Measures vesmara-check on a full system: CPU time of the process and its children, in seconds."""

import os
import statistics
import subprocess
import sys
import tempfile

SECTIONS = 63
STORAGES = 15


def global_text():
    # By hand, so that both files have a difference to show.
    lines = ["# the hall", 'ClusterName = "Site A, Hall 3"', "NodeCount = 64", "NodesOffline = 5, 17, 64"]
    lines += [f"CamerasConnectedToNode{node} = {SECTIONS if node == 1 else 0}" for node in range(1, 65)]
    lines += ["ManagerMachineIP = 192.168.10.1", 'GeneralStoragePath = "/mnt/general/"']
    return "\n".join(lines) + "\n"


def section(camera):
    return [
        f"[Camera {camera}]",
        f'CaptureDevice = "Frame grabber {camera}", "Board={camera}; Port=0; Trigger=External"',
        f'CTI = "/opt/producers/lib/producer{camera}.cti", "Interface={camera}"',
        f"SyncMode = {1 + camera % 4}",
        f"MaxDMABuffers = {16 + camera}",
        f"MaxDetectionTime = {5000 + camera}",
        f"LinkSpeed = {10000 + camera}",
        f"CameraMAC{camera} = 00:1B:2C:3D:{camera:02X}:{255 - camera:02X}",
        f'CameraModel = "Model X{camera}", "Width=4096; Height=3000; Gain={camera}"',
    ]


def local_text():
    lines = ["# this machine", "NodeID = 1", "IP = 192.168.10.11, 10.0.0.11"]
    lines += [f'RecordingStorage{number} = "/mnt/recordings{number}/"' for number in range(1, STORAGES + 1)]
    lines += ["MaxMemUseAllowed = 75%"]
    for camera in range(1, SECTIONS + 1):
        lines += section(camera)
    return "\n".join(lines) + "\n"


def mount_table():
    names = ["general"] + [f"recordings{number}" for number in range(1, STORAGES + 1)]
    return "".join(f"/dev/{name} /mnt/{name} xfs rw 0 0\n" for name in names)


def write(path, text):
    with open(path, "w", encoding="ascii") as file:
        file.write(text)


def run(command):
    with tempfile.TemporaryFile() as output:
        process = subprocess.Popen(command, stdout=output)
        _, status, usage = os.wait4(process.pid, 0)
        process.returncode = os.waitstatus_to_exitcode(status)
        output.seek(0)
        text = output.read()
    # Nothing but the layout changes: the verdict stands below two differences.
    if process.returncode != 0 or text.count(b"\n+++ ") + text.startswith(b"--- ") != 3:
        sys.exit(f"check.py: vesmara-check ended with {process.returncode}")
    return usage.ru_utime + usage.ru_stime


def cpu_seconds(program, rounds):
    """The median of the rounds."""
    with tempfile.TemporaryDirectory() as folder:
        write(os.path.join(folder, "global.cfg"), global_text())
        write(os.path.join(folder, "local.cfg"), local_text())
        write(os.path.join(folder, "mtab"), mount_table())
        command = [program, f"--directory={folder}", f"--mtab={os.path.join(folder, 'mtab')}"]
        return statistics.median(run(command) for _ in range(rounds))


if __name__ == "__main__":
    print(f"{cpu_seconds(sys.argv[1], int(sys.argv[2])) * 1000:.2f} ms")
