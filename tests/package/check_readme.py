#!/usr/bin/env python3
"""Compiles the C program of README.md as it stands and runs it on a simulated analysis."""

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


def main() -> None:
    parser = argparse.ArgumentParser(description=__doc__)
    for name in ("readme", "include", "library", "simulate", "cc", "flags"):
        parser.add_argument(f"--{name}", default="")
    arguments = parser.parse_args()
    source = re.search(r"```c\n(.*?)```", pathlib.Path(arguments.readme).read_text(encoding="utf-8"), re.S).group(1)
    library = pathlib.Path(arguments.library)
    with tempfile.TemporaryDirectory() as folder:
        root = pathlib.Path(folder)
        (root / "example.c").write_text(source, encoding="utf-8")
        compiled = run(arguments.cc, "-std=c99", "-Wall", "-Wextra", "-Werror", *shlex.split(arguments.flags),
                       f"-I{arguments.include}", root / "example.c", "-o", root / "example", library)
        if compiled.returncode != 0:
            sys.exit(compiled.stderr)
        environment = {**os.environ, "LD_LIBRARY_PATH": str(library.parent)}
        run(arguments.simulate, root / "run.d", "--frames", "1", "--scans", "60", "--peaks-per-frame", "3000", check=True)
        good = run(root / "example", root / "run.d", env=environment)
        if good.returncode != 0 or not re.match(r"(index \d+ intensity \d+\n)+$", good.stdout):
            sys.exit(f"unexpected output {good.stdout[:300]!r} {good.stderr!r}")
        bad = run(root / "example", root / "missing", env=environment)
        if bad.returncode != 1 or bad.stderr != "Specified analysis directory does not exist.\n":
            sys.exit(f"unexpected error {bad.stderr!r}")


if __name__ == "__main__":
    main()
