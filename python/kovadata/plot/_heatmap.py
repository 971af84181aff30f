"""Heat map of a frame."""

from __future__ import annotations

from typing import TYPE_CHECKING, Any, Optional, Tuple

import numpy as np

from .._errors import KovaError
from .._frame import Frame
from ._axis import MobilityAxis, chosen_peaks, frame_title, mobility_axis
from ._style import BLUE, COLOUR_MAP, MZ_LABEL, Range, axes_or_new, range_text

if TYPE_CHECKING:
    from matplotlib.axes import Axes
    from matplotlib.collections import QuadMesh

# About what a picture of ordinary size can show.
_COLUMNS, _ROWS = 500, 300


def heatmap(frame: Frame, ax: Optional[Axes] = None, *, mz_range: Range = None, mobility_range: Range = None,
            marginals: bool = True) -> Axes:
    """Plots the intensities of a frame over m/z and 1/K0, on a logarithmic colour scale.

    Where the frame has no mobility calibration, the axis has scan numbers.

    Parameters
    ----------
    frame : Frame
        The frame.
    ax : matplotlib.axes.Axes, optional
        Where to plot; a new figure by default.
    mz_range : (float, float), optional
        Only peaks in this range of m/z in Th.
    mobility_range : (float, float), optional
        Only peaks in this range of 1/K0 in V s / cm^2.
    marginals : bool
        Whether to plot the sums along both axes beside the map.

    Returns
    -------
    matplotlib.axes.Axes
        The axes of the map.
    """
    from mpl_toolkits.axes_grid1 import make_axes_locatable

    ax = axes_or_new(ax, (9, 6.5))
    axis = mobility_axis(frame)
    counts, mz_edges, rows = _histogram(frame, axis, mz_range, mobility_range)
    mesh = _draw_map(ax, counts, mz_edges, rows)
    place = make_axes_locatable(ax)
    top = _draw_marginals(ax, place, counts, mz_edges, rows) if marginals else ax
    bar = place.append_axes("right", size="2.5%", pad=0.15)
    ax.figure.colorbar(mesh, cax=bar, label="intensity (counts)", extend="min")
    ax.set_xlabel(MZ_LABEL)
    ax.set_ylabel(axis.label)
    ax.set_xlim(mz_range or (mz_edges[0], mz_edges[-1]))
    ax.set_ylim(mobility_range or (rows.min(), rows.max()))
    top.set_title(f"{frame_title(frame)}{range_text(mz_range, mobility_range)}", loc="left", fontsize="medium")
    return ax


def _histogram(frame: Frame, axis: MobilityAxis, mz_range: Range,
               mobility_range: Range) -> Tuple[np.ndarray, np.ndarray, np.ndarray]:
    """Summed intensities by mobility and m/z. A row is a whole number of scans, which leaves no stripes."""
    peaks = chosen_peaks(frame, mz_range, mobility_range)
    assert peaks.mz is not None
    if not peaks.intensity.any():
        raise KovaError(f"frame {frame.id} has no peaks there")
    mz, scan, weights = peaks.mz, peaks.scan, peaks.intensity
    if np.isnan(mz).any():
        raise KovaError(f"frame {frame.id} has no mass calibration")
    low, high = mz_range or (float(mz.min()), float(mz.max()))
    if low == high:
        low, high = low - 0.5, high + 0.5
    shown = frame.num_scans if mobility_range is None else int(np.ptp(scan)) + 1
    group = max(1, round(shown / _ROWS))
    scan_edges = np.append(np.arange(0, frame.num_scans, group), frame.num_scans)
    mz_edges = np.linspace(low, high, _COLUMNS + 1)
    counts, _, _ = np.histogram2d(scan, mz, (scan_edges - 0.5, mz_edges), weights=weights)
    return counts, mz_edges, axis.edges[scan_edges]


def _draw_map(ax: Axes, counts: np.ndarray, mz_edges: np.ndarray, rows: np.ndarray) -> QuadMesh:
    from matplotlib.colors import LogNorm

    filled = counts[counts > 0]
    low, high = np.percentile(filled, 5), filled.max()
    norm = LogNorm(min(low, high / 10), high)
    return ax.pcolormesh(mz_edges, rows, np.ma.masked_equal(counts, 0), norm=norm, cmap=COLOUR_MAP, rasterized=True)


def _draw_marginals(ax: Axes, place: Any, counts: np.ndarray, mz_edges: np.ndarray, rows: np.ndarray) -> Axes:
    """The sums along both axes, on scales of their own; gives the axes on top."""
    top = place.append_axes("top", size="18%", pad=0.06, sharex=ax)
    side = place.append_axes("right", size="12%", pad=0.06, sharey=ax)
    spectrum, mobilogram = counts.sum(axis=0), counts.sum(axis=1) / np.abs(np.diff(rows))
    top.stairs(spectrum, mz_edges, fill=True, color=BLUE)
    order = slice(None, None, -1) if rows[0] > rows[-1] else slice(None)
    side.stairs(mobilogram[order], rows[order], fill=True, color=BLUE, orientation="horizontal")
    for marginal in (top, side):
        marginal.tick_params(labelbottom=False, labelleft=False, left=False, bottom=False)
        marginal.spines[["top", "right", "left", "bottom"]].set_visible(False)
    top.set_ylim(0, None)
    side.set_xlim(0, None)
    return top
