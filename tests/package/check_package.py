#!/usr/bin/env python3
"""Installs a build and moves it elsewhere: paths, versions, tools, pages, and a program of two files that are linked statically.

Programs that are built as the pages say are tested with the pages.
"""

import argparse
import pathlib
import re
import shlex
import sys
import tempfile

from installation import environment_of, install, run

SOURCES = pathlib.Path(__file__).parent


def check(holds: bool, what: str) -> None:
    if not holds:
        sys.exit(what)


def check_versions(version: str, prefix: pathlib.Path, build: pathlib.Path) -> None:
    major, minor, patch = map(int, version.split("."))
    accepted = [f"{major}.{minor}", version] + ([f"{major}"] if major > 0 else [])
    refused = [f"{major + 1}", f"{major}.{minor + 1}", f"{major}.{minor}.{patch + 1}"]
    if major == 0 and minor > 0:
        refused.append(f"0.{minor - 1}")
    run("cmake", "-S", SOURCES / "versions", "-B", build, "-G", "Ninja", f"-DCMAKE_PREFIX_PATH={prefix}",
        f"-DACCEPTED={';'.join(accepted)}", f"-DREFUSED={';'.join(refused)}")


def check_program(arguments: argparse.Namespace, environment: dict, program: pathlib.Path, analysis: pathlib.Path) -> None:
    """As much of the compiler's libraries as possible is in the program; its exceptions pass through the library's calls."""
    # Sanitizers are shared libraries.
    flags = shlex.split(arguments.flags) or ["-static-libgcc", "-static-libstdc++"]
    run(arguments.cxx, "-std=c++20", "-Wall", "-Wextra", "-Werror", "-pedantic", *flags, SOURCES / "consumer_cpp" / "consumer.cpp",
        SOURCES / "consumer_cpp" / "reader.cpp", "-o", program,
        *shlex.split(run("pkg-config", "--cflags", "--libs", "--static", "kovadata", env=environment).stdout))
    for argument, expected in ((), "Specified analysis directory does not exist.\n"), ((analysis,), "peaks\n42\n"):
        printed = run(program, *argument, env=environment).stdout
        check(printed == expected, f"{program} printed {printed!r}")


def main() -> None:
    parser = argparse.ArgumentParser(description=__doc__)
    for name in ("build", "cxx", "flags"):
        parser.add_argument(f"--{name}", default="")
    arguments = parser.parse_args()
    with tempfile.TemporaryDirectory() as folder:
        root = pathlib.Path(folder)
        install(arguments.build, root / "prefix")
        prefix = (root / "prefix").rename(root / "moved elsewhere")
        environment, share, analysis = environment_of(prefix), prefix / "share", root / "run.d"
        for file in [*prefix.rglob("*.cmake"), *prefix.rglob("*.pc")]:
            named = re.search(rf"{re.escape(str(root / 'prefix'))}|/lib/\S*\.a\b|-L/", file.read_text(encoding="utf-8"))
            check(named is None, f"{file.name} names an absolute path")
        for name in ("man/man1/kova.1", "man/man1/kova-convert.1", "man/man1/kova-simulate.1", "kovadata/kovadata-log.ini"):
            check((share / name).exists(), f"{name} is not installed")
        for script in ("bash-completion/completions/kova", "zsh/site-functions/_kova", "fish/vendor_completions.d/kova.fish"):
            check("convert" in (share / script).read_text(), f"{script} is not a completion script")
        run("kova-simulate", analysis, "--frames=4", "--scans=60", "--peaks-per-frame=500", "--recalibrated=1", env=environment)
        output = run("kova", "info", analysis, "--recalibrated", env=environment).stdout
        check("mobility for 4 frames, in use" in output, f"kova info printed {output!r}")
        check_versions(run("pkg-config", "--modversion", "kovadata", env=environment).stdout.strip(), prefix, root / "versions")
        check_program(arguments, environment, root / "program", analysis)


if __name__ == "__main__":
    main()
