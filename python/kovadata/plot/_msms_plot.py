"""MS/MS spectrum of a precursor."""

from __future__ import annotations

from typing import TYPE_CHECKING, Optional

import numpy as np

from .._errors import KovaError
from .._msms import MsmsSpectrum
from ._labels import headroom, label_peaks
from ._spectrum import Trace, draw_trace
from ._style import BLUE, MZ_LABEL, VERMILLION, Range, axes_or_new, tidy, view, within

if TYPE_CHECKING:
    from matplotlib.axes import Axes


def msms(spectrum: MsmsSpectrum, ax: Optional[Axes] = None, *, mz_range: Range = None, labels: int = 20,
         name: str = "") -> Axes:
    """Plots an MS/MS spectrum as stems, relative to its strongest peak, with the m/z of the strongest peaks.

    A dashed line marks the m/z of the precursor.

    Parameters
    ----------
    spectrum : MsmsSpectrum
        The spectrum, from `Analysis.msms`.
    ax : matplotlib.axes.Axes, optional
        Where to plot; a new figure by default.
    mz_range : (float, float), optional
        Only peaks in this range of m/z in Th.
    labels : int
        Number of labels at most; fewer where there is no room.
    name : str
        Begins the title.

    Returns
    -------
    matplotlib.axes.Axes
    """
    ax = axes_or_new(ax, (9, 4.5))
    chosen = within(spectrum.mz, mz_range)
    mz, intensity = spectrum.mz[chosen], spectrum.intensity[chosen].astype(float)
    if not len(mz) or intensity.max() <= 0:
        raise KovaError(f"the spectrum of precursor {spectrum.precursor.id} has no peaks there")
    order = np.argsort(mz)
    mz, relative = mz[order], 100 * intensity[order] / intensity.max()
    ax.axhline(0, color="black", linewidth=0.8)
    about = spectrum.precursor
    low, high = view(mz, relative, mz_range)
    if mz_range is None and not np.isnan(about.mz):
        low, high = min(low, about.mz - 5), max(high, about.mz + 5)
    ax.set_xlim(low, high)
    draw_trace(ax, Trace(mz, relative, None), 1, BLUE)
    ax.set_ylim(0)
    ax.set_yticks(range(0, 101, 20))
    precursor = [about.mz] if within(np.array([about.mz]), mz_range)[0] else []
    for place in precursor:
        ax.axvline(place, color=VERMILLION, linestyle=(0, (4, 2)), linewidth=1, zorder=0)
        ax.annotate("precursor", (place, 1), (3, -1), xycoords=("data", "axes fraction"),
                    textcoords="offset points", color=VERMILLION, fontsize="small", va="top")
    tidy(ax, f"{_title(spectrum, name)}, 100 % = {intensity.max():,.0f} counts", MZ_LABEL, "relative intensity (%)")
    headroom(ax, 100, 2)
    label_peaks(ax, mz, relative, labels, lambda peak: float(mz[peak]), upright=precursor)
    return ax


def _title(spectrum: MsmsSpectrum, name: str) -> str:
    about = spectrum.precursor
    parts = [part for part in (name, f"MS/MS of precursor {about.id}") if part]
    if not np.isnan(about.mz):
        parts.append(f"m/z {about.mz:.4f}")
    if about.charge:
        parts.append(f"charge {about.charge}")
    if not np.isnan(about.one_over_k0):
        parts.append(f"1/K$_0$ {about.one_over_k0:.4f}")
    if not np.isnan(about.time):
        parts.append(f"{about.time:.2f} s")
    return ", ".join(parts)
