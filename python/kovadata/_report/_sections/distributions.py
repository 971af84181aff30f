"""Distributions of peaks."""

from __future__ import annotations

from typing import Dict, List, Tuple

import numpy as np

from ..._figures import Steps, short_count, steps
from ...plot._style import view
from .._numbers import Histogram, Run
from .blocks import Block, Detail, Picture, Section, Text, quantile

_KINDS = (("peaks", "Peaks per frame", "peaks in a frame", "frames", 0), ("intensity", "Intensities", "intensity (counts)", "peaks", 0),
          ("mz", "m/z", "m/z (Th)", "peaks", 1), ("one_over_k0", "1/K\u2080", "1/K\u2080 (V s cm\u207b\u00b2)", "peaks", 3))


def distributions(run: Run, _: Detail, prefix: str) -> Section:
    """A histogram of each kind, levels over each other."""
    found = run.distributions
    blocks: List[Block] = []
    for over, title, label, unit, digits in _KINDS:
        parts = [one for one in found.histograms if one.over == over]
        if not parts or (over == "peaks" and len(run.chromatogram.frame) == 1):
            continue
        unit = "frames" if over == "peaks" and run.measured.has_mobility else "spectra" if over == "peaks" else unit
        made = steps(f"{prefix}histogram-{over}", [Steps(one.of, one.edges, one.counts) for one in parts], x_label=label,
                     y_label=unit, title=title, digits=digits, is_log=over == "intensity")
        if over == "mz":
            made.limit(x=_signal(parts))
        blocks.append(Picture(made.figure, _sentence(over, parts), True))
    if not blocks:
        return Section("Distributions", [Text("There are no peaks to count.")])
    missing = [name for over, name in (("mz", "m/z"), ("one_over_k0", "1/K\u2080")) if not any(one.over == over for one in found.histograms)
               and (over == "mz" or run.measured.has_mobility)]
    if missing:
        blocks.append(Text(f"There is no distribution of {' and '.join(missing)}: no peaks, or no calibration."))
    return Section("Distributions", [Text(_sample(found.frames, found.sampled)), *blocks])


def _signal(parts: List[Histogram]) -> Tuple[float, float]:
    """The range of nearly all peaks; the rest is seen by zooming out."""
    ends = [view((one.edges[:-1] + one.edges[1:]) / 2, one.counts, None, strong=None) for one in parts]
    return min(low for low, _ in ends), max(high for _, high in ends)


def _sample(frames: Dict[str, int], sampled: Dict[str, int]) -> str:
    if frames == sampled:
        return "All frames are counted."
    named = " and ".join(f"{'all' if sampled[name] == count else f'{sampled[name]:,} of'} {count:,} {'' if name == 'all' else name + ' '}frames"
                         for name, count in frames.items())
    return f"Peaks per frame are those of all frames. The other histograms count a sample all over the run: {named}."


def _sentence(over: str, parts: List[Histogram]) -> str:
    sentences = []
    for one in parts:
        centres = (one.edges[:-1] + one.edges[1:]) / 2
        subject = "Half of all" if one.of == "all" else f"Half of the {one.of}"
        low, high = (quantile(centres, one.counts, part) for part in (0.25, 0.75))
        if over == "peaks":
            if len(np.flatnonzero(one.counts)) == 1:
                continue
            sentences.append(f"{subject} frames have from about {short_count(low)} to {short_count(high)} peaks.")
        elif over == "intensity":
            below = quantile(one.edges[1:], one.counts, 0.5)
            sentences.append(f"{subject} peaks have fewer than {below:,.0f} counts; the highest has from "
                             f"{one.edges[-2]:,.0f} to {one.edges[-1]:,.0f}.")
        else:
            name, digits = ("m/z", 0) if over == "mz" else ("1/K\u2080", 2)
            sentences.append(f"{subject} peaks lie between {name} {low:.{digits}f} and {high:.{digits}f}.")
    return " ".join(sentences) or "All frames have about the same number of peaks."
