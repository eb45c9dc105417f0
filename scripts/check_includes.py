#!/usr/bin/env python3
"""Checks that includes go down the table of folders in docs/architecture.md, never up.

Each folder that holds sources is listed with the folders whose headers it may include besides its own.
"""
import pathlib
import re
import sys

LIBS = ["platform", "libs/zmb/src"]
SERVICES = LIBS + ["common/log", "common/monitor", "common/lib"]
RECORDS = ["common/msg/records"]
MESSAGES = ["common/zpubsub/records"]
STATE = SERVICES + RECORDS + MESSAGES + ["common/msg/state", "common/zpubsub", "common/systemcheck"]
XML = STATE + ["common/xml"]
BUS = XML + ["common/dev/fpga", "common/dev/i2c/bus"]
CHIPS = BUS + ["common/dev/i2c/chips"]
DEVICES = CHIPS + ["common/dev/i2c/front_end", "common/dev/sclk"]
HELPERS = DEVICES + ["common/signalh"]
RESULTS = HELPERS + ["common/calibration", "common/electrical"]
SAMPLES = RESULTS + ["common/acquisition", "common/acquisition/ranging"]
ALLOWED = {
    "platform": [],
    "libs/zmb/src": ["platform"],
    "libs/fraction": [],
    "common/log": SERVICES,
    "common/monitor": SERVICES,
    "common/lib": SERVICES,
    "common/msg/records": ["platform", "common/log"],
    "common/msg/state": SERVICES + RECORDS,
    "common/zpubsub/records": ["platform", "common/log"] + RECORDS,
    "common/zpubsub": SERVICES + RECORDS + MESSAGES,
    "common/systemcheck": SERVICES + RECORDS,
    "common/xml": STATE,
    "common/dev/fpga": STATE,
    "common/dev/i2c/bus": STATE,
    "common/dev/i2c/chips": BUS,
    "common/dev/i2c/front_end": CHIPS,
    "common/dev/sclk": CHIPS + ["libs/fraction"],
    "common/signalh": DEVICES,
    "common/calibration": XML,
    "common/electrical": XML + ["common/calibration"],
    "common/acquisition": RESULTS,
    "common/acquisition/ranging": RESULTS + ["common/acquisition"],
    "mos/instrument": SAMPLES,
    "mos/handlers": SAMPLES + ["mos/instrument"],
    "mos": SAMPLES + ["mos/instrument", "mos/handlers"],
    "simulator": ["platform", "libs/fraction", "common/log"] + RECORDS + MESSAGES,
    "host": LIBS + ["common/log"] + RECORDS + MESSAGES,
    "host/clock": ["platform", "libs/fraction", "common/dev/sclk", "common/log", "common/msg/state",
                   "common/signalh", "host", "mos"] + RECORDS,
    "host/devices": ["platform", "common/dev/i2c/bus", "common/log", "host", "simulator"] + RECORDS,
    "tests": ["*"],
    "benchmarks": ["*"],
    "fuzz": ["*"],
}
ROOTS = ("platform", "libs", "common", "mos", "simulator", "host", "tests", "benchmarks", "fuzz")
# a folder of these may be divided further; elsewhere each has its own line
DIVIDED = ("simulator", "tests", "benchmarks", "fuzz")


def folder_of(path):
    for top in DIVIDED:
        if path.startswith(top + "/"):
            return top
    parent = str(pathlib.PurePosixPath(path).parent)
    return parent if parent in ALLOWED else None


def permitted(folder, target):
    return target == folder or ALLOWED[folder] == ["*"] or target in ALLOWED[folder]


def main():
    tree = pathlib.Path(__file__).resolve().parent.parent
    bad = [f"{name}: no such folder, but listed" for name in ALLOWED if not (tree / name).is_dir()]
    for top in ROOTS:
        for path in sorted((tree / top).rglob("*")):
            if path.suffix not in (".h", ".cpp"):
                continue
            name = path.relative_to(tree).as_posix()
            folder = folder_of(name)
            if folder is None:
                bad.append(f"{name}: its folder is not listed in {pathlib.Path(__file__).name}")
                continue
            if path.name.startswith("test_") and top != "tests":
                bad.append(f"{name}: only files of tests/ are called test_*")
            for number, line in enumerate(path.read_text().splitlines(), 1):
                found = re.match(r'\s*#\s*include\s+"([^"]+)"', line)
                target = found and folder_of(found.group(1))
                if found and (target is None or not permitted(folder, target)):
                    bad.append(f"{name}:{number}: {folder} may not include {found.group(1)}")
    print(*bad, sep="\n", end="\n" if bad else "")
    return 1 if bad else 0


sys.exit(main())
