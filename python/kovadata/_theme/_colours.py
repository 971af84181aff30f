"""The colours of light and dark pages, which colour-blind readers can tell apart, by the names of their roles."""

from __future__ import annotations

from typing import Dict, List, Union

from bokeh.palettes import Inferno256

# Lines of several targets, in this order.
SERIES_COLOURS = ("blue", "vermillion", "green", "purple", "sky", "amber", "yellow", "grey")

_LIGHT = {"blue": "#0072B2", "vermillion": "#D55E00", "green": "#009E73", "purple": "#AA4499", "sky": "#3A9BD9",
          "amber": "#B07D00", "yellow": "#8C8200", "grey": "#666666", "ink": "#1B1F24", "soft": "#57606A", "line": "#C4CBD2",
          "grid": "#E7EAEE", "page": "#FFFFFF", "mark": "#1B1F24"}
_DARK = {"blue": "#58B4F0", "vermillion": "#FF9152", "green": "#33C79A", "purple": "#E38BD0", "sky": "#9AD4FF",
         "amber": "#E6A93A", "yellow": "#E8DC5A", "grey": "#A8B0B8", "ink": "#E8EBEE", "soft": "#A3ACB5", "line": "#47505A",
         "grid": "#2A3138", "page": "#14181C", "mark": "#F4F6F8"}

# Little is near the colour of the page. The ends of the palette would not be told from the page, or from each other.
_PALETTE = list(Inferno256[24:246])

THEMES: Dict[str, Dict[str, Union[str, List[str]]]] = {
    "light": {**_LIGHT, "map": _PALETTE[::-1]}, "dark": {**_DARK, "map": _PALETTE}}
