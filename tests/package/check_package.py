#!/usr/bin/env python3
"""Installs a build into an empty folder, then builds and runs a consumer against it by CMake and by pkg-config."""

import argparse
import os
import pathlib
import shlex
import subprocess
import sys
import tempfile

EXPECTED = "Specified analysis directory does not exist.\n"


def run(*command, **options) -> str:
    result = subprocess.run([str(part) for part in command], capture_output=True, text=True, **options)
    if result.returncode != 0:
        sys.exit(f"{shlex.join(str(part) for part in command)}\n{result.stdout}{result.stderr}")
    return result.stdout


def check_output(program: pathlib.Path, library_folder: pathlib.Path) -> None:
    output = run(program, env={**os.environ, "LD_LIBRARY_PATH": str(library_folder)})
    if output != EXPECTED:
        sys.exit(f"{program.name} printed {output!r}")


def check_tools(prefix: pathlib.Path, folder: pathlib.Path) -> None:
    analysis = folder / "run.d"
    run(prefix / "bin" / "kova-simulate", analysis, "--frames=2", "--scans=60", "--peaks-per-frame=500", "--recalibrated=1")
    output = run(prefix / "bin" / "kova", "info", analysis, "--recalibrated")
    if "mobility for 2 frames, in use" not in output:
        sys.exit(f"kova info printed {output!r}")


def main() -> None:
    parser = argparse.ArgumentParser(description=__doc__)
    for name in ("build", "consumer", "cc", "flags"):
        parser.add_argument(f"--{name}", default="")
    arguments = parser.parse_args()
    with tempfile.TemporaryDirectory() as folder:
        root = pathlib.Path(folder)
        prefix = root / "prefix"
        run("cmake", "--install", arguments.build, "--prefix", prefix)
        package_files = list(prefix.rglob("kovadata.pc"))
        if not (prefix / "share" / "kovadata" / "kovadata-log.ini").exists():
            sys.exit("the example of a logging configuration is not installed")
        library_folder = package_files[0].parents[1]

        run("cmake", "-S", arguments.consumer, "-B", root / "cmake", "-G", "Ninja", f"-DCMAKE_PREFIX_PATH={prefix}",
            f"-DCMAKE_C_COMPILER={arguments.cc}", f"-DCMAKE_C_FLAGS={arguments.flags}")
        run("cmake", "--build", root / "cmake")
        check_output(root / "cmake" / "consumer", library_folder)

        environment = {**os.environ, "PKG_CONFIG_PATH": str(package_files[0].parent)}
        flags = shlex.split(run("pkg-config", "--cflags", "--libs", "kovadata", env=environment))
        source = pathlib.Path(arguments.consumer) / "consumer.c"
        run(arguments.cc, "-std=c99", "-Wall", "-Wextra", "-Werror", "-pedantic", *shlex.split(arguments.flags), source,
            "-o", root / "by_pkg_config", *flags)
        check_output(root / "by_pkg_config", library_folder)
        check_tools(prefix, root)


if __name__ == "__main__":
    main()
