"""Mobilogram of a frame."""

from __future__ import annotations

from typing import TYPE_CHECKING, Optional

import numpy as np

from .._errors import KovaError
from .._frame import Frame
from ._axis import chosen_peaks, frame_title, mobility_axis
from ._style import BLUE, SCAN_LABEL, Range, axes_or_new, count_axis, range_text, tidy, view

if TYPE_CHECKING:
    from matplotlib.axes import Axes


def mobilogram(frame: Frame, ax: Optional[Axes] = None, *, mz_range: Range = None,
               mobility_range: Range = None) -> Axes:
    """Plots the summed intensity of each scan of a frame over 1/K0.

    A second axis has the scan numbers. Where the frame has no mobility calibration, they are the only one.

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

    Returns
    -------
    matplotlib.axes.Axes
    """
    ax = axes_or_new(ax, (9, 4))
    axis = mobility_axis(frame)
    peaks = chosen_peaks(frame, mz_range, mobility_range)
    sums = np.bincount(peaks.scan, peaks.intensity, minlength=frame.num_scans)
    if not sums.any():
        raise KovaError(f"frame {frame.id} has no peaks there")
    x = axis.centres
    ax.fill_between(x, sums, color=BLUE, alpha=0.25, linewidth=0)
    ax.plot(x, sums, color=BLUE, linewidth=1.1)
    low, high = view(x, sums, mobility_range)
    ax.set_xlim((low, high) if mobility_range else (max(low, axis.edges.min()), min(high, axis.edges.max())))
    ax.margins(y=0.08)
    tidy(ax, f"Mobilogram, {frame_title(frame)}{range_text(mz_range, mobility_range)}", axis.label,
         "summed intensity")
    count_axis(ax)
    if axis.is_calibrated:
        _add_scan_axis(ax, x)
    return ax


def _add_scan_axis(ax: Axes, one_over_k0: np.ndarray) -> None:
    scans = np.arange(len(one_over_k0), dtype=float)
    # Straight on at both ends, where the axis goes a little further.
    ends = np.array([-1.0, 2.0]) * len(scans)
    beyond = one_over_k0[0] + (one_over_k0[-1] - one_over_k0[0]) / max(len(scans) - 1, 1) * ends
    number, x = np.concatenate([ends[:1], scans, ends[1:]]), np.concatenate([beyond[:1], one_over_k0, beyond[1:]])
    order = np.argsort(x)
    second = ax.secondary_xaxis("top", functions=(
        lambda values: np.interp(np.asarray(values, float), x[order], number[order]),
        lambda values: np.interp(np.asarray(values, float), number, x)))
    second.set_xlabel(SCAN_LABEL)
