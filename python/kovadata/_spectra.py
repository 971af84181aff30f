"""Analyses without ion mobility: one spectrum per frame."""

from __future__ import annotations

import ctypes
import dataclasses
from typing import Any, Dict, Iterable, Iterator, Optional, Tuple, Union

import numpy as np

from ._arrays import Converted, Float32, Float64, Out, Values, frame_conversion, require_out
from ._arrow_c import Batch
from ._base import BaseAnalysis, frame_number, frame_numbers
from ._description import Described, Facts
from ._errors import BufferTooSmall, KovaError
from ._partitions import Partition
from ._queries import Watch, control, query
from ._table import convert, with_nulls
from ._tables import FRAME_COLUMNS

_LINES, _PROFILE = 0, 1


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

    position: Float64
    intensity: Float32
    width: Optional[Float32]
    mz: Float64

    def __len__(self) -> int:
        return len(self.position)

    def __repr__(self) -> str:
        return f"<kovadata.Lines: {len(self)} peaks>"

    def table(self, kind: str = "numpy") -> Any:
        """The lines as a structured array, or as a data frame: ``"pandas"``, ``"polars"`` or ``"arrow"``."""
        columns: Dict[str, np.ndarray] = {"position": self.position, "intensity": self.intensity, "mz": self.mz}
        if self.width is not None:
            columns["width"] = self.width
        return with_nulls(columns, kind)


class Spectrum(Described):
    """One spectrum of an analysis without ion mobility. Made by `SpectrumAnalysis`."""

    def __init__(self, analysis: SpectrumAnalysis, row: np.void) -> None:
        self._analysis, self._row = analysis, row

    def _title(self) -> str:
        return f"Spectrum {self.id} of {str(self._analysis.path)!r}"

    def _facts(self) -> Facts:
        return [("time", f"{self.time:.1f} s")] if self.time == self.time else []

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
        columns = self._read(_LINES)
        width, mz = columns["width"], columns["mz"]
        names = ("position", "intensity") + ("width",) * (width.valid is None)
        position, intensity, *widths = _moved(tuple(next(iter(columns[name])) for name in names), out)
        known_mz = np.full(len(position), np.nan) if mz.valid is not None else next(iter(mz))
        return Lines(position, intensity, widths[0] if widths else None, known_mz)

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
        return _moved((next(iter(self._read(_PROFILE)["intensity"])),), None if out is None else (out,))[0]

    @frame_conversion
    def index_to_mz(self, index: Values, out: Out = None) -> Converted:
        """Converts time-of-flight indices to m/z in Th, see `SpectrumAnalysis.index_to_mz`."""
        return self._analysis.index_to_mz(self.id, index, out)

    @frame_conversion
    def mz_to_index(self, mz: Values, out: Out = None) -> Converted:
        """Converts m/z in Th to time-of-flight indices, see `SpectrumAnalysis.mz_to_index`."""
        return self._analysis.mz_to_index(self.id, mz, out)

    def _read(self, kind: int) -> Batch:
        watch, wanted = Watch(), query(np.array([self.id], np.int64))
        settings = control(watch, 1, "raise")
        stream = self._analysis._run.stream("spectra", ctypes.addressof(wanted), kind, ctypes.addressof(settings))
        found = stream.next_batch()
        if found is None:
            raise KovaError(f"there is no spectrum {self.id}")
        return found[1]


def _moved(arrays: Tuple[np.ndarray, ...], out: Optional[Tuple[np.ndarray, ...]]) -> Tuple[np.ndarray, ...]:
    """The arrays in the caller's memory, if there is one."""
    if out is None:
        return arrays
    if not isinstance(out, tuple) or len(out) != len(arrays):
        raise TypeError(f"out must be a tuple of {len(arrays)} arrays")
    for target, array in zip(out, arrays):
        require_out(target, array.dtype)
    if len({target.size for target in out}) != 1:
        raise ValueError("the arrays of out must have the same length")
    count = len(arrays[0])
    if count > out[0].size:
        raise BufferTooSmall(f"the spectrum has {count} values, out has {out[0].size}", count)
    filled = tuple(target.reshape(-1)[:count] for target in out)
    for target, array in zip(filled, arrays):
        target[:] = array
    return filled


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

    _has_mobility = False
    _blob_name = "analysis.kvs_bin"

    def spectrum_table(self, kind: str = "numpy") -> Any:
        """What the metadata say about the spectra; columns as those of `Analysis.frame_table`.

        Parameters
        ----------
        kind
            As for `Analysis.frame_table`.

        Returns
        -------
        ndarray, pandas.DataFrame, polars.DataFrame or pyarrow.Table
        """
        return convert(self._frame_table(), FRAME_COLUMNS, kind)

    @property
    def has_lines(self) -> bool:
        """Whether the analysis has line spectra."""
        return bool(self._run.info().has_lines)

    @property
    def has_widths(self) -> bool:
        """Whether its line spectra have widths."""
        return bool(self._run.info().has_line_widths)

    @property
    def has_profiles(self) -> bool:
        """Whether the analysis has profile spectra."""
        return bool(self._run.info().has_profiles)

    def spectrum(self, spectrum_id: int) -> Spectrum:
        """The spectrum with an id; KovaError if there is none."""
        number = frame_number(spectrum_id)
        row = self._row(number)
        if row is None:
            self.index_to_mz(number, [0.0])  # the library says that there is none
            raise KovaError(f"spectrum {number} is not in the metadata")
        return Spectrum(self, row)

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
