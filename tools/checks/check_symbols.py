#!/usr/bin/env python3
"""Compares the functions that the public headers declare with the symbols that the shared library exports, and makes sure
that it can be loaded late: its thread-local data must not need the little room that a running process has for it."""

import argparse
import pathlib
import re
import subprocess
import sys


def declared(include: pathlib.Path) -> set[str]:
    names: set[str] = set()
    for header in include.glob("*.h"):
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


def main() -> int:
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--library", type=pathlib.Path, required=True)
    parser.add_argument("--include", type=pathlib.Path, required=True)
    arguments = parser.parse_args()
    in_headers, in_library = declared(arguments.include), exported(arguments.library)
    for name in sorted(in_headers - in_library):
        print(f"declared but not exported: {name}")
    for name in sorted(in_library - in_headers):
        print(f"exported but not declared: {name}")
    print(f"{len(in_headers & in_library)} functions declared and exported")
    if needs_static_tls(arguments.library):
        print("the library has thread-local data of the static kind")
        return 1
    return 0 if in_headers and in_headers == in_library else 1


if __name__ == "__main__":
    sys.exit(main())
