"""Colours, style sheet and script of pages with figures. Needs no models of Bokeh, whose import takes long."""

from ._colours import SERIES_COLOURS, THEMES
from ._page import page_script, page_style

__all__ = ["SERIES_COLOURS", "THEMES", "page_script", "page_style"]
