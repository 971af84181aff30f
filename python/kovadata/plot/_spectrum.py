"""Spectra of frames, of boxes of a run, and of analyses without mobility."""

from __future__ import annotations

from typing import TYPE_CHECKING, List, NamedTuple, Optional, Tuple, Union

import numpy as np

from .._analysis import Analysis
from .._errors import KovaError
from .._frame import Frame
from .._spectra import Spectrum
from ._axis import chosen_peaks, frame_title, run_title, survey_frames
from ._labels import COLUMNS, headroom, label_peaks, tallest
from ._style import BLUE, MZ_LABEL, VERMILLION, Range, axes_or_new, count_axis, range_text, tidy, view, within

if TYPE_CHECKING:
    from matplotlib.axes import Axes

_FORMS = ("profile", "lines")


class Trace(NamedTuple):
    """Points of a spectrum, ascending in m/z. A profile has the time-of-flight index of each, lines have none."""

    mz: np.ndarray
    intensity: np.ndarray
    tof_index: Optional[np.ndarray]


def spectrum(source: Union[Frame, Spectrum, Analysis], ax: Optional[Axes] = None, *, mz_range: Range = None,
             mobility_range: Range = None, time_range: Range = None, form: Optional[str] = None,
             labels: int = 12) -> Axes:
    """Plots a spectrum, with the m/z of the strongest peaks.

    That of a frame is the sum of its scans, that of an analysis the sum of its survey frames. Both are profiles: their
    points are time-of-flight indices, joined by a line. Line spectra stand as separate lines; if a spectrum has both, they
    hang below the profile. A label at a profile is the centroid of the upper half of the peak.

    Parameters
    ----------
    source : Frame, Spectrum or Analysis
        What to plot: a frame, a spectrum without mobility, or the sum of a run.
    ax : matplotlib.axes.Axes, optional
        Where to plot; a new figure by default.
    mz_range : (float, float), optional
        Only this range of m/z in Th; where the signal is by default.
    mobility_range : (float, float), optional
        Sum only peaks in this range of 1/K0 in V s / cm^2.
    time_range : (float, float), optional
        Sum only frames in this range of retention times in s; with an analysis.
    form : {"profile", "lines"}, optional
        Which form of a spectrum without mobility; all that it has by default.
    labels : int
        Number of labels at most; fewer where there is no room.

    Returns
    -------
    matplotlib.axes.Axes
    """
    if form not in (None, *_FORMS):
        raise ValueError(f"form must be one of {', '.join(_FORMS)}, not {form!r}")
    traces, title = _read(source, mz_range, mobility_range, time_range, form)
    if not any(len(trace.mz) and trace.intensity.any() for trace in traces):
        raise KovaError("there are no peaks there")
    if any(np.isnan(trace.mz).any() for trace in traces):
        raise KovaError("there is no mass calibration")
    ax = axes_or_new(ax, (9, 4.5))
    main = traces[0]
    ax.set_xlim(view(main.mz, main.intensity, mz_range))
    for trace, sign, colour in zip(traces, (1, -1), (BLUE, VERMILLION)):
        draw_trace(ax, trace, sign, colour)
    ax.axhline(0, color="black", linewidth=0.8)
    tidy(ax, f"{title}{range_text(mz_range, mobility_range, time_range)}", MZ_LABEL, "intensity")
    lowest = 0.0
    if len(traces) == 2:
        lowest = -1.08 * float(traces[1].intensity.max(initial=0))
        for text, y, colour in (("profile", 0.98, BLUE), ("lines", 0.02, VERMILLION)):
            ax.text(0.995, y, text, color=colour, transform=ax.transAxes, ha="right", va="top" if y > 0.5 else "bottom")
    count_axis(ax, lowest)
    headroom(ax, float(main.intensity.max()), len(traces))
    label_peaks(ax, main.mz, main.intensity, labels, lambda peak: _centroid(main, peak))
    return ax


def draw_trace(ax: Axes, trace: Trace, sign: int, colour: str) -> None:
    """Draws a spectrum within the limits of the axes: a profile as a line from point to point, lines one by one."""
    low, high = ax.get_xlim()
    chosen = within(trace.mz, (low, high))
    mz, intensity = trace.mz[chosen], trace.intensity[chosen].astype(float)
    if trace.tof_index is not None and len(mz) <= COLUMNS:
        x, y = with_zeros(mz, intensity, trace.tof_index[chosen])
        ax.plot(x, sign * y, color=colour, linewidth=1, solid_joinstyle="round")
        ax.fill_between(x, sign * y, color=colour, alpha=0.2, linewidth=0)
        return
    if len(mz) > COLUMNS:
        shown = tallest(mz, intensity, (high - low) / COLUMNS)
        mz, intensity = mz[shown], intensity[shown]
    ax.vlines(mz, 0, sign * intensity, color=colour, linewidth=0.9)


def _read(source: Union[Frame, Spectrum, Analysis], mz_range: Range, mobility_range: Range, time_range: Range,
          form: Optional[str]) -> Tuple[List[Trace], str]:
    """What to draw, one or two traces, and what it is."""
    if isinstance(source, Spectrum):
        if mobility_range is not None or time_range is not None:
            raise KovaError("a spectrum without ion mobility is one whole, of one time")
        return traces_of(source, mz_range, form)
    if form == "lines":
        raise KovaError("an analysis with ion mobility has no line spectra")
    if isinstance(source, Analysis):
        table = survey_frames(source, time_range)
        found = source.summed_spectrum(frames=table["id"], mobility_range=mobility_range, mz_range=mz_range,
                                       ms_level=None)
        return [Trace(found.mz, found.intensity, found.tof_index.astype(np.int64))], (
            f"Summed spectrum, {run_title(source, table)}")
    if time_range is not None:
        raise KovaError("a frame has one time; sum the analysis over a range of times")
    peaks = chosen_peaks(source, mz_range, mobility_range)
    index, first, of = np.unique(peaks.tof_index, return_index=True, return_inverse=True)
    assert peaks.mz is not None
    return [Trace(peaks.mz[first], np.bincount(of, peaks.intensity, len(index)), index.astype(np.int64))], (
        f"Spectrum, {frame_title(source)}, sum of scans")


def traces_of(source: Spectrum, mz_range: Range, form: Optional[str]) -> Tuple[List[Trace], str]:
    """The forms that a spectrum without mobility has, profile first, and a title."""
    analysis, traces, names = source._analysis, [], []
    if analysis.has_profiles and form != "lines":
        profile = source.profile()
        index = np.flatnonzero(profile)
        traces.append(Trace(np.asarray(source.index_to_mz(index.astype(float))), profile[index], index))
        names.append("profile")
    if analysis.has_lines and form != "profile":
        lines = source.lines()
        order = np.argsort(lines.mz)
        traces.append(Trace(lines.mz[order], lines.intensity[order], None))
        names.append("lines")
    if not traces:
        raise KovaError(f"the analysis has no {form or 'spectra'}")
    chosen = [within(trace.mz, mz_range) for trace in traces]
    traces = [Trace(mz[some], intensity[some], None if index is None else index[some])
              for (mz, intensity, index), some in zip(traces, chosen)]
    time = "" if np.isnan(source.time) else f", {source.time:.2f} s"
    return traces, f"Spectrum {source.id} ({' and '.join(names)}), {analysis.path.name}{time}"


def with_zeros(mz: np.ndarray, intensity: np.ndarray, index: np.ndarray) -> Tuple[np.ndarray, np.ndarray]:
    """The points and the zeros beside those that have no neighbour."""
    if len(mz) < 2:
        return np.concatenate([mz - 0.01, mz, mz + 0.01]), np.concatenate([0 * intensity, intensity, 0 * intensity])
    # Times of flight go with the square root of m/z, so neighbours are apart by as much.
    step = np.median(np.diff(mz) / np.diff(index) / np.sqrt(mz[1:])) * np.sqrt(mz)
    is_first, is_last = np.diff(index, prepend=-2) > 1, np.diff(index, append=index[-1] + 2) > 1
    x = np.concatenate([mz, (mz - step)[is_first], (mz + step)[is_last]])
    y = np.concatenate([intensity, np.zeros(is_first.sum() + is_last.sum())])
    order = np.argsort(x, kind="stable")
    return x[order], y[order]


def _centroid(trace: Trace, peak: int) -> float:
    """m/z of a line, or the mean of a profile around a point, as far as it has more than half of its height."""
    if trace.tof_index is None:
        return float(trace.mz[peak])
    begin = end = peak
    high = trace.intensity > trace.intensity[peak] / 2
    while begin > 0 and high[begin - 1] and trace.tof_index[begin] - trace.tof_index[begin - 1] == 1:
        begin -= 1
    while end + 1 < len(high) and high[end + 1] and trace.tof_index[end + 1] - trace.tof_index[end] == 1:
        end += 1
    return float(np.average(trace.mz[begin:end + 1], weights=trace.intensity[begin:end + 1]))
