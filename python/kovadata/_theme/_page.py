"""The script and the style sheet that pages embed."""

from __future__ import annotations

import json
import pathlib

from ._colours import THEMES

_FOLDER = pathlib.Path(__file__).parent / "assets"


def page_script() -> str:
    """JavaScript for a page with figures: `kovaFigures` with its functions, see the file."""
    return (_FOLDER / "figures.js").read_text("utf-8").replace("__THEMES__", json.dumps(THEMES, separators=(",", ":")))


def page_style() -> str:
    """Colours of the page as CSS variables, light and dark, by the attribute ``data-theme`` of its root."""
    rules = []
    for theme, selector in (("light", ":root"), ("dark", ':root[data-theme="dark"]')):
        colours = "".join(f"--{role}:{value};" for role, value in THEMES[theme].items() if isinstance(value, str))
        rules.append(f"{selector}{{color-scheme:{theme};{colours}}}")
    return "".join(rules)
