"""Precursors and their fragments."""

from __future__ import annotations

from typing import Dict, List

import numpy as np

from ..._figures import Points, Steps, bars, points, steps
from .._numbers import Msms, Run
from .blocks import MOBILITY, MZ, Block, Detail, Picture, Section, Table, Text, TimeAxis, charge_text, envelope, plural, quantile

_TITLE = "MS/MS"
_UNSTATED = "The metadata state neither collision energies nor widths of isolation windows in m/z."


def msms(run: Run, detail: Detail, prefix: str) -> Section:
    """Numbers in a table, then a figure each."""
    found = run.msms
    if found is None:
        why = "no precursors" if run.measured.msms_frames else "no MS/MS frames"
        return Section(_TITLE, [Text(f"The run has {why}.")])
    blocks: List[Block] = [Table(_facts(found)), *_charges(found, prefix)]
    blocks.extend(block for block in (_per_cycle(run, found, detail, prefix), _peaks(found, prefix), _places(found, detail, prefix))
                  if block is not None)
    return Section(_TITLE, [*blocks, Text(_UNSTATED)])


def _facts(found: Msms) -> List[List[str]]:
    rows = [["Precursors", f"{found.precursors:,}; {found.spectra:,} have an MS/MS spectrum"]]
    if np.isfinite(found.cycle_time):
        rows.append(["Cycle time", f"{found.cycle_time:.3g} s from survey frame to survey frame (median)"])
    for title, tally, unit in (("Fragmented in", found.frames_per_precursor, "frame"),
                               ("Isolated over", found.scans_per_isolation, "mobility scan"),
                               ("In one MS/MS frame", found.per_fragment_frame, "precursor")):
        if tally:
            rows.append([title, _tally_text(tally, unit)])
    return rows


def _tally_text(tally: Dict[str, int], unit: str) -> str:
    numbers, counts = np.array(list(map(int, tally))), np.array(list(tally.values()))
    if len(numbers) == 1:
        return plural(int(numbers[0]), unit)
    order = np.argsort(numbers)
    return f"{numbers.min():,} to {numbers.max():,} {unit}s, median {quantile(numbers[order], counts[order], 0.5):.0f}"


def _charges(found: Msms, prefix: str) -> List[Block]:
    known = {int(charge): count for charge, count in found.charges.items() if charge != "unknown"}
    if not known:
        return [Text("The metadata state no charge of any precursor.")]
    labels = [charge_text(charge) for charge in sorted(known)]
    counts = [known[charge] for charge in sorted(known)]
    unknown = found.charges.get("unknown", 0)
    if unknown:
        labels, counts = [*labels, "unknown"], [*counts, unknown]
    top = int(np.argmax(counts))
    made = bars(f"{prefix}charges", labels, counts, x_label="charge", y_label="precursors", title="Charges")
    rest = f"; {plural(unknown, 'charge')} unknown" if unknown else ""
    return [Picture(made.figure, f"{counts[top] / sum(counts):.0%} of the precursors are {labels[top]}{rest}.", True)]


def _peaks(found: Msms, prefix: str) -> Block:
    peaks = found.peaks[found.peaks >= 0]
    if not len(peaks):
        return Text("No precursor has a spectrum that could be read.")
    width = max(1, -(-(int(peaks.max()) + 1) // 60))
    edges = np.arange(0.0, int(peaks.max()) + 2 * width, width)
    counts = np.histogram(peaks, edges)[0]
    made = steps(f"{prefix}msms-peaks", [Steps("spectra", edges, counts)], x_label="peaks in a spectrum", y_label="spectra",
                 title="Peaks per MS/MS spectrum", digits=0)
    empty = int((peaks == 0).sum())
    rest = f" {plural(empty, 'spectrum').replace('spectrums', 'spectra')} {'is' if empty == 1 else 'are'} empty." if empty else ""
    return Picture(made.figure, f"Half of the spectra have from {np.percentile(peaks, 25):,.0f} to {np.percentile(peaks, 75):,.0f} "
                   f"peaks, the richest has {peaks.max():,}.{rest}", True)


def _per_cycle(run: Run, found: Msms, detail: Detail, prefix: str) -> Block:
    surveys = run.chromatogram.level != 2
    time, frame = run.chromatogram.time[surveys], run.chromatogram.frame[surveys]
    counts = found.per_cycle
    if len(counts) != len(frame) or not len(counts):
        return Text("Precursors cannot be told by survey frame.")
    axis = TimeAxis.of(time)
    places = envelope(counts, detail.points)
    made = points(f"{prefix}per-cycle", [Points("precursors", axis.values(time, frame)[places], counts[places])],
                  x_label=axis.label, y_label="precursors", title="Precursors per cycle", height=220, are_joined=True,
                  formats=("0.000", "0"))
    made.limit(y=(0, 1.1 * max(int(counts.max()), 1)))
    idle = int((counts == 0).sum())
    rest = f"; {idle:,} of {len(counts):,} cycles chose none" if idle else "; every cycle chose some"
    return Picture(made.figure, f"{counts.mean():.3g} precursors per cycle on average, {counts.max():,} at most{rest}.", True)


def _places(found: Msms, detail: Detail, prefix: str) -> Block:
    has_mobility = bool(np.isfinite(found.one_over_k0).any())
    y, label = (found.one_over_k0, MOBILITY) if has_mobility else (found.time, "time of the survey frame (s)")
    known = np.isfinite(found.mz) & np.isfinite(y)
    if not known.any():
        return Text("The metadata do not state the m/z of precursors.")
    step = max(1, -(-int(known.sum()) // (2 * detail.points)))
    series = []
    for charge, _ in sorted(_common(found.charge[known])):
        places = np.flatnonzero(known & (found.charge == charge))[::step]
        series.append(Points(charge_text(charge), found.mz[places], y[places]))
    made = points(f"{prefix}precursors", series, x_label=MZ, y_label=label, title="Precursors by charge", formats=("0.000", "0.0000"))
    low, high = np.percentile(found.mz[known], [10, 90])
    drawn = f" One in {step} is drawn." if step > 1 else ""
    return Picture(made.figure, f"Four fifths of the precursors have m/z {low:.0f} to {high:.0f}"
                   + (f" and 1/K\u2080 {np.percentile(y[known], 10):.2f} to {np.percentile(y[known], 90):.2f}" if has_mobility else "")
                   + f".{drawn}", True)


def _common(charge: np.ndarray) -> List[List[int]]:
    """The most frequent charges, as many as there are colours."""
    numbers, counts = np.unique(charge, return_counts=True)
    order = np.argsort(-counts, kind="stable")[:8]
    return [[int(numbers[place]), int(counts[place])] for place in order]
