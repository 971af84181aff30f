"""Threads of an export: one reads ahead, some work on what was read, the caller's writes in order and hears Ctrl-C."""

from __future__ import annotations

import collections
import concurrent.futures
import queue
import threading
from typing import Callable, Deque, Iterator, Optional, Tuple, TypeVar

T = TypeVar("T")
R = TypeVar("R")


def ahead(items: Iterator[T], stop: Callable[[], None], depth: int = 2) -> Iterator[T]:
    """Runs an iterator on a thread of its own: the caller waits where signals reach it.

    ``stop`` makes the iterator end soon, for when the caller wants no more.
    """
    waiting: "queue.Queue[Tuple[Optional[T], Optional[BaseException]]]" = queue.Queue(depth)
    is_over = threading.Event()

    def put(item: Optional[T], error: Optional[BaseException]) -> None:
        while not is_over.is_set():
            try:
                return waiting.put((item, error), timeout=0.1)
            except queue.Full:
                pass

    def read() -> None:
        try:
            for item in items:
                put(item, None)
                if is_over.is_set():
                    return
            put(None, StopIteration())
        except BaseException as error:  # is the caller's
            put(None, error)

    thread = threading.Thread(target=read, name="kovadata-read", daemon=True)
    thread.start()
    try:
        while True:
            item, error = waiting.get()
            if isinstance(error, StopIteration):
                return
            if error is not None:
                raise error
            yield item  # type: ignore[misc]
    finally:
        is_over.set()
        stop()
        thread.join()


def in_order(items: Iterator[T], work: Callable[[T], R], threads: int) -> Iterator[R]:
    """Results of ``work`` in the order of the items, of which ``threads`` and one more are under way at most."""
    if threads < 2:
        yield from map(work, items)
        return
    with concurrent.futures.ThreadPoolExecutor(threads, "kovadata-work") as pool:
        under_way: Deque["concurrent.futures.Future[R]"] = collections.deque()
        try:
            for item in items:
                under_way.append(pool.submit(work, item))
                if len(under_way) > threads:
                    yield under_way.popleft().result()
            while under_way:
                yield under_way.popleft().result()
        finally:
            for future in under_way:
                future.cancel()
