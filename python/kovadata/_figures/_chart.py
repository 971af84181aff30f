"""What all figures share: axes, grids, tools, formats of numbers."""

from __future__ import annotations

import dataclasses
from typing import Any, Dict, Optional, Sequence

import numpy as np
from bokeh.models import (BasicTickFormatter, BoxSelectTool, BoxZoomTool, ColumnDataSource, CustomJSHover, CustomJSTickFormatter,
                          HoverTool, PanTool, ResetTool, WheelZoomTool)
from bokeh.plotting import figure

from ._theme import themed

MZ_LABEL = "m/z (Th)"
MOBILITY_LABEL = "1/K\u2080 (V s cm\u207b\u00b2)"
SCAN_LABEL = "mobility scan"

_COUNTS = """
const size = Math.abs(tick)
for (const [unit, name] of [[1e9, " G"], [1e6, " M"], [1e3, " k"]]) {
  if (size >= unit) return Number((size / unit).toPrecision(4)) + name
}
return String(Number(size.toPrecision(4)))
"""


@dataclasses.dataclass
class Chart:
    """A figure and the data behind it.

    Attributes
    ----------
    figure : bokeh.plotting.figure
        Its ``name`` is the one that it was made with.
    sources : dict of ColumnDataSource
        By what they hold.
    """

    figure: Any
    sources: Dict[str, ColumnDataSource]

    def limit(self, x: Optional[Sequence[float]] = None, y: Optional[Sequence[float]] = None) -> None:
        """Shows these ranges, to which a reset comes back."""
        for axis, limits in ((self.figure.x_range, x), (self.figure.y_range, y)):
            if limits is not None and np.isfinite(limits).all():
                low, high = float(limits[0]), float(limits[1])
                axis.update(reset_start=low, reset_end=high, start=low, end=high)


def count_formatter() -> CustomJSTickFormatter:
    """Counts as 1.5 M or 20 k; below 0 they are mirrored."""
    return CustomJSTickFormatter(code=_COUNTS)


def thousands() -> CustomJSHover:
    """Counts with all their digits in a hover."""
    return CustomJSHover(code="return Math.round(value).toLocaleString('en')")


def new_figure(name: str, x_label: str, y_label: str, *, height: int = 260, x_range: Any = None, y_range: Any = None,
               title: str = "", zoom: str = "width", select: bool = False, hover: Optional[HoverTool] = None,
               x_axis_type: str = "auto") -> Any:
    """An empty figure.

    Parameters
    ----------
    name : str
        By which the page finds it, and the beginning of names of files saved from it.
    zoom : {"width", "both"}
        Which axes the tools change.
    select : bool
        Whether there is a tool that draws boxes.
    """
    zoom_box, wheel = BoxZoomTool(dimensions=zoom), WheelZoomTool(dimensions=zoom)
    tools = [PanTool(dimensions=zoom), zoom_box, wheel, *([BoxSelectTool()] if select else []), ResetTool()]
    ranges = {key: value for key, value in (("x_range", x_range), ("y_range", y_range)) if value is not None}
    made = figure(name=name, height=height, sizing_mode="stretch_width", tools=tools, active_drag=zoom_box,
                  active_scroll=None, toolbar_location="above", title=title, x_axis_label=x_label, y_axis_label=y_label,
                  background_fill_color=None, border_fill_color=None, outline_line_color=None, min_border=4,
                  lod_threshold=None, x_axis_type=x_axis_type, **ranges)
    if hover is not None:
        made.add_tools(hover)
    made.toolbar.update(logo=None, autohide=False, stylesheets=[".bk-divider{background-color:#8886}"])  # on light and dark
    themed(made.title, text_color="ink")
    made.title.update(text_font_size="13px", text_font_style="normal", text_font=FONT)
    for axis in made.axis:
        _dress_axis(axis)
    for grid in made.grid:
        themed(grid, grid_line_color="grid")
    made.xaxis.formatter = BasicTickFormatter(use_scientific=False)
    return made


FONT = "system-ui, 'Segoe UI', Roboto, 'DejaVu Sans', sans-serif"


def _dress_axis(axis: Any) -> None:
    themed(axis, axis_label_text_color="soft", major_label_text_color="soft", axis_line_color="line",
           major_tick_line_color="line")
    axis.update(axis_label_text_font_style="normal", axis_label_text_font=FONT, axis_label_text_font_size="12px",
                major_label_text_font=FONT, major_label_text_font_size="11.5px", minor_tick_line_color=None,
                major_tick_in=0, major_tick_out=4, axis_label_standoff=6)


def count_axis(made: Any, dimension: str = "y") -> None:
    """Counts on an axis."""
    axis = made.yaxis if dimension == "y" else made.xaxis
    axis.formatter = count_formatter()
