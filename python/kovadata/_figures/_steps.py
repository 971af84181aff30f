"""Histograms as steps, and counts of single values as bars."""

from __future__ import annotations

from typing import NamedTuple, Sequence

import numpy as np
from bokeh.models import ColumnDataSource, FactorRange, HoverTool, Legend, LegendItem, Quad, Range1d, Step, VBar

from ._chart import Chart, count_axis, draw, new_figure, thousands
from ._theme import SERIES_COLOURS, themed


class Steps(NamedTuple):
    """A histogram: its name, edges, and a count between each two of them."""

    name: str
    edges: np.ndarray
    counts: np.ndarray


def steps(name: str, series: Sequence[Steps], *, x_label: str, y_label: str, height: int = 220, title: str = "",
          digits: int = 2, is_log: bool = False) -> Chart:
    """Histograms over each other, with a legend that hides them; `is_log` makes the axis of edges logarithmic."""
    hover = HoverTool(mode="mouse", formatters={"@count": thousands()}, attachment="horizontal", tooltips=[
        (x_label.split(" (")[0], f"@left{{0,0.{'0' * digits}}} to @right{{0,0.{'0' * digits}}}"), (y_label, "@count{custom}")])
    made = new_figure(name, x_label, y_label, height=height, title=title, hover=hover, y_range=Range1d(0, 1),
                      x_range=Range1d(0, 1), is_log=is_log)
    count_axis(made)
    if is_log:
        count_axis(made, "x")
    sources, items, fills = {}, [], []
    for place, one in enumerate(series):
        colour = SERIES_COLOURS[place % len(SERIES_COLOURS)]
        source = ColumnDataSource({"left": one.edges[:-1], "right": one.edges[1:], "count": one.counts.astype(float)})
        fill = draw(made, themed(Quad(left="left", right="right", top="count", bottom=0, fill_alpha=0.28, line_color=None),
                                 fill_color=colour), source)
        corners = ColumnDataSource({"x": np.append(one.edges, one.edges[-1]),
                                    "y": np.concatenate([one.counts, [0, 0]]).astype(float)})
        outline = draw(made, themed(Step(x="x", y="y", mode="after", line_width=1.3), line_color=colour), corners)
        sources[one.name] = source
        fills.append(fill)
        items.append(LegendItem(label=one.name, renderers=[fill, outline]))
    hover.renderers = fills
    made.add_layout(_legend(items))
    chart = Chart(made, sources)
    low, high = min(one.edges[0] for one in series), max(one.edges[-1] for one in series)
    top = max(float(one.counts.max(initial=0)) for one in series)
    chart.limit((low, high), (0, (1.2 if len(series) > 1 else 1.06) * top or 1.0))
    return chart


def _legend(items: Sequence[LegendItem], orientation: str = "horizontal") -> Legend:
    legend = Legend(items=list(items), location="top_right", orientation=orientation, click_policy="hide",
                    border_line_color=None, background_fill_alpha=0, padding=2, margin=0, label_text_font_size="12px",
                    visible=len(items) > 1)
    return themed(legend, label_text_color="ink")


def bars(name: str, labels: Sequence[str], counts: Sequence[int], *, x_label: str, y_label: str, height: int = 220,
         title: str = "") -> Chart:
    """A bar for each label."""
    hover = HoverTool(formatters={"@count": thousands()}, tooltips=[(x_label, "@label"), (y_label, "@count{custom}")])
    made = new_figure(name, x_label, y_label, height=height, title=title, hover=hover, x_range=FactorRange(*labels),
                      y_range=Range1d(0, 1.06 * max([1, *counts])))
    count_axis(made)
    for grid in made.xgrid:
        made.center.remove(grid)
    source = ColumnDataSource({"label": list(labels), "count": [float(one) for one in counts]})
    draw(made, themed(VBar(x="label", top="count", width=0.8, line_color=None), fill_color="blue"), source)
    return Chart(made, {"bars": source})
