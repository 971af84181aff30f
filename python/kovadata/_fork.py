"""Notices forks: what a process opened must not be used by its children."""

from __future__ import annotations

import os
import threading
from typing import Any, List

generation = 0
_lock = threading.Lock()
# Held so that their finalisers, which would close the parent's files, never run in a child.
_inherited: List[Any] = []


def _after_fork_in_child() -> None:
    global generation, _lock
    generation += 1
    _lock = threading.Lock()


os.register_at_fork(after_in_child=_after_fork_in_child)


class ForkAware:
    """Something with a lock that belongs to the process that made it, and starts again in a forked child."""

    def __init__(self) -> None:
        self._start_anew()

    def _start_anew(self) -> None:
        # A signal handler may use what the interrupted thread is using.
        self._lock = threading.RLock()
        self._depth = 0
        self._generation = generation

    def _inherited_resource(self) -> Any:
        """Takes out what has to be neither used nor released here."""
        raise NotImplementedError

    def _notice_fork(self) -> None:
        if self._generation == generation:
            return
        with _lock:
            if self._generation != generation:
                _inherited.append(self._inherited_resource())
                self._start_anew()
