"""Maps of the strongest frames over m/z and mobility."""

from __future__ import annotations

from typing import Iterator, List, NamedTuple, Optional, Tuple

import numpy as np

from ..._frame import Frame
from ...plot._style import view
from .chromatogram import Chromatogram
from .reading import Reading

_COLUMNS, _ROWS = 640, 240
# The second strongest survey frame is looked for so far away from the strongest, as a part of the run.
_APART = 0.15


class FrameMap(NamedTuple):
    """Cells of a frame, rows from the low end of y, which is 1/K0, or scans where that is not calibrated.

    `strongest` is m/z and y of the most intense peak, and its intensity.
    """

    frame: int
    time: float
    level: int
    peaks: int
    is_mobility: bool
    values: np.ndarray
    x: Tuple[float, float]
    y: Tuple[float, float]
    strongest: Tuple[float, float, float]


def gather_frame_maps(reading: Reading, chromatogram: Chromatogram) -> List[FrameMap]:
    """Two survey frames and one with fragments, where there are some; nothing without mobility or m/z."""
    if not reading.has_mobility:
        return []
    ids = np.array(list(_strongest(chromatogram)), np.int64)
    maps = (_map(frame) for frame in reading.frames("strongest frames", ids))
    return [one for one in maps if one is not None]


def _strongest(chromatogram: Chromatogram) -> Iterator[int]:
    for level, count in ((1, 2), (2, 1)):
        rest = np.where((chromatogram.level == 2) == (level == 2), chromatogram.total.astype(float), 0)
        for _ in range(count):
            if not rest.any():
                break
            place = int(rest.argmax())
            yield int(chromatogram.frame[place])
            apart = max(1, round(_APART * len(rest)))
            rest[max(place - apart, 0):place + apart + 1] = 0


def _map(frame: Frame) -> Optional[FrameMap]:
    peaks = frame.peaks()
    mz, mobility, weights = peaks.mz, peaks.one_over_k0, peaks.intensity.astype(float)
    assert mz is not None and mobility is not None
    if not weights.any() or np.isnan(mz).any():
        return None
    is_mobility = not np.isnan(mobility).any()
    y = mobility if is_mobility else peaks.scan.astype(float)
    x_ends, y_ends = (view(values, np.sqrt(weights), None, strong=None) for values in (mz, y))
    # Rows of hardly more than one scan would be stripes.
    inside = peaks.scan[(y >= y_ends[0]) & (y <= y_ends[1])]
    rows = int(np.clip(np.ptp(inside) // (2 if is_mobility else 1), 1, _ROWS))
    values, _, _ = np.histogram2d(y, mz, (rows, _COLUMNS), (y_ends, x_ends), weights=weights)
    top = int(weights.argmax())
    return FrameMap(frame.id, frame.time, frame.ms_level or -1, len(peaks), is_mobility, values, x_ends, y_ends,
                    (float(mz[top]), float(y[top]), float(weights[top])))
