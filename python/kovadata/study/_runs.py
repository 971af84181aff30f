"""The runs of a study: paths and globs, and what their files looked like when reading was planned."""

from __future__ import annotations

import glob
import os
import socket
import time
from typing import Iterable, List, NamedTuple, Tuple, Union

from .._errors import KovaError

Path = Union[str, "os.PathLike[str]"]
Paths = Union[Path, Iterable[Path]]

# What a run consists of; what a writer has not yet moved into a database lies beside it.
_NAMES = ("analysis.kvd", "analysis.kvd-wal", "analysis.kvd_bin", "calibration.sqlite", "calibration.sqlite-wal")


class FileState(NamedTuple):
    """A file of a run, and how to see that it was written to."""

    name: str
    size: int
    changed: int  # ns

    def __str__(self) -> str:
        return f"{self.size} bytes, written {time.strftime('%Y-%m-%d %H:%M:%S', time.localtime(self.changed // 10**9))}"


class StudyRun(NamedTuple):
    """A run as it was when reading was planned.

    Attributes
    ----------
    name : str
        The path as it was given, or as a glob found it.
    path : str
        The absolute path.
    files : tuple of FileState
        Its files.
    """

    name: str
    path: str
    files: Tuple[FileState, ...]

    def check(self) -> None:
        """KovaError if the run is not there, or no longer the same."""
        found = {file.name: file for file in file_states(self.path)}
        for file in self.files:
            now = found.pop(file.name, None)
            if now != file:
                is_now = "is gone" if now is None else f"is now {now}"
                raise KovaError(f"{self.path} has changed since its reading was planned: {file.name} was {file} and {is_now}. "
                                "Plan again when nothing writes to it any more.")
        for name in found:
            raise KovaError(f"{self.path} has changed since its reading was planned: {name} was not there. "
                            "Plan again when nothing writes to it any more.")


def file_states(path: str) -> Tuple[FileState, ...]:
    """The files of a run as they are now."""
    if not os.path.isdir(path):
        raise KovaError(f"{path} is not to be found on {socket.gethostname()}. Every machine that reads a run needs it under the "
                        "same path: on a file system that all of them share, or as a copy of its own (kovadata.stage).")
    states = []
    for name in _NAMES:
        try:
            status = os.stat(os.path.join(path, name))
        except FileNotFoundError:
            continue
        states.append(FileState(name, status.st_size, status.st_mtime_ns))
    return tuple(states)


def expand(paths: Paths) -> List[str]:
    """The runs that paths and globs name, those of a glob in alphabetical order.

    Raises
    ------
    KovaError
        A glob finds nothing, or a path is a URL.
    """
    found: List[str] = []
    for path in [paths] if isinstance(paths, (str, os.PathLike)) else paths:
        name = os.fsdecode(path)
        if "://" in name:
            raise KovaError(f"{name} is a URL. Runs are read from directories; kovadata.stage(url, cache) copies one into a cache.")
        if glob.has_magic(name) and not os.path.exists(name):
            matching = sorted(glob.glob(name, recursive=True))
            if not matching:
                raise KovaError(f"No path matches {name}.")
            found += matching
        else:
            found.append(name)
    return found
