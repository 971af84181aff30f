"""Several runs beside each other."""

from __future__ import annotations

from typing import List, Sequence

import numpy as np
from bokeh.models import Legend

from ..._figures import SERIES_COLOURS, ChromatogramChart, Series, chromatogram, short_count
from .._numbers import Run
from .blocks import ALL, Block, Detail, Picture, Section, Table, Text, TimeAxis, envelope
from .chromatograms import comparable

_HEAD = ("Run", "Frames", "MS1", "MS/MS", "Length (min)", "Signal of surveys", "Highest base peak", "Peaks per frame", "Precursors",
         "Damaged", "Calibration")
# More lines are a tangle, and more names beside each other than these wider than a page.
_LINES, _NAMES_INSIDE = 24, 4
_DASHES = ("solid", "dashed", "dotted")


def comparison(runs: Sequence[Run], detail: Detail) -> Section:
    """A table of the runs, and their chromatograms over each other."""
    blocks: List[Block] = [Table([_row(run) for run in runs], _HEAD), Text(_sentence(runs))]
    if detail.figures != ALL:
        blocks.append(Text("Of so many runs, each has fewer figures here than in a report of its own."))
    drawn = [run for run in runs if len(comparable(run)[0])][:_LINES]
    if len(drawn) == _LINES < len(runs):
        blocks.append(Text(f"The chromatograms are those of the first {_LINES} runs that have some."))
    if not drawn:
        return Section("Comparison", [*blocks, Text("No run has frames to compare.")])
    axis = TimeAxis.of(np.concatenate([comparable(run)[0] for run in drawn]))
    blocks.extend([_overlay(drawn, axis, detail, False), _overlay(drawn, axis, detail, True)])
    return Section("Comparison", blocks)


def _row(run: Run) -> List[str]:
    facts, found = run.measured, run.chromatogram
    length = f"{(facts.time[1] - facts.time[0]) / 60:.2f}" if facts.time else "unknown"
    return [run.name, f"{facts.frames:,}", *("" if count is None else f"{count:,}" for count in (facts.ms1_frames, facts.msms_frames)),
            length, short_count(comparable(run)[2].sum()), short_count(float(found.base_peak.max(initial=0))),
            short_count(float(np.median(found.peaks))) if len(found.peaks) else "", f"{run.msms.precursors:,}" if run.msms else "0",
            f"{len(run.damaged):,}", run.calibration.in_use[:11]]


def _overlay(runs: Sequence[Run], axis: TimeAxis, detail: Detail, is_relative: bool) -> Picture:
    series, points = [], max(200, 4 * detail.points // max(len(runs), 4))
    for run in runs:
        time, frame, total = comparable(run)
        kept = envelope(total, points)
        scale = 100 / float(total.max(initial=0) or 1) if is_relative else 1
        series.append(Series(run.name, axis.values(time, frame)[kept], total[kept] * scale, frame[kept]))
    name, title, label = (("relative", "Survey frames, each run by its own highest", "summed intensity (%)") if is_relative
                          else ("totals", "Survey frames of all runs", "summed intensity (counts)"))
    made = chromatogram(f"compared-{name}", series, x_label=axis.label, y_label=label, title=title, height=300)
    _tell_apart(made)
    return Picture(made.figure, _peak_times(runs, axis) if is_relative else _strengths(runs))


def _tell_apart(made: ChromatogramChart) -> None:
    """Colours come again after some runs, with another dash; names of many runs have a place of their own."""
    legend = made.figure.select_one(Legend)
    for place, item in enumerate(legend.items):
        for drawn in item.renderers:
            if hasattr(drawn.glyph, "line_dash"):
                drawn.glyph.line_dash = _DASHES[place // len(SERIES_COLOURS) % len(_DASHES)]
    if len(legend.items) > _NAMES_INSIDE:
        made.figure.center.remove(legend)
        made.figure.add_layout(legend, "below")
        legend.update(ncols=_NAMES_INSIDE, location="left", spacing=14)
        made.figure.height += 24 * -(-len(legend.items) // _NAMES_INSIDE)


def _sentence(runs: Sequence[Run]) -> str:
    damaged = [run.name for run in runs if run.damaged]
    calibrations = {run.calibration.in_use == "acquisition" for run in runs}
    parts = [f"{' and '.join(damaged)} {'has' if len(damaged) == 1 else 'have'} damaged frames." if damaged else "No frame of any run is damaged."]
    if len(calibrations) > 1:
        parts.append("Some runs use a re-calibrated state and some do not, so their m/z may differ by a few ppm.")
    return " ".join(parts)


def _strengths(runs: Sequence[Run]) -> str:
    totals = {run.name: float(comparable(run)[2].sum()) for run in runs}
    strong, weak = max(totals, key=lambda name: totals[name]), min(totals, key=lambda name: totals[name])
    if totals[weak] <= 0 or strong == weak:
        return f"The strongest signal is that of {strong}, {short_count(totals[strong])} counts in all survey frames."
    return (f"{strong} has the strongest signal, {short_count(totals[strong] / totals[weak])} times that of {weak}, the weakest, "
            "over all survey frames.")


def _peak_times(runs: Sequence[Run], axis: TimeAxis) -> str:
    tops = []
    for run in runs:
        time, frame, total = comparable(run)
        top = int(total.argmax())
        tops.append((float(axis.values(time, frame)[top]), axis.text(float(time[top]), int(frame[top])), run.name))
    tops.sort()
    if len(tops) == 1:
        return f"The highest point is at {tops[0][1]}."
    return f"Highest points lie from {tops[0][1]} ({tops[0][2]}) to {tops[-1][1]} ({tops[-1][2]})."
