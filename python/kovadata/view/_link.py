"""What the page and its session say to each other, apart from what figures show.

The page sets `command`, the session sets `reply`; either is a small dictionary. Both are numbered, so that the same command
twice is two commands.
"""

from __future__ import annotations

import math
from typing import Any, List, Optional
from typing import Dict as DictOf

from bokeh.core.properties import Any as AnyValue
from bokeh.core.properties import Dict, String
from bokeh.model import DataModel


class KovaLink(DataModel):
    """One per page."""

    command = Dict(String, AnyValue)
    reply = Dict(String, AnyValue)


class Link:
    """The session's end. What it says before the page is there waits until the link is opened."""

    def __init__(self) -> None:
        self.model = KovaLink(name="link", command={}, reply={})
        self._number = 0
        self._waiting: Optional[List[DictOf[str, Any]]] = []

    def send(self, what: str, **values: Any) -> None:
        """Tells the page. NaN, which JSON does not have, is nothing."""
        reply = {"what": what, **{name: plain(one) for name, one in values.items()}}
        if self._waiting is not None:
            self._waiting.append(reply)
            return
        self._number += 1
        self.model.reply = {**reply, "number": self._number}

    def take(self) -> List[DictOf[str, Any]]:
        """What waits, for the page to get another way."""
        waiting, self._waiting = self._waiting or [], []
        return waiting

    def open(self) -> None:
        """The page listens."""
        waiting, self._waiting = self._waiting, None
        for reply in waiting or ():
            self.send(**reply)


def plain(value: Any) -> Any:
    """Numbers and lists of Python in place of numpy's, and None in place of NaN."""
    if hasattr(value, "tolist"):
        value = value.tolist()
    if isinstance(value, float):
        return value if math.isfinite(value) else None
    if isinstance(value, dict):
        return {str(name): plain(one) for name, one in value.items()}
    if isinstance(value, (list, tuple)):
        return [plain(one) for one in value]
    return value
