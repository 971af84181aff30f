"""Reads a run for a report: with progress, on several threads, and without the frames that turn out to be damaged."""

from __future__ import annotations

import ctypes
import dataclasses
from typing import Callable, Dict, Iterator, List, Tuple, TypeVar

import numpy as np

from ..._analysis import Analysis
from ..._base import nan_without_calibration
from ..._errors import KovaError
from ..._export.progress import Progress
from ..._frame import Frame
from ..._opening import AnyAnalysis
from ..._queries import Watch, control, query, reduction
from ..._reductions import Reducer

T = TypeVar("T")
LINES, PROFILES = 0, 1
# So many values of chromatograms are in memory at once.
_VALUES_AT_ONCE = 1 << 20
_SPECTRA_AT_ONCE = 16


class _Watch(Watch):
    def warn(self) -> None:
        """Damaged frames have a place of their own in the report."""


@dataclasses.dataclass
class Reading:
    """A run, its frames, and those that are damaged as far as they were read. Calibrations are known from the start:
    `broken` has ids of frames with a broken one, `uncalibrated` those of frames without one, by its axis."""

    analysis: AnyAnalysis
    threads: int
    progress: Progress
    damaged: Dict[int, str] = dataclasses.field(default_factory=dict)

    def __post_init__(self) -> None:
        self.table: np.ndarray = self.analysis._frame_table()
        convert = {"mz": self.analysis.index_to_mz}
        if isinstance(self.analysis, Analysis):
            convert["one_over_k0"] = self.analysis.scan_to_one_over_k0
        self.uncalibrated: Dict[str, List[int]] = {name: [] for name in convert}
        for frame in self.table["id"].tolist():
            try:
                for name, call in convert.items():
                    if np.isnan(nan_without_calibration(call, frame, np.zeros(1))[0]):
                        self.uncalibrated[name].append(frame)
            except KovaError as error:
                self.damaged[frame] = str(error)
        self.broken = np.array(sorted(self.damaged), np.int64)

    @property
    def has_mobility(self) -> bool:
        return isinstance(self.analysis, Analysis)

    @property
    def good(self) -> np.ndarray:
        """Rows of the frames that are not known to be damaged."""
        return self.table[~np.isin(self.table["id"], list(self.damaged))]

    @property
    def surveys(self) -> np.ndarray:
        """Those of MS1; of all frames where the metadata do not tell levels."""
        return self.good[self.good["ms_level"] != 2]

    @property
    def fragments(self) -> np.ndarray:
        return self.good[self.good["ms_level"] == 2]

    def chromatograms(self, what: str, ids: np.ndarray, targets: np.ndarray,
                      reduce: str) -> Iterator[Tuple[np.ndarray, np.ndarray]]:
        """Ids of frames with an array of a row per target, some frames at a time."""
        self.progress.begin(what)
        step = max(_VALUES_AT_ONCE // len(targets), 1)
        for begin in range(0, len(ids), step):
            some = ids[begin:begin + step]
            found = self._reduced(some, begin, len(ids), lambda reducer: reducer.chromatograms(targets, reduction(reduce)))
            yield found.frame, found.intensity

    def summed(self, ids: np.ndarray) -> Tuple[np.ndarray, np.ndarray]:
        """m/z and intensities of the spectrum that frames have together."""
        found = self._reduced(ids, 0, len(ids), Reducer.summed_spectrum)
        return found.mz, found.intensity

    def mobilogram(self, ids: np.ndarray, targets: np.ndarray) -> Tuple[np.ndarray, np.ndarray]:
        """1/K0 and summed intensity of each scan."""
        found = self._reduced(ids, 0, len(ids), lambda reducer: reducer.mobilograms(targets, reduction("sum")))
        return found.one_over_k0, found.intensity[0]

    def frames(self, what: str, ids: np.ndarray) -> Iterator[Frame]:
        """Frames with their peaks."""
        assert isinstance(self.analysis, Analysis)
        self.progress.begin(what)
        for done, frame in enumerate(self.analysis.frames(ids, threads=self.threads), 1):
            yield frame
            self.progress.update(done, len(ids))

    def spectra(self, what: str, ids: np.ndarray, kind: int) -> Iterator[Tuple[int, np.ndarray, np.ndarray]]:
        """Spectra without mobility: id, positions of lines or of filled bins, and their intensities."""
        self.progress.begin(what)
        watch, wanted = self.watch(0, len(ids)), query(ids)
        settings = control(watch, self.threads, "skip", _SPECTRA_AT_ONCE)
        stream = self.analysis._run.stream("spectra", ctypes.addressof(wanted), kind, ctypes.addressof(settings))
        try:
            for batch in iter(lambda: watch.wait_for(stream.next_batch), None):
                columns = batch[1]
                intensities: List[np.ndarray] = list(columns["intensity"])
                positions = columns["position"] if kind == LINES else map(np.flatnonzero, intensities)
                for frame, position, intensity in zip(columns["id"].values.tolist(), positions, intensities):
                    yield frame, position, intensity if kind == LINES else intensity[position]
        finally:
            stream.close()
            self.damaged.update(watch.damaged)

    def mz(self, frame: int, positions: np.ndarray) -> np.ndarray:
        """m/z of time-of-flight indices; NaN without a mass calibration."""
        return nan_without_calibration(self.analysis.index_to_mz, frame, positions.astype(np.float64))

    def _reduced(self, ids: np.ndarray, done: int, total: int, act: Callable[[Reducer], T]) -> T:
        watch = self.watch(done, total)
        found = act(Reducer(self.analysis._run, query(ids), control(watch, self.threads, "skip"), watch))
        self.damaged.update(watch.damaged)
        return found

    def watch(self, before: int, total: int) -> _Watch:
        watch = _Watch()
        watch.progress = lambda done, _: self.progress.update(before + done, total)
        return watch


def evenly(count: int, wanted: int) -> np.ndarray:
    """Positions all over a range, at most so many."""
    return np.unique(np.linspace(0, count - 1, min(count, wanted)).round().astype(int)) if count else np.empty(0, int)
