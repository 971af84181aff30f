"""How peaks are distributed: over frames, intensities, m/z and 1/K0."""

from __future__ import annotations

import dataclasses
from typing import Dict, Iterator, List, Tuple

import numpy as np

from .chromatogram import Chromatogram
from .reading import LINES, PROFILES, Reading, evenly

# So many frames of a level tell how peaks are distributed in the rest.
_SAMPLE = 40
_MZ_BINS, _MOBILITY_BINS, _COUNT_BINS = 200, 120, 40
# Intensities are integers: bins whose widths are powers of two have no gaps.
_INTENSITY_EDGES = 2.0 ** np.arange(33)


@dataclasses.dataclass(frozen=True)
class Histogram:
    """Counts between edges, one less than those. `of` is "MS1", "MS/MS" or "all", `over` what the edges are of."""

    over: str
    of: str
    edges: np.ndarray
    counts: np.ndarray


@dataclasses.dataclass(frozen=True)
class Distributions:
    """`sampled` frames of each level, out of `frames`, were read for all but the numbers of peaks per frame."""

    frames: Dict[str, int]
    sampled: Dict[str, int]
    histograms: List[Histogram]


def gather_distributions(reading: Reading, chromatogram: Chromatogram) -> Distributions:
    """Peaks per frame are those of all frames, the rest those of frames all over the run."""
    levels = {name: chromatogram.frame[chosen] for name, chosen in (
        ("MS1", chromatogram.level == 1), ("MS/MS", chromatogram.level == 2), ("all", chromatogram.level < 1))}
    levels = {name: ids for name, ids in levels.items() if len(ids)}
    chosen = {name: ids[evenly(len(ids), _SAMPLE)] for name, ids in levels.items()}
    histograms = []
    for name, ids in levels.items():
        counts = chromatogram.peaks[np.isin(chromatogram.frame, ids)]
        histograms.append(Histogram("peaks", name, *_counted(counts)))
    limits = _limits(reading, chosen)
    for name, ids in chosen.items():
        histograms.extend(_of_peaks(reading, name, ids, limits))
    return Distributions({name: len(ids) for name, ids in levels.items()}, {name: len(ids) for name, ids in chosen.items()},
                         histograms)


def _counted(values: np.ndarray) -> Tuple[np.ndarray, np.ndarray]:
    """Bins of whole numbers."""
    low, high = int(values.min()), int(values.max())
    width = max(1, -(-(high - low + 1) // _COUNT_BINS))
    edges = low + width * np.arange(-(-(high - low + 1) // width) + 1)
    return edges.astype(float), np.histogram(values, edges)[0]


_Peaks = Tuple[np.ndarray, np.ndarray, np.ndarray]


def _peaks(reading: Reading, name: str, ids: np.ndarray) -> Iterator[_Peaks]:
    """Intensities, m/z and 1/K0 of frames; NaN without calibration."""
    if reading.has_mobility:
        for frame in reading.frames(f"{name} frames sampled", ids):
            peaks = frame.peaks()
            assert peaks.mz is not None and peaks.one_over_k0 is not None
            yield peaks.intensity, peaks.mz, peaks.one_over_k0
        return
    kind = LINES if reading.analysis._run.info().has_lines else PROFILES
    for frame_id, position, intensity in reading.spectra(f"{name} spectra sampled", ids, kind):
        yield intensity, reading.mz(frame_id, position), np.empty(0)


def _limits(reading: Reading, chosen: Dict[str, np.ndarray]) -> Dict[str, Tuple[float, float]]:
    """Ends of the axes, from a few frames of each level: those of single peaks far out would be mostly empty."""
    found: Dict[str, List[np.ndarray]] = {"mz": [], "one_over_k0": []}
    for name, ids in chosen.items():
        for _, mz, mobility in _peaks(reading, name, ids[evenly(len(ids), 5)]):
            found["mz"].append(mz[np.isfinite(mz)])
            found["one_over_k0"].append(mobility[np.isfinite(mobility)])
    joined = {over: np.concatenate(parts or [np.empty(0)]) for over, parts in found.items()}
    return {over: (float(values.min()), float(values.max())) for over, values in joined.items()
            if len(values) and np.ptp(values) > 0}


def _of_peaks(reading: Reading, name: str, ids: np.ndarray, limits: Dict[str, Tuple[float, float]]) -> List[Histogram]:
    edges = {"intensity": _INTENSITY_EDGES, **{over: np.linspace(*ends, 1 + (_MZ_BINS if over == "mz" else _MOBILITY_BINS))
                                              for over, ends in limits.items()}}
    sums = {over: np.zeros(len(ends) - 1, np.int64) for over, ends in edges.items()}
    for intensity, mz, mobility in _peaks(reading, name, ids):
        for over, values in (("intensity", intensity), ("mz", mz), ("one_over_k0", mobility)):
            if over in sums:
                sums[over] += np.histogram(values[np.isfinite(values)], edges[over])[0]
    last = int(np.flatnonzero(sums["intensity"]).max(initial=0)) + 1
    edges["intensity"], sums["intensity"] = edges["intensity"][:last + 1], sums["intensity"][:last]
    return [Histogram(over, name, edges[over], counts) for over, counts in sums.items() if counts.any()]
