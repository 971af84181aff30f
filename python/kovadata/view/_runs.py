"""The runs named when the explorer began, and one of them open with one calibration."""

from __future__ import annotations

import os
from typing import Any, Dict, List, NamedTuple, Optional, Sequence, Union

import numpy as np

from .._analysis import Analysis
from .._arrow_c import filled
from .._base import nan_without_calibration
from .._errors import KovaError
from .._opening import kind_of_analysis
from .._spectra import SpectrumAnalysis
from ..plot._style import time_axis

AnyAnalysis = Union[Analysis, SpectrumAnalysis]

ACQUISITION = "off"
_STATES, _ISOLATIONS = 3, 4


class Named(NamedTuple):
    """A run that may be shown: where it is, and the calibration that it is opened with at first."""

    path: str
    calibration: str

    @property
    def name(self) -> str:
        return os.path.basename(self.path)


def named_runs(analyses: Sequence[Any], recalibrated: bool = False, calibration: Optional[str] = None) -> List[Named]:
    """What was asked for, each opened once, so that what cannot be opened is told at once."""
    found = []
    for one in analyses:
        if isinstance(one, (Analysis, SpectrumAnalysis)):
            path, options = str(one.path), one._options
        else:
            path, options = os.path.abspath(os.fsdecode(one)), (recalibrated, calibration)
        with kind_of_analysis(path)(path, options[0], calibration=options[1]) as opened:
            state = opened._run.info().calibration_state
        found.append(Named(path, ACQUISITION if state is None else f"uuid:{state.decode()}"))
    return found


class OpenRun:
    """A run with one of its calibrations. Long calls open it once more, `again`: calls on one analysis take turns."""

    def __init__(self, named: Named, calibration: str) -> None:
        self.named, self.calibration = named, calibration
        self.analysis = self.again()
        self.has_mobility = isinstance(self.analysis, Analysis)
        self.table = self._frames()
        self.time: np.ndarray = np.empty(0)
        self.time_label = "frame"
        if len(self.table):
            self.time, self.time_label = time_axis(self.table["id"], self.table["time"])
            if self.time_label == "frame" and not self.has_mobility:
                self.time_label = "spectrum"
        self.known_chromatograms: Dict[str, np.ndarray] = {}

    def again(self) -> Any:
        """Another object for the same run and calibration."""
        return kind_of_analysis(self.named.path)(self.named.path, calibration=self.calibration)

    def _frames(self) -> np.ndarray:
        table: np.ndarray = self.analysis.frame_table() if self.has_mobility else self.analysis.spectrum_table()
        return table

    @property
    def name(self) -> str:
        return self.named.name

    @property
    def num_bins(self) -> int:
        """Number of time-of-flight indices."""
        stated = int(self.analysis._run.info().num_bins)
        if stated or not self.has_forms("profiles") or not len(self.table):
            return max(stated, 2)
        return len(self.analysis.spectrum(int(self.table["id"][0])).profile())

    @property
    def num_forms(self) -> int:
        """How many forms spectra without mobility have: lines, profiles."""
        return 1 if self.has_mobility else self.has_forms("lines") + self.has_forms("profiles")

    def has_forms(self, name: str) -> bool:
        """Whether it has spectra without mobility of that form."""
        return not self.has_mobility and bool(getattr(self.analysis, f"has_{name}"))

    @property
    def seconds_per_unit(self) -> float:
        """Of the time axis, which has no seconds if it has ids of frames: NaN."""
        return {"retention time (min)": 60.0, "retention time (s)": 1.0}.get(self.time_label, np.nan)

    @property
    def has_mobility_calibration(self) -> bool:
        """Whether scans can be converted to 1/K0, by the calibration of the first frame."""
        if not self.has_mobility or not len(self.table):
            return False
        return self.has_calibration("scan_to_one_over_k0")

    def has_calibration(self, conversion: str) -> bool:
        """The same for any conversion."""
        convert = getattr(self.analysis, conversion)
        return bool(np.isfinite(nan_without_calibration(convert, int(self.table["id"][0]), np.array([1.0]))).all())

    @property
    def default_level(self) -> Optional[int]:
        """The level that queries of the run take: MS1 where levels are known."""
        return 1 if (self.table["ms_level"] == 1).any() else None

    def row(self, frame: int) -> int:
        """Position of a frame in the table; KovaError if there is none."""
        place = int(np.searchsorted(self.table["id"], frame))
        if place == len(self.table) or self.table["id"][place] != frame:
            raise KovaError(f"there is no frame {frame}")
        return place

    def first_frame(self) -> int:
        """The survey frame with the highest sum, which is a good one to begin with."""
        surveys = np.flatnonzero(self.table["ms_level"] != 2)
        rows = surveys if len(surveys) else np.arange(len(self.table))
        return int(self.table["id"][rows[self.table["intensity_sum"][rows].argmax()]])

    def states(self) -> List[Dict[str, Any]]:
        """Re-calibrated states, oldest first."""
        return _rows(self.analysis, _STATES)

    def isolations(self, precursor: int) -> List[Dict[str, Any]]:
        """In which scans of which frames a precursor was fragmented."""
        found: List[Dict[str, Any]] = []
        for batch in self.analysis._run.stream("table", _ISOLATIONS):
            columns = {name: filled(batch[name]) for name in ("frame", "precursor", "scan_begin", "scan_end")}
            chosen = np.flatnonzero(columns["precursor"] == precursor)
            found += [{name: int(values[place]) for name, values in columns.items()} for place in chosen]
        return found

    def close(self) -> None:
        self.analysis.close()


def _rows(analysis: AnyAnalysis, table: int) -> List[Dict[str, Any]]:
    rows: List[Dict[str, Any]] = []
    for batch in analysis._run.stream("table", table):
        columns = {name: np.asarray(batch[name].values).tolist() for name in batch}
        rows += [dict(zip(columns, values)) for values in zip(*columns.values())]
    return rows
