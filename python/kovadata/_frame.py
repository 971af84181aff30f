"""One frame of an analysis with ion mobility."""

from __future__ import annotations

from typing import Any, Optional, Tuple

import numpy as np

from ._arrays import Converted, Out, Values, frame_conversion
from ._description import Described, Facts
from ._errors import KovaError
from ._mobility import MobilityAnalysis
from ._peaks import PeakBuffer, Peaks, Scans
from ._scan_reader import scan_number


def _number(value: Any) -> Optional[int]:
    return None if value < 0 else int(value)


class Frame(Described):
    """One frame: an accumulation followed by a mobility ramp, a series of scans.

    Made by `Analysis.frame` and `Analysis.frames`. Reading goes through the analysis that it came from. Frames can be
    pickled; they take the analysis along.
    """

    def __init__(self, analysis: MobilityAnalysis, row: np.void) -> None:
        self._analysis, self._row = analysis, row
        self._id = int(row["id"])
        self._scan_count = _number(row["scans"])
        self._ahead: Optional[Peaks] = None

    def _title(self) -> str:
        return f"Frame {self.id} of {str(self._analysis.path)!r}"

    def _facts(self) -> Facts:
        stated = (("MS level", self.ms_level), ("scans", self._scan_count), ("peaks", self.num_peaks))
        return [*((name, str(value)) for name, value in stated if value is not None),
                *(("time", f"{time:.1f} s") for time in [self.time] if time == time),
                *self._analysis._ranges(self.id, self._scan_count or 0)]

    def __reduce__(self) -> Tuple[Any, ...]:
        return Frame, (self._analysis, self._row)

    @property
    def analysis(self) -> MobilityAnalysis:
        """The `Analysis` that the frame belongs to."""
        return self._analysis

    @property
    def id(self) -> int:
        """ "Id" of the frame."""
        return self._id

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
        if self._ahead is not None and normalized and out is None and self._has(first, last):
            return self._ahead.between(first, last).scans()
        if end is None and last == 0:
            return Scans.from_words(0, 0, np.empty(0, np.uint32))
        stated = self.num_peaks if last - first == self.num_scans else None
        expected = 0 if stated is None or stated > 0x1FFFFFFF else last - first + 2 * stated
        words = self._analysis._scan_reader.words(self.id, first, last, normalized, out, expected)
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
        if not isinstance(out, (PeakBuffer, type(None))):
            raise TypeError("out must be a kovadata.PeakBuffer")
        first, last = self._range(begin, end)
        if self._ahead is not None and normalized and self._has(first, last):
            peaks = self._ahead if last - first == self.num_scans else self._ahead.between(first, last)
            peaks = peaks if mz and one_over_k0 else peaks.converted(mz, one_over_k0)
        else:
            peaks = self._read(first, last, normalized, mz, one_over_k0)
        return peaks if out is None else out._fill(peaks)

    @frame_conversion
    def index_to_mz(self, index: Values, out: Out = None) -> Converted:
        """Converts time-of-flight indices to m/z in Th, see `Analysis.index_to_mz`."""
        return self._analysis.index_to_mz(self.id, index, out)

    @frame_conversion
    def mz_to_index(self, mz: Values, out: Out = None) -> Converted:
        """Converts m/z in Th to time-of-flight indices, see `Analysis.mz_to_index`."""
        return self._analysis.mz_to_index(self.id, mz, out)

    @frame_conversion
    def scan_to_one_over_k0(self, scan: Values, out: Out = None) -> Converted:
        """Converts scan numbers to 1/K0 in V s / cm^2, see `Analysis.scan_to_one_over_k0`."""
        return self._analysis.scan_to_one_over_k0(self.id, scan, out)

    @frame_conversion
    def one_over_k0_to_scan(self, one_over_k0: Values, out: Out = None) -> Converted:
        """Converts 1/K0 in V s / cm^2 to scan numbers, see `Analysis.one_over_k0_to_scan`."""
        return self._analysis.one_over_k0_to_scan(self.id, one_over_k0, out)

    @frame_conversion
    def scan_to_voltage(self, scan: Values, out: Out = None) -> Converted:
        """Converts scan numbers to voltages of the ramp in V, see `Analysis.scan_to_voltage`."""
        return self._analysis.scan_to_voltage(self.id, scan, out)

    @frame_conversion
    def voltage_to_scan(self, voltage: Values, out: Out = None) -> Converted:
        """Converts voltages of the ramp in V to scan numbers, see `Analysis.voltage_to_scan`."""
        return self._analysis.voltage_to_scan(self.id, voltage, out)

    def _range(self, begin: Optional[int], end: Optional[int]) -> Tuple[int, int]:
        first = 0 if begin is None else scan_number(begin)
        # A range that begins after the last scan keeps one, so that the library says what is wrong.
        last = max(self.num_scans, first + (first > 0)) if end is None else scan_number(end)
        if not self._has(first, last):
            self._require(first, last)
        return first, last

    def _require(self, begin: int, end: int) -> None:
        """Raises what the library says of scans that the frame does not have; the metadata may know fewer than there are."""
        try:
            self._analysis._scan_reader.require(self.id, begin, end)
        except KovaError as error:
            if not str(error).endswith("out of range."):
                raise
            raise KovaError(f"{error} (frame {self.id} of {self._analysis.path} has scans 0 to {self.num_scans - 1})") from None

    def _has(self, begin: int, end: int) -> bool:
        return begin < end <= self.num_scans or end == self.num_scans == 0

    def _read(self, begin: int, end: int, normalized: bool, mz: bool, one_over_k0: bool) -> Peaks:
        return Peaks.of_columns(self._id, begin, end,
                                self._analysis._scan_reader.peaks(self._id, begin, end, normalized, mz, one_over_k0))

    def _with_peaks(self, peaks: Peaks) -> Frame:
        """The frame with all its peaks, which were read ahead."""
        self._ahead = peaks
        return self
