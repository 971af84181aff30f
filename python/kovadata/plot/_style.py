"""What all plots share: colours that colour-blind readers can tell apart, axes, units, titles, limits."""

from __future__ import annotations

import textwrap
from typing import TYPE_CHECKING, Any, Optional, Tuple

import numpy as np

if TYPE_CHECKING:
    from matplotlib.axes import Axes

Range = Optional[Tuple[float, float]]

BLUE, VERMILLION = "#0072B2", "#D55E00"
# Light where there is little: single counts stay in the background of a white page.
COLOUR_MAP = "magma_r"
MZ_LABEL = "m/z (Th)"
MOBILITY_LABEL = r"1/K$_0$ (V s cm$^{-2}$)"
SCAN_LABEL = "mobility scan"
_LONG_RUN = 300.0  # seconds
_OUTSIDE, _STRONG, _MARGIN = 0.002, 0.02, 0.03


def axes_or_new(ax: Optional[Axes], size: Tuple[float, float]) -> Axes:
    """The axes that were passed, or those of a new figure that interactive sessions show."""
    if ax is not None:
        return ax
    import matplotlib.pyplot as pyplot

    return pyplot.figure(figsize=size, layout="constrained").add_subplot()


def place(ax: Axes) -> Any:
    """Where the axes are in pixels, after what the layout of the figure moves."""
    ax.figure.canvas.figure.draw_without_rendering()  # the whole figure, also of axes in a part of it
    return ax.get_window_extent()


def font_size() -> float:
    """Size of ordinary text in points."""
    import matplotlib

    return float(matplotlib.rcParams["font.size"])


def tidy(ax: Axes, title: str, x_label: str, y_label: str) -> None:
    write_title(ax, title)
    ax.set_xlabel(x_label)
    ax.set_ylabel(y_label)
    ax.spines[["top", "right"]].set_visible(False)
    ax.ticklabel_format(axis="x", useOffset=False, style="plain")


def write_title(ax: Axes, title: str) -> None:
    """A title of as many lines as the width asks for."""
    width = place(ax).width * 72 / ax.figure.dpi
    ax.set_title(textwrap.fill(title, max(20, int(width / (0.56 * font_size())))), loc="left", fontsize="medium")


def count_axis(ax: Axes, low: float = 0) -> None:
    """Counts up to the upper limit, in thousands, millions or billions as it asks for; below 0 they are mirrored."""
    _, top = ax.get_ylim()
    ax.set_ylim(low, top)
    power = min(int(np.log10(max(top, 1)) // 3) * 3, 9)
    unit = {0: "", 3: "thousand ", 6: "million ", 9: "billion "}[power]
    ax.yaxis.set_major_formatter(lambda value, _: f"{abs(value) / 10 ** power:g}")
    ax.set_ylabel(f"{ax.get_ylabel()} ({unit}counts)")


def time_axis(ids: np.ndarray, seconds: np.ndarray) -> Tuple[np.ndarray, str]:
    """Retention times, of long runs in minutes, with the label of their axis; ids of frames where times say nothing."""
    if np.isnan(seconds).any() or (np.diff(seconds) < 0).any() or not np.ptp(seconds) > 0:
        return ids.astype(float), "frame"
    is_long = np.ptp(seconds) > _LONG_RUN
    return (seconds / 60, "retention time (min)") if is_long else (seconds, "retention time (s)")


def number_ticks(ax: Axes) -> None:
    """Frames have no fractions."""
    from matplotlib.ticker import MaxNLocator

    ax.xaxis.set_major_locator(MaxNLocator("auto", integer=True, min_n_ticks=1))


def view(values: np.ndarray, weights: np.ndarray, limits: Range, strong: Optional[float] = _STRONG) -> Tuple[float, float]:
    """Limits of an axis: those asked for, or else those that hold nearly all of the weight.

    So a stray peak stretches no axis, unless it has at least the `strong` part of the highest weight.
    """
    if limits is not None:
        return limits
    order = np.argsort(values)
    share = np.cumsum(weights[order], dtype=float)
    low, high = values[order][np.searchsorted(share, np.array([_OUTSIDE, 1 - _OUTSIDE]) * share[-1])]
    if strong is not None:
        kept = values[weights >= strong * weights.max()]
        low, high = min(low, kept.min()), max(high, kept.max())
    margin = _MARGIN * float(high - low) or 0.5
    return max(float(low) - margin, float(values.min()) - 0.5), min(float(high) + margin, float(values.max()) + 0.5)


def within(values: np.ndarray, limits: Range) -> Any:
    """Which values are in a range, its ends included; all of them if there is none."""
    return np.ones(len(values), bool) if limits is None else (values >= limits[0]) & (values <= limits[1])


def range_text(mz_range: Range, mobility_range: Range, time_range: Range = None) -> str:
    """Ranges as a part of a title."""
    named = (("{:g} to {:g} s", time_range), ("m/z {:g} to {:g}", mz_range), ("1/K$_0$ {:g} to {:g}", mobility_range))
    return "".join(", " + text.format(*limits) for text, limits in named if limits is not None)
