"""What the metadata say about the frames of an analysis."""

from __future__ import annotations

from typing import Any, Iterable, Optional

import numpy as np

from ._metadata import Metadata
from ._table import Column, structured

COLUMNS = (
    Column("id", "i8", -1, lowest=-2 ** 63),
    Column("time", "f8", np.nan),
    Column("polarity", "U1", ""),
    Column("ms_level", "i1", -1),
    Column("scans", "i8", -1),
    Column("peaks", "i8", -1),
    Column("intensity_sum", "i8", -1),
    Column("accumulation_time", "f8", np.nan),
    Column("ramp_time", "f8", np.nan),
    Column("mz_calibration", "i8", -1),
    Column("mobility_calibration", "i8", -1),
    Column("position", "i8", -1),
)

# Which of these there are depends on the schema version and on the program that wrote the analysis.
_IN_DATABASE = {
    "time": "Time", "polarity": "Polarity", "scans": "NumScans", "peaks": "NumPeaks",
    "intensity_sum": "SummedIntensities", "accumulation_time": "AccumulationTime", "ramp_time": "RampTime",
    "mz_calibration": "MzCalibration", "mobility_calibration": "KovaCalibration", "position": "KovaId"}


def _ms_level(metadata: Metadata, has_type: bool) -> str:
    if has_type:
        return "CASE WHEN MsMsType = 0 THEN 1 WHEN MsMsType > 0 THEN 2 END"
    if metadata.columns("ZorelFrameMsMsInfo"):
        return "CASE WHEN Id IN (SELECT Frame FROM ZorelFrameMsMsInfo) THEN 2 ELSE 1 END"
    return "NULL"


def read_frame_table(metadata: Metadata, frame_id: Optional[int] = None) -> np.ndarray:
    """The rows of all frames in ascending order of their ids, or of one, as a structured array."""
    present = metadata.columns("Frames")
    expressions = []
    for column in COLUMNS:
        name = _IN_DATABASE.get(column.name, "")
        expressions.append("Id" if column.name == "id" else
                           _ms_level(metadata, "MsMsType" in present) if column.name == "ms_level" else
                           name if name in present else "NULL")
    sql = f"SELECT {', '.join(expressions)} FROM Frames"
    rows: Iterable[Any] = (metadata.rows(f"{sql} ORDER BY Id") if frame_id is None
                           else metadata.rows(f"{sql} WHERE Id = ?", (frame_id,)))
    return structured(COLUMNS, rows)
