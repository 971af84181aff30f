"""Figures that the explorer and the report share, drawn by Bokeh from plain arrays.

Each builder gives a `Chart`: a figure with the data sources behind it. A page that has a server sends new arrays into them,
a page that stands alone keeps what it has. Colours are names of roles, in whose place the script of the page
(`kovadata._theme`) puts the colours of its theme.
"""

from ._chart import Chart, count_formatter, draw, new_figure
from ._chromatogram import ChromatogramChart, Series, chromatogram
from ._heat_map import HeatMap, heat_map, map_grid
from ._mobilogram import MobilogramChart, mobilogram
from ._numbers import bytes_text, count_text, short_count
from ._points import Points, points
from ._spectrum import SpectrumChart, Stems, show_spectrum, spectrum
from ._steps import Steps, bars, steps
from ._theme import SERIES_COLOURS, themed

__all__ = ["SERIES_COLOURS", "Chart", "ChromatogramChart", "HeatMap", "MobilogramChart", "Points", "Series",
           "SpectrumChart", "Stems", "Steps", "bars", "bytes_text", "chromatogram", "count_formatter", "count_text", "draw",
           "heat_map", "map_grid", "mobilogram", "new_figure", "points", "short_count", "show_spectrum",
           "spectrum", "steps", "themed"]
