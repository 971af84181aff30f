"""Peaks of a range of scans, as one view per scan or as arrays over all of them."""

from __future__ import annotations

import dataclasses
from typing import Any, Iterator, NamedTuple, Optional, Tuple

import numpy as np

from ._table import with_nulls

# Below, picking peaks out one by one is quicker than copying whole scans; see docs/python.md.
_PEAKS_PER_SCAN_WORTH_COPYING = 128


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
    tof_index: np.ndarray
    intensity: np.ndarray


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


@dataclasses.dataclass(frozen=True, eq=False, repr=False)
class Peaks:
    """The peaks of a range of scans of one frame, scan by scan, in the order of their indices within a scan.

    The arrays are parts of one block of memory: copy one that is to be kept without the others.

    Attributes
    ----------
    frame_id : int
        "Id" of the frame.
    begin : int
        Number of the first scan.
    offsets : ndarray of int64, shape (scans + 1,)
        The peaks of scan ``begin + i`` are those from ``offsets[i]`` up to, not including, ``offsets[i + 1]``.
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
    offsets: np.ndarray
    scan: np.ndarray
    tof_index: np.ndarray
    intensity: np.ndarray
    mz: Optional[np.ndarray]
    one_over_k0: Optional[np.ndarray]

    def __len__(self) -> int:
        return len(self.tof_index)

    def __repr__(self) -> str:
        end = self.begin + len(self.offsets) - 1
        return f"<kovadata.Peaks: {len(self)} peaks of scans {self.begin}:{end} of frame {self.frame_id}>"

    def scans(self) -> Scans:
        """The same peaks as one view per scan."""
        counts = np.diff(self.offsets).astype(np.uint32)
        first = self.offsets[:-1]
        return Scans(self.begin, counts, self.tof_index, self.intensity, first, first)

    def between(self, begin: int, end: int) -> Peaks:
        """The peaks of scans `begin` up to, not including, `end`, as views."""
        offsets = self.offsets[begin - self.begin:end - self.begin + 1]
        part = slice(int(offsets[0]), int(offsets[-1]))

        def cut(values: Optional[np.ndarray]) -> Any:
            return None if values is None else values[part]

        return Peaks(self.frame_id, begin, offsets - offsets[0], self.scan[part], self.tof_index[part],
                     self.intensity[part], cut(self.mz), cut(self.one_over_k0))

    def table(self, kind: str) -> Any:
        """The peaks as a data frame, with null values where a frame has no calibration.

        Parameters
        ----------
        kind : {"pandas", "polars", "arrow"}
            Package of the data frame.

        Returns
        -------
        pandas.DataFrame, polars.DataFrame or pyarrow.Table
            Columns ``scan``, ``tof_index``, ``intensity``, and ``mz`` and ``one_over_k0`` where they are not None.
        """
        names = ("scan", "tof_index", "intensity", "mz", "one_over_k0")
        columns = {name: getattr(self, name) for name in names}
        return with_nulls({name: values for name, values in columns.items() if values is not None}, kind)


class PeakBuffer:
    """Memory for peaks that is used again, which spares the system from finding and clearing new memory for each frame.

    Pass it to `Frame.peaks` as ``out``. It grows when it has to.
    """

    def __init__(self) -> None:
        self._block = np.empty(0, np.uint8)

    def _take(self, size: int) -> np.ndarray:
        if size > len(self._block):
            self._block = np.empty(size + size // 4, np.uint8)
        return self._block[:size]


class Columns:
    """Arrays with one element per peak, in one block of memory: large blocks get pages that cost less.

    Floating-point columns that are not asked for are None.
    """

    def __init__(self, peaks: int, mz: bool, one_over_k0: bool, out: Optional[PeakBuffer]) -> None:
        if not isinstance(out, (PeakBuffer, type(None))):
            raise TypeError("out must be a kovadata.PeakBuffer")
        size = peaks * (8 * (mz + one_over_k0) + 12)
        self._block = np.empty(size, np.uint8) if out is None else out._take(size)
        self._used = 0
        self.mz = self._column(peaks, np.float64) if mz else None
        self.one_over_k0 = self._column(peaks, np.float64) if one_over_k0 else None
        self.scan = self._column(peaks, np.uint32)
        self.tof_index = self._column(peaks, np.uint32)
        self.intensity = self._column(peaks, np.uint32)

    def _column(self, peaks: int, dtype: Any) -> np.ndarray:
        begin, self._used = self._used, self._used + peaks * np.dtype(dtype).itemsize
        return self._block[begin:self._used].view(dtype)


def separate(words: np.ndarray, scans: int, mz: bool, one_over_k0: bool,
             out: Optional[PeakBuffer]) -> Tuple[np.ndarray, Columns]:
    """Takes the library's result apart: where the peaks of each scan begin, their indices and intensities."""
    counts = words[:scans].astype(np.int64)
    offsets = np.zeros(scans + 1, np.int64)
    np.cumsum(counts, out=offsets[1:])
    columns = Columns(int(offsets[-1]), mz, one_over_k0, out)
    fill = _copy_scans if offsets[-1] >= _PEAKS_PER_SCAN_WORTH_COPYING * scans else _pick_peaks
    fill(words, counts, offsets, columns)
    return offsets, columns


def _copy_scans(words: np.ndarray, counts: np.ndarray, offsets: np.ndarray, columns: Columns) -> None:
    source, index, intensity = words.data[len(counts):], columns.tof_index.data, columns.intensity.data
    at = 0
    for begin, end in zip(offsets[:-1].tolist(), offsets[1:].tolist()):
        middle = at + end - begin
        index[begin:end] = source[at:middle]
        at = middle + end - begin
        intensity[begin:end] = source[middle:at]


def _pick_peaks(words: np.ndarray, counts: np.ndarray, offsets: np.ndarray, columns: Columns) -> None:
    places = np.repeat(offsets[:-1] + len(counts), counts)
    places += np.arange(len(places))
    words.take(places, out=columns.tof_index, mode="clip")
    places += np.repeat(counts, counts)
    words.take(places, out=columns.intensity, mode="clip")
