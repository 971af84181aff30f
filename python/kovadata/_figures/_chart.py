"""What all figures share: axes, grids, tools, formats of numbers."""

from __future__ import annotations

import dataclasses
from typing import Any, Dict, Optional, Sequence

import numpy as np
from bokeh.models import (BasicTickFormatter, BoxSelectTool, BoxZoomTool, CategoricalAxis, CategoricalScale, ColumnDataSource,
                          CustomJSHover, CustomJSTickFormatter, FactorRange, GlyphRenderer, Grid, HoverTool, LinearAxis,
                          LinearScale, LogAxis, LogScale, PanTool, Plot, ResetTool, Title, Toolbar, WheelZoomTool)

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


# On light and dark pages.
_TOOLS = (".bk-divider{background-color:#8886}"
          "[tabindex]:focus-visible{outline:2px solid var(--blue);outline-offset:-2px;border-radius:4px}")


@dataclasses.dataclass
class Chart:
    """A figure and the data behind it.

    Attributes
    ----------
    figure : bokeh.models.Plot
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


def new_figure(name: str, x_label: str, y_label: str, *, x_range: Any, y_range: Any, height: int = 260, title: str = "",
               zoom: str = "width", select: bool = False, hover: Optional[HoverTool] = None, is_log: bool = False) -> Any:
    """An empty figure. Put together from models: ``bokeh.plotting`` takes long to import, and adds what is not needed.

    Parameters
    ----------
    name : str
        By which the page finds it, and the beginning of names of files saved from it.
    zoom : {"width", "both"}
        Which axes the tools change.
    select : bool
        Whether there is a tool that draws boxes.
    is_log : bool
        Whether the axis of x is logarithmic.
    """
    zoom_box, wheel = BoxZoomTool(dimensions=zoom), WheelZoomTool(dimensions=zoom)
    tools = [PanTool(dimensions=zoom), zoom_box, wheel, *([BoxSelectTool()] if select else []), ResetTool(),
             *([hover] if hover is not None else [])]
    toolbar = Toolbar(tools=tools, active_drag=zoom_box, active_scroll=None, logo=None, autohide=False,
                      stylesheets=[_TOOLS])
    scale, axis = (CategoricalScale, CategoricalAxis) if isinstance(x_range, FactorRange) else (
        LogScale, LogAxis) if is_log else (LinearScale, LinearAxis)
    below, left = _dressed(axis(axis_label=x_label)), _dressed(LinearAxis(axis_label=y_label))
    if axis is not CategoricalAxis:
        below.formatter = BasicTickFormatter(use_scientific=False)
    return Plot(name=name, height=height, sizing_mode="stretch_width", toolbar=toolbar, toolbar_location="above",
                title=_title(title) if title else None, x_range=x_range, y_range=y_range, x_scale=scale(), y_scale=LinearScale(),
                below=[below], left=[left], center=[_grid(0, below), _grid(1, left)], background_fill_color=None,
                border_fill_color=None, outline_line_color=None, min_border=4, lod_threshold=None)


def draw(made: Any, glyph: Any, source: ColumnDataSource, name: Optional[str] = None) -> GlyphRenderer:
    """Draws a glyph for each row of a source. A click says where it was, it selects nothing."""
    renderer = GlyphRenderer(data_source=source, glyph=glyph, name=name, selection_glyph=None, nonselection_glyph=None,
                             muted_glyph=None)
    made.renderers.append(renderer)
    return renderer


FONT = "system-ui, 'Segoe UI', Roboto, 'DejaVu Sans', sans-serif"


def _title(text: str) -> Title:
    return themed(Title(text=text, text_font_size="13px", text_font_style="normal", text_font=FONT), text_color="ink")


def _grid(dimension: int, axis: Any) -> Grid:
    return themed(Grid(dimension=dimension, axis=axis), grid_line_color="grid")


def _dressed(axis: Any) -> Any:
    themed(axis, axis_label_text_color="soft", major_label_text_color="soft", axis_line_color="line",
           major_tick_line_color="line")
    axis.update(axis_label_text_font_style="normal", axis_label_text_font=FONT, axis_label_text_font_size="12px",
                major_label_text_font=FONT, major_label_text_font_size="11.5px", minor_tick_line_color=None,
                major_tick_in=0, major_tick_out=4, axis_label_standoff=6)
    return axis


def count_axis(made: Any, dimension: str = "y") -> None:
    """Counts on an axis."""
    axis = made.yaxis if dimension == "y" else made.xaxis
    axis.formatter = count_formatter()
