"""Colours of models on light and dark pages.

A model of Bokeh has one colour, a page two. So models name the role of each colour in their tags, `themed`, and the script of
the page puts the colours of the theme in place of the roles, which works with a server and without.
"""

from __future__ import annotations

from typing import Any, Dict, TypeVar

from .._theme import SERIES_COLOURS, THEMES

__all__ = ["SERIES_COLOURS", "themed"]

M = TypeVar("M")


def themed(model: M, **roles: str) -> M:
    """Gives properties of a model the colours of roles, at first the light ones."""
    kept: Any = model
    for name, role in roles.items():
        setattr(kept, name, THEMES["light"][role])
    known: Dict[str, str] = next((tag["roles"] for tag in kept.tags if isinstance(tag, dict) and "roles" in tag), {})
    others = [tag for tag in kept.tags if not (isinstance(tag, dict) and "roles" in tag)]
    kept.tags = [*others, {"roles": {**known, **roles}}]
    return model
