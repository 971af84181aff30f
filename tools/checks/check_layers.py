#!/usr/bin/env python3
"""Checks the rules of the source tree that a compiler does not: who may include whom, and how errors are raised."""

import pathlib
import re
import sys

SOURCE = pathlib.Path(__file__).resolve().parents[2] / "src"

# Folders that each folder of src/ may include besides itself; see ARCHITECTURE.md.
ALLOWED = {
    "diag": set(),
    "sys": {"diag"},
    "logging": {"diag", "sys"},
    "math": {"diag"},
    "sqlite": {"diag", "sys"},
    "calibration": {"math", "diag", "logging", "sys"},
    "calibration-table-reader": {"calibration", "sqlite", "diag", "logging"},
    "kvd-calibration-reader": {"calibration-table-reader", "calibration", "sqlite", "diag", "logging"},
    "calibration-state": {"calibration-table-reader", "calibration", "sqlite", "diag", "logging"},
    "kova-data-reader": {"calibration-state", "kvd-calibration-reader", "calibration", "sqlite", "diag", "logging", "sys"},
    "process-frames": {"diag", "sys"},
    "zorel-msms-reader": {"process-frames", "kova-data-reader", "calibration", "sqlite", "diag", "logging"},
    "kovarun": {"kovadata", "zorel-msms-reader", "process-frames", "kova-data-reader", "calibration-state", "calibration", "sqlite", "diag", "logging", "sys"},
    "kovadata": {"zorel-msms-reader", "kova-data-reader", "calibration-state", "calibration", "diag", "logging", "sys"},
}
# The interface to the open database and the name of its format are a small layer below the calibration readers.
EXCEPTIONS = {
    ("calibration-table-reader", "kova-data-reader/database/i_sqlite_reader.h"),
    ("kvd-calibration-reader", "kova-data-reader/database/i_sqlite_reader.h"),
    ("calibration-state", "kova-data-reader/database/i_sqlite_reader.h"),
    ("kvd-calibration-reader", "kova-data-reader/database/analysis_format.h"),
    ("calibration-state", "kova-data-reader/database/analysis_format.h"),
}
# Rooms inside a folder, and which other rooms of it each may include. What lies in the folder itself, its facade, may
# include every room; no room may include the facade.
ROOMS = {
    "kova-data-reader/blob": set(),
    "kova-data-reader/database": set(),
    "kova-data-reader/scan-decoding": {"blob"},
    "kova-data-reader/scan-reading": {"blob", "database", "scan-decoding"},
    "process-frames/algorithm": set(),
}
# What else a folder or room must do without: no metadata where bytes are decoded, no files where peaks are.
FORBIDDEN = [
    ("kova-data-reader/blob/", re.compile(r"^sqlite3?[/.]")),
    ("kova-data-reader/scan-decoding/", re.compile(r"^(sqlite3?[/.]|istream|fstream)")),
    ("kova-data-reader/scan-reading/", re.compile(r"^sqlite3?[/.]")),
    ("kovadata/", re.compile(r"^sqlite3?[/.]")),
    ("calibration/", re.compile(r"^sqlite3?[/.]")),
]
INCLUDE = re.compile(r'^\s*#\s*include\s*([<"])([^">]+)[">]')
BARE_THROW = re.compile(r"\bthrow\s+[^;]")
COMMENT = re.compile(r"//.*$|\"(?:\\.|[^\"\\])*\"")


def include_problems(path: str, included: str, is_system: bool):
    folder, target = path.split("/")[0], included.split("/")[0]
    if target in ALLOWED and target != folder and not is_system:
        if target not in ALLOWED[folder] and (folder, included) not in EXCEPTIONS:
            yield f"{folder}/ may not include {target}/"
    room = path.rpartition("/")[0]
    if room in ROOMS and target == folder and not is_system:
        other = included.rpartition("/")[0]
        if other != room and other.removeprefix(folder + "/") not in ROOMS[room]:
            yield f"{room}/ may not include {included}"
    for place, pattern in FORBIDDEN:
        if path.startswith(place) and pattern.match(included):
            yield f"{place} may not include {included}"


def problems():
    for file in sorted(SOURCE.rglob("*")):
        if file.suffix not in (".h", ".cpp"):
            continue
        path = file.relative_to(SOURCE).as_posix()
        for number, line in enumerate(file.read_text(encoding="utf-8").splitlines(), 1):
            if match := INCLUDE.match(line):
                for problem in include_problems(path, match.group(2), match.group(1) == "<"):
                    yield f"src/{path}:{number}: {problem}"
            elif not path.startswith("diag/throw") and BARE_THROW.search(COMMENT.sub("", line)):
                yield f"src/{path}:{number}: raise with LUMO_THROW"


def main() -> int:
    found = list(problems())
    print("\n".join(found) if found else "layers and raising are in order")
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main())
