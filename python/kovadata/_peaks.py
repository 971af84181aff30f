"""Peaks of a range of scans, as one view per scan or as arrays over all of them."""

from __future__ import annotations

import dataclasses
import functools
from typing import Any, Callable, Iterable, Iterator, NamedTuple, Optional, Union

import numpy as np

from ._arrays import Float64, UInt32
from ._table import with_nulls

class Scan(NamedTuple):
    """The peaks of one scan.

    Attributes
    ----------
    scan : int
        Number of the scan in its frame, counted from 0.
    tof_index : ndarray of uint32, shape (n,)
        Time-of-flight indices, ascending.
    intensity : ndarray of uint32, shape (n,)
        Intensities in counts.
    """

    scan: int
    tof_index: UInt32
    intensity: UInt32


class Scans:
    """A range of scans of one frame: a sequence of `Scan`, whose arrays are views of one buffer.

    Attributes
    ----------
    begin : int
        Number of the first scan.
    counts : ndarray of uint32, shape (scans,)
        Number of peaks of each scan.
    """

    def __init__(self, begin: int, counts: np.ndarray, tof_index: np.ndarray, intensity: np.ndarray,
                 first_index: np.ndarray, first_intensity: np.ndarray) -> None:
        self.begin, self.counts = begin, counts
        self._tof_index, self._intensity = tof_index, intensity
        self._first_index, self._first_intensity = first_index, first_intensity

    @classmethod
    def from_words(cls, begin: int, scans: int, words: np.ndarray) -> Scans:
        """From the library's result: counts, then per scan its indices and its intensities."""
        counts = words[:scans]
        twice = 2 * counts.astype(np.intp)
        first = np.cumsum(twice) - twice + scans
        return cls(begin, counts, words, words, first, first + counts)

    @property
    def num_peaks(self) -> int:
        """Number of peaks of all scans together."""
        return int(self.counts.sum(dtype=np.int64))

    def __len__(self) -> int:
        return len(self.counts)

    def __repr__(self) -> str:
        return f"<kovadata.Scans: scans {self.begin}:{self.begin + len(self)}, {self.num_peaks} peaks>"

    def __getitem__(self, position: int) -> Scan:
        count = int(self.counts[position])
        index, intensity = int(self._first_index[position]), int(self._first_intensity[position])
        return Scan(self.begin + range(len(self.counts))[position], self._tof_index[index:index + count],
                    self._intensity[intensity:intensity + count])

    def __iter__(self) -> Iterator[Scan]:
        return (self[position] for position in range(len(self.counts)))


COLUMNS = ("scan", "tof_index", "intensity", "mz", "one_over_k0")


@dataclasses.dataclass(frozen=True, eq=False, repr=False)
class Peaks:
    """The peaks of a range of scans of one frame, scan by scan, in the order of their indices within a scan.

    ``peaks[mask]`` and ``peaks[a:b]`` are the peaks that numpy would choose.

    Attributes
    ----------
    frame_id : int
        "Id" of the frame.
    begin, end : int
        Number of the first scan, and of the one after the last.
    scan : ndarray of uint32, shape (n,)
        Number of the scan of each peak.
    tof_index : ndarray of uint32, shape (n,)
        Time-of-flight index of each peak.
    intensity : ndarray of uint32, shape (n,)
        Intensity of each peak in counts.
    mz : ndarray of float64, shape (n,), or None
        m/z of each peak in Th; NaN if the frame has no mass calibration, None if not asked for.
    one_over_k0 : ndarray of float64, shape (n,), or None
        1/K0 of each peak in V s / cm^2; NaN if the frame has no mobility calibration, None if not asked for.
    """

    frame_id: int
    begin: int
    end: int
    scan: UInt32
    tof_index: UInt32
    intensity: UInt32
    # None if not asked for; typed as if always there, so callers that asked need not check.
    mz: Union[Float64, Any]
    one_over_k0: Union[Float64, Any]

    @classmethod
    def of_columns(cls, frame_id: int, begin: int, end: int, columns: Iterable[Optional[np.ndarray]]) -> Peaks:
        """As the constructor makes it, which takes three times as long since peaks do not change."""
        peaks = object.__new__(cls)
        peaks.__dict__.update(zip(COLUMNS, columns), frame_id=frame_id, begin=begin, end=end)
        return peaks

    def __len__(self) -> int:
        return len(self.tof_index)

    def __repr__(self) -> str:
        return f"<kovadata.Peaks: {len(self)} peaks of scans {self.begin}:{self.end} of frame {self.frame_id}>"

    def __getitem__(self, which: Union[slice, np.ndarray]) -> Peaks:
        return self._map(lambda values: values[which])

    @functools.cached_property
    def offsets(self) -> np.ndarray:
        """Where scans begin: the peaks of scan ``begin + i`` are those from ``offsets[i]`` up to, not including,
        ``offsets[i + 1]``."""
        return np.searchsorted(self.scan, np.arange(self.begin, self.end + 1, dtype=np.uint32)).astype(np.int64)

    def scans(self) -> Scans:
        """The same peaks as one view per scan."""
        counts = np.diff(self.offsets).astype(np.uint32)
        first = self.offsets[:-1]
        return Scans(self.begin, counts, self.tof_index, self.intensity, first, first)

    def between(self, begin: int, end: int) -> Peaks:
        """The peaks of scans `begin` up to, not including, `end`, as views."""
        first, last = np.searchsorted(self.scan, [begin, end])
        return dataclasses.replace(self[first:last], begin=begin, end=end)

    def converted(self, mz: bool, one_over_k0: bool) -> Peaks:
        """The same peaks without columns that were not asked for."""
        return dataclasses.replace(self, mz=self.mz if mz else None, one_over_k0=self.one_over_k0 if one_over_k0 else None)

    def _map(self, change: Callable[[np.ndarray], np.ndarray]) -> Peaks:
        columns = (getattr(self, name) for name in COLUMNS)
        return Peaks.of_columns(self.frame_id, self.begin, self.end,
                                (None if values is None else change(values) for values in columns))

    def table(self, kind: str = "numpy") -> Any:
        """The peaks as a table, with null values in data frames where a frame has no calibration.

        Parameters
        ----------
        kind
            As for `Analysis.frame_table`.

        Returns
        -------
        ndarray, pandas.DataFrame, polars.DataFrame or pyarrow.Table
            Columns ``scan``, ``tof_index``, ``intensity``, and ``mz`` and ``one_over_k0`` where they are not None.
        """
        columns = {name: getattr(self, name) for name in COLUMNS}
        return with_nulls({name: values for name, values in columns.items() if values is not None}, kind)


class PeakBuffer:
    """Memory for peaks that is used again: the arrays of frame after frame are at the same place.

    Pass it to `Frame.peaks` as ``out``. It grows when it has to.
    """

    def __init__(self) -> None:
        self._block = np.empty(0, np.uint8)

    def _fill(self, peaks: Peaks) -> Peaks:
        size = sum(values.nbytes for values in (getattr(peaks, name) for name in COLUMNS) if values is not None)
        if size > len(self._block):
            self._block = np.empty(size + size // 4, np.uint8)
        used = 0

        def moved(values: np.ndarray) -> np.ndarray:
            nonlocal used
            begin, used = used, used + values.nbytes
            target = self._block[begin:used].view(values.dtype)
            target[:] = values
            return target

        # Numbers of eight bytes come first, where they are aligned.
        mz, one_over_k0 = (None if values is None else moved(values) for values in (peaks.mz, peaks.one_over_k0))
        return Peaks(peaks.frame_id, peaks.begin, peaks.end, moved(peaks.scan), moved(peaks.tof_index),
                     moved(peaks.intensity), mz, one_over_k0)
