"""Mobilograms: intensities over 1/K0 or scans, drawn upright beside a map or lying by themselves."""

from __future__ import annotations

import dataclasses
from typing import Any, Optional, Sequence

import numpy as np
from bokeh.models import ColumnDataSource, HoverTool, Line, Range1d

from ._chart import Chart, count_axis, draw, new_figure, thousands
from ._theme import themed


@dataclasses.dataclass
class MobilogramChart(Chart):
    """Source ``line`` has ``mobility``, ``scan`` and ``intensity``."""

    is_upright: bool

    def show(self, mobility: np.ndarray, scan: np.ndarray, intensity: np.ndarray,
             limits: Optional[Sequence[float]] = None) -> None:
        """Draws other values, in the order of the mobility; with limits, intensities fit what lies in them."""
        self.sources["line"].data = {"mobility": mobility, "scan": scan, "intensity": intensity.astype(float)}
        shown = intensity if limits is None else intensity[(mobility >= min(limits)) & (mobility <= max(limits))]
        self.limit(**{"x" if self.is_upright else "y": (0, 1.08 * float(shown.max(initial=0)) or 1.0)})


def mobilogram(name: str, label: str, *, upright: bool = False, height: int = 240, mobility_range: Optional[Any] = None,
               title: str = "", colour: str = "blue") -> MobilogramChart:
    """An empty mobilogram over an axis with this label; `mobility_range` is the axis of a map that it goes with."""
    hover = HoverTool(mode="hline" if upright else "vline", attachment="horizontal", formatters={"@intensity": thousands()},
                      tooltips=[("scan", "@scan"), (label.split(" (")[0], "@mobility{0.0000}"),
                                ("intensity", "@intensity{custom}")])
    axis, counts = mobility_range or Range1d(0, 1), Range1d(0, 1)
    labels = ("intensity", label) if upright else (label, "intensity (counts)")
    made = new_figure(name, *labels, height=height, title=title, hover=hover, zoom="height" if upright else "width",
                      **(dict(x_range=counts, y_range=axis) if upright else dict(x_range=axis, y_range=counts)))
    count_axis(made, "x" if upright else "y")
    if upright:
        made.xaxis.ticker.desired_num_ticks = 3
    source = ColumnDataSource({"mobility": [], "scan": [], "intensity": []})
    x, y = ("intensity", "mobility") if upright else ("mobility", "intensity")
    draw(made, themed(Line(x=x, y=y, line_width=1.3, line_join="round"), line_color=colour), source)
    return MobilogramChart(made, {"line": source}, upright)
