#!/usr/bin/env python3
"""Compiles every C and C++ program of a page as it stands and runs it, then the page's shell commands in their order."""

import argparse
import os
import pathlib
import re
import shlex
import sys
import tempfile

from installation import environment_of, install, run

PROGRAM = re.compile(r"^```(c|cpp|python|cmake|sh)\n(.*?)^```", re.M | re.S)
FIRST = r"(Frames of|Spectra without) .*:\n(m/z \d+\.\d{4}, intensity [1-9]\d*\n){5}"
# What programs print for a simulated run; their pages in the order of their programs.
PRINTED = {
    "README.md": [FIRST],
    "start.md": [FIRST] * 2,
    "python.md": [],
    "kovadata.hpp": [r"(\d+: \d+ peaks\n){460}"],
    "whole-runs.md": [r"(frame \d+: \d+\n){4}", r"[1-9]\d* peaks, sum of intensities [1-9]\d+\n"],
    "recipes.md": [r"m/z \d+\.\d{4}  [1-9]\d*\n", r"frame \d+: [1-9]\d+\n"],
}
SIMULATED = {
    "run.d": ("--frames=4", "--scans=460", "--peaks-per-frame=30000"),
    "surveys.d": ("--frames=2", "--msms-per-ms1=0", "--compression=1", "--schema=2.0", "--peaks-per-frame=3000"),
    "spectra.d": ("--frames=3", "--format=kvs", "--peaks-per-frame=6000"),
}
MEASURED = pathlib.Path(__file__).resolve().parents[3] / "shared" / "data" / "analyses"
# Pages whose programs say something about any run; the others need what was simulated into run.d.
ANY_RUN = {"README.md": "analysis.kv?", "start.md": "analysis.kv?", "recipes.md": "analysis.kvd"}
FILE = {"c": "program.c", "cpp": "program.cpp", "python": "program.py", "cmake": "CMakeLists.txt"}
# Around the lines of code in the comment at the top of the C++ header.
HEADER_PROGRAM = """
#include <cstdio>
#include <kovadata/kovadata.hpp>
static void use(std::uint32_t number, std::span<const std::uint32_t> indices, std::span<const std::uint32_t> intensities) {
    if (indices.size() == intensities.size()) std::printf("%u: %zu peaks\\n", number, indices.size());
}
int main(int, char** argv) try {
    LINES
} catch (const kova::Error& error) {
    std::fprintf(stderr, "%s\\n", error.what());
    return 1;
}
"""


def blocks_of(page: pathlib.Path) -> list[tuple[str, str]]:
    text = page.read_text(encoding="utf-8")
    if page.suffix == ".md":
        return PROGRAM.findall(text)
    lines = re.findall(r"^ \* {5}(\S.*| {4}.*)$", text[:text.index("Conventions")], re.M)
    return [("cpp", HEADER_PROGRAM.replace("LINES", "\n".join(lines).replace('"run.d"', "argv[1]")))]


def analyses_for(page: str, folder: pathlib.Path) -> list[pathlib.Path]:
    if page not in ANY_RUN:
        return [folder / "run.d"]
    if not MEASURED.exists():
        print("without the measured analyses, which are not there")
    return [path.parent for place in (folder, MEASURED) for path in sorted(place.glob(f"*/{ANY_RUN[page]}"))]


def check_compiled(arguments: argparse.Namespace, folder: pathlib.Path, analyses: list[pathlib.Path], language: str,
                   text: str, printed: str) -> None:
    compiler = {"c": [arguments.cc, "-std=c99"], "cpp": [arguments.cxx, "-std=c++20"]}[language]
    source, program = folder / f"example.{language}", folder / f"by_{language}"
    source.write_text(text, encoding="utf-8")
    library = arguments.library.replace("libkovadata", "libkovarun") if re.search(r"kvr\.h|run\.hpp", text) else arguments.library
    run(*compiler, "-Wall", "-Wextra", "-Werror", *shlex.split(arguments.flags), f"-I{arguments.include}", source,
        "-o", program, library, "-lm")
    environment = {**os.environ, "LD_LIBRARY_PATH": str(pathlib.Path(arguments.library).parent)}
    for analysis in analyses:
        good = run(program, analysis, env=environment)
        if not re.fullmatch(printed, good.stdout) or good.stderr:
            sys.exit(f"unexpected output for {analysis.name} {good.stdout[:300]!r} {good.stderr!r} of\n{text}")
    bad = run(program, folder / "missing", status=1, env=environment)
    if bad.stderr != "Specified analysis directory does not exist.\n":
        sys.exit(f"unexpected error {bad.stderr!r} of\n{text}")


def run_commands(arguments: argparse.Namespace, folder: pathlib.Path, blocks: list[tuple[str, str]]) -> None:
    """The page's commands against an installed library. Its programs lie there as program.*, and all do the same."""
    prefix = folder / "prefix"
    install(arguments.build, prefix)
    # The interpreter stays where it is: its packages are found by its path.
    environment = environment_of(prefix)
    environment |= {"PATH": f"{prefix / 'bin'}:{pathlib.Path(arguments.python).parent}:{os.environ['PATH']}",
                    "PYTHONPATH": arguments.python_path}
    here = folder / "here"
    here.mkdir()
    if "kova-simulate" not in "".join(text for _, text in blocks):
        (here / "run.d").symlink_to(folder / "run.d")
    printed = set()
    for language, text in blocks:
        if language != "sh":
            (here / FILE[language]).write_text(text, encoding="utf-8")
            continue
        done = run("bash", "-euc", text, cwd=here, env=environment)
        if "program" in text:
            printed.add(done.stdout)
    if printed and (len(printed) > 1 or "" in printed):
        sys.exit(f"programs that do the same print {printed}")


def main() -> None:
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("page", type=pathlib.Path)
    for name in ("include", "library", "simulate", "cc", "cxx", "flags", "build", "python", "python-path"):
        parser.add_argument(f"--{name}", default="")  # without an interpreter, commands are left out
    arguments = parser.parse_args()
    blocks = blocks_of(arguments.page)
    compiled = [block for block in blocks if block[0] in ("c", "cpp")]
    with tempfile.TemporaryDirectory() as temporary:
        folder = pathlib.Path(temporary)
        for name, options in SIMULATED.items():
            run(arguments.simulate, folder / name, "--quiet", *options)
        analyses = analyses_for(arguments.page.name, folder)
        for (language, text), printed in zip(compiled, PRINTED[arguments.page.name], strict=True):
            check_compiled(arguments, folder, analyses, language, text, printed)
        if arguments.python and any(language == "sh" for language, _ in blocks):
            run_commands(arguments, folder, blocks)


if __name__ == "__main__":
    main()
