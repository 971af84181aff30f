"""Chromatograms of a run, and its maps over time: all frames are read, which finds those that are damaged."""

from __future__ import annotations

import dataclasses
from typing import Dict, Iterator, List, NamedTuple, Optional, Tuple

import numpy as np

from ..._base import nan_without_calibration
from ..._queries import targets
from ..._spectra import SpectrumAnalysis
from ...plot._style import view
from .reading import LINES, PROFILES, Reading, evenly

_COLUMNS, _ROWS = 600, 240
# Frames that show where the signal is.
_SAMPLE = 40
_EVERYTHING = targets(None, None)


@dataclasses.dataclass(frozen=True)
class Chromatogram:
    """A value per frame that could be read. `level` is -1 and `time` NaN where the metadata do not state them."""

    frame: np.ndarray
    time: np.ndarray
    level: np.ndarray
    total: np.ndarray
    base_peak: np.ndarray
    peaks: np.ndarray


class Grid(NamedTuple):
    """Cells of a map, rows from the low end of y, and the ends of its axes. `name` says what y is."""

    name: str
    values: np.ndarray
    x: Tuple[float, float]
    y: Tuple[float, float]


def gather_chromatogram(reading: Reading) -> Tuple[Chromatogram, List[Grid]]:
    """The chromatograms of all frames, and the maps of survey frames over their time."""
    made, maps = (_of_spectra if isinstance(reading.analysis, SpectrumAnalysis) else _of_frames)(reading)
    return made, [one for one in maps if one is not None]


class _Rows:
    """Edges of the rows of both maps, where some frames all over the run have signal."""

    def __init__(self, reading: Reading) -> None:
        ids = reading.surveys["id"]
        self.sample = ids[evenly(len(ids), _SAMPLE)]
        self.edges: Dict[str, np.ndarray] = {}
        if not len(ids):
            return
        for name, (values, weights) in self._signal(reading):
            known = np.isfinite(values) & (weights > 0)
            if known.any() and not np.isnan(values).any():
                self.edges[name] = np.linspace(*view(values[known], np.sqrt(weights[known].astype(float)), None, strong=None),
                                               _ROWS + 1)

    def _signal(self, reading: Reading) -> Iterator[Tuple[str, Tuple[np.ndarray, np.ndarray]]]:
        if reading.has_mobility:
            yield "mz", reading.summed(self.sample)
            yield "one_over_k0", reading.mobilogram(self.sample, _EVERYTHING)
            return
        found = [(reading.mz(frame, position), intensity) for frame, position, intensity
                 in reading.spectra("spectra looked at", self.sample, kind_of(reading))]
        yield "mz", tuple(map(np.concatenate, zip(*found))) if found else (np.empty(0), np.empty(0))  # type: ignore[misc]


def kind_of(reading: Reading) -> int:
    """Which spectra are summed: profiles, where there are any."""
    return PROFILES if reading.analysis._run.info().has_profiles else LINES


def _of_frames(reading: Reading) -> Tuple[Chromatogram, List[Optional[Grid]]]:
    """Reads everything twice: for base peaks, which finds what is damaged, then for the sums of frames and of rows of maps."""
    found, base_peak = _of_all(reading, "frames searched for base peaks", reading.good["id"], "max")
    maps = _Maps(reading)
    totals = np.zeros(len(found), np.uint64)
    for ids, bands in ((maps.frames["id"], maps.bands), (np.setdiff1d(found, maps.frames["id"]), _EVERYTHING)):
        for some, sums in reading.chromatograms("frames summed", ids, bands, "sum"):
            totals[np.searchsorted(found, some)] = sums[0]
            if bands is maps.bands:
                maps.add(some, sums[1:])
    good = reading.good
    peaks = good["peaks"].astype(np.uint64)
    if (good["peaks"] < 0).any():
        _, peaks = _of_all(reading, "frames counted", found, "count")
    return Chromatogram(good["id"], good["time"], good["ms_level"], totals, base_peak, peaks), maps.grids()


def _of_all(reading: Reading, what: str, ids: np.ndarray, reduce: str) -> Tuple[np.ndarray, np.ndarray]:
    parts = list(reading.chromatograms(what, ids, _EVERYTHING, reduce))
    return (np.concatenate([np.empty(0, np.int64), *(frames for frames, _ in parts)]),
            np.concatenate([np.empty(0, np.uint64), *(values[0] for _, values in parts)]))


class _Maps:
    """The maps of the survey frames that have the calibrations for them, from sums over their rows: `bands` are everything,
    then the rows of one map after the other."""

    def __init__(self, reading: Reading) -> None:
        self._edges = _Rows(reading).edges
        surveys = reading.surveys
        missing = [reading.uncalibrated[name] for name in self._edges]
        self.frames = surveys[~np.isin(surveys["id"], np.concatenate([np.empty(0, np.int64), *missing]))]
        self._columns = {name: _Columns(self.frames["time"]) for name in self._edges}
        rows = [targets(_ranges(edges), None) if name == "mz" else targets(None, _ranges(edges))
                for name, edges in self._edges.items()]
        self.bands = np.concatenate([_EVERYTHING, *rows])

    def add(self, ids: np.ndarray, sums: np.ndarray) -> None:
        """Rows of some frames."""
        places = np.searchsorted(self.frames["id"], ids)
        for columns, rows in zip(self._columns.values(), np.split(sums, len(self._columns) or 1)):
            columns.add(places, rows)

    def grids(self) -> List[Optional[Grid]]:
        return [columns.grid(name, self._edges[name]) for name, columns in self._columns.items()]


def _of_spectra(reading: Reading) -> Tuple[Chromatogram, List[Optional[Grid]]]:
    edges, table = _Rows(reading).edges.get("mz"), reading.good
    columns, sums = _Columns(table["time"]), np.zeros((3, len(table)))
    ids = table["id"]
    for frame, position, intensity in reading.spectra("spectra summed", ids, kind_of(reading)):
        place = np.searchsorted(ids, [frame])
        sums[:, place[0]] = intensity.sum(dtype=float), intensity.max(initial=0), len(position)
        if edges is not None:
            ends = nan_without_calibration(reading.analysis.mz_to_index, frame, edges.copy())
            row = np.searchsorted(ends, position, "right") - 1
            inside = (row >= 0) & (row < _ROWS)
            columns.add(place, np.bincount(row[inside], intensity[inside], _ROWS)[:, np.newaxis])
    good = reading.good
    total, base_peak, peaks = sums[:, np.isin(ids, good["id"])]
    if (good["peaks"] >= 0).all():
        peaks = good["peaks"]
    made = Chromatogram(good["id"], good["time"], good["ms_level"], total, base_peak, peaks.astype(np.uint64))
    return made, [] if edges is None else [columns.grid("mz", edges)]


class _Columns:
    """Means of neighbouring frames, of at most so many that a map can show."""

    def __init__(self, time: np.ndarray) -> None:
        self._time, self._step = time, max(-(-len(time) // _COLUMNS), 1)
        count = -(-len(time) // self._step)
        self._sums, self._counts = np.zeros((_ROWS, count)), np.zeros(count)

    def add(self, places: np.ndarray, counts: np.ndarray) -> None:
        """Rows of some frames, by their places among all."""
        column = places // self._step
        np.add.at(self._sums.T, column, counts.T)
        np.add.at(self._counts, column, 1)

    def grid(self, name: str, edges: np.ndarray) -> Optional[Grid]:
        """Columns of equal width, each at the times that it is nearest to; None without a time axis."""
        time = self._time
        if len(time) < 3 or np.isnan(time).any() or (np.diff(time) < 0).any() or not np.ptp(time) > 0:
            return None
        begins = np.arange(0, len(time), self._step)
        centres = np.add.reduceat(time, begins) / np.diff(begins, append=len(time))
        ends = float(time[0]), float(time[-1])
        wanted = ends[0] + (np.arange(len(begins)) + 0.5) * (ends[1] - ends[0]) / len(begins)
        nearest = np.searchsorted((centres[:-1] + centres[1:]) / 2, wanted)
        means = self._sums / np.maximum(self._counts, 1)
        return Grid(name, means[:, nearest], ends, (float(edges[0]), float(edges[-1])))


def _ranges(edges: np.ndarray) -> np.ndarray:
    """Ranges from edge to edge without their upper ends, which would count twice."""
    return np.column_stack([edges[:-1], np.nextafter(edges[1:], -np.inf)])
