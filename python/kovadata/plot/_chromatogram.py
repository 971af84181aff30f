"""Total ion chromatogram."""

from __future__ import annotations

from typing import TYPE_CHECKING, Any, Iterator, Optional, Tuple, Union

import numpy as np

from .._analysis import Analysis
from .._errors import KovaError
from .._spectra import SpectrumAnalysis
from ._style import BLUE, VERMILLION, Range, axes_or_new, count_axis, range_text, tidy, within

if TYPE_CHECKING:
    from matplotlib.axes import Axes

_MARKED_POINTS = 80


def tic(analysis: Union[Analysis, SpectrumAnalysis], ax: Optional[Axes] = None, *, mz_range: Range = None,
        mobility_range: Range = None) -> Axes:
    """Plots the total ion chromatogram: the summed intensity of each frame over the retention time.

    Survey frames and frames with fragment spectra are separate lines. With a range, it is the chromatogram of the ions
    in it, for which all frames are read; otherwise only those for which the metadata state no sum.

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
    ax = axes_or_new(ax, (9, 4))
    table, sums = _sums(analysis, mz_range, mobility_range)
    if not len(table):
        raise KovaError("the analysis has no frames")
    seconds, unit = table["time"], "s"
    by_number = bool(np.isnan(seconds).any())
    if not by_number and len(seconds) and np.ptp(seconds) > 300:
        seconds, unit = seconds / 60, "min"
    x = table["id"] if by_number else seconds
    lines = list(_lines(table))
    for name, chosen, style in lines:
        marker = "o" if chosen.sum() <= _MARKED_POINTS else ""
        ax.plot(x[chosen], sums[chosen], label=name, marker=marker, markersize=3.5, linewidth=1.2, **style)
    if len(lines) > 1:
        ax.legend(frameon=False, loc="upper left", bbox_to_anchor=(1, 1))
    ax.margins(x=0.02, y=0.08)
    if len(x) == 1:
        ax.set_xlim(x[0] - 1, x[0] + 1)
    what = "Total" if mz_range is None and mobility_range is None else "Extracted"
    tidy(ax, f"{what} ion chromatogram, {analysis.path.name}{range_text(mz_range, mobility_range)}",
         "frame" if by_number else f"retention time ({unit})", "summed intensity")
    count_axis(ax)
    return ax


def _lines(table: np.ndarray) -> Iterator[Tuple[str, np.ndarray, dict[str, Any]]]:
    fragments = table["ms_level"] == 2
    if not fragments.all():
        yield "MS1", ~fragments, {"color": BLUE}
    if fragments.any():
        yield "MS2", fragments, {"color": VERMILLION, "linestyle": (0, (4, 1.5))}


def _sums(analysis: Union[Analysis, SpectrumAnalysis], mz_range: Range,
          mobility_range: Range) -> Tuple[np.ndarray, np.ndarray]:
    if isinstance(analysis, SpectrumAnalysis):
        table = analysis.spectrum_table()
        return table, np.array([_spectrum_sum(analysis, int(number), mz_range) for number in table["id"]], float)
    if mz_range is None and mobility_range is None:
        table = analysis.frame_table(complete=True)
        return table, table["intensity_sum"].astype(float)
    found = analysis.chromatograms(mz_range, mobility_ranges=mobility_range, ms_level=None)
    return analysis.frame_table(), found.intensity[0].astype(float)


def _spectrum_sum(analysis: SpectrumAnalysis, number: int, mz_range: Range) -> float:
    spectrum = analysis.spectrum(number)
    if analysis.has_profiles:
        values = spectrum.profile()
        mz = None if mz_range is None else spectrum.index_to_mz(np.arange(len(values)))
    else:
        lines = spectrum.lines()
        values, mz = lines.intensity, lines.mz
    return float(values.sum(dtype=float) if mz_range is None else values[within(np.asarray(mz), mz_range)].sum(dtype=float))
