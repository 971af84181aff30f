#!/usr/bin/env python3
"""Builds one program of examples/ against an installed library and holds what it prints against the command line tool."""

import argparse
import csv
import io
import pathlib
import shlex
import shutil
import sys
import tempfile

from installation import environment_of, install, run

SCANS = 120
FRAME = 1


class Builder:
    """Copies an example to a folder of its own, builds it there and says how to call it."""

    def __init__(self, arguments: argparse.Namespace, folder: pathlib.Path, prefix: pathlib.Path):
        self.arguments, self.folder = arguments, folder
        self.environment = environment_of(prefix)

    def copy(self, *names: str) -> list[pathlib.Path]:
        return [pathlib.Path(shutil.copy(self.arguments.examples / name, self.folder)) for name in names]

    def run(self, *command) -> str:
        return run(*command, env=self.environment, cwd=self.folder).stdout

    def compiled(self, compiler: str, standard: str, name: str) -> list:
        flags = shlex.split(self.run("pkg-config", "--cflags", "--libs", "kovadata"))
        self.run(compiler, f"-std={standard}", "-Wall", "-Wextra", "-Werror", *shlex.split(self.arguments.flags),
                 *self.copy(name), "-o", "frame", *flags)
        return [self.folder / "frame"]

    def c(self) -> list:
        return self.compiled(self.arguments.cc, "c99", "frame.c")

    def cpp(self) -> list:
        return self.compiled(self.arguments.cxx, "c++20", "frame.cpp")

    def python(self) -> list:
        return [sys.executable, *self.copy("plain_ctypes.py")]

    def rust(self) -> list:
        self.run("rustc", "--edition", "2021", "-O", "-D", "warnings", *self.copy("frame.rs"))
        return [self.folder / "frame"]

    def r(self) -> list:
        self.copy("kova_r.c", "frame.R")
        for variable, flag in (("PKG_CPPFLAGS", "--cflags"), ("PKG_LIBS", "--libs")):
            self.environment[variable] = self.run("pkg-config", flag, "kovadata").strip()
        self.run("R", "CMD", "SHLIB", "kova_r.c")
        return ["Rscript", "frame.R"]

    def node(self) -> list:
        (self.folder / "node_modules").symlink_to(self.arguments.node_modules)
        return ["node", *self.copy("frame.mjs")]


def expected_output(kova: pathlib.Path, analysis: pathlib.Path) -> str:
    def rows(*command) -> list[dict]:
        return list(csv.DictReader(io.StringIO(run(kova, *command, "--csv").stdout)))

    best = max(rows("scans", analysis, "--frame", FRAME), key=lambda row: int(row["intensity"]))
    lines = [f"intensity {best['intensity']}, m/z {float(best['mz']):.4f}\n", f"1/K0 {float(best['one_over_k0']):.4f}\n"]
    for row in rows("msms", analysis, "--frame", FRAME):
        strongest = row["strongest"].split(":")[0]
        lines.append(f"precursor {row['precursor']}: {row['peaks']} peaks, m/z {float(strongest):.4f}\n")
    return "".join(lines)


def main() -> None:
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("language")
    for name in ("build", "cc", "cxx", "flags"):
        parser.add_argument(f"--{name}", default="")
    for name in ("examples", "node-modules"):
        parser.add_argument(f"--{name}", type=pathlib.Path)
    arguments = parser.parse_args()
    with tempfile.TemporaryDirectory() as temporary:
        folder, prefix = pathlib.Path(temporary, "example"), pathlib.Path(temporary, "prefix")
        folder.mkdir()
        install(arguments.build, prefix)
        analysis = folder / "run.d"
        run(prefix / "bin" / "kova-simulate", analysis, "--frames=8", f"--scans={SCANS}", "--peaks-per-frame=6000")
        expected = expected_output(prefix / "bin" / "kova", analysis)
        if expected.count("precursor") < 2:
            sys.exit(f"the simulated run has too few precursors:\n{expected}")

        builder = Builder(arguments, folder, prefix)
        program = getattr(builder, arguments.language)()
        numbers = [FRAME] if arguments.language == "cpp" else [FRAME, SCANS]
        printed = builder.run(*program, analysis, *numbers)
        if printed != expected:
            sys.exit(f"printed:\n{printed}\nexpected:\n{expected}")
        failed = run(*program, "no/such/directory", *numbers, status=1, env=builder.environment, cwd=folder)
        if "Specified analysis directory does not exist." not in failed.stderr:
            sys.exit(f"unexpected error text: {failed.stderr}")


if __name__ == "__main__":
    main()
