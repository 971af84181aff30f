"""Spectra of an export, in the order in which documents have them: survey frames, and MS/MS spectra after their last frame."""

from __future__ import annotations

import dataclasses
from typing import Callable, Dict, Iterator, List, Optional, Tuple

import numpy as np

from .._precursors import Precursor
from .._read_ahead import _by_frame
from .plan import Plan
from .source import Source

_COLUMNS = ("frame", "tof_index", "intensity", "mz", "one_over_k0")


@dataclasses.dataclass(frozen=True, eq=False)
class Spectrum:
    """A spectrum to write.

    Attributes
    ----------
    number : int
        Id of the frame, or of the precursor.
    level : int
        1 or 2.
    time : float
        Retention time in s, NaN if it is not known.
    polarity : str
        "+", "-" or empty.
    is_profile : bool
        Whether the points are those of a profile.
    precursor : Precursor, optional
        Of an MS/MS spectrum.
    peaks : callable
        Gives m/z, intensities and 1/K0 (None if there is none), sorted by m/z; work for threads.
    """

    number: int
    level: int
    time: float
    polarity: str
    is_profile: bool
    precursor: Optional[Precursor]
    peaks: Callable[[], Tuple[np.ndarray, np.ndarray, Optional[np.ndarray]]]


def spectra(source: Source) -> Iterator[Spectrum]:
    """All spectra of a plan."""
    if not source.has_mobility:
        yield from _plain(source)
        return
    fragments = msms(source)
    following = next(fragments, None)
    for survey in _surveys(source):
        while following is not None and source.last_frames[following.number] < survey.number:
            yield following
            following = next(fragments, None)
        yield survey
    if following is not None:
        yield following
        yield from fragments


def msms(source: Source) -> Iterator[Spectrum]:
    """The MS/MS spectra of the chosen precursors."""
    rows = source.precursors()
    if not len(rows):
        return
    known = {row[0]: row for row in rows.tolist()}
    polarities = dict(zip(source.table["id"].tolist(), source.table["polarity"].tolist()))
    for batch in source.msms_batches(rows["id"]):
        for number, mz, intensity in zip(batch["precursor"].values.tolist(), batch["mz"], batch["intensity"]):
            about = Precursor.of_row(known[number])
            yield Spectrum(number, 2, about.time, polarities.get(about.frame, ""), False, about,
                           _fragments(source.plan, mz, intensity))


def _fragments(plan: Plan, mz: np.ndarray, intensity: np.ndarray) -> Callable[[], Tuple[np.ndarray, np.ndarray, None]]:
    return lambda: (*strongest(plan, mz, intensity), None)


def strongest(plan: Plan, mz: np.ndarray, intensity: np.ndarray) -> Tuple[np.ndarray, np.ndarray]:
    """What a plan leaves of an MS/MS spectrum, sorted by m/z."""
    kept = np.ones(len(mz), bool)
    if plan.min_intensity > 0:
        kept &= intensity >= plan.min_intensity
    if plan.mz_range is not None:
        low, high = plan.mz_range
        kept &= (mz >= (-np.inf if low is None else low)) & (mz <= (np.inf if high is None else high))
    mz, intensity = mz[kept], intensity[kept]
    if plan.top is not None and len(mz) > plan.top:
        best = np.sort(np.argsort(-intensity, kind="stable")[:plan.top])
        mz, intensity = mz[best], intensity[best]
    if (mz[1:] < mz[:-1]).any():
        order = np.argsort(mz, kind="stable")
        mz, intensity = mz[order], intensity[order]
    return mz, intensity


def _surveys(source: Source) -> Iterator[Spectrum]:
    rows = source.surveys()
    keeps_mobility = source.plan.mobility == "keep"
    columns = _COLUMNS if keeps_mobility else _COLUMNS[:-1]
    found = _by_frame(source.peak_arrays(rows, columns))
    following = next(found, None)
    for row in rows:
        number, parts = int(row["id"]), []  # type: int, List[Dict[str, np.ndarray]]
        if following is not None and following[0] == number:
            parts, following = following[1], next(found, None)
        if number in dict(source.damaged):
            continue
        yield Spectrum(number, 2 if row["ms_level"] == 2 else 1, float(row["time"]), str(row["polarity"]), False, None,
                       _survey_peaks(parts, source.plan))


def _survey_peaks(parts: List[Dict[str, np.ndarray]], plan: Plan) -> Callable[[], Tuple[np.ndarray, np.ndarray, Optional[np.ndarray]]]:
    def read() -> Tuple[np.ndarray, np.ndarray, Optional[np.ndarray]]:
        columns = {name: np.concatenate([part[name] for part in parts]) if len(parts) > 1 else parts[0][name]
                   for name in parts[0]} if parts else {}
        index = columns.get("tof_index", np.empty(0, np.uint32))
        mz, intensity = columns.get("mz", np.empty(0)), columns.get("intensity", np.empty(0, np.uint32))
        mobility = columns.get("one_over_k0", np.empty(0)) if plan.mobility == "keep" else None
        order = by_index(index)
        mz, intensity = mz[order], intensity[order]
        if plan.mobility == "sum" and len(index):
            starts = np.flatnonzero(np.diff(index[order], prepend=index[order[0]] ^ 1))
            mz, intensity = mz[starts], np.add.reduceat(intensity.astype(np.uint64), starts)
        else:
            mobility = None if mobility is None else mobility[order]
        if plan.min_intensity > 0:
            kept = intensity >= plan.min_intensity
            mz, intensity, mobility = mz[kept], intensity[kept], None if mobility is None else mobility[kept]
        if (mz[1:] < mz[:-1]).any():  # a calibration that does not ascend
            order = np.argsort(mz, kind="stable")
            mz, intensity, mobility = mz[order], intensity[order], None if mobility is None else mobility[order]
        return mz, intensity, mobility

    return read


def by_index(index: np.ndarray) -> np.ndarray:
    """The order of indices, places ascending within an index; m/z ascends with the index. numpy sorts 16 bits by radix, which
    is twice as fast for both halves as any sort of the whole."""
    index = index - index.min(initial=np.iinfo(np.uint32).max)
    order = np.argsort(index.astype(np.uint16), kind="stable")
    high = (index >> np.uint32(16)).astype(np.uint16)
    return order[np.argsort(high[order], kind="stable")] if high.any() else order


def _plain(source: Source) -> Iterator[Spectrum]:
    from .._spectra import SpectrumAnalysis

    rows = {row["id"]: row for row in source.frames}
    is_profile = isinstance(source.analysis, SpectrumAnalysis) and not source.analysis.has_lines
    for frame, _, mz, intensity in source.plain_spectra():
        row = rows[frame]
        order = np.argsort(mz, kind="stable")
        values = mz[order], intensity[order], None
        yield Spectrum(frame, 2 if row["ms_level"] == 2 else 1, float(row["time"]), str(row["polarity"]), is_profile, None,
                       lambda values=values: values)  # type: ignore[misc]
