"""The strongest frames over m/z and mobility."""

from __future__ import annotations

from typing import List

import numpy as np

from ..._figures import heat_map
from .._numbers import FrameMap, Run
from .blocks import ALL, MOBILITY, MZ, SCAN, Block, Detail, Picture, Section, Text, TimeAxis, coarser, level_name, plural

_TITLE = "Strongest frames"


def frame_maps(run: Run, detail: Detail, prefix: str) -> Section:
    """A map each."""
    if not run.measured.has_mobility:
        return Section(_TITLE, [Text("Without ion mobility there are no maps of single frames; see the example spectra.")])
    if not run.frame_maps:
        return Section(_TITLE, [Text("No frame has both peaks and a mass calibration, so there is none to map.")])
    axis = TimeAxis.of(run.chromatogram.time)
    blocks: List[Block] = []
    for one in run.frame_maps if detail.figures == ALL else run.frame_maps[:1]:
        title = f"{level_name(one.level)} frame {one.frame}".strip()
        if axis.factor and np.isfinite(one.time):
            title += f", {axis.text(one.time, one.frame)}"
        made = heat_map(f"{prefix}frame-{one.frame}", MZ, MOBILITY if one.is_mobility else SCAN, height=340,
                        title=title[0].upper() + title[1:], select=False)
        made.show_codes(coarser(one.values, detail.cells), one.x, one.y)
        made.limit(one.x, one.y)
        blocks.append(Picture(made.figure, _sentence(one)))
    return Section(_TITLE, blocks)


def _sentence(one: FrameMap) -> str:
    mz, y, intensity = one.strongest
    where = f"1/K\u2080 {y:.3f}" if one.is_mobility else f"scan {y:.0f}"
    by_column = np.cumsum(one.values.sum(axis=0))
    edges = np.linspace(*one.x, len(by_column) + 1)
    low, high = (edges[np.searchsorted(by_column, part * by_column[-1])] for part in (0.1, 0.9))
    scans = "" if one.is_mobility else " The frame has no mobility calibration, so scans stand in place of 1/K\u2080."
    return (f"{plural(one.peaks, 'peak')}; the most intense is at m/z {mz:.4f} and {where} with {intensity:,.0f} counts. "
            f"Four fifths of the signal lie between m/z {low:.0f} and {high:.0f}.{scans}")
