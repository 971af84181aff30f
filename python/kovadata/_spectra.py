"""Analyses without ion mobility: one spectrum per frame."""

from __future__ import annotations

import dataclasses
from typing import Any, Callable, Iterable, Iterator, Optional, Tuple, Union

import numpy as np

from ._arrays import Converted, Out, Values, address, require_out
from ._base import BaseAnalysis, frame_number, frame_numbers
from ._errors import BufferTooSmall
from ._frame_table import read_frame_table
from ._frame import nan_without_calibration
from ._library import last_error, library
from ._partitions import Partition
from ._table import with_nulls


@dataclasses.dataclass(frozen=True, eq=False, repr=False)
class Lines:
    """A line spectrum.

    Attributes
    ----------
    position : ndarray of float64, shape (n,)
        Time-of-flight index of each peak, fractional.
    intensity : ndarray of float32, shape (n,)
        Intensity of each peak in counts.
    width : ndarray of float32, shape (n,), or None
        Width of each peak in the unit in which it is stored; None where an analysis has none.
    mz : ndarray of float64, shape (n,)
        m/z of each peak in Th; NaN if the spectrum has no mass calibration.
    """

    position: np.ndarray
    intensity: np.ndarray
    width: Optional[np.ndarray]
    mz: np.ndarray

    def __len__(self) -> int:
        return len(self.position)

    def __repr__(self) -> str:
        return f"<kovadata.Lines: {len(self)} peaks>"

    def table(self, kind: str) -> Any:
        """The lines as a data frame, ``kind`` being ``"pandas"``, ``"polars"`` or ``"arrow"``."""
        columns = {"position": self.position, "intensity": self.intensity, "mz": self.mz}
        if self.width is not None:
            columns["width"] = self.width
        return with_nulls(columns, kind)


class Spectrum:
    """One spectrum of an analysis without ion mobility. Made by `SpectrumAnalysis`."""

    def __init__(self, analysis: SpectrumAnalysis, row: np.void) -> None:
        self._analysis, self._row = analysis, row

    def __repr__(self) -> str:
        return f"<kovadata.Spectrum {self.id} of {str(self._analysis.path)!r}>"

    def __reduce__(self) -> Tuple[Any, ...]:
        return Spectrum, (self._analysis, self._row)

    @property
    def id(self) -> int:
        """ "Id" of the spectrum."""
        return int(self._row["id"])

    @property
    def time(self) -> float:
        """Retention time in s; NaN if the metadata do not state it."""
        return float(self._row["time"])

    @property
    def polarity(self) -> str:
        """ "+" or "-"; empty if the metadata do not state it."""
        return str(self._row["polarity"])

    def lines(self, out: Optional[Tuple[np.ndarray, ...]] = None) -> Lines:
        """Reads the line spectrum.

        Parameters
        ----------
        out : tuple of ndarray, optional
            Arrays that the library fills in place: positions (float64), intensities (float32) and, where the
            analysis has them, widths (float32), all of the same length.

        Returns
        -------
        Lines
            Its arrays are views of those in `out`, if that was passed.

        Raises
        ------
        KovaError
            The analysis has no line spectra, or this one is damaged.
        BufferTooSmall
            The lines do not fit into `out`, which was not touched.
        """
        types = (np.float64, np.float32, np.float32)[:3 if self._analysis.has_widths else 2]
        name = "read_line_spectrum_with_width" if self._analysis.has_widths else "read_line_spectrum"
        position, intensity, *width = self._read(name, types, out)
        return Lines(position, intensity, width[0] if width else None, self._mz(position))

    def profile(self, out: Optional[np.ndarray] = None) -> np.ndarray:
        """Reads the profile spectrum.

        Parameters
        ----------
        out : ndarray of uint32, optional
            Array that the library fills in place.

        Returns
        -------
        ndarray of uint32, shape (n,)
            One intensity in counts per time-of-flight index from 0; a view of `out`, if that was passed.

        Raises
        ------
        KovaError
            The analysis has no profiles, or this one is damaged.
        BufferTooSmall
            The profile does not fit into `out`, which was not touched.
        """
        return self._read("read_profile_spectrum", (np.uint32,), None if out is None else (out,))[0]

    def index_to_mz(self, index: Values, out: Out = None) -> Converted:
        """Converts time-of-flight indices to m/z in Th, see `SpectrumAnalysis.index_to_mz`."""
        return self._analysis.index_to_mz(self.id, index, out)

    def mz_to_index(self, mz: Values, out: Out = None) -> Converted:
        """Converts m/z in Th to time-of-flight indices, see `SpectrumAnalysis.mz_to_index`."""
        return self._analysis.mz_to_index(self.id, mz, out)

    def _mz(self, position: np.ndarray) -> np.ndarray:
        return nan_without_calibration(self._analysis.index_to_mz, self.id, position.copy())

    def _read(self, name: str, types: tuple[Any, ...], out: Optional[tuple[np.ndarray, ...]]) -> Any:
        handle = self._analysis._handle
        function = handle.function(name)
        if out is not None:
            _check(out, types)
        with handle as value:
            # The spectrum is kept by the library: asking for its size first reads the file once.
            count = _checked(lambda: function(value, self.id, *[None] * len(types), 0), handle.failure)
            arrays = tuple(np.empty(count, one) for one in types) if out is None else out
            if count > arrays[0].size:
                raise BufferTooSmall(f"the spectrum has {count} values, out has {arrays[0].size}", count)
            if count:
                function(value, self.id, *map(address, arrays), count)
        return tuple(array.reshape(-1)[:count] for array in arrays)


def _check(out: tuple[np.ndarray, ...], types: tuple[Any, ...]) -> None:
    if not isinstance(out, tuple) or len(out) != len(types):
        raise TypeError(f"out must be a tuple of {len(types)} arrays")
    for array, one in zip(out, types):
        require_out(array, one)
    if len({array.size for array in out}) != 1:
        raise ValueError("the arrays of out must have the same length")


def _checked(call: Callable[[], int], failure: Callable[[], Exception]) -> int:
    """Calls what gives 0 for an empty spectrum as well as for a failure.

    To tell them apart it is called again after another failure, whose text no reading call gives.
    """
    count = call()
    if count:
        return count
    library().kvs_open(None, 0)
    known = last_error("kvs")
    count = call()
    if not count and last_error("kvs") != known:
        raise failure()
    return count


class SpectrumAnalysis(BaseAnalysis):
    """An open analysis without ion mobility.

    What `Analysis` says about threads, pickling and forks is true of it as well.

    Parameters
    ----------
    path : str or path-like
        Directory of the analysis.
    recalibrated : bool
        Whether to convert with the newest complete re-calibrated state, if there is one.

    Raises
    ------
    KovaError
        The analysis cannot be opened.
    """

    _family = "kvs"
    _metadata_name = "analysis.kvs"

    def spectrum_table(self, kind: str = "numpy") -> Any:
        """What the metadata say about the spectra; columns as those of `Analysis.frame_table`.

        Parameters
        ----------
        kind : {"numpy", "pandas", "polars", "arrow"}
            Structured array, or data frame of that package.

        Returns
        -------
        ndarray, pandas.DataFrame, polars.DataFrame or pyarrow.Table
        """
        return self._table(kind)

    @property
    def has_lines(self) -> bool:
        """Whether the analysis has line spectra."""
        return self._stated("HasLineSpectra")

    @property
    def has_widths(self) -> bool:
        """Whether its line spectra have widths."""
        return self._stated("HasLineSpectraPeakWidth")

    @property
    def has_profiles(self) -> bool:
        """Whether the analysis has profile spectra."""
        return self._stated("HasProfileSpectra")

    def spectrum(self, spectrum_id: int) -> Spectrum:
        """The spectrum with an id; KovaError if there is none."""
        number = frame_number(spectrum_id)
        rows = read_frame_table(self._metadata, number)
        if not len(rows):
            self._handle.call("index_to_mz", number, address(np.zeros(1)), address(np.zeros(1)), 1)
        return Spectrum(self, rows[0])

    def spectra(self, which: Union[Partition, Iterable[int], None] = None) -> Iterator[Spectrum]:
        """Goes through spectra.

        Parameters
        ----------
        which : Partition or iterable of int, optional
            A range of spectra, or their ids in the order wanted; all in ascending order by default.

        Yields
        ------
        Spectrum
        """
        if which is None or isinstance(which, Partition):
            table = self._frame_table()
            if isinstance(which, Partition):
                table = table[(table["id"] >= which.first) & (table["id"] <= which.last)]
            return (Spectrum(self, row) for row in table)
        return (self.spectrum(one) for one in frame_numbers(which))

    def _stated(self, key: str) -> bool:
        return self._metadata.number(key) != 0
