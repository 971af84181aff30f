"""Reads one frame: packed scans, and peaks as columns."""

from __future__ import annotations

import ctypes
import operator
import struct
from ctypes import addressof, c_int64, c_uint32
from typing import Any, List, Optional

import numpy as np

from ._arrays import address, require_out
from ._arrow_c import BatchStream, Field
from ._errors import BufferTooSmall, KovaError
from ._library import last_error, library
from ._queries import Control, Query
from ._run import Run

_SCAN, _TOF_INDEX, _INTENSITY, _MZ, _ONE_OVER_K0 = 8, 16, 32, 64, 128
_PEAKS = (Field("scan", "I"), Field("tof_index", "I"), Field("intensity", "I"))
_COLUMNS = {(mz, one_over_k0): (_SCAN | _TOF_INDEX | _INTENSITY | _MZ * mz | _ONE_OVER_K0 * one_over_k0,
                                _PEAKS + (Field("mz", "g"),) * mz + (Field("one_over_k0", "g"),) * one_over_k0)
            for mz in (False, True) for one_over_k0 in (False, True)}
# A `Query` as bytes, which takes a third of the time.
_QUERY, _QUERY_SIZE = struct.Struct("@IIPQPPPIIII"), ctypes.sizeof(Query)
# A frame comes in one batch.
_NO_LIMIT = 0x7FFFFFFF


def scan_number(value: object) -> int:
    """A scan number that the library can be asked for; other integers would wrap on the way."""
    number = operator.index(value)  # type: ignore[arg-type]
    if not 0 <= number <= 0xFFFFFFFF:
        raise ValueError(f"{number} is no number of a scan")
    return number


class ScanReader:
    """Reads single frames of a run, on the calling thread."""

    def __init__(self, run: Run) -> None:
        self._run = run
        self._control = Control(size=ctypes.sizeof(Control), threads=1, batch_size=_NO_LIMIT)
        self._control_address = addressof(self._control)

    def peaks(self, frame: int, begin: int, end: int, normalized: bool, mz: bool,
              one_over_k0: bool) -> List[Optional[np.ndarray]]:
        """Columns of the peaks of some scans, None for those that were not asked for."""
        columns, fields = _COLUMNS[bool(mz), bool(one_over_k0)]
        stream, one = BatchStream(fields), c_int64(frame)
        query = _QUERY.pack(_QUERY_SIZE, 0, addressof(one), 1, 0, 0, 0, begin, end, 1 if normalized else 2, 0)
        with self._run as run:
            if not library().kvr_peaks(run, query, columns, self._control_address, stream.address):
                raise KovaError(last_error("kvr"))
        found: List[Optional[np.ndarray]] = [*(stream.next_numbers() or (np.empty(0, field.dtype) for field in fields))]
        if not mz:
            found.insert(3, None)
        if not one_over_k0:
            found.append(None)
        return found

    def words(self, frame: int, begin: int, end: int, normalized: bool, out: Optional[np.ndarray] = None,
              expected: int = 0) -> np.ndarray:
        """Packed scans, in the caller's array if there is one: counts, then indices and intensities of each scan.

        Without one, the frame is read once if as many words are needed as were expected, and twice if more are.
        """
        if out is not None:
            require_out(out, np.uint32)
            room = min(out.nbytes, 0xFFFFFFFC)
            size = self._call(normalized, frame, begin, end, address(out), room)
            if size > room:
                raise BufferTooSmall(f"the scans need {size // 4} values, out has {out.size}", size // 4)
            return out.reshape(-1)[:size // 4]
        words = np.empty(expected, np.uint32)
        size = self._call(normalized, frame, begin, end, address(words), words.nbytes)
        if size > words.nbytes:
            words = np.empty(size // 4, np.uint32)
            self._call(normalized, frame, begin, end, address(words), size)
        return words[:size // 4]

    def require(self, frame: int, begin: int, end: int) -> None:
        """Raises what the library says if a frame does not have all these scans."""
        self._call(False, frame, begin, end, None, 0)

    def count_scans(self, frame: int) -> int:
        """The number of scans of a frame, found out by reading it if need be."""
        count = c_uint32()
        self._run.call("count_scans", frame, addressof(count))
        return count.value

    def _call(self, normalized: bool, *arguments: Any) -> int:
        return self._run.call_lent("read_scans_v2" if normalized else "read_scans_internal", *arguments)
