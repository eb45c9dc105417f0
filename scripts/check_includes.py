#!/usr/bin/env python3
"""Checks that includes go down the table of rooms in docs/architecture.md, never up.

Each room is listed with its level; a file may include its own room and rooms of a lower level, or of
the rooms named beside it.
"""
import pathlib
import re
import sys

# Room: the rooms whose headers it may include besides its own. A trailing "*" is a prefix.
BELOW_COMMON = ["platform", "libs/zmb/src", "libs/net", "libs/timer"]
SERVICES = BELOW_COMMON + ["common/log", "common/monitor", "common/lib"]
RECORDS = SERVICES + ["common/msg", "common/xml"]
DEVICES = RECORDS + ["common/dev*"]
BLOCKS = DEVICES + ["common/electrical", "common/calibration", "common/signalh"]
ALLOWED = {
    "platform": [],
    "libs/zmb/src": ["platform"],
    "libs/net": ["platform"],
    "libs/timer": ["platform"],
    "libs/fraction": [],
    "common/log": SERVICES,
    "common/monitor": SERVICES,
    "common/lib": SERVICES,
    "common/msg": RECORDS,
    "common/xml": RECORDS,
    "common/dev/fpga": DEVICES,
    "common/dev/i2c": DEVICES,
    "common/dev/sclk": DEVICES + ["libs/fraction"],
    "common/signalh": BLOCKS,
    "common/calibration": DEVICES,
    "common/electrical": DEVICES + ["common/calibration"],
    "common/acquisition": BLOCKS,
    "common/acquisition/ranging": BLOCKS + ["common/acquisition"],
    "mos": BLOCKS + ["common/acquisition*"],
    "simulator": ["platform", "libs/fraction", "common/log", "common/msg", "common/zpubsub"],
    "host": ["platform", "libs/zmb/src", "common/msg", "common/log"],
    "host/clock": ["platform", "libs/fraction", "common/msg", "common/dev/sclk", "common/log",
                   "common/signalh", "host", "mos"],
    "host/devices": ["platform", "common/msg", "common/dev/i2c", "common/log", "host", "simulator"],
    "tests": ["*"],
    "benchmarks": ["*"],
    "fuzz": ["*"],
}
ROOTS = ("platform", "libs", "common", "mos", "simulator", "host", "tests", "benchmarks", "fuzz")


def room_of(path):
    for room in sorted(ALLOWED, key=len, reverse=True):
        if path == room or path.startswith(room + "/"):
            return room
    return None


def permitted(room, target):
    own = ALLOWED[room]
    return target == room or any(
        target.startswith(name[:-1]) if name.endswith("*") else target == name for name in own)


def main():
    tree = pathlib.Path(__file__).resolve().parent.parent
    bad = 0
    for top in ROOTS:
        for path in sorted((tree / top).rglob("*")):
            if path.suffix not in (".h", ".cpp"):
                continue
            name = path.relative_to(tree).as_posix()
            room = room_of(name)
            if room is None:
                print(f"{name}: this room is not in the list of {__file__}")
                bad += 1
                continue
            for number, line in enumerate(path.read_text().splitlines(), 1):
                found = re.match(r'\s*#\s*include\s+"([^"]+)"', line)
                target = found and room_of(found.group(1))
                if found and (target is None or not permitted(room, target)):
                    print(f"{name}:{number}: {room} may not include {found.group(1)}")
                    bad += 1
    return 1 if bad else 0


sys.exit(main())
