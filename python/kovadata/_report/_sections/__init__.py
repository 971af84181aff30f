"""Sections of a report: each turns numbers into texts, tables and figures, and says what is not there."""

from __future__ import annotations

from typing import List, Sequence

from .._numbers import Run
from .blocks import ALL, DETAILS, NONE, SOME, Detail, Picture, Section, Table, Text
from .calibration import calibration
from .chromatograms import chromatograms
from .comparison import comparison
from .damage import damage
from .distributions import distributions
from .frame_maps import frame_maps
from .measured import measured
from .msms import msms
from .spectra import spectra

__all__ = ["DETAILS", "Detail", "Picture", "Section", "Table", "Text", "comparison", "sections_of"]

_DRAWN = (measured, chromatograms, frame_maps, distributions, msms, spectra, calibration, damage)
_SHORT = (measured, chromatograms, frame_maps, calibration, damage)
_WRITTEN = (measured, calibration, damage)


def sections_of(run: Run, detail: Detail, prefix: str) -> List[Section]:
    """All sections of a run; names of figures begin with the prefix."""
    chosen: Sequence = {ALL: _DRAWN, SOME: _SHORT, NONE: _WRITTEN}[detail.figures]
    return [make(run, detail, prefix) for make in chosen]
