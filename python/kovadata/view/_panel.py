"""What the parts of a page have in common."""

from __future__ import annotations

from typing import TYPE_CHECKING, Any, Callable, Dict, Mapping, Optional, Tuple

import numpy as np

from .._errors import KovaError
from .._figures import Chart

if TYPE_CHECKING:
    from ._runs import OpenRun
    from ._session import Session

Pair = Tuple[float, float]
Columns = Mapping[str, np.ndarray]

# What reading a file can end with.
READING_ERRORS = (KovaError, OSError, ValueError)


class Panel:
    """A part of the page: its figures, the commands that it takes, and what its figures can be saved as."""

    def __init__(self, session: Session) -> None:
        self.session = session
        self.charts: Dict[str, Chart] = {}
        self.commands: Dict[str, Callable[..., None]] = {}
        self.sizes: Dict[str, Tuple[int, int]] = {}

    @property
    def run(self) -> OpenRun:
        return self.session.run

    def begin(self) -> None:
        """Another run, or another calibration, is shown."""

    def mark(self) -> None:
        """Another frame is chosen."""

    def numbers(self, figure: str) -> Optional[Columns]:
        """What a figure shows, as columns; None if it shows nothing."""
        raise NotImplementedError

    def code(self, figure: str) -> Optional[str]:
        """A program that makes the same picture."""
        raise NotImplementedError

    def size(self, figure: str, width: Any, height: Any) -> None:
        """Remembers the size of a figure on the screen in pixels; one that is not shown has none."""
        if width and height:
            self.sizes[figure] = min(max(int(width), 50), 4000), min(max(int(height), 50), 3000)

    def width(self, figure: str) -> int:
        return self.sizes.get(figure, (500, 200))[0]


def pair(values: Any) -> Optional[Pair]:
    """Two ends as the page sends them, the smaller one first; None if one of them is missing."""
    if values is None or len(values) != 2 or any(one is None for one in values):
        return None
    low, high = sorted(map(float, values))
    return (low, high) if np.isfinite([low, high]).all() else None
