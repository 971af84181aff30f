"""Runs that stay open between the partitions of them that a process reads one after the other.

Opening a run and reading its table of frames costs as much as some million peaks. A run that nobody uses is kept open until a few
others are; whoever asks for it takes it out, so nobody else has it meanwhile. There are no locks, which a fork could leave
locked: each step on the dictionary is one that threads cannot come between.
"""

from __future__ import annotations

import collections
import contextlib
from typing import Any, Iterator

from .._analysis import Analysis

_MOST = 4
_idle: "collections.OrderedDict[Any, Analysis]" = collections.OrderedDict()


@contextlib.contextmanager
def open_run(path: str, state: Any, recalibrated: bool, calibration: Any) -> Iterator[Analysis]:
    """The run at a path as a context; one that was opened when its files were in the same state will do."""
    key = path, state, recalibrated, calibration
    analysis = _idle.pop(key, None)
    if analysis is None or analysis.closed:
        analysis = Analysis(path, recalibrated, calibration=calibration)
    try:
        yield analysis
    finally:
        _keep(key, analysis)


def _keep(key: Any, analysis: Analysis) -> None:
    another = _idle.pop(key, None)
    if another is not None:
        another.close()
    _idle[key] = analysis
    while len(_idle) > _MOST:
        close_idle(1)


def close_idle(count: int = _MOST) -> None:
    """Closes the runs that were used longest ago."""
    for _ in range(count):
        try:
            _idle.popitem(last=False)[1].close()
        except KeyError:
            return
