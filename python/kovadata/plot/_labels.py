"""Which peaks of a spectrum get a label: the strongest whose text meets neither another text nor a line."""

from __future__ import annotations

from typing import TYPE_CHECKING, Callable, List, Sequence, Tuple

import numpy as np

from ._style import font_size, place

if TYPE_CHECKING:
    from matplotlib.axes import Axes

# How a label lies above its peak, and which part of it is to the left of the peak.
_ALIGNMENTS = (("center", 0.5), ("left", 0.0), ("right", 1.0))

Box = Tuple[float, float, float, float]

# Weaker ones are mostly noise, and weaker ones beside a strong one its isotopes, unless these are what is looked at.
_LEAST = 0.02
_ISOTOPES, _SHARE = 3.5, 0.015
# As many columns as lines of a picture can be told apart.
COLUMNS = 2000


def tallest(x: np.ndarray, y: np.ndarray, width: float) -> np.ndarray:
    """Positions of the highest point in each column of a width, ascending in x; x ascends."""
    if not len(x):
        return np.empty(0, np.intp)
    column = ((x - x[0]) / width).astype(np.int64)
    order = np.lexsort((y, column))
    is_highest: np.ndarray = np.diff(column[order], append=-1) != 0
    return order[is_highest]


def headroom(ax: Axes, highest: float, lines: int) -> None:
    """Sets the upper limit such that so many lines of labels fit above the highest peak."""
    height, points = place(ax).height * 72 / ax.figure.dpi, 1.3 * font_size() * lines
    low, _ = ax.get_ylim()
    ax.set_ylim(top=highest + (highest - low) * points / max(height - points, points))


def label_peaks(ax: Axes, x: np.ndarray, y: np.ndarray, count: int, mz_of: Callable[[int], float], *,
                upright: Sequence[float] = ()) -> None:
    """Labels at most `count` peaks with `mz_of` their positions, clear of lines that stand `upright` over all the height.

    x ascends, and the limits of the axes must be final.
    """
    frame, size = place(ax), 0.75 * font_size()
    point = ax.figure.dpi / 72
    low, high = ax.get_xlim()
    apart = min(_ISOTOPES, _SHARE * (high - low))
    inside = np.flatnonzero((x >= low) & (x <= high) & (y >= _LEAST * y.max()))
    lines = inside[tallest(x[inside], y[inside], (high - low) / COLUMNS)]
    tops = _pixels(ax, x[lines], y[lines])
    walls = _pixels(ax, np.array(upright, float), np.zeros(len(upright)))[:, 0]
    waiting = inside[tallest(x[inside], y[inside], apart)]
    waiting = waiting[np.argsort(-y[waiting], kind="stable")]
    taken: List[Box] = []
    for turn, peak in enumerate(waiting):
        if len(taken) == count:
            break
        if (np.abs(x[lines][y[lines] > y[peak]] - x[peak]) < apart).any():
            continue
        text, rest = f"{mz_of(peak):.3f}", _pixels(ax, x[waiting[turn + 1:]], y[waiting[turn + 1:]])
        [top] = _pixels(ax, x[[peak]], y[[peak]])
        width, choices = 0.63 * size * len(text) * point, []
        for preference, (alignment, begin) in enumerate(_ALIGNMENTS):
            shift = 4 * (begin - 0.5)
            left = top[0] + shift * point - begin * width
            box = (left, top[1] + 2 * point, left + width, top[1] + (3 + 1.1 * size) * point)
            if frame.x0 <= box[0] and box[2] <= frame.x1 and _is_free(box, taken, tops, walls):
                choices.append((_crowd(box, rest), preference, alignment, shift, box))
        if choices:
            _, _, alignment, shift, box = min(choices)
            ax.annotate(text, (x[peak], y[peak]), (shift, 2.5), textcoords="offset points", ha=alignment, va="bottom",
                        fontsize=size)
            taken.append(box)


def _pixels(ax: Axes, x: np.ndarray, y: np.ndarray) -> np.ndarray:
    places: np.ndarray = ax.transData.transform(np.column_stack([x, y]))
    return places


def _is_free(box: Box, taken: List[Box], tops: np.ndarray, walls: np.ndarray) -> bool:
    if any(box[0] < other[2] and other[0] < box[2] and box[1] < other[3] and other[1] < box[3] for other in taken):
        return False
    is_across = (tops[:, 0] > box[0] - 1) & (tops[:, 0] < box[2] + 1) & (tops[:, 1] > box[1])
    return not is_across.any() and not ((walls > box[0]) & (walls < box[2])).any()


def _crowd(box: Box, tops: np.ndarray) -> int:
    """How many of the peaks that wait for a label have their own in or beside a box."""
    height = box[3] - box[1]
    return int(((tops[:, 0] > box[0]) & (tops[:, 0] < box[2]) & (np.abs(tops[:, 1] - box[1]) < height)).sum())
