"""One frame of an analysis with ion mobility."""

from __future__ import annotations

from typing import TYPE_CHECKING, Any, Callable, Optional, Tuple

import numpy as np

from ._arrays import Converted, Out, Values
from ._errors import KovaError
from ._peaks import Columns, PeakBuffer, Peaks, Scans, separate
from ._scan_reader import scan_number

if TYPE_CHECKING:
    from ._analysis import Analysis

_NO_CALIBRATION = ("is missing MzCalibration/Polarity", "is missing KovaCalibration", "No m/z trafo available.",
                   "No mobility trafo available.")


def nan_without_calibration(convert: Callable[[int, np.ndarray, np.ndarray], Any], frame: int,
                            values: np.ndarray) -> np.ndarray:
    """Converts in place, to NaN if the frame has no such calibration."""
    try:
        convert(frame, values, values)
    except KovaError as error:
        if not str(error).endswith(_NO_CALIBRATION):
            raise
        values[:] = np.nan
    return values


def _number(value: Any) -> Optional[int]:
    return None if value < 0 else int(value)


class Frame:
    """One frame: an accumulation followed by a mobility ramp, a series of scans.

    Made by `Analysis.frame` and `Analysis.frames`. Reading goes through the analysis that it came from. Frames can be
    pickled; they take the analysis along.
    """

    def __init__(self, analysis: Analysis, row: np.void, peaks: Optional[Peaks] = None) -> None:
        self._analysis, self._row, self._peaks = analysis, row, peaks
        self._scan_count = _number(row["scans"]) if peaks is None else len(peaks.offsets) - 1

    def __repr__(self) -> str:
        return f"<kovadata.Frame {self.id} of {str(self._analysis.path)!r}>"

    def __reduce__(self) -> Tuple[Any, ...]:
        return Frame, (self._analysis, self._row)

    @property
    def analysis(self) -> Analysis:
        """The analysis that the frame belongs to."""
        return self._analysis

    @property
    def id(self) -> int:
        """ "Id" of the frame."""
        return int(self._row["id"])

    @property
    def time(self) -> float:
        """Retention time in s; NaN if the metadata do not state it."""
        return float(self._row["time"])

    @property
    def polarity(self) -> str:
        """ "+" or "-"; empty if the metadata do not state it."""
        return str(self._row["polarity"])

    @property
    def ms_level(self) -> Optional[int]:
        """1 for survey frames, 2 for frames with fragment spectra, None if the metadata do not tell."""
        return _number(self._row["ms_level"])

    @property
    def num_scans(self) -> int:
        """Number of scans. Found out by reading if the metadata do not state it."""
        if self._scan_count is None:
            self._scan_count = self._analysis._scan_reader.count_scans(self.id)
        return self._scan_count

    @property
    def num_peaks(self) -> Optional[int]:
        """Number of peaks that the metadata state, None if they do not."""
        return _number(self._row["peaks"])

    @property
    def intensity_sum(self) -> Optional[int]:
        """Sum of the measured intensities that the metadata state, None if they do not."""
        return _number(self._row["intensity_sum"])

    @property
    def accumulation_time(self) -> float:
        """Accumulation time in ms; NaN if the metadata do not state it."""
        return float(self._row["accumulation_time"])

    @property
    def ramp_time(self) -> float:
        """Duration of the mobility ramp in ms; NaN if the metadata do not state it."""
        return float(self._row["ramp_time"])

    def scans(self, begin: Optional[int] = None, end: Optional[int] = None, *, normalized: bool = True,
              out: Optional[np.ndarray] = None) -> Scans:
        """Reads a range of scans.

        Parameters
        ----------
        begin : int, optional
            First scan, counted from 0; the first one by default.
        end : int, optional
            Scan after the last one; all that follow by default.
        normalized : bool
            Whether intensities are normalised as the analysis asks for, or left as they were measured.
        out : ndarray of uint32, optional
            Buffer that the library fills in place, contiguous. Without it, the result has a buffer of its own.

        Returns
        -------
        Scans
            One `Scan` each, whose arrays are views of the buffer. They change when `out` is filled again.

        Raises
        ------
        KovaError
            There are no such scans, or the frame is damaged.
        BufferTooSmall
            The result does not fit into `out`, which was not touched.
        """
        first, last = self._range(begin, end)
        ready = self._peaks_read_ahead(first, last) if normalized and out is None else None
        if ready is not None:
            return ready.scans()
        if end is None and last == 0:
            return Scans.from_words(0, 0, np.empty(0, np.uint32))
        reader = self._analysis._scan_reader
        words = (reader.read(self.id, first, last, normalized, np.copy) if out is None
                 else reader.read_into(self.id, first, last, normalized, out))
        return Scans.from_words(first, last - first, words)

    def peaks(self, begin: Optional[int] = None, end: Optional[int] = None, *, normalized: bool = True,
              mz: bool = True, one_over_k0: bool = True, out: Optional[PeakBuffer] = None) -> Peaks:
        """Reads the peaks of a range of scans.

        Parameters
        ----------
        begin : int, optional
            First scan, counted from 0; the first one by default.
        end : int, optional
            Scan after the last one; all that follow by default.
        normalized : bool
            Whether intensities are normalised as the analysis asks for, or left as they were measured.
        mz, one_over_k0 : bool
            Whether to convert; conversions take time.
        out : PeakBuffer, optional
            Memory that is filled in place.

        Returns
        -------
        Peaks
            Arrays with one element per peak. They change when `out` is filled again.

        Raises
        ------
        KovaError
            There are no such scans, the frame is damaged, or its calibration is.
        """
        first, last = self._range(begin, end)
        ready = self._peaks_read_ahead(first, last) if normalized and mz and one_over_k0 and out is None else None
        if ready is not None:
            return ready
        scans = last - first
        if end is None and last == 0:
            offsets, columns = separate(np.empty(0, np.uint32), 0, mz, one_over_k0, out)
        else:
            offsets, columns = self._analysis._scan_reader.read(
                self.id, first, last, normalized, lambda words: separate(words, scans, mz, one_over_k0, out))
        self._fill(columns, first, np.diff(offsets))
        return Peaks(self.id, first, offsets, columns.scan, columns.tof_index, columns.intensity, columns.mz,
                     columns.one_over_k0)

    def index_to_mz(self, index: Values, out: Out = None) -> Converted:
        """Converts time-of-flight indices to m/z in Th, see `Analysis.index_to_mz`."""
        return self._analysis.index_to_mz(self.id, index, out)

    def mz_to_index(self, mz: Values, out: Out = None) -> Converted:
        """Converts m/z in Th to time-of-flight indices, see `Analysis.mz_to_index`."""
        return self._analysis.mz_to_index(self.id, mz, out)

    def scan_to_one_over_k0(self, scan: Values, out: Out = None) -> Converted:
        """Converts scan numbers to 1/K0 in V s / cm^2, see `Analysis.scan_to_one_over_k0`."""
        return self._analysis.scan_to_one_over_k0(self.id, scan, out)

    def one_over_k0_to_scan(self, one_over_k0: Values, out: Out = None) -> Converted:
        """Converts 1/K0 in V s / cm^2 to scan numbers, see `Analysis.one_over_k0_to_scan`."""
        return self._analysis.one_over_k0_to_scan(self.id, one_over_k0, out)

    def scan_to_voltage(self, scan: Values, out: Out = None) -> Converted:
        """Converts scan numbers to voltages of the ramp in V, see `Analysis.scan_to_voltage`."""
        return self._analysis.scan_to_voltage(self.id, scan, out)

    def voltage_to_scan(self, voltage: Values, out: Out = None) -> Converted:
        """Converts voltages of the ramp in V to scan numbers, see `Analysis.voltage_to_scan`."""
        return self._analysis.voltage_to_scan(self.id, voltage, out)

    def _range(self, begin: Optional[int], end: Optional[int]) -> Tuple[int, int]:
        first = 0 if begin is None else scan_number(begin)
        # A range that begins after the last scan keeps one, so that the library says what is wrong.
        return first, max(self.num_scans, first + (first > 0)) if end is None else scan_number(end)

    def _peaks_read_ahead(self, begin: int, end: int) -> Optional[Peaks]:
        if self._peaks is None or not (begin < end <= self.num_scans or end == self.num_scans == 0):
            return None
        return self._peaks if end - begin == self.num_scans else self._peaks.between(begin, end)

    def _fill(self, columns: Columns, first: int, counts: np.ndarray) -> None:
        """Fills in what follows from the scans and indices of the peaks."""
        scans = np.arange(first, first + len(counts), dtype=np.uint32)
        columns.scan[:] = np.repeat(scans, counts)
        if columns.mz is not None:
            columns.mz[:] = columns.tof_index
            nan_without_calibration(self._analysis.index_to_mz, self.id, columns.mz)
        if columns.one_over_k0 is not None:
            mobility = nan_without_calibration(self._analysis.scan_to_one_over_k0, self.id, scans.astype(np.float64))
            columns.one_over_k0[:] = np.repeat(mobility, counts)
