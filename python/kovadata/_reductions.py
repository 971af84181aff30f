"""What whole runs are reduced to: chromatograms, mobilograms, summed spectra and images."""

from __future__ import annotations

import ctypes
import dataclasses
from ctypes import c_double, c_uint32
from typing import Any, Dict, List, Optional, Sequence, Tuple

import numpy as np

from ._arrays import Float64, Int64, UInt32, UInt64, address
from ._arrow_c import Batch, filled
from ._queries import Control, Query, Watch
from ._run import Run
from ._table import data_frame

_AXES = {"time": 0, "mz": 1, "one_over_k0": 2}


def _table(kind: str, columns: Dict[str, np.ndarray]) -> Any:
    """A table in which NaN is nothing known."""
    return data_frame(kind, columns, {name: np.isnan(values) for name, values in columns.items() if values.dtype.kind == "f"})


@dataclasses.dataclass(frozen=True, eq=False, repr=False)
class Chromatograms:
    """Chromatograms of some targets.

    Attributes
    ----------
    frame : ndarray of int64, shape (frames,)
        Id of each frame.
    time : ndarray of float64, shape (frames,)
        Retention time of each frame in s; NaN where the metadata do not state it.
    intensity : ndarray of uint64, shape (n, frames)
        One row per target.
    """

    frame: Int64
    time: Float64
    intensity: UInt64

    def __len__(self) -> int:
        return len(self.intensity)

    def __repr__(self) -> str:
        return f"<kovadata.Chromatograms: {len(self)} over {len(self.frame)} frames>"

    def table(self, kind: str = "numpy") -> Any:
        """Columns ``target`` (position in the ranges asked for), ``frame``, ``time`` and ``intensity``."""
        return _table(kind, {"target": np.repeat(np.arange(len(self)), len(self.frame)),
                             "frame": np.tile(self.frame, len(self)), "time": np.tile(self.time, len(self)),
                             "intensity": self.intensity.ravel()})


@dataclasses.dataclass(frozen=True, eq=False, repr=False)
class Mobilograms:
    """Mobilograms of some targets.

    Attributes
    ----------
    scan : ndarray of uint32, shape (scans,)
        Scan numbers from 0 on.
    one_over_k0 : ndarray of float64, shape (scans,)
        1/K0 of each scan in V s / cm^2 by the calibration of the first frame; NaN without one.
    intensity : ndarray of uint64, shape (n, scans)
        One row per target.
    """

    scan: UInt32
    one_over_k0: Float64
    intensity: UInt64

    def __len__(self) -> int:
        return len(self.intensity)

    def __repr__(self) -> str:
        return f"<kovadata.Mobilograms: {len(self)} over {len(self.scan)} scans>"

    def table(self, kind: str = "numpy") -> Any:
        """Columns ``target`` (position in the ranges asked for), ``scan``, ``one_over_k0`` and ``intensity``."""
        return _table(kind, {"target": np.repeat(np.arange(len(self)), len(self.scan)),
                             "scan": np.tile(self.scan, len(self)), "one_over_k0": np.tile(self.one_over_k0, len(self)),
                             "intensity": self.intensity.ravel()})


@dataclasses.dataclass(frozen=True, eq=False, repr=False)
class SummedSpectrum:
    """The spectrum of many frames and scans.

    Attributes
    ----------
    tof_index : ndarray of uint32, shape (n,)
        Time-of-flight indices at which there are peaks, ascending, on the scale of the first frame.
    mz : ndarray of float64, shape (n,)
        m/z of each in Th; NaN without a mass calibration.
    intensity : ndarray of uint64, shape (n,)
        Summed intensities.
    count : ndarray of uint64, shape (n,)
        How many peaks were summed.
    """

    tof_index: UInt32
    mz: Float64
    intensity: UInt64
    count: UInt64

    def __len__(self) -> int:
        return len(self.tof_index)

    def __repr__(self) -> str:
        return f"<kovadata.SummedSpectrum: {len(self)} indices>"

    def table(self, kind: str = "numpy") -> Any:
        """Columns ``tof_index``, ``mz``, ``intensity`` and ``count``."""
        return _table(kind, {"tof_index": self.tof_index, "mz": self.mz, "intensity": self.intensity, "count": self.count})


@dataclasses.dataclass(frozen=True, eq=False, repr=False)
class Image:
    """Intensities on a grid.

    Attributes
    ----------
    values : ndarray of uint64, shape (rows, columns)
        The row is the cell of the y axis, from its low end.
    x_edges, y_edges : ndarray of float64
        Limits of the cells, one more than there are cells.
    """

    values: UInt64
    x_edges: Float64
    y_edges: Float64

    def __repr__(self) -> str:
        return f"<kovadata.Image of {self.values.shape[1]} x {self.values.shape[0]} cells>"


class _Axis(ctypes.Structure):
    _fields_ = [("kind", c_uint32), ("bins", c_uint32), ("low", c_double), ("high", c_double)]

    def edges(self) -> np.ndarray:
        width = (self.high - self.low) / self.bins
        return np.append(self.low + np.arange(self.bins) * width, self.high)


def _axis(name: str, bins: int) -> _Axis:
    if name not in _AXES:
        raise ValueError(f"{name!r} is none of {', '.join(_AXES)}")
    if not 1 <= bins <= 0xFFFFFFFF:
        raise ValueError(f"an axis must have at least one cell, not {bins}")
    return _Axis(_AXES[name], bins, np.nan, np.nan)


def _column(batches: Sequence[Batch], name: str, dtype: Any, width: Optional[int] = None) -> np.ndarray:
    """A column over all batches, with NaN where nothing is known; of lists of a width with their rows."""
    shape = (0,) if width is None else (0, width)
    parts = [filled(batch[name]) for batch in batches]
    return parts[0] if len(parts) == 1 else np.concatenate([np.empty(shape, dtype), *parts], dtype=dtype)


class Reducer:
    """One call of the library that reads many frames."""

    def __init__(self, run: Run, query: Query, control: Control, watch: Watch) -> None:
        self._run, self._watch = run, watch
        self._kept = query, control
        self._query, self._control = ctypes.addressof(query), ctypes.addressof(control)

    def chromatograms(self, targets: np.ndarray, reduce: int) -> Chromatograms:
        batches = self._read("chromatograms", self._query, address(targets), len(targets), reduce, self._control)
        return Chromatograms(_column(batches, "frame", np.int64), _column(batches, "time", np.float64),
                             _column(batches, "intensity", np.uint64, len(targets)).T)

    def mobilograms(self, targets: np.ndarray, reduce: int) -> Mobilograms:
        batches = self._read("mobilograms", self._query, address(targets), len(targets), reduce, self._control)
        return Mobilograms(_column(batches, "scan", np.uint32), _column(batches, "one_over_k0", np.float64),
                           _column(batches, "intensity", np.uint64, len(targets)).T)

    def summed_spectrum(self) -> SummedSpectrum:
        batches = self._read("summed_spectrum", self._query, self._control)
        return SummedSpectrum(_column(batches, "tof_index", np.uint32), _column(batches, "mz", np.float64),
                              _column(batches, "intensity", np.uint64), _column(batches, "count", np.uint64))

    def image(self, x: str, y: str, bins: Tuple[int, int], reduce: int) -> Image:
        axes = _axis(x, bins[0]), _axis(y, bins[1])
        batches = self._read("image", self._query, ctypes.addressof(axes[0]), ctypes.addressof(axes[1]), reduce,
                             self._control)
        return Image(_column(batches, "values", np.uint64, bins[0]), axes[0].edges(), axes[1].edges())

    def _read(self, name: str, *arguments: Any) -> List[Batch]:
        batches = self._watch.wait_for(lambda: list(self._run.stream(name, *arguments)))
        self._watch.warn()
        return batches
