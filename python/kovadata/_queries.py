"""What is asked of the library: structures of its queries, made from the arguments that users write.

An open end or range is None there, and infinite or NULL here.
"""

from __future__ import annotations

import concurrent.futures
import ctypes
import itertools
import math
import operator
import threading
import warnings
import weakref
from ctypes import c_char_p, c_double, c_int64, c_uint32, c_uint64, c_void_p
from typing import Any, Callable, List, Optional, Tuple, TypeVar, Union

import numpy as np
import numpy.typing as npt

from ._arrays import address
from ._errors import DamageWarning

T = TypeVar("T")

Range = Optional[Tuple[Optional[float], Optional[float]]]
Ranges = Union[Range, npt.ArrayLike]
ScanRange = Optional[Tuple[int, Optional[int]]]

_REDUCTIONS = {"sum": 0, "max": 1, "count": 2}
_NORMALIZED, _RAW = 1, 2
_LAST_SCAN = 2 ** 32 - 1


class _Range(ctypes.Structure):
    _fields_ = [("low", c_double), ("high", c_double)]


class Query(ctypes.Structure):
    """Which peaks a call is about. What it points to is kept by its attributes."""

    _fields_ = [("size", c_uint32), ("ms_level", c_uint32), ("frames", c_void_p), ("num_frames", c_uint64),
                ("time", c_void_p), ("mz", c_void_p), ("one_over_k0", c_void_p), ("scan_begin", c_uint32),
                ("scan_end", c_uint32), ("intensities", c_uint32), ("reserved", c_uint32)]
    kept: List[Any]


_ProgressCallback = ctypes.CFUNCTYPE(c_uint32, c_void_p, c_uint64, c_uint64)
_DamageCallback = ctypes.CFUNCTYPE(None, c_void_p, c_int64, c_char_p)


class Control(ctypes.Structure):
    """How a call works, apart from what it gives."""

    _fields_ = [("size", c_uint32), ("threads", c_uint32), ("batch_size", c_uint64), ("skip_damaged", c_uint32),
                ("reserved", c_uint32), ("progress", _ProgressCallback), ("damaged", _DamageCallback),
                ("context", c_void_p)]


class Observer:
    """Who is told how far the calls of a thread are, may end them, and lists damaged frames in place of a warning."""

    def __init__(self) -> None:
        self.damaged: List[Tuple[int, str]] = []
        self.is_cancelled = False

    def told(self, done: int, total: int) -> None:
        """So many frames have been read."""

    def __enter__(self) -> Observer:
        _observers.current = self
        return self

    def __exit__(self, *exception: object) -> None:
        _observers.current = None


_observers = threading.local()


class Watch:
    """What goes on in a call or stream: damaged frames that were left out, and whether it is to end."""

    def __init__(self) -> None:
        self.damaged: List[Tuple[int, str]] = []
        self.is_cancelled = False
        self.progress: Optional[Callable[[int, int], None]] = None
        self._observer: Optional[Observer] = getattr(_observers, "current", None)
        self.number = next(_numbers)
        _watches[self.number] = self

    def warn(self) -> None:
        """Warns of the frames that were left out, if there are any."""
        if self._observer is not None:
            self._observer.damaged += self.damaged
        elif self.damaged:
            listed = "; ".join(f"{frame} ({text})" for frame, text in self.damaged[:20])
            more = f"; and {len(self.damaged) - 20} more" if len(self.damaged) > 20 else ""
            warnings.warn(f"damaged frames were left out: {listed}{more}", DamageWarning, stacklevel=3)

    def told(self, done: int, total: int) -> None:
        """So many frames have been read."""
        if self.progress is not None:
            self.progress(done, total)
        if self._observer is not None:
            self._observer.told(done, total)
            self.is_cancelled |= self._observer.is_cancelled

    def wait_for(self, action: Callable[[], T]) -> T:
        """Runs a long call such that Ctrl-C ends it: signals reach the main thread only between instructions of Python."""
        if threading.current_thread() is not threading.main_thread():
            return action()
        with concurrent.futures.ThreadPoolExecutor(1, "kovadata") as worker:
            try:
                return worker.submit(action).result()
            except BaseException:
                self.is_cancelled = True
                raise


# A stream may outlive the object that began it, in the hands of another package: its callbacks find a watch by its number,
# if it is still there.
_numbers = itertools.count(1)
_watches: "weakref.WeakValueDictionary[int, Watch]" = weakref.WeakValueDictionary()


def _on_progress(number: int, done: int, total: int) -> int:
    watch = _watches.get(number)
    if watch is not None:
        watch.told(done, total)
    return int(watch is None or not watch.is_cancelled)


def _on_damage(number: int, frame: int, text: bytes) -> None:
    watch = _watches.get(number)
    if watch is not None:
        watch.damaged.append((frame, text.decode("utf-8", "replace")))


_progress_callback, _damage_callback = _ProgressCallback(_on_progress), _DamageCallback(_on_damage)


def control(watch: Watch, threads: Optional[int], on_damage: str, batch_size: int = 0) -> Control:
    """Settings of a call."""
    if on_damage not in ("raise", "skip"):
        raise ValueError(f"on_damage must be 'raise' or 'skip', not {on_damage!r}")
    if threads is not None and not 1 <= threads <= 0xFFFF:
        raise ValueError(f"the number of threads must be from 1 to 65535, not {threads}")
    if batch_size < 0:
        raise ValueError("the size of a batch must not be negative")
    return Control(size=ctypes.sizeof(Control), threads=threads or 0, batch_size=batch_size,
                   skip_damaged=on_damage == "skip", progress=_progress_callback,
                   damaged=_damage_callback, context=watch.number)


def pair(name: str, limits: Range) -> Tuple[float, float]:
    """Both ends of a range, infinite where it is open."""
    if limits is None:
        return -math.inf, math.inf
    try:
        low, high = limits
        return -math.inf if low is None else float(low), math.inf if high is None else float(high)
    except (TypeError, ValueError):
        raise TypeError(f"{name} must be a pair (low, high), not {limits!r}") from None


def query(frames: Optional[np.ndarray] = None, *, ms_level: Optional[int] = None, time_range: Range = None,
          mz_range: Range = None, mobility_range: Range = None, scan_range: ScanRange = None,
          normalized: bool = True) -> Query:
    """A query of the library."""
    if ms_level not in (None, 1, 2):
        raise ValueError(f"ms_level must be 1, 2, 'auto' or None, not {ms_level!r}")
    made = Query(size=ctypes.sizeof(Query), ms_level=ms_level or 0, intensities=_NORMALIZED if normalized else _RAW)
    made.kept = []
    if scan_range is not None:
        begin, end = operator.index(scan_range[0]), scan_range[1]
        if not 0 <= begin < (_LAST_SCAN if end is None else operator.index(end)) <= _LAST_SCAN:
            raise ValueError(f"scan_range must be a pair (begin, end) of ascending numbers of scans, not {scan_range!r}")
        made.scan_begin, made.scan_end = begin, end or 0
    for name, argument, limits in (("time", "time_range", time_range), ("mz", "mz_range", mz_range),
                                   ("one_over_k0", "mobility_range", mobility_range)):
        if limits is not None:
            kept = _Range(*pair(argument, limits))
            made.kept.append(kept)
            setattr(made, name, ctypes.addressof(kept))
    if frames is not None:
        ids = np.ascontiguousarray(frames, np.int64)
        # NULL means all frames, so that no frame has to point somewhere.
        made.kept.append(ids if len(ids) else np.zeros(1, np.int64))
        made.frames, made.num_frames = address(made.kept[-1]), len(ids)
    return made


def targets(mz_ranges: Ranges, mobility_ranges: Ranges) -> np.ndarray:
    """Targets as the library takes them, a row each: ends of m/z, 1/K0 and time."""
    columns = [_pairs("mz_ranges", mz_ranges), _pairs("mobility_ranges", mobility_ranges)]
    counts = {len(column) for column in columns} - {1}
    if len(counts) > 1:
        raise ValueError("mz_ranges and mobility_ranges have different lengths")
    count = counts.pop() if counts else 1
    rows = np.empty((count, 6))
    rows[:, 0:2], rows[:, 2:4], rows[:, 4:6] = columns[0], columns[1], (-math.inf, math.inf)
    return rows


def _pairs(name: str, ranges: Ranges) -> np.ndarray:
    if ranges is None:
        return np.array([[-math.inf, math.inf]])
    array = np.asarray(ranges)
    if array.size == 0:
        return np.empty((0, 2))
    if array.ndim == 1:
        array = array[np.newaxis]
    if array.ndim != 2 or array.shape[1] != 2:
        raise ValueError(f"{name} must have the shape (n, 2), not {array.shape}")
    if array.dtype == object:  # some ends are None, which is open
        is_open = np.array([end is None for end in array.flat]).reshape(array.shape)
        array = np.where(is_open, (-math.inf, math.inf), array)
    return array.astype(np.float64)


def reduction(name: str) -> int:
    """The library's number of a reduction."""
    if name not in _REDUCTIONS:
        raise ValueError(f"{name!r} is none of {', '.join(_REDUCTIONS)}")
    return _REDUCTIONS[name]
