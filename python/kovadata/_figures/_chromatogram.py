"""Chromatograms: intensities over retention times, a line per series."""

from __future__ import annotations

import dataclasses
from typing import Any, Dict, List, NamedTuple, Optional, Sequence, Union

import numpy as np
from bokeh.core.properties import value
from bokeh.models import ColumnDataSource, HoverTool, Legend, LegendItem, Line, Range1d, Scatter, Span

from ._chart import Chart, count_axis, draw, new_figure, thousands
from ._theme import SERIES_COLOURS, themed

Values = Union[np.ndarray, Sequence[float]]

_MARKED_POINTS = 80


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
    legend: Legend
    slots: List[LegendItem] = dataclasses.field(default_factory=list)

    def show(self, series: Sequence[Series]) -> None:
        """Draws other series, whose colours go in order where they name none. Lines are used again: making them costs more."""
        while len(self.slots) < len(series):
            self.slots.append(self._new_slot())
        self.sources.clear()
        for place, (slot, one) in enumerate(zip(self.slots, series)):
            points, line = slot.renderers
            points.data_source.data = {"x": np.asarray(one.x, float), "y": np.asarray(one.y, float),
                                       "frame": np.asarray(one.frame)}
            colour = one.colour or SERIES_COLOURS[place % len(SERIES_COLOURS)]
            themed(line.glyph, line_color=colour)
            themed(points.glyph, fill_color=colour)
            points.glyph.fill_alpha = 1.0 if len(one.x) <= _MARKED_POINTS else 0.0
            slot.label = value(one.name)
            self.sources[one.name] = points.data_source
        for place, slot in enumerate(self.slots):
            for drawn in slot.renderers:
                drawn.visible = place < len(series)
        self.legend.update(items=self.slots[:len(series)], visible=len(series) > 1)
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

    def _new_slot(self) -> LegendItem:
        """Points and a line. Hovering is over points: between them nothing was measured."""
        source = ColumnDataSource({"x": [], "y": [], "frame": []})
        line = draw(self.figure, Line(x="x", y="y", line_width=1.5, line_join="round"), source)
        points = draw(self.figure, Scatter(x="x", y="y", size=6, line_color=None), source)
        hover = self.figure.select_one(HoverTool)
        hover.renderers = [*(hover.renderers if isinstance(hover.renderers, list) else []), points]
        return LegendItem(label=value(""), renderers=[points, line])


def chromatogram(name: str, series: Sequence[Series], *, x_label: str, y_label: str = "intensity (counts)",
                 height: int = 240, title: str = "", x_range: Optional[Any] = None, id_label: str = "frame") -> ChromatogramChart:
    """A chromatogram of some series, with a legend that hides them and a cursor that is hidden at first.

    It does for mobilograms too: what has another axis and other ids has other labels.
    """
    hover = HoverTool(mode="vline", attachment="horizontal", formatters={"@y": thousands()}, tooltips=[
        (id_label, "@frame"), (x_label.split(" (")[0], "@x{0.0000}"), ("intensity", "@y{custom}")])
    made = new_figure(name, x_label, y_label, height=height, title=title, hover=hover,
                      x_range=x_range or Range1d(0, 1), y_range=Range1d(0, 1))
    count_axis(made)
    cursor = Span(dimension="height", line_width=1.5, line_dash=[5, 3], visible=False, location=0)
    made.add_layout(themed(cursor, line_color="mark"))
    legend = Legend(location="top_right", orientation="horizontal", click_policy="hide", border_line_color=None,
                    background_fill_alpha=0, padding=2, margin=0, label_text_font_size="12px", visible=False)
    made.add_layout(themed(legend, label_text_color="ink"))
    sources: Dict[str, ColumnDataSource] = {}
    chart = ChromatogramChart(made, sources, cursor, legend)
    chart.show(series)
    return chart
