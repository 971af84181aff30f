#!/usr/bin/env python3
"""Checks the rules of the source tree that a compiler does not: who may include whom, and how errors are raised.

Folders and the rooms inside them include only what lies below. So do files: a header and the source file of the same name
are one unit, and no units may include each other in a circle, in src/ and in tools/. Nor may modules of the Python package
import each other in one, at whatever place of their code.
"""

import ast
import graphlib
import pathlib
import re
import sys

ROOT = pathlib.Path(__file__).resolve().parents[2]

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
    "calibration-state": {"calibration-table-reader", "calibration", "sqlite", "diag", "logging", "sys"},
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
    "kovarun/arrow": set(),
    "kovarun/run": set(),
    "kovarun/query": {"run"},
    "kovarun/pipeline": {"query", "run", "arrow"},
    "kovarun/tables": {"run", "arrow"},
    "kovarun/peaks": {"pipeline", "query", "run", "arrow"},
    "kovarun/reductions": {"pipeline", "query", "run", "arrow"},
    "kovarun/spectra": {"pipeline", "query", "tables", "run", "arrow"},
    "kovarun/api": {"peaks", "reductions", "spectra", "tables", "run", "arrow"},
    "kova/output": set(),
    "kova/run": {"output"},
    "kova/cli": {"run", "output"},
    "kova/completions": set(),
    "kova/verbs": {"completions", "cli", "run", "output"},
}
# What is in a folder itself and nevertheless below its rooms.
BELOW_ROOMS = {"kovarun/errors.h", "kova/failure.h"}
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
    if folder in ALLOWED and target in ALLOWED and target != folder and not is_system:
        if target not in ALLOWED[folder] and (folder, included) not in EXCEPTIONS:
            yield f"{folder}/ may not include {target}/"
    room = path.rpartition("/")[0]
    if room in ROOMS and target == folder and not is_system and included not in BELOW_ROOMS:
        other = included.rpartition("/")[0]
        if other != room and other.removeprefix(folder + "/") not in ROOMS[room]:
            yield f"{room}/ may not include {included}"
    for place, pattern in FORBIDDEN:
        if path.startswith(place) and pattern.match(included):
            yield f"{place} may not include {included}"


def unit(path: str) -> str:
    return path.rpartition(".")[0]


def problems(tree: str):
    source = ROOT / tree
    includes: dict[str, set[str]] = {}  # by unit
    for file in sorted(source.rglob("*")):
        if file.suffix not in (".h", ".cpp"):
            continue
        path = file.relative_to(source).as_posix()
        own = includes.setdefault(unit(path), set())
        for number, line in enumerate(file.read_text(encoding="utf-8").splitlines(), 1):
            if match := INCLUDE.match(line):
                included = match.group(2)
                for problem in include_problems(path, included, match.group(1) == "<"):
                    yield f"{tree}/{path}:{number}: {problem}"
                if (source / included).exists() and unit(included) != unit(path):
                    own.add(unit(included))
            elif tree == "src" and not path.startswith("diag/throw") and BARE_THROW.search(COMMENT.sub("", line)):
                yield f"{tree}/{path}:{number}: raise with LUMO_THROW"
    try:
        graphlib.TopologicalSorter(includes).prepare()
    except graphlib.CycleError as error:
        yield f"{tree}/: files include each other in a circle: " + " <- ".join(error.args[1])


def imports(tree: ast.AST, module: str, is_package: bool, modules: set[str]):
    """Modules of the package that a module imports, also inside its functions; not those it names for type checkers alone."""
    if isinstance(tree, ast.If) and isinstance(tree.test, ast.Name) and tree.test.id == "TYPE_CHECKING":
        return
    if isinstance(tree, ast.Import):
        yield from (name.name for name in tree.names)
    elif isinstance(tree, ast.ImportFrom):
        parts = module.split(".")
        above = parts[:len(parts) - tree.level + is_package] if tree.level else []
        source = ".".join([*above, *([tree.module] if tree.module else [])])
        yield from (f"{source}.{name.name}" if f"{source}.{name.name}" in modules else source for name in tree.names)
    for child in ast.iter_child_nodes(tree):
        yield from imports(child, module, is_package, modules)


def python_problems():
    files = {}
    for file in sorted((ROOT / "python" / "kovadata").rglob("*.py")):
        path = file.relative_to(ROOT / "python").with_suffix("")
        files[".".join(path.parts[:-1] if path.name == "__init__" else path.parts)] = file
    known = set(files)
    graph = {module: {one for one in imports(ast.parse(file.read_text(encoding="utf-8")), module,
                                             file.name == "__init__.py", known) if one in known and one != module}
             for module, file in files.items()}
    try:
        graphlib.TopologicalSorter(graph).prepare()
    except graphlib.CycleError as error:
        yield "python/: modules import each other in a circle: " + " <- ".join(error.args[1])


def main() -> int:
    found = [*problems("src"), *problems("tools"), *python_problems()]
    print("\n".join(found) if found else "layers and raising are in order")
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main())
