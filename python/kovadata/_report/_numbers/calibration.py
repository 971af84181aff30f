"""Which calibrations a run has, and what its re-calibrated states change."""

from __future__ import annotations

import dataclasses
from typing import Any, Dict, List, Optional, Tuple

import numpy as np

from ..._base import nan_without_calibration
from ..._errors import KovaError
from ..._opening import AnyAnalysis
from .reading import Reading, evenly

_STATES = 3
_POINTS, _FRAMES, _MOST_STATES = 80, 60, 8


@dataclasses.dataclass(frozen=True)
class State:
    """A re-calibrated state, oldest first.

    `ppm` is how far its m/z lie above those of the acquisition, at `mz` by the calibration of `frame`; `drift` is the same at
    `drift_mz` in frames at `drift_time`. They are empty where there is nothing to compare.
    """

    key: str
    source: str
    is_in_use: bool
    has_single_frames: bool
    mass_frames: int
    mobility_frames: int
    frame: Optional[int]
    mz: np.ndarray
    ppm: np.ndarray
    drift_mz: float
    drift_time: np.ndarray
    drift: np.ndarray


@dataclasses.dataclass(frozen=True)
class Calibration:
    """`in_use` is "acquisition" or the key of a state. Numbers of calibrations count those that frames name."""

    in_use: str
    mz_calibrations: int
    mobility_calibrations: int
    has_mz: bool
    has_one_over_k0: bool
    states: List[State]


def gather_calibration(reading: Reading) -> Calibration:
    """States beyond the newest few are left out."""
    analysis, table = reading.analysis, reading.table
    key = analysis._run.info().calibration_state
    first = int(reading.good["id"][0]) if len(reading.good) else None
    convert: Any = getattr(analysis, "scan_to_one_over_k0", None)
    return Calibration(
        key.decode() if analysis.recalibrated and key else "acquisition", _used(table["mz_calibration"]),
        _used(table["mobility_calibration"]), first is not None and not np.isnan(reading.mz(first, np.zeros(1))[0]),
        first is not None and convert is not None and not np.isnan(nan_without_calibration(convert, first, np.zeros(1))[0]),
        _states(reading))


def _used(ids: np.ndarray) -> int:
    return len(np.unique(ids[ids >= 0]))


def _states(reading: Reading) -> List[State]:
    analysis = reading.analysis
    rows: List[Dict[str, Any]] = []
    for batch in analysis._run.stream("table", _STATES):
        columns = {name: list(column.values) for name, column in batch.items()}
        rows.extend(dict(zip(columns, values)) for values in zip(*columns.values()))
    if not rows:
        return []
    with type(analysis)._opened_later(str(analysis.path), False, None) as acquired:
        return [_state(reading, acquired, row) for row in rows[-_MOST_STATES:]]


def _state(reading: Reading, acquired: AnyAnalysis, row: Dict[str, Any]) -> State:
    table, key = reading.good, str(row["key"])
    nothing = np.empty(0)
    about = (key, str(row["source"]), bool(row["in_use"]), bool(row["mass_per_frame"]), int(row["mass_frames"]),
             int(row["mobility_frames"]))
    if not len(table):
        return State(*about, None, nothing, nothing, float("nan"), nothing, nothing)
    middle = table[len(table) // 2]
    bins = np.linspace(0, max(int(reading.analysis._run.info().num_bins) - 1, 1), _POINTS)
    chosen = table[evenly(len(table), _FRAMES)]
    try:
        with type(acquired)._opened_later(str(acquired.path), False, f"uuid:{key}") as changed:
            mz, ppm = _difference(acquired, changed, int(middle["id"]), bins)
            drift = [_difference(acquired, changed, int(frame), bins[[len(bins) // 2]]) for frame in chosen["id"]]
    except KovaError:  # one that is incomplete or broken; the run can be read without it
        return State(*about, None, nothing, nothing, float("nan"), nothing, nothing)
    return State(*about, int(middle["id"]), mz, ppm, float(drift[0][0][0]), chosen["time"],
                 np.array([ppm[0] for _, ppm in drift]))


def _difference(acquired: AnyAnalysis, changed: AnyAnalysis, frame: int, bins: np.ndarray) -> Tuple[np.ndarray, np.ndarray]:
    before, after = (nan_without_calibration(one.index_to_mz, frame, bins.copy()) for one in (acquired, changed))
    with np.errstate(all="ignore"):
        return before, (after / before - 1) * 1e6
