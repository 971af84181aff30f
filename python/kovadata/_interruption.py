"""An end by Ctrl-C that leaves no part of a file, for what is run as a program."""

from __future__ import annotations

import os
import pathlib
import signal
from types import FrameType
from typing import Optional, Set

# Files that are being written and do not have their name yet.
unfinished: Set[pathlib.Path] = set()

_is_ending = False


def end_when_interrupted() -> None:
    """From now on Ctrl-C ends the program with one line and leaves no part of a file, whatever it is doing.

    An exception would be shown with its trace, or be lost in an import or a package that catches everything.
    """
    for number in (signal.SIGINT, signal.SIGTERM):
        if signal.getsignal(number) is not signal.SIG_IGN:
            signal.signal(number, _end)
    # `kova` holds it back while the interpreter starts.
    signal.pthread_sigmask(signal.SIG_UNBLOCK, {signal.SIGINT})


def _end(number: int, _: Optional[FrameType]) -> None:
    global _is_ending
    if _is_ending:  # a second signal, while the first is obeyed
        return
    _is_ending = True
    for path in tuple(unfinished):
        path.unlink(missing_ok=True)
    os.write(2, (b"\r\033[K" if os.isatty(2) else b"") + b"kova: interrupted\n")
    os._exit(128 + number)
