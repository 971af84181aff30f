"""Points and lines over any two axes, a colour for each series."""

from __future__ import annotations

from typing import NamedTuple, Sequence

import numpy as np
from bokeh.models import ColumnDataSource, HoverTool, LegendItem, Line, Range1d, Scatter

from ._chart import Chart, draw, new_figure
from ._steps import _legend
from ._theme import SERIES_COLOURS, themed

# So many letters have room in a line.
_LONG_NAMES = 40


class Points(NamedTuple):
    """A series: its name and places."""

    name: str
    x: np.ndarray
    y: np.ndarray


def points(name: str, series: Sequence[Points], *, x_label: str, y_label: str, height: int = 320, title: str = "",
           are_joined: bool = False, formats: Sequence[str] = ("0.000", "0.000")) -> Chart:
    """A scatter plot, or lines where points are joined; with a legend that hides series."""
    hover = HoverTool(mode="vline" if are_joined else "mouse", attachment="horizontal", line_policy="nearest", tooltips=[
        ("", "$name"), (x_label.split(" (")[0], f"@x{{{formats[0]}}}"), (y_label.split(" (")[0], f"@y{{{formats[1]}}}")])
    made = new_figure(name, x_label, y_label, height=height, title=title, hover=hover, x_range=Range1d(0, 1),
                      y_range=Range1d(0, 1), zoom="width" if are_joined else "both")
    sources, items = {}, []
    for place, one in enumerate(series):
        colour = SERIES_COLOURS[place % len(SERIES_COLOURS)]
        source = ColumnDataSource({"x": np.asarray(one.x, np.float32), "y": np.asarray(one.y, np.float32)})
        glyph = themed(Line(x="x", y="y", line_width=1.6), line_color=colour) if are_joined else themed(
            Scatter(x="x", y="y", size=4, fill_alpha=0.55, line_color=None), fill_color=colour)
        sources[one.name] = source
        items.append(LegendItem(label=one.name, renderers=[draw(made, glyph, source, one.name)]))
    if sum(len(one.name) for one in series) > _LONG_NAMES:
        made.add_layout(_legend(items, "vertical"), "below")
    else:
        made.add_layout(_legend(items))
    chart = Chart(made, sources)
    chart.limit(*(_span(np.concatenate([np.asarray(part, float) for part in parts]), room) for parts, room in (
        ([one.x for one in series], 0.02), ([one.y for one in series], 0.12))))
    return chart


def _span(values: np.ndarray, room: float) -> Sequence[float]:
    known = values[np.isfinite(values)]
    low, high = (float(known.min()), float(known.max())) if len(known) else (0.0, 1.0)
    margin = room * (high - low) or abs(high) * 0.05 or 1.0
    return low - margin, high + 1.5 * margin
