#!/usr/bin/env python3
"""Builds one program of examples/ against an installed library and holds what it prints against the command line tool."""

import argparse
import csv
import io
import pathlib
import re
import shlex
import shutil
import sys
import tempfile

from installation import environment_of, install, run

FRAME = 1
SIMULATED = {
    "run.d": ("--frames=8", "--scans=120", "--peaks-per-frame=6000"),
    "surveys.d": ("--frames=2", "--scans=120", "--peaks-per-frame=3000", "--msms-per-ms1=0", "--compression=1", "--schema=2.0"),
    "spectra.d": ("--frames=2", "--format=kvs", "--peaks-per-frame=3000"),
}
MEASURED = pathlib.Path(__file__).resolve().parents[3] / "shared" / "data" / "analyses"


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
        flags = shlex.split(self.run("pkg-config", "--cflags", "--libs", "kovarun"))
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
            self.environment[variable] = self.run("pkg-config", flag, "kovarun").strip()
        self.run("R", "CMD", "SHLIB", "kova_r.c")
        return ["Rscript", "frame.R"]

    def node(self) -> list:
        (self.folder / "node_modules").symlink_to(self.arguments.node_modules)
        return ["node", *self.copy("frame.mjs")]


def expected_output(kova: pathlib.Path, analysis: pathlib.Path) -> str:
    """A pattern of what is printed."""
    def rows(*command) -> list[dict]:
        return list(csv.DictReader(io.StringIO(run(kova, *command, "--frame", FRAME, "--csv").stdout)))

    has_mobility = (analysis / "analysis.kvd").exists()
    best = max(rows("scans" if has_mobility else "spectrum", analysis), key=lambda row: float(row["intensity"]))
    lines = [f"intensity {float(best['intensity']):.0f}, m/z {float(best['mz']):.4f}"]
    if has_mobility:
        lines.append(f"1/K0 {float(best['one_over_k0']):.4f}" if best["one_over_k0"] else f"scan {best['scan']}")
        if not re.search(r"[1-9]\d* MS/MS", run(kova, "info", analysis).stdout):
            return re.escape("\n".join(lines)) + r"(\nno MS/MS spectra: .+)?\n"
        for row in rows("msms", analysis):
            lines.append(f"precursor {row['precursor']}: {row['peaks']} peaks, m/z {float(row['strongest'].split(':')[0]):.4f}")
    return re.escape("\n".join(lines)) + r"\n"


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
        for name, options in SIMULATED.items():
            run(prefix / "bin" / "kova-simulate", folder / name, "--quiet", *options)
        analyses = [folder / name for name in SIMULATED] + sorted(path.parent for path in MEASURED.glob("*/analysis.kv?"))
        if len(analyses) == len(SIMULATED):
            print("without the measured analyses, which are not there")
        builder = Builder(arguments, folder, prefix)
        program = getattr(builder, arguments.language)()
        for analysis in analyses:
            printed = builder.run(*program, analysis, FRAME)
            expected = expected_output(prefix / "bin" / "kova", analysis)
            if not re.fullmatch(expected, printed) or (analysis.name == "run.d" and expected.count("precursor") < 2):
                sys.exit(f"printed for {analysis}:\n{printed}\nexpected:\n{expected}")
        failed = run(*program, "no/such/directory", FRAME, status=1, env=builder.environment, cwd=folder)
        if "Specified analysis directory does not exist." not in failed.stderr:
            sys.exit(f"unexpected error text: {failed.stderr}")


if __name__ == "__main__":
    main()
