"""Heat map of a frame."""

from __future__ import annotations

from typing import TYPE_CHECKING, Optional

import numpy as np

from .._errors import KovaError
from .._frame import Frame
from ._axis import chosen_peaks, frame_title, mobility_axis, scan_rows
from ._map import Grid, draw_map, map_view
from ._style import MZ_LABEL, Range, axes_or_new, range_text, write_title

if TYPE_CHECKING:
    from matplotlib.axes import Axes

# About what a picture of ordinary size can show.
_COLUMNS, _ROWS = 500, 300


def heatmap(frame: Frame, ax: Optional[Axes] = None, *, mz_range: Range = None, mobility_range: Range = None,
            marginals: bool = True) -> Axes:
    """Plots the intensities of a frame over m/z and 1/K0, on a logarithmic colour scale.

    Where the frame has no mobility calibration, the axis has scan numbers. Where there are few peaks, they are dots.

    Parameters
    ----------
    frame : Frame
        The frame.
    ax : matplotlib.axes.Axes, optional
        Where to plot; a new figure by default.
    mz_range : (float, float), optional
        Only peaks in this range of m/z in Th; where the signal is by default.
    mobility_range : (float, float), optional
        Only peaks in this range of 1/K0 in V s / cm^2; where the signal is by default.
    marginals : bool
        Whether to plot the sums along both axes beside the map.

    Returns
    -------
    matplotlib.axes.Axes
        The axes of the map.
    """
    ax = axes_or_new(ax, (9, 6.5))
    axis = mobility_axis(frame)
    grid = _grid(frame, axis.edges, mz_range, mobility_range)
    top = draw_map(ax, grid, "intensity (counts)", top=marginals, side=marginals)
    ax.set_xlabel(MZ_LABEL)
    ax.set_ylabel(axis.label)
    ax.set_xlim(grid.x_edges[0], grid.x_edges[-1])
    ax.set_ylim(mobility_range or (grid.y_edges.min(), grid.y_edges.max()))
    write_title(top, f"{frame_title(frame)}{range_text(mz_range, mobility_range)}")
    return ax


def _grid(frame: Frame, scan_edges: np.ndarray, mz_range: Range, mobility_range: Range) -> Grid:
    """Summed intensities by mobility and m/z."""
    peaks = chosen_peaks(frame, mz_range, mobility_range)
    assert peaks.mz is not None
    if not peaks.intensity.any():
        raise KovaError(f"frame {frame.id} has no peaks there")
    if np.isnan(peaks.mz).any():
        raise KovaError(f"frame {frame.id} has no mass calibration")
    mz_edges = np.linspace(*map_view(peaks.mz, peaks.intensity, mz_range), _COLUMNS + 1)
    rows = scan_rows(peaks.scan, peaks.intensity, frame.num_scans, mobility_range is not None, _ROWS)
    counts, _, _ = np.histogram2d(peaks.scan, peaks.mz, (rows - 0.5, mz_edges), weights=peaks.intensity)
    return Grid(counts, mz_edges, scan_edges[rows])
