#!/usr/bin/env python3
"""Compiles the C and the C++ program of README.md as they stand and runs them on a simulated analysis."""

import argparse
import os
import pathlib
import re
import shlex
import subprocess
import sys
import tempfile


def run(*command, **options) -> subprocess.CompletedProcess:
    return subprocess.run([str(part) for part in command], capture_output=True, text=True, **options)


PEAKS = {"c": r"(index \d+ intensity \d+\n)+$", "cpp": r"(scan \d+ m/z [\d.]+ intensity \d+\n)+$"}


def compiled(arguments: argparse.Namespace, language: str, folder: pathlib.Path) -> pathlib.Path:
    readme = pathlib.Path(arguments.readme).read_text(encoding="utf-8")
    compiler = {"c": [arguments.cc, "-std=c99"], "cpp": [arguments.cxx, "-std=c++20"]}[language]
    source, program = folder / f"example.{language}", folder / f"by_{language}"
    source.write_text(re.search(rf"```{language}\n(.*?)```", readme, re.S).group(1), encoding="utf-8")
    result = run(*compiler, "-Wall", "-Wextra", "-Werror", *shlex.split(arguments.flags), f"-I{arguments.include}", source,
                 "-o", program, arguments.library)
    if result.returncode != 0:
        sys.exit(result.stderr)
    return program


def main() -> None:
    parser = argparse.ArgumentParser(description=__doc__)
    for name in ("readme", "include", "library", "simulate", "cc", "cxx", "flags"):
        parser.add_argument(f"--{name}", default="")
    arguments = parser.parse_args()
    with tempfile.TemporaryDirectory() as temporary:
        folder = pathlib.Path(temporary)
        environment = {**os.environ, "LD_LIBRARY_PATH": str(pathlib.Path(arguments.library).parent)}
        run(arguments.simulate, folder / "run.d", "--frames", "1", "--scans", "60", "--peaks-per-frame", "3000", check=True)
        for language, peaks in PEAKS.items():
            program = compiled(arguments, language, folder)
            good = run(program, folder / "run.d", env=environment)
            if good.returncode != 0 or not re.match(peaks, good.stdout):
                sys.exit(f"unexpected output {good.stdout[:300]!r} {good.stderr!r}")
            bad = run(program, folder / "missing", env=environment)
            if bad.returncode != 1 or bad.stderr != "Specified analysis directory does not exist.\n":
                sys.exit(f"unexpected error {bad.stderr!r}")


if __name__ == "__main__":
    main()
