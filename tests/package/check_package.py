#!/usr/bin/env python3
"""Installs a build, moves it elsewhere, then builds and runs consumers in C and C++ against it by CMake and by pkg-config."""

import argparse
import os
import pathlib
import re
import shlex
import subprocess
import sys
import tempfile

MISSING = "Specified analysis directory does not exist.\n"
WARNINGS = ["-Wall", "-Wextra", "-Werror", "-pedantic"]


def run(*command, **options) -> str:
    result = subprocess.run([str(part) for part in command], capture_output=True, text=True, **options)
    if result.returncode != 0:
        sys.exit(f"{shlex.join(str(part) for part in command)}\n{result.stdout}{result.stderr}")
    return result.stdout


class Installation:
    """What is below a prefix, and how consumers are built against it."""

    def __init__(self, arguments: argparse.Namespace, prefix: pathlib.Path, scratch: pathlib.Path):
        self.arguments, self.prefix, self.scratch = arguments, prefix, scratch
        self.sources = pathlib.Path(__file__).parent
        self.libraries = next(prefix.rglob("kovadata.pc")).parents[1]
        self.flags = shlex.split(arguments.flags)

    def pkg_config(self, *options: str) -> list[str]:
        environment = {**os.environ, "PKG_CONFIG_PATH": str(self.libraries / "pkgconfig")}
        return shlex.split(run("pkg-config", *options, "kovadata", env=environment))

    def by_cmake(self, consumer: str) -> pathlib.Path:
        build = self.scratch / consumer
        self.configure(consumer, build, f"-DCMAKE_C_COMPILER={self.arguments.cc}", f"-DCMAKE_C_FLAGS={self.arguments.flags}",
                       f"-DCMAKE_CXX_COMPILER={self.arguments.cxx}", f"-DCMAKE_CXX_FLAGS={self.arguments.flags}")
        run("cmake", "--build", build)
        return build / "consumer"

    def configure(self, project: str, build: pathlib.Path, *definitions: str) -> None:
        run("cmake", "-S", self.sources / project, "-B", build, "-G", "Ninja", "--no-warn-unused-cli",
            f"-DCMAKE_PREFIX_PATH={self.prefix}", *definitions)

    def by_pkg_config(self, name: str, compiler: str, sources: list[str], *flags: str) -> pathlib.Path:
        program = self.scratch / name
        run(compiler, *flags, *WARNINGS, *self.flags, *(self.sources / source for source in sources), "-o", program,
            *self.pkg_config("--cflags", "--libs", *(["--static"] if "static" in name else [])))
        return program

    def consumers(self) -> list[pathlib.Path]:
        """Of the C program, then of the C++ program; the last of each gets as much of its libraries into itself as it can."""
        c, cpp = ["consumer/consumer.c"], ["consumer_cpp/consumer.cpp", "consumer_cpp/reader.cpp"]
        static = [] if self.flags else ["-static-libgcc"]  # sanitizers are shared libraries
        static_cpp = [*static, "-static-libstdc++"] if static else []
        return [self.by_cmake("consumer"), self.by_cmake("consumer_cpp"),
                self.by_pkg_config("c", self.arguments.cc, c, "-std=c99"),
                self.by_pkg_config("cpp", self.arguments.cxx, cpp, "-std=c++20"),
                self.by_pkg_config("c_static", self.arguments.cc, c, "-std=c99", *static),
                self.by_pkg_config("cpp_static", self.arguments.cxx, cpp, "-std=c++20", *static_cpp)]

    def output(self, program: pathlib.Path, *arguments) -> str:
        return run(program, *arguments, env={**os.environ, "LD_LIBRARY_PATH": str(self.libraries)})


def check_versions(installation: Installation) -> None:
    major, minor, patch = map(int, installation.pkg_config("--modversion")[0].split("."))
    accepted = [f"{major}.{minor}", f"{major}.{minor}.{patch}"] + ([f"{major}"] if major > 0 else [])
    refused = [f"{major + 1}", f"{major}.{minor + 1}", f"{major}.{minor}.{patch + 1}"]
    if major == 0 and minor > 0:
        refused.append(f"0.{minor - 1}")
    installation.configure("versions", installation.scratch / "versions", f"-DACCEPTED={';'.join(accepted)}",
                           f"-DREFUSED={';'.join(refused)}")


def check_paths(prefix: pathlib.Path, before: pathlib.Path) -> None:
    """No file that consumers read names the place of the installation or of the build."""
    for file in [*prefix.rglob("*.cmake"), *prefix.rglob("*.pc")]:
        if re.search(rf"{re.escape(str(before))}|/lib/\S*\.a\b|-L/", file.read_text(encoding="utf-8")):
            sys.exit(f"{file.name} names an absolute path")


def check_tools(prefix: pathlib.Path, folder: pathlib.Path) -> pathlib.Path:
    analysis = folder / "run.d"
    run(prefix / "bin" / "kova-simulate", analysis, "--frames=4", "--scans=60", "--peaks-per-frame=500", "--recalibrated=1")
    output = run(prefix / "bin" / "kova", "info", analysis, "--recalibrated")
    if "mobility for 4 frames, in use" not in output:
        sys.exit(f"kova info printed {output!r}")
    return analysis


def check_manual(prefix: pathlib.Path) -> None:
    share = prefix / "share"
    pages = {page.name for page in (share / "man" / "man1").iterdir()}
    if not {"kova.1", "kova-convert.1", "kova-simulate.1"} <= pages or not all(page.startswith("kova") for page in pages):
        sys.exit(f"manual pages: {pages}")
    for script in ("bash-completion/completions/kova", "zsh/site-functions/_kova", "fish/vendor_completions.d/kova.fish"):
        if "convert" not in (share / script).read_text():
            sys.exit(f"{script} is not a completion script")


def main() -> None:
    parser = argparse.ArgumentParser(description=__doc__)
    for name in ("build", "cc", "cxx", "flags"):
        parser.add_argument(f"--{name}", default="")
    arguments = parser.parse_args()
    with tempfile.TemporaryDirectory() as folder:
        root = pathlib.Path(folder)
        run("cmake", "--install", arguments.build, "--prefix", root / "prefix")
        prefix = (root / "prefix").rename(root / "moved elsewhere")
        check_paths(prefix, root / "prefix")
        if not (prefix / "share" / "kovadata" / "kovadata-log.ini").exists():
            sys.exit("the example of a logging configuration is not installed")
        analysis = check_tools(prefix, root)
        check_manual(prefix)
        installation = Installation(arguments, prefix, root)
        check_versions(installation)
        for program in installation.consumers():
            if installation.output(program) != MISSING:
                sys.exit(f"{program} printed {installation.output(program)!r}")
            if "cpp" in str(program) and installation.output(program, analysis) != "peaks\n42\n":
                sys.exit(f"{program} printed {installation.output(program, analysis)!r}")


if __name__ == "__main__":
    main()
