"""Chromatograms of a run, and its maps over time."""

from __future__ import annotations

from typing import Any, List, Tuple

import numpy as np

from ..._figures import Series, chromatogram, heat_map, short_count
from .._numbers import Grid, Run
from .blocks import MOBILITY, MZ, Block, Detail, Picture, Section, Text, TimeAxis, coarser, envelope, of_levels

_VALUES = (("total", "Total ion chromatogram", "summed intensity"), ("base_peak", "Base peak chromatogram", "highest intensity"))


def chromatograms(run: Run, detail: Detail, prefix: str) -> Section:
    """Total ion and base peak chromatograms, MS1 and MS/MS."""
    found = run.chromatogram
    if not len(found.frame):
        return Section("Chromatograms", [Text("The run has no frames that could be read, so there are no chromatograms.")])
    if len(found.frame) == 1:
        return Section("Chromatograms", [Text(f"The run has one frame, with {short_count(float(found.total[0]))} counts in all and "
                                              f"{short_count(float(found.base_peak[0]))} in the base peak. A chromatogram needs more.")])
    axis = TimeAxis.of(found.time)
    x, blocks, shared = axis.values(found.time, found.frame), [], None  # type: np.ndarray, List[Block], Any
    for name, title, label in _VALUES:
        values = getattr(found, name).astype(float)
        series = []
        for level, chosen in of_levels(found.level):
            places = np.flatnonzero(chosen)
            places = places[envelope(values[places], detail.points)]
            series.append(Series(level, x[places], values[places], found.frame[places]))
        made = chromatogram(f"{prefix}{name}", series, x_label=axis.label, y_label=f"{label} (counts)", title=title, height=220,
                            x_range=shared)
        shared = made.figure.x_range
        blocks.append(Picture(made.figure, _sentence(run, axis, values, name)))
    blocks.extend(_maps(run, detail, prefix, axis, shared))
    if len(found.frame) > detail.points:
        blocks.append(Text(f"Lines show the lowest and the highest of neighbouring frames; all {len(found.frame):,} were read."))
    return Section("Chromatograms", blocks)


def _sentence(run: Run, axis: TimeAxis, values: np.ndarray, name: str) -> str:
    found = run.chromatogram
    if not values.any():
        return "No frame has any signal."
    parts = []
    for level, chosen in of_levels(found.level):
        of_level = np.where(chosen, values, -1)
        top = int(of_level.argmax())
        where = axis.text(float(found.time[top]), int(found.frame[top]))
        number = "" if where.startswith("frame") else f" (frame {found.frame[top]})"
        median = float(np.median(values[chosen]))
        ratio = f", {values[top] / median:.3g} times the median" if median > 0 and values[top] > 1.2 * median else ""
        called = {"all frames": "", "MS1": " of MS1", "MS/MS": " of MS/MS"}[level]
        what = "signal" if name == "total" else "base peak"
        parts.append(f"The strongest {what}{called} is at {where}{number} with {short_count(values[top])} counts{ratio}.")
    silent = int((values == 0).sum())
    if silent:
        parts.append(f"{silent:,} of {len(values):,} frames have none.")
    return " ".join(parts)


def _maps(run: Run, detail: Detail, prefix: str, axis: TimeAxis, shared: Any) -> List[Block]:
    blocks: List[Block] = []
    frames = "Survey frames" if (run.chromatogram.level == 2).any() else "Frames" if run.measured.has_mobility else "Spectra"
    for grid in run.maps:
        label, name = (MZ, "m/z") if grid.name == "mz" else (MOBILITY, "1/K\u2080")
        made = heat_map(f"{prefix}map-{grid.name}", axis.label, label, height=270, title=f"{frames} over time and {name}",
                        select=False, x_range=shared)
        ends = [end * axis.factor for end in grid.x]
        made.show_codes(coarser(grid.values, detail.cells), ends, grid.y)
        made.limit(y=grid.y)
        blocks.append(Picture(made.figure, _map_sentence(grid, axis, name)))
    if not blocks:
        blocks.append(Text("There are no maps over time: they need three frames or more with times and a mass calibration."))
    elif run.measured.has_mobility and len(blocks) == 1:
        blocks.append(Text("There is no map of 1/K\u2080, for lack of a mobility calibration."))
    return blocks


def _map_sentence(grid: Grid, axis: TimeAxis, name: str) -> str:
    by_row = grid.values.sum(axis=1)
    row, column = np.unravel_index(int(grid.values.argmax()), grid.values.shape)
    centres = np.linspace(*grid.y, len(by_row) + 1)
    share = np.cumsum(by_row) / max(by_row.sum(), 1e-300)
    low, high = (centres[np.searchsorted(share, part)] for part in (0.1, 0.9))
    time = grid.x[0] + (column + 0.5) * (grid.x[1] - grid.x[0]) / grid.values.shape[1]
    digits = 0 if name == "m/z" else 3
    return (f"Four fifths of the signal lie between {name} {low:.{digits}f} and {high:.{digits}f}; it is most intense around "
            f"{axis.text(time, 0)} at {name} {(centres[row] + centres[row + 1]) / 2:.{max(digits, 1)}f}. Colours are means of "
            "counts per frame, on a logarithmic scale.")


def comparable(run: Run) -> Tuple[np.ndarray, np.ndarray, np.ndarray]:
    """Times, frames and totals of the survey frames of a run."""
    found = run.chromatogram
    chosen = found.level != 2
    return found.time[chosen], found.frame[chosen], found.total[chosen].astype(float)
