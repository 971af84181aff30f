"""The peaks of a frame on axes that it has calibrations for: m/z or index, 1/K0 or scan."""

from __future__ import annotations

import dataclasses
from typing import Optional, Tuple

import numpy as np

from .._figures import Stems, map_grid
from .._figures._chart import MOBILITY_LABEL, MZ_LABEL, SCAN_LABEL
from .._frame import Frame
from .._peaks import Peaks
from ..plot._axis import mobility_axis
from ..plot._style import view

Pair = Tuple[float, float]

INDEX_LABEL = "time-of-flight index"


@dataclasses.dataclass
class FramePeaks:
    """A frame, all of its peaks, and where they are on both axes."""

    frame: Frame
    peaks: Peaks
    x: np.ndarray
    y: np.ndarray
    has_mz: bool
    has_mobility: bool
    scan_places: np.ndarray

    @classmethod
    def read(cls, frame: Frame) -> FramePeaks:
        peaks = frame.peaks()
        axis = mobility_axis(frame)
        has_mz = not np.isnan(peaks.mz).any()
        x = peaks.mz if has_mz else peaks.tof_index.astype(float)
        places = axis.centres if axis.is_calibrated else np.arange(frame.num_scans, dtype=float)
        return cls(frame, peaks, x, peaks.one_over_k0 if axis.is_calibrated else peaks.scan.astype(float), has_mz,
                   axis.is_calibrated, places)

    @property
    def labels(self) -> Tuple[str, str]:
        return MZ_LABEL if self.has_mz else INDEX_LABEL, MOBILITY_LABEL if self.has_mobility else SCAN_LABEL

    def whole_view(self) -> Tuple[Pair, Pair]:
        """Where the signal is along x, and all scans along y."""
        x = (0.0, 1.0)
        if self.peaks.intensity.any():
            by_index = _by_index(self.peaks.tof_index, self.x, np.sqrt(self.peaks.intensity))
            x = view(by_index.mz, by_index.intensity, None, strong=None)
        ends = self.scan_places if len(self.scan_places) else np.array([0.0, 1.0])
        margin = 0.5 * abs(float(ends[-1] - ends[0])) / max(len(ends) - 1, 1) or 0.5
        return x, (float(ends.min()) - margin, float(ends.max()) + margin)

    def inside(self, x: Optional[Pair], y: Optional[Pair]) -> np.ndarray:
        """Which peaks are in a box, its ends included."""
        mask = np.ones(len(self.x), bool)
        for values, limits in ((self.x, x), (self.y, y)):
            if limits is not None:
                mask &= (values >= limits[0]) & (values <= limits[1])
        return mask

    def cells(self, x: Pair, y: Pair, bins: Tuple[int, int]) -> Tuple[np.ndarray, np.ndarray, np.ndarray]:
        """Intensities on a grid and its edges."""
        if self.has_mz and self.has_mobility:
            image = self.frame.analysis.image(  # type: ignore[attr-defined]
                frames=[self.frame.id], ms_level=None, bins=bins, mz_range=x, mobility_range=y)
            return image.values, image.x_edges, image.y_edges
        edges = np.linspace(*x, bins[0] + 1), np.linspace(*y, bins[1] + 1)
        return map_grid(self.x, self.y, self.peaks.intensity, *edges), *edges

    def mobilogram(self, mask: np.ndarray) -> np.ndarray:
        """Summed intensity of each scan."""
        return np.bincount(self.peaks.scan[mask], self.peaks.intensity[mask], len(self.scan_places))

    def stems(self, mask: np.ndarray) -> Stems:
        """Summed intensity of each index that has peaks, ascending."""
        return _by_index(self.peaks.tof_index[mask], self.x[mask], self.peaks.intensity[mask])

    def strongest_near(self, x: float, y: float, reach: Pair) -> Optional[int]:
        """Position of the strongest peak within a reach of a place."""
        near = np.flatnonzero(self.inside((x - reach[0], x + reach[0]), (y - reach[1], y + reach[1])))
        return int(near[self.peaks.intensity[near].argmax()]) if len(near) else None


def _by_index(index: np.ndarray, x: np.ndarray, weights: np.ndarray) -> Stems:
    """Sums of weights at each index, with its x. Peaks of a frame that have an index have one m/z."""
    if not len(index):
        return Stems(np.empty(0), np.empty(0), np.empty(0, np.int64))
    sums = np.bincount(index, weights)
    places = np.empty(len(sums))
    places[index] = x
    found = np.flatnonzero(np.bincount(index, minlength=len(sums)))
    return Stems(places[found], sums[found], found)
