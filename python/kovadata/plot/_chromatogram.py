"""Total ion and base peak chromatograms."""

from __future__ import annotations

from typing import TYPE_CHECKING, Any, Iterator, Optional, Tuple, Union

import numpy as np

from .._analysis import Analysis
from .._errors import KovaError
from .._spectra import Spectrum, SpectrumAnalysis
from ._style import BLUE, VERMILLION, Range, axes_or_new, count_axis, number_ticks, range_text, tidy, time_axis, within

if TYPE_CHECKING:
    from matplotlib.axes import Axes

AnyAnalysis = Union[Analysis, SpectrumAnalysis]

_MARKED_POINTS = 80


def tic(analysis: AnyAnalysis, ax: Optional[Axes] = None, *, mz_range: Range = None,
        mobility_range: Range = None) -> Axes:
    """Plots the total ion chromatogram: the summed intensity of each frame over the retention time.

    Survey frames and frames with fragment spectra are separate lines. With a range, it is the chromatogram of the ions
    in it, for which all frames are read; otherwise only those for which the metadata state no sum. Times are in minutes
    if they span more than 5 of them; where they are missing or do not vary, the axis has the ids of frames.

    Parameters
    ----------
    analysis : Analysis or SpectrumAnalysis
        The analysis.
    ax : matplotlib.axes.Axes, optional
        Where to plot; a new figure by default.
    mz_range : (float, float), optional
        Only peaks in this range of m/z in Th.
    mobility_range : (float, float), optional
        Only peaks in this range of 1/K0 in V s / cm^2.

    Returns
    -------
    matplotlib.axes.Axes
    """
    what = "Total" if mz_range is None and mobility_range is None else "Extracted"
    return _draw(ax, analysis, *frame_values(analysis, "sum", mz_range, mobility_range), f"{what} ion chromatogram",
                 "summed intensity", range_text(mz_range, mobility_range))


def bpc(analysis: AnyAnalysis, ax: Optional[Axes] = None, *, mz_range: Range = None,
        mobility_range: Range = None) -> Axes:
    """Plots the base peak chromatogram: the highest intensity of each frame over the retention time.

    Parameters and axes are those of `tic`; all frames are read.
    """
    return _draw(ax, analysis, *frame_values(analysis, "max", mz_range, mobility_range), "Base peak chromatogram",
                 "highest intensity", range_text(mz_range, mobility_range))


def frame_values(analysis: AnyAnalysis, reduce: str, mz_range: Range = None,
                 mobility_range: Range = None) -> Tuple[np.ndarray, np.ndarray]:
    """The table of frames, and the sum or maximum of the intensities of each."""
    if isinstance(analysis, SpectrumAnalysis):
        table = analysis.spectrum_table()
        return table, np.array([spectrum_value(analysis, one, reduce, mz_range) for one in analysis.spectra()], float)
    if reduce == "sum" and mz_range is None and mobility_range is None:
        table = analysis.frame_table(complete=True)
        return table, table["intensity_sum"].astype(float)
    found = analysis.chromatograms(mz_range, mobility_ranges=mobility_range, ms_level=None, reduce=reduce)
    return analysis.frame_table(), found.intensity[0].astype(float)


def spectrum_value(analysis: SpectrumAnalysis, spectrum: Spectrum, reduce: str, mz_range: Range = None) -> float:
    """Sum or maximum of the intensities of a spectrum without mobility: of its profile, or else of its lines."""
    if analysis.has_profiles:
        values = spectrum.profile()
        mz = None if mz_range is None else spectrum.index_to_mz(np.arange(len(values)))
    else:
        lines = spectrum.lines()
        values, mz = lines.intensity, lines.mz
    chosen = values if mz_range is None else values[within(np.asarray(mz), mz_range)]
    return float(chosen.sum(dtype=float) if reduce == "sum" else chosen.max(initial=0))


def _draw(ax: Optional[Axes], analysis: AnyAnalysis, table: np.ndarray, values: np.ndarray, what: str, label: str,
          ranges: str) -> Axes:
    if not len(table):
        raise KovaError("the analysis has no frames")
    ax = axes_or_new(ax, (9, 4))
    x, x_label = time_axis(table["id"], table["time"])
    lines = list(_lines(table))
    for name, chosen, style in lines:
        marker = "o" if chosen.sum() <= _MARKED_POINTS else ""
        ax.plot(x[chosen], values[chosen], label=name, marker=marker, markersize=3.5, **style)
    ax.margins(x=0.02)
    ax.set_ylim(0, max(values.max(), 1) * (1.2 if len(lines) > 1 else 1.08))
    if len(lines) > 1:  # in the room above the lines
        ax.legend(frameon=False, loc="upper right", ncol=2, borderaxespad=0)
    if len(x) == 1:
        ax.set_xlim(x[0] - 0.5, x[0] + 0.5)
    tidy(ax, f"{what}, {analysis.path.name}{ranges}", x_label, label)
    if x_label == "frame":
        number_ticks(ax)
    count_axis(ax)
    return ax


def _lines(table: np.ndarray) -> Iterator[Tuple[str, np.ndarray, dict[str, Any]]]:
    fragments = table["ms_level"] == 2
    if not fragments.all():
        yield "MS1", ~fragments, {"color": BLUE, "linewidth": 1.2}
    if fragments.any():
        yield "MS2", fragments, {"color": VERMILLION, "linewidth": 0.8}
