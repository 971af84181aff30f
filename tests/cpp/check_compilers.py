#!/usr/bin/env python3
"""Shows kovadata.hpp to every compiler that is there. In every standard it compiles under more warnings than the project's own,
each header of its topics compiles alone, and none defines anything; of misuse.cpp, lines that end in "// error: EXPRESSION" are
refused in such words, and no others."""

import argparse
import os
import pathlib
import re
import shutil
import subprocess
import sys

WARNINGS = ["-Werror", "-Wall", "-Wextra", "-Wpedantic", "-Wconversion", "-Wsign-conversion", "-Wshadow", "-Wold-style-cast",
            "-Wnon-virtual-dtor", "-Woverloaded-virtual", "-Wnull-dereference", "-Wdouble-promotion", "-Wundef", "-Wcast-qual",
            "-Wformat=2", "-Wswitch-enum", "-Wzero-as-null-pointer-constant", "-Wextra-semi"]
# An exception type without a source file has no other place for its vtable; padding and old standards are no faults.
CLANG_WARNINGS = ["-Weverything", "-Wno-c++98-compat", "-Wno-c++98-compat-pedantic", "-Wno-padded", "-Wno-weak-vtables",
                  "-Wno-unused-macros"]
GCC_WARNINGS = ["-Wduplicated-cond", "-Wlogical-op", "-Wuseless-cast", "-Wredundant-tags"]
# What other headers are known to define, after the standard library and before this one.
HOSTILE = ("#include <algorithm>\n#include <limits>\n#include <memory>\n#include <span>\n#include <string>\n#include <vector>\n"
           "#define min(a, b) ((a) < (b) ? (a) : (b))\n#define max(a, b) ((a) > (b) ? (a) : (b))\n#define ERROR 0\n")
HEADER = "#include <kovadata/kovadata.hpp>\n"
MISUSE = pathlib.Path(__file__).parent / "misuse.cpp"


class Compiler:
    def __init__(self, path: str, include: str):
        self.path, self.include = path, include
        self.is_clang = "clang" in subprocess.run([path, "--version"], text=True, capture_output=True).stdout

    def run(self, *flags: str, source: str = "") -> subprocess.CompletedProcess:
        return subprocess.run([self.path, f"-I{self.include}", *flags], input=source, capture_output=True, text=True)

    def check_header(self) -> None:
        warnings = WARNINGS + (CLANG_WARNINGS if self.is_clang else GCC_WARNINGS)
        for standard in ("c++20", "c++2b"):
            for source in (HEADER, HOSTILE + HEADER):
                done = self.run(f"-std={standard}", "-fsyntax-only", *warnings, "-x", "c++", "-", source=source + "int main() {}\n")
                if done.returncode != 0:
                    sys.exit(f"{self.path} {standard}\n{done.stderr}")
        headers = sorted(pathlib.Path(self.include, "kovadata").glob("*.hpp"))
        for header in headers:
            if self.run("-std=c++20", "-fsyntax-only", "-Werror", "-Wall", "-include", f"kovadata/{header.name}", "-x", "c++", "-",
                        source="int main() {}\n").returncode != 0:
                sys.exit(f"{self.path}: {header.name} does not compile alone")
        text = "".join(header.read_text(encoding="utf-8") for header in headers)
        others = "".join(f"{line}\n" for line in [*text.splitlines(), "#include <stdint.h>"] if line.startswith("#include <"))
        leaked = [name for name in self.macros(HEADER) - self.macros(others) if not name.startswith("KOVADATA_")]
        if leaked:
            sys.exit(f"{self.path}: the header defines {' '.join(leaked)}")

    def macros(self, source: str) -> set[str]:
        lines = self.run("-std=c++20", "-dM", "-E", "-x", "c++", "-", source=source).stdout.splitlines()
        return {line.split()[1].split("(")[0] for line in lines}

    def check_misuse(self) -> None:
        expected = {number: match[1] for number, line in enumerate(MISUSE.read_text(encoding="utf-8").splitlines(), 1)
                    if (match := re.search(r"// error: (.*)$", line))}
        limit = "-ferror-limit=0" if self.is_clang else "-fmax-errors=0"
        found: dict[int, str] = {}
        for file, line, text in re.findall(r"^(.*?):(\d+):\d+: (?:fatal )?error: (.*)$",
                                           self.run("-std=c++20", "-fsyntax-only", limit, str(MISUSE)).stderr, re.M):
            if pathlib.Path(file) != MISUSE:
                sys.exit(f"{self.path}: an error that the user cannot place:\n{file}:{line}: {text}")
            found[int(line)] = found.get(int(line), "") + text
        wrong = [f"{self.path}: line {line}: {found.get(line, 'compiles')}" for line in expected.keys() | found.keys()
                 if not re.search(expected.get(line, "(?!)"), found.get(line, ""))]
        if wrong or not expected:
            sys.exit("\n".join(wrong) or "nothing to check")


def main() -> None:
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("check", choices=["header", "misuse"])
    parser.add_argument("include")
    parser.add_argument("compilers", nargs="+")
    arguments = parser.parse_args()
    # Each compiler once, whatever its names.
    for path in {os.path.realpath(path): path for path in map(shutil.which, arguments.compilers) if path}.values():
        getattr(Compiler(path, arguments.include), f"check_{arguments.check}")()


if __name__ == "__main__":
    main()
