"""Reads packed scans, into a buffer that is used again or into the caller's."""

from __future__ import annotations

import operator
from typing import Callable, Optional, TypeVar

import numpy as np

from ._arrays import address, require_out
from ._errors import BufferTooSmall, KovaError
from ._handle import Handle

T = TypeVar("T")

_INITIAL_WORDS = 1 << 18
_MAX_SCAN = 0xFFFFFFFE


def scan_number(value: object) -> int:
    """A scan number that the library can be asked for; other integers would wrap on the way."""
    number = operator.index(value)  # type: ignore[arg-type]
    if not 0 <= number <= 0xFFFFFFFF:
        raise ValueError(f"{number} is no number of a scan")
    return number


class ScanReader:
    """Reads scans through one handle."""

    def __init__(self, handle: Handle) -> None:
        self._handle = handle
        self._scratch: Optional[np.ndarray] = None

    def read(self, frame: int, begin: int, end: int, normalized: bool, use: Callable[[np.ndarray], T]) -> T:
        """Hands the result to a function, which must not keep it."""
        call = self._call(normalized)
        with self._handle as handle:
            # Taken away while in use: a signal handler may read in between.
            scratch, self._scratch = self._scratch, None
            if scratch is None:
                scratch = np.empty(_INITIAL_WORDS, np.uint32)
            while True:
                size = call(handle, frame, begin, end, address(scratch), scratch.nbytes)
                if size == 0:
                    self._scratch = scratch
                    raise self._handle.failure()
                if size <= scratch.nbytes:
                    break
                scratch = np.empty(max(size // 4, min(len(scratch) * 3 // 2, 0x3FFFFFFF)), np.uint32)
            try:
                return use(scratch[:size // 4])
            finally:
                self._scratch = scratch

    def read_into(self, frame: int, begin: int, end: int, normalized: bool, out: np.ndarray) -> np.ndarray:
        """Fills the caller's array and returns the part of it that was filled."""
        require_out(out, np.uint32)
        room = min(out.nbytes, 0xFFFFFFFC)
        with self._handle as handle:
            size = self._call(normalized)(handle, frame, begin, end, address(out), room)
            if size == 0:
                raise self._handle.failure()
        if size > room:
            raise BufferTooSmall(f"the scans need {size // 4} values, out has {out.size}", size // 4)
        return out.reshape(-1)[:size // 4]

    def count_scans(self, frame: int) -> int:
        """The number of scans of a frame for which the metadata do not state it.

        A frame stays decompressed between calls, and asking for the size of one scan is cheap: the step doubles until it
        is too far, then the interval is halved.
        """
        if not self._has_scan(frame, 0):
            return 0
        there, beyond = 0, 1
        while self._has_scan(frame, beyond):
            there, beyond = beyond, 2 * beyond
            if beyond > _MAX_SCAN:
                raise KovaError(f"the number of scans of frame {frame} cannot be found")
        while beyond - there > 1:
            middle = (there + beyond) // 2
            if self._has_scan(frame, middle):
                there = middle
            else:
                beyond = middle
        return beyond

    def _has_scan(self, frame: int, scan: int) -> bool:
        with self._handle as handle:
            if self._call(False)(handle, frame, scan, scan + 1, None, 0):
                return True
            failure = self._handle.failure()
        if str(failure).endswith("out of range."):
            return False
        # A scan whose data are damaged exists.
        if str(failure).startswith("CorruptScanDataError"):
            return True
        raise failure

    def _call(self, normalized: bool) -> Callable[..., int]:
        call: Callable[..., int] = self._handle.function("read_scans_v2" if normalized else "read_scans_internal")
        return call
