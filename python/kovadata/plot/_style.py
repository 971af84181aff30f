"""What all plots share: colours that colour-blind readers can tell apart, axes, units."""

from __future__ import annotations

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


def axes_or_new(ax: Optional[Axes], size: Tuple[float, float]) -> Axes:
    """The axes that were passed, or those of a new figure that interactive sessions show."""
    if ax is not None:
        return ax
    import matplotlib.pyplot as pyplot

    return pyplot.figure(figsize=size).add_subplot()


def tidy(ax: Axes, title: str, x_label: str, y_label: str) -> None:
    ax.set_title(title, loc="left", fontsize="medium")
    ax.set_xlabel(x_label)
    ax.set_ylabel(y_label)
    ax.spines[["top", "right"]].set_visible(False)
    ax.ticklabel_format(axis="x", useOffset=False, style="plain")


def count_axis(ax: Axes) -> None:
    """Counts from 0 on, in thousands, millions or billions as the largest asks for."""
    _, top = ax.get_ylim()
    ax.set_ylim(0, top)
    power = min(int(np.log10(max(top, 1)) // 3) * 3, 9)
    if power:
        unit = {3: "thousand", 6: "million", 9: "billion"}[power]
        ax.yaxis.set_major_formatter(lambda value, _: f"{value / 10 ** power:g}")
        ax.set_ylabel(f"{ax.get_ylabel()} ({unit} counts)")
    else:
        ax.set_ylabel(f"{ax.get_ylabel()} (counts)")


def within(values: np.ndarray, limits: Range) -> Any:
    """Which values are in a range, its ends included; all of them if there is none."""
    return np.ones(len(values), bool) if limits is None else (values >= limits[0]) & (values <= limits[1])


def range_text(mz_range: Range, mobility_range: Range) -> str:
    """Ranges as a part of a title."""
    parts = []
    if mz_range is not None:
        parts.append(f"m/z {mz_range[0]:g} to {mz_range[1]:g}")
    if mobility_range is not None:
        parts.append(f"1/K$_0$ {mobility_range[0]:g} to {mobility_range[1]:g}")
    return "".join(f", {part}" for part in parts)

