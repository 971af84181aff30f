"""Tables of the metadata, and look-ups of single rows in them."""

from __future__ import annotations

from typing import Any, Callable, Dict, List, Optional, Tuple

import numpy as np

from ._arrays import address
from ._arrow_c import BatchStream
from ._ccs import one_over_k0_to_ccs
from ._run import Run
from ._table import Column, structured

_METADATA, _FRAMES, _PRECURSORS = 0, 1, 2

FRAME_COLUMNS = (
    Column("id", "i8", -1),
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

PRECURSOR_COLUMNS = (
    Column("id", "i8", -1),
    Column("frame", "i8", -1),
    Column("scan", "f8", np.nan),
    Column("mz", "f8", np.nan),
    Column("charge", "i8", 0),
    Column("intensity", "f8", np.nan),
    Column("time", "f8", np.nan),
    Column("one_over_k0", "f8", np.nan),
    Column("ccs", "f8", np.nan),
)


def read_metadata(run: Run) -> Dict[str, str]:
    """Keys and values of table "GlobalMetadata"."""
    return {key: value for batch in run.stream("table", _METADATA)
            for key, value in zip(batch["key"].values, batch["value"].values)}


def read_frames(run: Run) -> np.ndarray:
    """All frames in ascending order of their ids, as the database has them now."""
    return structured(FRAME_COLUMNS, list(run.stream("table", _FRAMES)))


def read_precursors(run: Run) -> np.ndarray:
    """The same for precursors."""
    return _precursors_of(run.stream("table", _PRECURSORS))


def find_precursors(run: Run, ids: np.ndarray) -> np.ndarray:
    """The rows of those precursors that have some ids."""
    return _precursors_of(run.stream("precursors", address(ids), len(ids)))


def rows_by_id(precursors: np.ndarray, ids: np.ndarray) -> np.ndarray:
    """Rows of precursors in the order of some ids. Of one that is not there, nothing but the id is known."""
    unknown = tuple(column.missing for column in PRECURSOR_COLUMNS)
    known = precursors if len(precursors) else np.array([unknown], precursors.dtype)
    rows = known[np.maximum(np.searchsorted(known["id"], ids, "right") - 1, 0)]
    are_missing = rows["id"] != ids
    if are_missing.any():
        rows[are_missing] = unknown
        rows["id"] = ids
    return rows


def _precursors_of(stream: BatchStream) -> np.ndarray:
    table = structured(PRECURSOR_COLUMNS, [{**batch, "ccs": batch["one_over_k0"]} for batch in stream])
    area = one_over_k0_to_ccs(table["one_over_k0"], table["charge"], table["mz"])
    table["ccs"] = np.where(table["charge"] == 0, np.nan, area)
    return table


class KnownRows:
    """Rows of a table by id. The table is read again when an id is asked for that it did not have."""

    def __init__(self, read: Callable[[], np.ndarray]) -> None:
        self._read = read
        self._table: Optional[np.ndarray] = None

    @property
    def table(self) -> np.ndarray:
        """The table as it was when it was read last."""
        if self._table is None:
            self._table = self._read()
        return self._table

    def find(self, row_id: int) -> Optional[np.void]:
        """The row with an id, None if there is none."""
        places, are_known = self.places(np.array([row_id], np.int64))
        row: Optional[np.void] = self.table[places[0]] if are_known[0] else None
        return row

    def places(self, ids: np.ndarray) -> Tuple[np.ndarray, np.ndarray]:
        """Where rows are in the table, and whether they are."""
        for is_last in (False, True):
            known = self.table["id"]
            places = np.searchsorted(known, ids)
            are_known = places < len(known)
            are_known[are_known] = known[places[are_known]] == ids[are_known]
            if is_last or are_known.all():
                break
            self._table = None
        return places, are_known
