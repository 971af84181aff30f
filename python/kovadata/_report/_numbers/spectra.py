"""Example spectra: of precursors all over the run, or of its strongest frames where nothing was fragmented."""

from __future__ import annotations

import dataclasses
from typing import List, Optional

import numpy as np

from ...plot._labels import tallest
from .chromatogram import Chromatogram
from .reading import LINES, PROFILES, Reading

WANTED = 6
# As many peaks as a picture can show.
_COLUMNS = 1600
_SAME_ION = 3.0  # Th, so that isotopes count as one


@dataclasses.dataclass(frozen=True)
class Example:
    """`kind` is "MS/MS", "frame", "lines" or "profile". `peaks` is how many there are; the highest of each column of a
    picture are in `mz` and `intensity`. `precursor` is an id and `charge` that of a precursor at `precursor_mz`."""

    kind: str
    frame: int
    time: float
    peaks: int
    mz: np.ndarray
    intensity: np.ndarray
    precursor: Optional[int] = None
    precursor_mz: Optional[float] = None
    charge: Optional[int] = None
    one_over_k0: Optional[float] = None


def example(kind: str, frame: int, time: float, mz: np.ndarray, intensity: np.ndarray, **about: object) -> Example:
    """With the peaks that a picture shows, in the order of their m/z."""
    known = np.isfinite(mz)
    order = np.flatnonzero(known)[np.argsort(mz[known], kind="stable")]
    x, y = mz[order], intensity[order]
    if len(x) > _COLUMNS:
        kept = np.sort(tallest(x, y, float(x[-1] - x[0]) / _COLUMNS or 1.0))
        x, y = x[kept], y[kept]
    return Example(kind, frame, time, len(mz), x, y.astype(float), **about)  # type: ignore[arg-type]


def strongest_of_parts(strength: np.ndarray, mz: Optional[np.ndarray] = None) -> np.ndarray:
    """Positions of the strongest of each sixth, in their order; with m/z, ions that were not chosen before come first."""
    chosen: List[int] = []
    for part in np.array_split(np.arange(len(strength)), WANTED):
        is_new = np.ones(len(part), bool)
        if mz is not None and chosen:
            is_new = (np.abs(mz[part][:, np.newaxis] - mz[chosen]) > _SAME_ION).all(axis=1)
        if len(part):
            chosen.append(int(part[np.where(is_new, strength[part], -1).argmax()]))
    return np.array(chosen, np.int64)


def gather_frame_examples(reading: Reading, chromatogram: Chromatogram) -> List[Example]:
    """Spectra of whole frames, or those of an analysis without mobility."""
    ids = chromatogram.frame[strongest_of_parts(chromatogram.total)]
    times = dict(zip(chromatogram.frame.tolist(), chromatogram.time.tolist()))
    if reading.has_mobility:
        return [example("frame", frame, times[frame], *reading.summed(np.array([frame]))) for frame in ids.tolist()]
    has_lines = bool(reading.analysis._run.info().has_lines)
    found = reading.spectra("example spectra", ids, LINES if has_lines else PROFILES)
    return [example("lines" if has_lines else "profile", frame, times[frame], reading.mz(frame, position), intensity)
            for frame, position, intensity in found]
