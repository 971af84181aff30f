"""Precursors, and which frames their fragments are in."""

from __future__ import annotations

import math
from typing import Any, Collection, Iterator, List, NamedTuple, Optional, Tuple

import numpy as np

from ._metadata import Metadata
from ._table import Column, structured

COLUMNS = (
    Column("id", "i8", -1, lowest=-2 ** 63),
    Column("frame", "i8", -1),
    Column("scan", "f8", np.nan),
    Column("mz", "f8", np.nan),
    Column("charge", "i8", 0, lowest=-2 ** 63),
    Column("intensity", "f8", np.nan),
    Column("time", "f8", np.nan),
)

_MZ_COLUMNS = ("MonoisotopicMz", "LargestPeakMz", "AverageMz")


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
    """

    id: int
    frame: Optional[int]
    scan: float
    mz: float
    charge: Optional[int]
    intensity: float
    time: float
    one_over_k0: float = math.nan

    @classmethod
    def unknown(cls, precursor_id: int) -> Precursor:
        """One of which the metadata say nothing."""
        return cls(precursor_id, None, math.nan, math.nan, None, math.nan, math.nan)

    @classmethod
    def of_row(cls, row: np.void) -> Precursor:
        """What a row of the table says; its 1/K0 takes a calibration."""
        return cls(int(row["id"]), None if row["frame"] < 0 else int(row["frame"]), float(row["scan"]), float(row["mz"]),
                   int(row["charge"]) or None, float(row["intensity"]), float(row["time"]))


def _known_mz(present: Collection[str]) -> str:
    # Acquisitions write 0 for an m/z that they could not find.
    cases = [f"WHEN p.{name} > 0 THEN p.{name}" for name in _MZ_COLUMNS if name in present]
    return f"CASE {' '.join(cases)} END" if cases else "NULL"


def read_precursor_table(metadata: Metadata) -> np.ndarray:
    """The rows of all precursors in ascending order of their ids; none where there is no such table."""
    present, of_frames = metadata.columns("Precursors"), metadata.columns("Frames")
    if not present:
        return structured(COLUMNS, [])

    def of_precursor(name: str) -> str:
        return f"p.{name}" if name in present else "NULL"

    time = "f.Time" if "Time" in of_frames else "NULL"
    return structured(COLUMNS, metadata.rows(
        f"SELECT p.Id, {of_precursor('Parent')}, {of_precursor('ScanNumber')}, {_known_mz(present)}, "
        f"{of_precursor('Charge')}, {of_precursor('Intensity')}, {time} "
        "FROM Precursors p LEFT JOIN Frames f ON f.Id = p.Parent ORDER BY p.Id"))


def batches(metadata: Metadata, wanted: Optional[np.ndarray], size: int) -> Iterator[np.ndarray]:
    """Ids of precursors in groups of about `size`, such that the library would finish one group after the other."""
    if not metadata.columns("Precursors") or not metadata.columns("ZorelFrameMsMsInfo"):
        # The library says what is missing.
        yield np.zeros(1, np.int64) if wanted is None else wanted
        return
    last_frames: List[Tuple[Any, ...]] = metadata.rows(
        "SELECT CAST(Precursor AS INTEGER), COALESCE(MAX(CAST(Frame AS INTEGER)), 0) FROM ZorelFrameMsMsInfo "
        "WHERE Precursor IN (SELECT Id FROM Precursors) GROUP BY 1 ORDER BY 2")
    table = np.array(last_frames, dtype=np.int64).reshape(-1, 2)
    if wanted is not None:
        table = table[np.isin(table[:, 0], wanted)]
    begin = 0
    while begin < len(table):
        end = min(begin + size, len(table))
        # Precursors that are finished by the same frame stay together.
        end = int(np.searchsorted(table[:, 1], table[end - 1, 1], side="right"))
        yield np.ascontiguousarray(table[begin:end, 0])
        begin = end
