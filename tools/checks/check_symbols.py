#!/usr/bin/env python3
"""Compares the symbols that a shared library exports with its public headers and with the committed list of its interface.

The list has the format of Debian's symbols files: a line "SONAME PACKAGE #MINVER#", then a line " NAME@NODE VERSION" for each
symbol, with the node of the version script (Base without one) and the release that had the symbol first. A symbol is added to it
by hand, and none ever leaves it without a new SONAME.

It has to be possible to load the library late: its thread-local data must not need the little room that a running process has
for it. And it has to be possible to fork at any time: no object of the whole process may be made at the first call of a
function, since a child that is forked meanwhile would wait for ever until another thread has made it.
"""

import argparse
import pathlib
import re
import subprocess
import sys


def declared(headers: list[pathlib.Path]) -> set[str]:
    names: set[str] = set()
    for header in headers:
        text = re.sub(r"/\*.*?\*/", "", header.read_text(encoding="utf-8"), flags=re.S)
        names.update(re.findall(r"^KOVADATA_API\b[^;(]*?\b(\w+)\s*\(", text, flags=re.M))
    return names


def exported(library: pathlib.Path) -> set[str]:
    command = ["nm", "--dynamic", "--defined-only", "--format=posix", str(library)]
    lines = subprocess.run(command, check=True, capture_output=True, text=True).stdout.splitlines()
    return {line.split()[0].split("@")[0] for line in lines}


def needs_static_tls(library: pathlib.Path) -> bool:
    command = ["readelf", "--dynamic", "--wide", str(library)]
    return "STATIC_TLS" in subprocess.run(command, check=True, capture_output=True, text=True).stdout


def made_at_first_call(library: pathlib.Path) -> list[str]:
    """What stands behind a guard variable; those of thread-local data are the thread's own."""
    command = ["readelf", "--symbols", "--wide", "--demangle", str(library)]
    lines = subprocess.run(command, check=True, capture_output=True, text=True).stdout.splitlines()
    return [line.split("guard variable for ")[1] for line in lines if " OBJECT " in line and "guard variable for lumo::" in line]


def listed(abi: pathlib.Path) -> tuple[str, dict[str, str]]:
    """SONAME and the release of each symbol."""
    first, *others = abi.read_text(encoding="utf-8").splitlines()
    return first.split()[0], dict(line.split() for line in others)


def exported_with_nodes(library: pathlib.Path) -> set[str]:
    command = ["nm", "--dynamic", "--defined-only", "--with-symbol-versions", "--format=posix", str(library)]
    lines = subprocess.run(command, check=True, capture_output=True, text=True).stdout.splitlines()
    names = (line.split()[0].replace("@@", "@") for line in lines if line.split()[1] != "A")
    return {name if "@" in name else f"{name}@Base" for name in names}


def soname(library: pathlib.Path) -> str:
    output = subprocess.run(["objdump", "-p", str(library)], check=True, capture_output=True, text=True).stdout
    return re.search(r"SONAME\s+(\S+)", output).group(1)


def release_of(include: pathlib.Path) -> str:
    text = (include / "version.h").read_text(encoding="utf-8")
    return re.search(r'KOVADATA_VERSION_STRING "(.*)"', text).group(1)


def interface_changes(library: pathlib.Path, include: pathlib.Path, abi: pathlib.Path) -> list[str]:
    name, symbols = listed(abi)
    exports = exported_with_nodes(library)
    changes = [f"SONAME {soname(library)} is listed as {name}"] if soname(library) != name else []
    changes += [f"exported but not listed: {symbol}" for symbol in sorted(exports - symbols.keys())]
    changes += [f"listed but not exported: {symbol}" for symbol in sorted(symbols.keys() - exports)]

    def parts(release: str) -> list[int]:
        return [int(part) for part in release.split(".")]

    later = (symbol for symbol, release in symbols.items() if parts(release) > parts(release_of(include)))
    return changes + [f"listed for a release to come: {symbol}" for symbol in later]


def main() -> int:
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--library", type=pathlib.Path, required=True)
    parser.add_argument("--include", type=pathlib.Path, required=True)
    parser.add_argument("--headers", nargs="+", required=True, help="those that declare its functions, in the include folder")
    parser.add_argument("--abi", type=pathlib.Path, required=True, help="committed list of exported symbols")
    arguments = parser.parse_args()
    in_headers, in_library = declared([arguments.include / name for name in arguments.headers]), exported(arguments.library)
    for name in sorted(in_headers - in_library):
        print(f"declared but not exported: {name}")
    for name in sorted(in_library - in_headers):
        print(f"exported but not declared: {name}")
    changes = interface_changes(arguments.library, arguments.include, arguments.abi)
    if needs_static_tls(arguments.library):
        changes.append("the library has thread-local data of the static kind")
    changes += [f"made at the first call, while a fork may come: {name}" for name in made_at_first_call(arguments.library)]
    print(*changes, f"{len(in_headers & in_library)} functions declared and exported", sep="\n")
    return 0 if in_headers and in_headers == in_library and not changes else 1


if __name__ == "__main__":
    sys.exit(main())
