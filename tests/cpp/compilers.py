"""The C++ compilers of this machine among those that are asked for."""

import os
import re
import shutil
import subprocess

STANDARDS = (("c++20",), ("c++23", "c++2b"))  # names of a standard, the newest first


def there(names: list[str]) -> list[str]:
    """Paths of those that are there, each compiler once whatever its names."""
    paths = (path for path in map(shutil.which, names) if path)
    return list({os.path.realpath(path): path for path in paths}.values())


def takes(compiler: str, standard: str) -> bool:
    command = [compiler, f"-std={standard}", "-fsyntax-only", "-x", "c++", "-"]
    return subprocess.run(command, input="", text=True, capture_output=True).returncode == 0


def standards_of(compiler: str) -> list[str]:
    known = (next((name for name in names if takes(compiler, name)), None) for names in STANDARDS)
    return [name for name in known if name]


def is_clang(compiler: str) -> bool:
    version = subprocess.run([compiler, "--version"], text=True, capture_output=True, check=True).stdout
    return re.search(r"\bclang\b", version) is not None
