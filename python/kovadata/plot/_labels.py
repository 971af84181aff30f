"""Which peaks of a spectrum get a label: the strongest whose text meets neither another text nor a higher peak."""

from __future__ import annotations

from typing import TYPE_CHECKING, List, Tuple

import numpy as np

if TYPE_CHECKING:
    from matplotlib.axes import Axes

# How a label lies above its peak, and which part of it is to the left of the peak.
_ALIGNMENTS = (("center", 0.5), ("left", 0.0), ("right", 1.0))

Box = Tuple[float, float, float, float]


# Weaker ones are mostly noise, and weaker ones beside a strong one its isotopes.
_LEAST = 0.02
_ISOTOPES = 3.5


def label_peaks(ax: Axes, x: np.ndarray, y: np.ndarray, count: int, size: float = 7.5) -> None:
    """Labels at most `count` peaks with their positions. The limits of the axes must be final."""
    pixels = ax.figure.dpi / 72
    places = ax.transData.transform(np.column_stack([x, y]))
    frame = ax.get_window_extent()
    shown = (x >= ax.get_xlim()[0]) & (x <= ax.get_xlim()[1]) & (y >= _LEAST * y.max())
    taken: List[Box] = []
    for peak in np.argsort(y)[::-1]:
        if len(taken) == count:
            break
        text = f"{x[peak]:.3f}"
        stronger = shown & (y > y[peak])
        if not shown[peak] or (np.abs(x[stronger] - x[peak]) < _ISOTOPES).any():
            continue
        for alignment, begin in _ALIGNMENTS:
            shift, width = 4 * (begin - 0.5), 0.63 * size * len(text) * pixels
            left = places[peak, 0] - begin * width + shift * pixels
            box = (left, places[peak, 1] + 2 * pixels, left + width, places[peak, 1] + (3 + 1.1 * size) * pixels)
            if frame.x0 <= box[0] and box[2] <= frame.x1 and _is_free(box, taken, places[stronger]):
                ax.annotate(text, (x[peak], y[peak]), (shift, 2.5), textcoords="offset points",
                            ha=alignment, va="bottom", fontsize=size,
                            bbox={"facecolor": "white", "edgecolor": "none", "pad": 0.6})
                taken.append(box)
                break


def _is_free(box: Box, taken: List[Box], higher: np.ndarray) -> bool:
    if any(box[0] < other[2] and other[0] < box[2] and box[1] < other[3] and other[1] < box[3] for other in taken):
        return False
    return not ((higher[:, 0] > box[0]) & (higher[:, 0] < box[2]) & (higher[:, 1] > box[1])).any()
