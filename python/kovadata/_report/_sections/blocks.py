"""What a section is made of, and how much detail its figures have."""

from __future__ import annotations

import dataclasses
from typing import Any, List, NamedTuple, Sequence, Tuple, Union

import numpy as np

MZ, MOBILITY, SCAN = "m/z (Th)", "1/K\u2080 (V s cm\u207b\u00b2)", "mobility scan"


ALL, SOME, NONE = 2, 1, 0


class Detail(NamedTuple):
    """How much is drawn.

    `runs` is for how many at most; `points` a line has at most, `peaks` a spectrum; so many `cells` of a map become one, along
    each axis; `figures` of a run are `ALL`, `SOME` or `NONE`.
    """

    runs: float
    points: int
    cells: int
    peaks: int
    figures: int


# The first is taken that fits the number of runs and the size of a report. A browser draws some hundred figures at most.
DETAILS = (Detail(4, 3000, 1, 1600, ALL), Detail(4, 1500, 2, 700, ALL), Detail(12, 1500, 2, 700, SOME), Detail(12, 500, 4, 300, SOME),
           Detail(float("inf"), 1500, 1, 0, NONE), Detail(float("inf"), 200, 1, 0, NONE))


@dataclasses.dataclass(frozen=True)
class Text:
    """A paragraph."""

    text: str


@dataclasses.dataclass(frozen=True)
class Picture:
    """A figure, and the sentence that says what to see in it. Two narrow ones stand side by side."""

    figure: Any
    sentence: str
    is_narrow: bool = False


@dataclasses.dataclass(frozen=True)
class Table:
    """Texts in rows; without a head, the first cell of each row says what the second is."""

    rows: Sequence[Sequence[str]]
    head: Sequence[str] = ()
    summary: str = ""  # of a table that is folded


Block = Union[Text, Picture, Table]


@dataclasses.dataclass(frozen=True)
class Section:
    """A heading and what stands below it."""

    title: str
    blocks: List[Block]


_LONG_RUN = 300.0  # seconds


class TimeAxis(NamedTuple):
    """Times of runs that last long are minutes; frames are their own axis where times say nothing."""

    label: str
    factor: float

    @classmethod
    def of(cls, time: np.ndarray) -> TimeAxis:
        known = time[np.isfinite(time)]
        if len(known) < len(time) or not len(known):
            return cls("frame", 0.0)
        return cls("retention time (min)", 1 / 60) if np.ptp(known) > _LONG_RUN else cls("retention time (s)", 1.0)

    def values(self, time: np.ndarray, frame: np.ndarray) -> np.ndarray:
        return time * self.factor if self.factor else frame.astype(float)

    def text(self, time: float, frame: int) -> str:
        """When, for a sentence."""
        if not self.factor or not np.isfinite(time):
            return f"frame {frame}"
        return f"{time * self.factor:.2f} {'min' if self.factor < 1 else 's'}"


def envelope(values: np.ndarray, points: int) -> np.ndarray:
    """Positions of the lowest and highest value of each of some stretches: what a line of so many points looks like."""
    if len(values) <= points:
        return np.arange(len(values))
    edges = np.linspace(0, len(values), points // 2 + 1).astype(int)
    pairs = [(begin + values[begin:end].argmin(), begin + values[begin:end].argmax())
             for begin, end in zip(edges[:-1].tolist(), edges[1:].tolist())]
    return np.unique(pairs)


def coarser(values: np.ndarray, by: int) -> np.ndarray:
    """A map whose cells are means of so many, along both axes."""
    if by == 1:
        return values
    rows, columns = (np.arange(0, length, by) for length in values.shape)
    sums = np.add.reduceat(np.add.reduceat(values, rows, axis=0), columns, axis=1)
    sizes = np.outer(np.diff(rows, append=values.shape[0]), np.diff(columns, append=values.shape[1]))
    return sums / sizes


def quantile(values: np.ndarray, counts: np.ndarray, share: float) -> float:
    """Where so much of the counts lies below."""
    total = np.cumsum(counts, dtype=float)
    return float(values[min(int(np.searchsorted(total, share * total[-1])), len(values) - 1)])


def plural(count: int, name: str) -> str:
    """A number with its noun."""
    return f"{count:,} {name}{'' if count == 1 else 's'}"


def ends_text(ends: Any, digits: int, unit: str = "") -> str:
    """From the least to the greatest; one number where they are the same."""
    low, high = (f"{round(end, digits) + 0.0:,.{digits}f}" for end in ends)  # no -0.0
    return (low if low == high else f"{low} to {high}") + unit


def charge_text(charge: int) -> str:
    """As chemists write it."""
    return f"{charge}+" if charge > 0 else f"{-charge}\u2212" if charge else "unknown"


def level_name(level: int) -> str:
    return {1: "MS1", 2: "MS/MS"}.get(int(level), "")


def of_levels(level: np.ndarray) -> List[Tuple[str, np.ndarray]]:
    """Names of series and which frames are in them."""
    found = [("MS1", level == 1), ("MS/MS", level == 2), ("all frames", level < 1)]
    return [(name, chosen) for name, chosen in found if chosen.any()]
