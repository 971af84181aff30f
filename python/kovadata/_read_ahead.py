"""Reads frames ahead on a pool of handles."""

from __future__ import annotations

import collections
import queue
import threading
from concurrent.futures import Future, ThreadPoolExecutor
from typing import TYPE_CHECKING, Deque, Iterator, Set

import numpy as np

from . import _fork
from ._errors import KovaError
from ._frame import Frame
from ._library import set_num_threads

if TYPE_CHECKING:
    from ._analysis import Analysis

# Enough to keep the pool busy while the caller works on a frame; each frame that waits needs memory for its peaks.
_FRAMES_AHEAD_PER_THREAD = 2


def read_ahead(analysis: Analysis, rows: np.ndarray, threads: int) -> Iterator[Frame]:
    """Frames in the order of their rows, with their peaks, which several threads read before they are asked for."""
    if analysis.closed:
        raise ValueError(f"the analysis is closed: {analysis._path}")
    clones = [analysis._clone() for _ in range(threads)]
    free: "queue.SimpleQueue[Analysis]" = queue.SimpleQueue()
    for clone in clones:
        free.put(clone)

    def read(row: np.void) -> Frame:
        clone = free.get()
        try:
            return Frame(analysis, row, Frame(clone, row).peaks())
        finally:
            free.put(clone)

    # The pool is the parallelism: its threads convert without workers of their own.
    workers: Set[threading.Thread] = set()

    def begin() -> None:
        workers.add(threading.current_thread())
        set_num_threads(1)

    pool = ThreadPoolExecutor(threads, "kovadata", initializer=begin)
    waiting: "Deque[Future[Frame]]" = collections.deque()
    generation = _fork.generation
    try:
        for row in rows:
            if generation != _fork.generation:
                raise KovaError("frames(threads=...) that began before a fork cannot go on in the child")
            waiting.append(pool.submit(read, row))
            if len(waiting) > _FRAMES_AHEAD_PER_THREAD * threads:
                yield waiting.popleft().result()
        while waiting:
            yield waiting.popleft().result()
    finally:
        # In a forked child there are no threads to wait for.
        if generation == _fork.generation:
            for future in waiting:
                future.cancel()
            # A worker may be the one that collects an abandoned generator, and cannot wait for itself.
            pool.shutdown(wait=threading.current_thread() not in workers)
            for clone in clones:
                clone.close()
