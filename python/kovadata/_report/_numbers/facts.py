"""What was measured, and how: from the metadata alone."""

from __future__ import annotations

import dataclasses
import os
from typing import Any, Dict, List, Optional, Tuple

import numpy as np

from ..._base import nan_without_calibration
from .reading import Reading

Ends = Optional[Tuple[float, float]]

_STORAGE = {1: "scan by scan", 2: "frame by frame", 3: "spectra"}


@dataclasses.dataclass(frozen=True)
class Facts:
    """`spectra` says what an analysis without mobility has: "lines", "profiles"."""

    has_mobility: bool
    spectra: List[str]
    schema: str
    storage: str
    files: Dict[str, int]
    frames: int
    ms1_frames: Optional[int]
    msms_frames: Optional[int]
    time: Ends
    polarities: List[str]
    scans: Optional[Tuple[int, int]]
    bins: int
    accumulation_time: Ends
    ramp_time: Ends
    mz: Ends
    one_over_k0: Ends
    metadata: Dict[str, str]


def gather_facts(reading: Reading) -> Facts:
    """Nothing of the frames' file is read."""
    analysis, table = reading.analysis, reading.table
    info = analysis._run.info()
    levels = table["ms_level"]
    are_stated = bool((levels > 0).any())
    kinds = [("lines", info.has_lines), ("profiles", info.has_profiles)]
    return Facts(
        reading.has_mobility, [] if reading.has_mobility else [name for name, is_there in kinds if is_there],
        f"{info.schema_major}.{info.schema_minor}", _STORAGE.get(int(info.storage), str(info.storage)), _files(reading),
        len(table), int((levels == 1).sum()) if are_stated else None, int((levels == 2).sum()) if are_stated else None,
        ends(table["time"]), sorted(set(table["polarity"].tolist()) - {""}), _whole(table["scans"]), int(info.num_bins),
        ends(table["accumulation_time"]), ends(table["ramp_time"]), *_axes(reading, int(info.num_bins)), analysis.metadata)


def ends(values: np.ndarray) -> Ends:
    """The least and the greatest of the values that are known."""
    known = values[np.isfinite(values)]
    return (float(known.min()) + 0.0, float(known.max()) + 0.0) if len(known) else None


def _whole(values: np.ndarray) -> Optional[Tuple[int, int]]:
    known = values[values >= 0]
    return (int(known.min()), int(known.max())) if len(known) else None


def _files(reading: Reading) -> Dict[str, int]:
    stem = "analysis.kvd" if reading.has_mobility else "analysis.kvs"
    sizes = {}
    for name in (stem, f"{stem}_bin", "calibration.sqlite"):
        try:
            sizes[name] = os.path.getsize(reading.analysis.path / name)
        except OSError:
            continue  # not every analysis has re-calibrated states
    return sizes


def _axes(reading: Reading, bins: int) -> Tuple[Ends, Ends]:
    """What m/z and 1/K0 the first frame can have."""
    if not len(reading.good):
        return None, None
    first, analysis = int(reading.good["id"][0]), reading.analysis
    mz = ends(reading.mz(first, np.array([0, bins - 1]))) if bins > 1 else None
    convert: Any = getattr(analysis, "scan_to_one_over_k0", None)
    scans = int(reading.table["scans"].max())
    if convert is None or scans < 1:
        return mz, None
    return mz, ends(nan_without_calibration(convert, first, np.array([0.0, scans - 1.0])))
