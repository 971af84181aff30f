"""Chromatograms: intensities over retention times, a line per series."""

from __future__ import annotations

import dataclasses
from typing import Any, Dict, List, NamedTuple, Optional, Sequence, Union

import numpy as np
from bokeh.models import ColumnDataSource, CustomJSHover, HoverTool, Legend, LegendItem, Range1d, Span

from ._chart import Chart, count_axis, new_figure
from ._theme import SERIES_COLOURS, themed

Values = Union[np.ndarray, Sequence[float]]

_MARKED_POINTS = 80


def thousands() -> CustomJSHover:
    """Counts in full, for a hover. Each figure needs its own: a model belongs to one page."""
    return CustomJSHover(code="return Math.round(value).toLocaleString('en')")


class Series(NamedTuple):
    """A line: its name, times as the axis has them, intensities, ids of frames, and the role of its colour."""

    name: str
    x: Values
    y: Values
    frame: Values
    colour: str = ""


@dataclasses.dataclass
class ChromatogramChart(Chart):
    """Sources are called after the series, with ``x``, ``y`` and ``frame``. `cursor` is a line at the chosen frame."""

    cursor: Span

    def show(self, series: Sequence[Series]) -> None:
        """Draws other series, whose colours go in order where they name none."""
        self.figure.renderers = []
        self.sources.clear()
        items: List[LegendItem] = []
        for place, one in enumerate(series):
            source = ColumnDataSource({"x": np.asarray(one.x, float), "y": np.asarray(one.y, float),
                                       "frame": np.asarray(one.frame)}, name=one.name)
            self.sources[one.name] = source
            items.append(LegendItem(label=one.name, renderers=self._draw(source, one, place)))
        # Hovering over points rather than lines: between points nothing was measured.
        self.figure.select_one(HoverTool).renderers = [item.renderers[0] for item in items]
        legend = self.figure.select_one(Legend)
        legend.items, legend.visible = items, len(items) > 1
        self.fit()

    def fit(self) -> None:
        """Shows all times, and intensities from 0."""
        x = np.concatenate([source.data["x"] for source in self.sources.values()] or [np.empty(0)])
        y = np.concatenate([source.data["y"] for source in self.sources.values()] or [np.empty(0)])
        x, y = x[np.isfinite(x)], y[np.isfinite(y)]
        low, high = (float(x.min()), float(x.max())) if len(x) else (0.0, 1.0)
        margin = 0.015 * (high - low) or 0.5
        top = float(y.max(initial=0)) * (1.18 if len(self.sources) > 1 else 1.08)
        self.limit((low - margin, high + margin), (0, top or 1))

    def _draw(self, source: ColumnDataSource, one: Series, place: int) -> List[Any]:
        colour = one.colour or SERIES_COLOURS[place % len(SERIES_COLOURS)]
        line = self.figure.line("x", "y", source=source, line_width=1.6 if place == 0 else 1.3, line_join="round")
        points = self.figure.scatter("x", "y", source=source, size=6, line_color=None,
                                     fill_alpha=1.0 if len(one.x) <= _MARKED_POINTS else 0.0)
        themed(line.glyph, line_color=colour)
        themed(points.glyph, fill_color=colour)
        for drawn in (line, points):  # a click says where it was, it selects nothing
            drawn.nonselection_glyph = drawn.selection_glyph = None
        return [points, line]


def chromatogram(name: str, series: Sequence[Series], *, x_label: str, y_label: str = "intensity (counts)",
                 height: int = 240, title: str = "", x_range: Optional[Any] = None) -> ChromatogramChart:
    """A chromatogram of some series, with a legend that hides them and a cursor that is hidden at first."""
    hover = HoverTool(mode="vline", attachment="horizontal", formatters={"@y": thousands()}, tooltips=[
        ("frame", "@frame"), (x_label, "@x{0.000}"), ("intensity", "@y{custom}")])
    made = new_figure(name, x_label, y_label, height=height, title=title, hover=hover,
                      x_range=x_range or Range1d(0, 1), y_range=Range1d(0, 1))
    count_axis(made)
    cursor = Span(dimension="height", line_width=1.5, line_dash=[5, 3], visible=False, location=0)
    made.add_layout(themed(cursor, line_color="mark"))
    legend = Legend(location="top_right", orientation="horizontal", click_policy="hide", border_line_color=None,
                    background_fill_alpha=0, padding=2, margin=0, label_text_font_size="12px", visible=False)
    made.add_layout(themed(legend, label_text_color="ink"))
    sources: Dict[str, ColumnDataSource] = {}
    chart = ChromatogramChart(made, sources, cursor)
    chart.show(series)
    return chart
