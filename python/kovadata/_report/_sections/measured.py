"""What was measured and how."""

from __future__ import annotations

from typing import List, Tuple

import numpy as np

from ..._figures import bytes_text
from .._numbers import Run
from .blocks import Detail, Section, Table, Text, TimeAxis, ends_text, plural

_POLARITIES = {"+": "positive", "-": "negative"}


def measured(run: Run, _: Detail, prefix: str) -> Section:
    """From the metadata, in words; the metadata themselves are folded below."""
    facts = run.measured
    rows: List[Tuple[str, str]] = [("Kind", _kind(run)), ("Frames" if facts.has_mobility else "Spectra", _frames(run))]
    if facts.time is not None:
        factor = TimeAxis.of(np.array(facts.time)).factor
        rows.append(("Retention time", ends_text([end * factor for end in facts.time], 2, " min" if factor < 1 else " s")))
    if facts.polarities:
        rows.append(("Polarity", " and ".join(_POLARITIES.get(one, one) for one in facts.polarities)))
    if facts.scans and facts.has_mobility:
        rows.append(("Mobility scans per frame", ends_text(facts.scans, 0)))
    for name, ends, digits, unit in (("m/z range", facts.mz, 1, " Th"), ("1/K\u2080 range", facts.one_over_k0, 3, " V s cm\u207b\u00b2"),
                                     ("Accumulation time", facts.accumulation_time, 1, " ms"),
                                     ("Mobility ramp", facts.ramp_time if facts.has_mobility else None, 1, " ms")):
        if ends is not None:
            rows.append((name, ends_text(ends, digits, unit)))
    peaks = int(run.chromatogram.peaks.sum())
    rows.append(("Peaks", f"{peaks:,}"))
    rows.append(("Calibration", calibration_text(run)))
    rows.append(("Format", f"schema {facts.schema}, stored {facts.storage}; " + ", ".join(
        f"{name} {bytes_text(size)}" for name, size in facts.files.items())))
    stated = sorted(facts.metadata.items())
    blocks = [Table(rows), Table(stated, ("Key", "Value"), summary=f"All metadata ({len(stated)})")]
    return Section("What was measured", [*blocks] if stated else [blocks[0], Text("There are no other metadata.")])


def _kind(run: Run) -> str:
    facts = run.measured
    if facts.has_mobility:
        return "time of flight with ion mobility"
    return f"time of flight without ion mobility; {' and '.join(one[:-1] for one in facts.spectra) or 'no'} spectra"


def _frames(run: Run) -> str:
    facts = run.measured
    if facts.ms1_frames is None or facts.msms_frames is None:
        return f"{facts.frames:,}" + ("; the metadata do not state MS levels" if facts.frames and facts.has_mobility else "")
    if not facts.msms_frames:
        return f"{facts.frames:,}, all MS1; nothing was fragmented"
    return f"{facts.frames:,}: {facts.ms1_frames:,} MS1 and {facts.msms_frames:,} MS/MS"


def calibration_text(run: Run) -> str:
    """Which calibration the numbers are by."""
    made = run.calibration
    if not run.measured.frames:
        return "no frame to calibrate"
    missing = [name for name, has in (("m/z", made.has_mz), ("1/K\u2080", made.has_one_over_k0 or not run.measured.has_mobility))
               if not has]
    if not made.has_mz and not made.has_one_over_k0 and made.in_use == "acquisition":
        return "none that frames could be converted with"
    lack = f"; none of {' and '.join(missing)}" if missing else ""
    if made.in_use != "acquisition":
        return f"re-calibrated state {made.in_use}{lack}"
    states = f"; {plural(len(made.states), 're-calibrated state')} not used" if made.states else ""
    return f"that of the acquisition{lack}{states}"
