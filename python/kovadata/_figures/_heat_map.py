"""Heat maps: intensities over two axes in logarithmic colours, and single peaks where there are few.

Cells without a peak show the page. Values go to the browser as 32-bit floats: colours need no more.
"""

from __future__ import annotations

import dataclasses
from typing import Any, Optional, Sequence, Tuple

import numpy as np
from bokeh.models import (BoxAnnotation, ColorBar, ColumnDataSource, CustomJSHover, HoverTool, Image, LinearColorMapper,
                          LogColorMapper, LogTicker, Range1d, Scatter)

from ._chart import FONT, Chart, count_formatter, draw, new_figure, thousands
from ._theme import themed

PEAK_COLUMNS = ("mz", "one_over_k0", "scan", "tof_index", "intensity")


@dataclasses.dataclass
class HeatMap(Chart):
    """Source ``image`` has the cells; ``peaks`` has single peaks with ``x``, ``y`` and the columns of `PEAK_COLUMNS`."""

    mapper: LogColorMapper
    bar: ColorBar

    def show_cells(self, values: np.ndarray, x_edges: np.ndarray, y_edges: np.ndarray) -> None:
        """Draws cells; values are rows from the low end of y."""
        self.sources["image"].data = {**_image(values), "x": [x_edges[0]], "y": [y_edges[0]],
                                      "dw": [x_edges[-1] - x_edges[0]], "dh": [y_edges[-1] - y_edges[0]]}
        if len(self.sources["peaks"].data["x"]):
            self.sources["peaks"].data = {name: [] for name in self.sources["peaks"].data}

    def show_codes(self, values: np.ndarray, x_edges: Sequence[float], y_edges: Sequence[float]) -> None:
        """Draws cells whose colours are one byte each, for pages that hold all of their data."""
        low, high = colour_range(values)
        self.colour(low, high)
        with np.errstate(divide="ignore"):
            shown = np.log(np.maximum(values, low) / low) / np.log(high / low)
        self.show_cells(np.where(values > 0, 1 + np.rint(254 * shown), 0).astype(np.uint8), np.asarray(x_edges),
                        np.asarray(y_edges))
        image = self.figure.select_one({"name": "cells"})
        image.glyph.color_mapper = themed(LinearColorMapper(low=1, high=255, low_color="rgba(0, 0, 0, 0)"), palette="map")
        decode = CustomJSHover(args={"low": low, "step": float(np.log(high / low)) / 254}, code="""
            return value < 1 ? "none" : String(Number((low * Math.exp((value - 1) * step)).toPrecision(2)))""")
        axes = [axis.axis_label.split(" (")[0] for axis in (*self.figure.xaxis, *self.figure.yaxis)]
        self.figure.add_tools(HoverTool(renderers=[image], attachment="horizontal", formatters={"@image": decode}, tooltips=[
            (axes[0], "$x{0.00}"), (axes[1], "$y{0.000}"), ("about", "@image{custom}")]))

    def show_peaks(self, x: np.ndarray, y: np.ndarray, **columns: np.ndarray) -> None:
        """Draws single peaks, the strongest on top. `columns` are those of `PEAK_COLUMNS`."""
        order = np.argsort(columns["intensity"], kind="stable")
        size = np.clip(60 / np.sqrt(max(len(x), 1)), 4.0, 9.0)
        self.sources["peaks"].data = {"x": x[order], "y": y[order], "size": np.full(len(x), size),
                                      **{name: columns[name][order] for name in PEAK_COLUMNS}}
        self.sources["image"].data = {name: [] for name in self.sources["image"].data}

    def colour(self, low: float, high: float) -> None:
        """The intensities of the first and the last colour."""
        self.mapper.update(low=max(float(low), 1e-3), high=max(float(high), 1.001 * max(float(low), 1e-3)))


def colour_range(values: np.ndarray) -> Tuple[float, float]:
    """Intensities that the first and the last colour stand for, such that weak signals are seen and noise is pale."""
    filled = values[values > 0]
    if not len(filled):
        return 1.0, 10.0
    low, high = float(np.percentile(filled, 5)), float(filled.max())
    return min(low, high / 10), high


def map_grid(x: np.ndarray, y: np.ndarray, weights: np.ndarray, x_edges: np.ndarray, y_edges: np.ndarray) -> np.ndarray:
    """Sums of weights on a grid of equal cells, for axes that the library has no image of."""
    columns, rows = len(x_edges) - 1, len(y_edges) - 1
    column = ((x - x_edges[0]) * (columns / (x_edges[-1] - x_edges[0]))).astype(np.int64)
    row = ((y - y_edges[0]) * (rows / (y_edges[-1] - y_edges[0]))).astype(np.int64)
    column[x == x_edges[-1]], row[y == y_edges[-1]] = columns - 1, rows - 1
    inside = (x >= x_edges[0]) & (y >= y_edges[0]) & (column < columns) & (row < rows)
    sums = np.bincount(row[inside] * columns + column[inside], weights[inside], rows * columns)
    return sums.reshape(rows, columns)


def heat_map(name: str, x_label: str, y_label: str, *, height: int = 420, x_range: Optional[Any] = None,
             y_range: Optional[Any] = None, title: str = "", select: bool = True,
             colour_label: str = "intensity (counts)") -> HeatMap:
    """An empty map. Give it cells or peaks, limits and colours."""
    hover = HoverTool(formatters={"@intensity": thousands()}, attachment="horizontal", tooltips=[
        ("m/z", "@mz{0.00000}"), ("1/K\u2080", "@one_over_k0{0.00000}"), ("scan", "@scan"), ("index", "@tof_index"),
        ("intensity", "@intensity{custom}")])
    made = new_figure(name, x_label, y_label, height=height, title=title, zoom="both", select=select, hover=hover,
                      x_range=x_range or Range1d(0, 1), y_range=y_range or Range1d(0, 1))
    mapper = themed(LogColorMapper(name=f"{name}_colours", low=1, high=10, nan_color="rgba(0, 0, 0, 0)"), palette="map")
    sources = {"image": ColumnDataSource({name: [] for name in ("image", "x", "y", "dw", "dh")}),
               "peaks": ColumnDataSource({name: [] for name in ("x", "y", "size", *PEAK_COLUMNS)})}
    draw(made, Image(image="image", x="x", y="y", dw="dw", dh="dh", color_mapper=mapper), sources["image"], "cells")
    hover.renderers = [draw(made, Scatter(x="x", y="y", size="size", line_color=None, marker="square",
                                          fill_color={"field": "intensity", "transform": mapper}), sources["peaks"])]
    bar = ColorBar(color_mapper=mapper, ticker=LogTicker(desired_num_ticks=5), formatter=count_formatter(), width=10,
                   label_standoff=6, padding=4, border_line_color=None, background_fill_color=None, bar_line_color=None,
                   title=None, major_label_text_font=FONT, major_label_text_font_size="11px", major_tick_line_color=None)
    made.add_layout(themed(bar, major_label_text_color="soft"), "right")
    for grid in made.grid:
        made.center.remove(grid)
    return HeatMap(made, sources, mapper, bar)


def frame_box(chart: Chart, left: float, right: float, bottom: float, top: float, colour: str) -> BoxAnnotation:
    """A box drawn into a map."""
    box = BoxAnnotation(left=left, right=right, bottom=bottom, top=top, fill_alpha=0.08, line_width=1.5)
    chart.figure.add_layout(themed(box, line_color=colour, fill_color=colour))
    return box


def _image(values: np.ndarray) -> Any:
    if values.dtype == np.uint8:
        return {"image": [values]}
    shown = values.astype(np.float32)
    shown[shown == 0] = np.nan
    return {"image": [shown]}
