"""What analyses, frames and spectra say about themselves, from metadata alone: no frame is read."""

from __future__ import annotations

import html
from typing import List, Tuple

import numpy as np

from ._errors import KovaError

Facts = List[Tuple[str, str]]


class Described:
    """Something that is shown as one line, or as a small table in notebooks."""

    def _title(self) -> str:
        raise NotImplementedError

    def _facts(self) -> Facts:
        raise NotImplementedError

    def _known_facts(self) -> Facts:
        """None where the analysis is closed or gone: showing an object must not fail."""
        try:
            return self._facts()
        except (KovaError, ValueError):
            return []

    def __repr__(self) -> str:
        facts = ", ".join(f"{name} {value}" for name, value in self._known_facts())
        return f"<kovadata.{self._title()}{': ' * bool(facts)}{facts}>"

    def _repr_html_(self) -> str:
        left = 'style="text-align:left"'
        rows = "".join(f"<tr><th {left}>{html.escape(name)}</th><td {left}>{html.escape(value)}</td></tr>"
                       for name, value in self._known_facts())
        title = f"kovadata.{html.escape(self._title())}"
        return f"<table><caption style='text-align:left;white-space:nowrap'>{title}</caption>{rows}</table>"


def frames_fact(name: str, table: np.ndarray) -> Facts:
    """How many frames there are, of which level, over which time."""
    counts = ((int((table["ms_level"] == level).sum()), called) for level, called in ((1, "MS1"), (2, "MS/MS")))
    levels = ", ".join(f"{count} {called}" for count, called in counts if count)
    return [(name, f"{len(table)} ({levels})" if levels else str(len(table))), *range_fact("time", table["time"], 1, " s")]


def range_fact(name: str, values: np.ndarray, digits: int, unit: str) -> Facts:
    """From the smallest to the largest value; nothing where none is known."""
    known = values[np.isfinite(values)]
    if not len(known):
        return []
    low, high = (round(float(end), digits) + 0.0 for end in (known.min(), known.max()))  # no -0.0
    return [(name, f"{low:.{digits}f} to {high:.{digits}f}{unit}")]
