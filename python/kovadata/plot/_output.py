"""Files that appear when they are complete, and an end by Ctrl-C that leaves no part of one."""

from __future__ import annotations

import os
import pathlib
import signal
from types import FrameType
from typing import List, NoReturn, Optional

from .._errors import KovaError

_unfinished: List[str] = []


def end_when_interrupted() -> None:
    """From now on Ctrl-C ends the program with one line, whatever it is doing.

    An exception would be shown with its trace, or be lost in an import or a callback that catches everything.
    """
    for number in (signal.SIGINT, signal.SIGTERM):
        if signal.getsignal(number) is not signal.SIG_IGN:
            signal.signal(number, _end)
    # `kova plot` holds it back while the interpreter starts.
    signal.pthread_sigmask(signal.SIG_UNBLOCK, {signal.SIGINT})


def _end(number: int, _: Optional[FrameType]) -> NoReturn:
    for path in _unfinished:
        if os.path.exists(path):
            os.unlink(path)
    os.write(2, b"kova: interrupted\n")
    os._exit(128 + number)


def write_file(path: pathlib.Path, content: bytes) -> None:
    """Writes a file under another name first. What is no ordinary file, such as a pipe, is written as it is."""
    target = os.path.realpath(path)
    is_staged = not os.path.exists(target) or os.path.isfile(target)
    written = f"{target}.{os.getpid()}.part" if is_staged else target
    if is_staged:
        _unfinished.append(written)
    try:
        with open(written, "wb") as file:
            file.write(content)
        if is_staged:
            os.replace(written, target)
    except OSError as error:
        if is_staged and os.path.exists(written):
            os.unlink(written)
        raise KovaError(f"{path}: {error.strerror}") from error
    finally:
        _unfinished.clear()
