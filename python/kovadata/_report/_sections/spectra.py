"""Example spectra."""

from __future__ import annotations

from typing import List

import numpy as np

from ..._figures import Stems, show_spectrum, spectrum
from ...plot._labels import tallest
from .._numbers import Example, Run
from .blocks import Block, Detail, Picture, Section, Text, TimeAxis, charge_text, plural

_TITLE = "Example spectra"
_WIDTH = 520  # pixels, of a figure beside another


def spectra(run: Run, detail: Detail, prefix: str) -> Section:
    """Two in a row."""
    axis = TimeAxis.of(run.chromatogram.time)
    shown = [one for one in run.examples if len(one.mz) and one.intensity.any()]
    if not shown:
        why = "no peaks" if not any(one.peaks for one in run.examples) else "no mass calibration"
        return Section(_TITLE, [Text(f"There is nothing to show: the run has {why}.")])
    kind = shown[0].kind
    chosen = {"MS/MS": "the MS/MS spectrum of the most intense precursor with a known charge", "frame": "the strongest frame, its scans summed",
              "lines": "the strongest spectrum", "profile": "the strongest spectrum"}[kind]
    count = plural(len(shown), "part") if len(shown) > 1 else "The run"
    about = f"Of each of {count} of the run: {chosen}." if len(shown) > 1 else f"Of the whole run: {chosen}."
    blocks: List[Block] = [Text(about)]
    for place, one in enumerate(shown):
        made = spectrum(f"{prefix}spectrum-{place + 1}", height=230, title=_title(one, axis), labels=7, digits=3)
        is_known = one.precursor_mz is not None and np.isfinite(one.precursor_mz)
        show_spectrum(made, _stems(one, detail.peaks), _WIDTH, one.precursor_mz if is_known else None)
        blocks.append(Picture(made.figure, _sentence(one), True))
    return Section(_TITLE, blocks)


def _title(one: Example, axis: TimeAxis) -> str:
    where = axis.text(one.time, one.frame)
    if one.kind != "MS/MS":
        name = f"{'Frame' if one.kind == 'frame' else 'Spectrum'} {one.frame}"
        return name if where.startswith("frame") else f"{name}, {where}"
    charge = f", {charge_text(one.charge)}" if one.charge else ""
    mz = "" if one.precursor_mz is None or not np.isfinite(one.precursor_mz) else f", m/z {one.precursor_mz:.4f}"
    return f"Precursor {one.precursor}{mz}{charge}, {where}"


def _stems(one: Example, peaks: int) -> Stems:
    if len(one.mz) <= peaks:
        return Stems(one.mz, one.intensity)
    kept = np.sort(tallest(one.mz, one.intensity, float(one.mz[-1] - one.mz[0]) / peaks or 1.0))
    return Stems(one.mz[kept], one.intensity[kept])


def _sentence(one: Example) -> str:
    top = int(one.intensity.argmax())
    text = (f"{plural(one.peaks, 'peak')}; the base peak is at m/z {one.mz[top]:.4f} with {one.intensity[top]:,.0f} counts.")
    if one.kind == "MS/MS" and one.precursor_mz is not None and np.isfinite(one.precursor_mz):
        above = one.intensity[one.mz > one.precursor_mz].sum() / max(one.intensity.sum(), 1e-300)
        text += f" {above:.0%} of the signal lies above the precursor, the dashed line."
    return text
