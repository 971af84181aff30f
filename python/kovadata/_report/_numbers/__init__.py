"""The numbers of a report: what ``--json`` prints, and what the page draws."""

from __future__ import annotations

import dataclasses
from typing import Any, Dict, List, Optional

import numpy as np

from .calibration import Calibration, State, gather_calibration
from .chromatogram import Chromatogram, Grid, gather_chromatogram
from .distributions import Distributions, Histogram, gather_distributions
from .facts import Facts, gather_facts
from .frame_maps import FrameMap, gather_frame_maps
from .msms import Msms, gather_msms
from .reading import Reading
from .spectra import Example, gather_frame_examples

__all__ = ["Calibration", "Chromatogram", "Distributions", "Example", "Facts", "FrameMap", "Grid", "Histogram", "Msms", "Reading",
           "Run", "State", "as_json", "gather"]


@dataclasses.dataclass(frozen=True)
class Run:
    """All that a report says of a run. `maps` and `frame_maps` are for pictures only."""

    name: str
    measured: Facts
    calibration: Calibration
    chromatogram: Chromatogram
    distributions: Distributions
    msms: Optional[Msms]
    examples: List[Example]
    damaged: Dict[str, str]
    maps: List[Grid]
    frame_maps: List[FrameMap]


_PICTURES = ("maps", "frame_maps")


def gather(reading: Reading, name: str) -> Run:
    """Reads all frames of a run: twice for chromatograms and maps, and fragment frames once more for MS/MS spectra."""
    facts = gather_facts(reading)
    chromatogram, maps = gather_chromatogram(reading)
    calibration = gather_calibration(reading)
    msms, examples = gather_msms(reading)
    return Run(name, facts, calibration, chromatogram, gather_distributions(reading, chromatogram), msms,
               examples or gather_frame_examples(reading, chromatogram),
               {str(frame): text for frame, text in sorted(reading.damaged.items())}, maps,
               gather_frame_maps(reading, chromatogram))


def as_json(run: Run) -> Dict[str, Any]:
    """The numbers as JSON takes them. What is not known is null."""
    return {field.name: _plain(getattr(run, field.name)) for field in dataclasses.fields(run) if field.name not in _PICTURES}


def _plain(value: Any) -> Any:
    if dataclasses.is_dataclass(value):
        return {field.name: _plain(getattr(value, field.name)) for field in dataclasses.fields(value)}
    if isinstance(value, np.ndarray):
        return [None if one != one else one for one in value.tolist()]
    if isinstance(value, float):
        return value if np.isfinite(value) else None
    if isinstance(value, dict):
        return {key: _plain(one) for key, one in value.items()}
    return [_plain(one) for one in value] if isinstance(value, (list, tuple)) else value
