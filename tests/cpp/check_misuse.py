#!/usr/bin/env python3
"""Compiles misuse.cpp: lines that end in "// error: EXPRESSION" must be refused in such words, and no others."""

import argparse
import pathlib
import re
import subprocess
import sys

import compilers


def expected_errors(source: pathlib.Path) -> dict[int, str]:
    lines = source.read_text(encoding="utf-8").splitlines()
    marked = ((number, re.search(r"// error: (.*)$", line)) for number, line in enumerate(lines, 1))
    return {number: match.group(1) for number, match in marked if match}


def errors(compiler: str, include: str, source: pathlib.Path) -> dict[int, str]:
    limit = "-ferror-limit=0" if compilers.is_clang(compiler) else "-fmax-errors=0"
    command = [compiler, "-std=c++20", "-fsyntax-only", limit, f"-I{include}", str(source)]
    output = subprocess.run(command, capture_output=True, text=True).stderr
    found: dict[int, str] = {}
    for file, line, text in re.findall(r"^(.*?):(\d+):\d+: (?:fatal )?error: (.*)$", output, re.M):
        if pathlib.Path(file) != source:
            sys.exit(f"{compiler}: an error that the user cannot place:\n{file}:{line}: {text}")
        found[int(line)] = found.get(int(line), "") + text
    return found


def main() -> None:
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--include", required=True)
    parser.add_argument("--source", type=pathlib.Path, required=True)
    parser.add_argument("compilers", nargs="+")
    arguments = parser.parse_args()
    expected = expected_errors(arguments.source)
    wrong = []
    for compiler in compilers.there(arguments.compilers):
        found = errors(compiler, arguments.include, arguments.source)
        for line in sorted(expected.keys() | found.keys()):
            if line not in found:
                wrong.append(f"{compiler}: line {line} compiles")
            elif not re.search(expected.get(line, "(?!)"), found[line]):
                wrong.append(f"{compiler}: line {line}: {found[line]}")
        print(f"{compiler}: {len(found)} of {len(expected)} refused")
    if wrong or not expected:
        sys.exit("\n".join(wrong) or "nothing to check")


if __name__ == "__main__":
    main()
