"""What a written file should hold, put together in the plainest way, and not by what wrote the file."""

from __future__ import annotations

from typing import Container, Dict, Iterator, NamedTuple, Optional, Tuple

import numpy as np

from .._analysis import Analysis
from .._errors import KovaError
from .._queries import pair
from .source import Source


class Difference(KovaError):
    """The file is not what the analysis is."""

    __module__ = "kovadata"


class Read(NamedTuple):
    """A spectrum as another program reads it; what the format does not have is None."""

    number: int
    is_msms: bool
    mz: np.ndarray
    intensity: np.ndarray
    mobility: Optional[np.ndarray]
    values: Dict[str, float]


def expected_fragments(source: Source) -> Iterator[Tuple[int, np.ndarray, np.ndarray]]:
    """Precursor, m/z and intensities of the MS/MS spectra that a plan asks for."""
    plan, analysis = source.plan, source.analysis
    if not isinstance(analysis, Analysis) or not len(source.precursors()):
        return
    low, high = pair("mz", plan.mz_range)
    for spectrum in analysis.msms(source.precursors()["id"].tolist(), threads=plan.threads,
                                  on_damage="skip" if plan.skip_damaged else "raise"):
        peaks = [(mz, intensity) for mz, intensity in zip(spectrum.mz.tolist(), spectrum.intensity.tolist())
                 if low <= mz <= high and intensity >= plan.min_intensity]
        if plan.top is not None:
            chosen = sorted(range(len(peaks)), key=lambda place: (-peaks[place][1], place))[:plan.top]
            peaks = [peaks[place] for place in sorted(chosen)]
        peaks.sort(key=lambda peak: peak[0])
        yield (spectrum.precursor.id, np.array([mz for mz, _ in peaks], np.float64),
               np.array([intensity for _, intensity in peaks], np.float32))


def expected_spectra(source: Source, skipped: Container[int]) -> Iterator[Read]:
    """The spectra in the order of the file, without the frames in `skipped`."""
    fragments = (_msms(source, *one) for one in expected_fragments(source))
    if source.plan.format in ("mgf", "ms2"):
        yield from fragments
        return
    if not source.has_mobility:
        yield from _lines(source)
        return
    following = next(fragments, None)
    for row in source.surveys():
        if int(row["id"]) in skipped:
            continue
        while following is not None and source.last_frames[following.number] < row["id"]:
            yield following
            following = next(fragments, None)
        yield _survey(source, row)
    if following is not None:
        yield following
        yield from fragments


def _msms(source: Source, number: int, mz: np.ndarray, intensity: np.ndarray) -> Read:
    known = source.precursors()
    row = known[np.searchsorted(known["id"], number)]
    values = {"time": float(row["time"]), "charge": float(abs(row["charge"])), "precursor m/z": float(row["mz"]),
              "1/K0": float(row["one_over_k0"]), "1/K0 of the ion": float(row["one_over_k0"])}
    if not row["charge"]:
        del values["charge"]
    return Read(number, True, mz, intensity, None, {name: value for name, value in values.items() if value == value})


def _survey(source: Source, row: np.void) -> Read:
    plan, analysis = source.plan, source.analysis
    assert isinstance(analysis, Analysis)
    frame = analysis.frame(int(row["id"]))
    peaks = frame.peaks(normalized=plan.normalized)
    assert peaks.mz is not None and peaks.one_over_k0 is not None
    kept = np.ones(len(peaks), bool)
    for values, limits in ((peaks.mz, plan.mz_range), (peaks.one_over_k0, plan.mobility_range)):
        low, high = pair("range", limits)
        kept &= (values >= low) & (values <= high) if limits is not None else True
    mz, mobility, intensity = peaks.mz[kept], peaks.one_over_k0[kept], peaks.intensity[kept].astype(np.float64)
    if plan.mobility == "sum":
        mz, places = np.unique(mz, return_inverse=True)
        intensity = np.bincount(places, intensity, len(mz)).astype(np.float64)
    order = np.argsort(mz, kind="stable")
    chosen = order[np.asarray(intensity)[order] >= plan.min_intensity]
    about = {} if np.isnan(row["time"]) else {"time": float(row["time"])}
    return Read(frame.id, False, mz[chosen], intensity[chosen], None if plan.mobility == "sum" else mobility[chosen], about)


def _lines(source: Source) -> Iterator[Read]:
    for row in source.frames:
        spectrum = source.analysis.spectrum(int(row["id"]))  # type: ignore[union-attr]
        if source.analysis.has_lines:  # type: ignore[union-attr]
            lines = spectrum.lines()
            mz, intensity = lines.mz, lines.intensity.astype(np.float64)
        else:
            bins = spectrum.profile()
            places = np.flatnonzero(bins)
            mz, intensity = spectrum.index_to_mz(places.astype(np.float64)), bins[places].astype(np.float64)
        low, high = pair("mz", source.plan.mz_range)
        kept = np.flatnonzero((mz >= low) & (mz <= high) & (intensity >= source.plan.min_intensity))
        order = kept[np.argsort(mz[kept], kind="stable")]
        yield Read(spectrum.id, False, mz[order], intensity[order], None, {})
