#!/usr/bin/env python3
"""Compiles kovadata.hpp with every compiler and standard there is, and each header of its topics alone, under more warnings than
the project's own."""

import argparse
import pathlib
import subprocess
import sys

import compilers

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


def headers(include: str) -> list[pathlib.Path]:
    return sorted(pathlib.Path(include, "kovadata").glob("*.hpp"))


def run(compiler: str, include: str, source: str, *flags: str) -> str:
    command = [compiler, f"-I{include}", *flags, "-x", "c++", "-"]
    result = subprocess.run(command, input=source, capture_output=True, text=True)
    if result.returncode != 0:
        sys.exit(f"{' '.join(command)}\n{result.stderr}")
    return result.stdout


def macros(compiler: str, include: str, source: str) -> set[str]:
    return {line.split()[1].split("(")[0] for line in run(compiler, include, source, "-std=c++20", "-dM", "-E").splitlines()}


def leaked_macros(compiler: str, include: str) -> list[str]:
    text = "".join(path.read_text(encoding="utf-8") for path in headers(include))
    others = "".join(f"{line}\n" for line in [*text.splitlines(), "#include <stdint.h>"] if line.startswith("#include <"))
    added = macros(compiler, include, HEADER) - macros(compiler, include, others)
    return sorted(name for name in added if not name.startswith("KOVADATA_"))


def main() -> None:
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--include", required=True)
    parser.add_argument("compilers", nargs="+")
    arguments = parser.parse_args()
    for compiler in compilers.there(arguments.compilers):
        warnings = WARNINGS + (CLANG_WARNINGS if compilers.is_clang(compiler) else GCC_WARNINGS)
        standards = compilers.standards_of(compiler)
        for standard in standards:
            for source in (HEADER, HOSTILE + HEADER):
                run(compiler, arguments.include, source + "int main() {}\n", f"-std={standard}", "-fsyntax-only", *warnings)
        leaked = leaked_macros(compiler, arguments.include)
        if leaked:
            sys.exit(f"{compiler}: the header defines {' '.join(leaked)}")
        print(f"{compiler}: {' '.join(standards)}")
    for path in headers(arguments.include):
        run(arguments.compilers[0], arguments.include, f"#include <kovadata/{path.name}>\nint main() {{}}\n", "-std=c++20",
            "-fsyntax-only", "-Werror", "-Wall")


if __name__ == "__main__":
    main()
