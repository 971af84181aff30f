"""Which frames and peaks are plotted, what titles say about them, and the mobility axis.

That has 1/K0, or scan numbers where a frame has no mobility calibration.
"""

from __future__ import annotations

from typing import NamedTuple, Optional

import numpy as np

from .._analysis import Analysis
from .._base import nan_without_calibration
from .._errors import KovaError
from .._frame import Frame
from .._peaks import Peaks
from ._map import map_view
from ._style import MOBILITY_LABEL, SCAN_LABEL, Range, within


class MobilityAxis(NamedTuple):
    """Edges of the scans of a frame on the axis, one more than there are scans; they may descend."""

    edges: np.ndarray
    label: str
    is_calibrated: bool

    @property
    def centres(self) -> np.ndarray:
        return (self.edges[:-1] + self.edges[1:]) / 2


def mobility_axis(frame: Frame) -> MobilityAxis:
    edges = np.arange(frame.num_scans + 1) - 0.5
    mobility = nan_without_calibration(frame.analysis.scan_to_one_over_k0, frame.id, edges.copy())
    if np.isnan(mobility).any():
        return MobilityAxis(edges, SCAN_LABEL, False)
    return MobilityAxis(mobility, MOBILITY_LABEL, True)


def scan_rows(scan: np.ndarray, intensity: np.ndarray, num_scans: int, show_all: bool, most: int) -> np.ndarray:
    """Edges of about so many rows of a map where the signal is. Each is a whole number of scans, which leaves no stripes."""
    low, high = map_view(scan, intensity, (scan.min(), scan.max()) if show_all else None)
    first, last = max(int(low), 0), min(int(high) + 1, num_scans)
    return np.append(np.arange(first, last, max(1, round((last - first) / most))), last)


def survey_level(table: np.ndarray) -> Optional[int]:
    """The MS level of survey frames; None where the metadata state no levels."""
    return 1 if (table["ms_level"] == 1).any() else None


def survey_frames(analysis: Analysis, time_range: Range) -> np.ndarray:
    """Rows of the survey frames in a range of times; of all frames where the metadata state no levels."""
    table = analysis.frame_table()
    chosen = within(table["time"], time_range) & (np.array(survey_level(table) is None) | (table["ms_level"] == 1))
    rows: np.ndarray = table[chosen]
    if not len(rows):
        raise KovaError("there are no frames there")
    return rows


def chosen_peaks(frame: Frame, mz_range: Range, mobility_range: Range) -> Peaks:
    """The peaks of a frame that are in both ranges."""
    peaks = frame.peaks()
    assert peaks.mz is not None and peaks.one_over_k0 is not None
    if mz_range is not None and len(peaks) and np.isnan(peaks.mz).all():
        raise KovaError(f"frame {frame.id} has no mass calibration, which a range of m/z needs")
    if mobility_range is not None and len(peaks) and np.isnan(peaks.one_over_k0).all():
        raise KovaError(f"frame {frame.id} has no mobility calibration, which a range of 1/K0 needs")
    if mz_range is None and mobility_range is None:
        return peaks
    return peaks[within(peaks.mz, mz_range) & within(peaks.one_over_k0, mobility_range)]


def frame_title(frame: Frame) -> str:
    """Name of the analysis, number and time of the frame."""
    level = f"MS{frame.ms_level} " if frame.ms_level else ""
    time = "" if np.isnan(frame.time) else f", {frame.time:.2f} s"
    return f"{frame.analysis.path.name}, {level}frame {frame.id}{time}"


def run_title(analysis: Analysis, table: np.ndarray) -> str:
    """Name of the analysis and how many frames of which level are summed."""
    level = survey_level(table)
    return f"{analysis.path.name}, {len(table):,} {'' if level is None else f'MS{level} '}frame{'s' * (len(table) != 1)}"
