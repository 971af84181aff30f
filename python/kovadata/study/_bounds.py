"""What a predicate says about single columns: sets of values and ranges outside of which it cannot be true.

Bounds are never narrower than the predicate that they are made of, and often wider: what is not understood bounds nothing.
They decide what is read; whoever made them of a predicate filters what comes by the predicate itself.
"""

from __future__ import annotations

import math
import numbers
from typing import Any, FrozenSet, Iterable, Mapping, NamedTuple, Optional, Tuple

import numpy as np


def _least(a: Any, b: Any) -> Any:
    """The lower of two low ends, None being open."""
    return None if a is None or b is None else min(a, b)


def _greatest(a: Any, b: Any) -> Any:
    return None if a is None or b is None else max(a, b)


class Domain(NamedTuple):
    """The values that a column may have: those of a set, or else those from ``low`` to ``high``, where None is open."""

    low: Any = None
    high: Any = None
    values: Optional[FrozenSet[Any]] = None

    def contains(self, value: Any) -> bool:
        if self.values is not None:
            return value in self.values
        return (self.low is None or value >= self.low) and (self.high is None or value <= self.high)

    def mask(self, array: np.ndarray) -> np.ndarray:
        """Which elements of an array of numbers it contains; NaN is in none."""
        if self.values is not None:
            return np.isin(array, np.array(sorted(self.values), np.float64 if array.dtype.kind == "f" else None))
        inside = array == array
        if self.low is not None:
            inside &= array >= self.low
        if self.high is not None:
            inside &= array <= self.high
        return inside

    def range(self) -> Optional[Tuple[Any, Any]]:
        """The range that it lies in; None where it is empty."""
        low, high = (self.low, self.high) if self.values is None else (min(self.values, default=1), max(self.values, default=0))
        return None if low is not None and high is not None and low > high else (low, high)

    def both(self, other: Domain) -> Domain:
        """The values that are in both."""
        if self.values is not None:
            return Domain(values=frozenset(value for value in self.values if other.contains(value)))
        if other.values is not None:
            return other.both(self)
        return Domain(other.low if self.low is None else self.low if other.low is None else max(self.low, other.low),
                      other.high if self.high is None else self.high if other.high is None else min(self.high, other.high))

    def either(self, other: Domain) -> Domain:
        """The values that are in one or the other, and maybe some between them."""
        if self.values is not None and other.values is not None:
            return Domain(values=self.values | other.values)
        mine, others = self.range(), other.range()
        if mine is None or others is None:
            return other if mine is None else self
        return Domain(_least(mine[0], others[0]), _greatest(mine[1], others[1]))


class Bounds(Mapping[str, Domain]):
    """Domains by column; a column without one is not bounded. Combined with ``&`` and ``|`` as the predicates are."""

    def __init__(self, domains: Mapping[str, Domain] = {}) -> None:
        self._domains = dict(domains)

    def __getitem__(self, column: str) -> Domain:
        return self._domains[column]

    def __iter__(self) -> Any:
        return iter(self._domains)

    def __len__(self) -> int:
        return len(self._domains)

    def __repr__(self) -> str:
        return f"Bounds({self._domains})"

    def __and__(self, other: Bounds) -> Bounds:
        domains = {**other._domains, **self._domains}
        return Bounds({column: self[column].both(other[column]) if column in self and column in other else domain
                       for column, domain in domains.items()})

    def __or__(self, other: Bounds) -> Bounds:
        return Bounds({column: self[column].either(other[column]) for column in self if column in other})

    @staticmethod
    def of(column: str, operator: str, value: Any) -> Bounds:
        """What a comparison bounds. Comparisons that are not understood bound nothing.

        Parameters
        ----------
        column : str
            Name of a column.
        operator : {"==", "<", "<=", ">", ">=", "in"}
            How it compares with the value.
        value : int, float, str, or a collection of them for "in"
        """
        values = list(value) if operator == "in" and isinstance(value, Iterable) else [value]
        if not all(_is_comparable(column, one) for one in values):
            return Bounds()
        if operator in ("==", "in"):
            return Bounds({column: Domain(values=frozenset(values))})
        ends = {"<": (None, value), "<=": (None, value), ">": (value, None), ">=": (value, None)}
        return Bounds({column: Domain(*ends[operator])}) if operator in ends else Bounds()

    @staticmethod
    def all_of(comparisons: Iterable[Tuple[str, str, Any]]) -> Bounds:
        """What several comparisons bound together."""
        bounds = Bounds()
        for column, operator, value in comparisons:
            bounds = bounds & Bounds.of(column, operator, value)
        return bounds


def _is_comparable(column: str, value: Any) -> bool:
    if column == "run":
        return isinstance(value, str)
    if not isinstance(value, numbers.Real) or isinstance(value, bool):
        return False
    try:
        return not math.isnan(value)
    except OverflowError:  # an integer that no floating-point number reaches
        return False
