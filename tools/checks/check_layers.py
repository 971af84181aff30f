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
    "sqlite": {"diag"},
    "calibration": {"math", "diag", "logging"},
    "calibration-table-reader": {"calibration", "sqlite", "diag", "logging"},
    "kvd-calibration-reader": {"calibration-table-reader", "calibration", "sqlite", "diag", "logging"},
    "calibration-state": {"calibration-table-reader", "calibration", "sqlite", "diag", "logging"},
    "kova-data-reader": {"calibration-state", "kvd-calibration-reader", "calibration", "sqlite", "diag", "logging", "sys"},
    "process-frames": {"diag", "sys"},
    "zorel-msms-reader": {"process-frames", "kova-data-reader", "calibration", "sqlite", "diag", "logging"},
    "kovadata": {"zorel-msms-reader", "kova-data-reader", "calibration-state", "calibration", "sqlite", "diag", "logging", "sys"},
}
# The interface to the open database is a small layer below the calibration readers.
EXCEPTIONS = {
    ("calibration-table-reader", "kova-data-reader/database/i_sqlite_reader.h"),
    ("kvd-calibration-reader", "kova-data-reader/database/i_sqlite_reader.h"),
    ("calibration-state", "kova-data-reader/database/i_sqlite_reader.h"),
}
# Inner rooms of kova-data-reader: no metadata access where bytes are decoded, no file bytes in the database code.
FORBIDDEN = [
    ("kova-data-reader/blob/", re.compile(r"^(sqlite/|kova-data-reader/database/|sqlite3\.h)")),
    ("kova-data-reader/database/", re.compile(r"^kova-data-reader/blob/")),
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
    for room, pattern in FORBIDDEN:
        if path.startswith(room) and pattern.match(included):
            yield f"{room} may not include {included}"


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
