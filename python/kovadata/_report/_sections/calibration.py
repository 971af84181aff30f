"""Calibrations, and what re-calibrated states change."""

from __future__ import annotations

from typing import List

import numpy as np

from ..._figures import Points, points
from .._numbers import Run, State
from .blocks import ALL, MZ, Block, Detail, Picture, Section, Table, Text, TimeAxis, plural
from .measured import calibration_text

_TITLE = "Calibration"


def calibration(run: Run, detail: Detail, prefix: str) -> Section:
    """What is in use in words, states as a table, their differences as lines."""
    made = run.calibration
    mobility = f" and {plural(made.mobility_calibrations, 'mobility calibration')}" if run.measured.has_mobility else ""
    blocks: List[Block] = [Text(f"In use: {calibration_text(run)}. Frames name {plural(made.mz_calibrations, 'mass calibration')}{mobility}.")]
    if not made.states:
        return Section(_TITLE, [*blocks, Text("The run has no re-calibrated states.")])
    rows = [(one.key, one.source or "not stated", f"{one.mass_frames:,}", f"{one.mobility_frames:,}", _range(one.ppm), _range(one.drift),
             "yes" if one.is_in_use else "no") for one in made.states]
    blocks.append(Table(rows, ("State", "Source", "Frames, mass", "Frames, mobility", "m/z moves by (ppm)", "over time (ppm)", "In use")))
    compared = [one for one in made.states if np.isfinite(one.ppm).any()]
    if not compared or detail.figures != ALL:
        return Section(_TITLE, blocks)
    by_mz = points(f"{prefix}states-mz", [Points(_name(one), one.mz, one.ppm) for one in compared], x_label=MZ, y_label="difference (ppm)",
                   title=f"States against the acquisition, frame {compared[0].frame}", height=260, are_joined=True)
    blocks.append(Picture(by_mz.figure, " ".join(f"State {_name(one)} moves m/z by {_range(one.ppm)} ppm." for one in compared[-3:]), True))
    axis = TimeAxis.of(compared[0].drift_time)
    if axis.factor and len(compared[0].drift) > 1:
        over_time = points(f"{prefix}states-time", [Points(_name(one), one.drift_time * axis.factor, one.drift) for one in compared],
                           x_label=axis.label, y_label="difference (ppm)", title=f"At m/z {compared[0].drift_mz:.0f} over the run",
                           height=260, are_joined=True)
        blocks.append(Picture(over_time.figure, _drift(compared[-1]), True))
    return Section(_TITLE, blocks)


def _range(ppm: np.ndarray) -> str:
    known = ppm[np.isfinite(ppm)]
    if not len(known):
        return "unknown"
    low, high = f"{known.min():+.2f}", f"{known.max():+.2f}"
    return low if low == high else f"{low} to {high}"


def _name(one: State) -> str:
    """Keys are long: their beginnings differ enough between the states of a source."""
    return f"{one.source} {one.key[:8]}".strip()


def _drift(one: State) -> str:
    key, known = _name(one), one.drift[np.isfinite(one.drift)]
    width = float(np.ptp(known)) if len(known) else 0.0
    return (f"State {key} corrects all frames alike." if width < 0.005
            else f"The correction of state {key} changes by {width:.2f} ppm over the run.")
