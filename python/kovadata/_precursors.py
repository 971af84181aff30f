"""Precursors."""

from __future__ import annotations

import itertools
import math
from typing import Any, List, NamedTuple, Optional, Tuple

import numpy as np


class Precursor(NamedTuple):
    """A precursor whose fragments were measured.

    Attributes
    ----------
    id : int
        "Id" of the precursor.
    frame : int or None
        "Id" of the survey frame that it was selected in.
    scan : float
        Scan number of its mobility, fractional; NaN if it is not known.
    mz : float
        m/z in Th: monoisotopic, or else of the largest peak, or else the average; NaN if none is known.
    charge : int or None
        Charge number, None if it is not known.
    intensity : float
        Intensity in the survey frame in counts; NaN if it is not known.
    time : float
        Retention time of the survey frame in s; NaN if it is not known.
    one_over_k0 : float
        1/K0 in V s / cm^2; NaN if it is not known.
    ccs : float
        Collisional cross section in square angstrom; NaN if 1/K0, charge or m/z are not known.
    """

    id: int
    frame: Optional[int]
    scan: float
    mz: float
    charge: Optional[int]
    intensity: float
    time: float
    one_over_k0: float = math.nan
    ccs: float = math.nan

    @classmethod
    def of_row(cls, row: Tuple[Any, ...]) -> Precursor:
        """What a row of the precursor table says."""
        precursor_id, frame, scan, mz, charge, *others = row
        return cls(precursor_id, None if frame < 0 else frame, scan, mz, charge or None, *others)


def precursors_of(rows: np.ndarray) -> List[Precursor]:
    """What rows of the precursor table say, column by column: there may be hundreds of thousands."""
    columns = [rows[name].tolist() for name in Precursor._fields]
    columns[1] = [None if frame < 0 else frame for frame in columns[1]]
    columns[4] = [charge or None for charge in columns[4]]
    return list(map(tuple.__new__, itertools.repeat(Precursor), zip(*columns)))
