"""A whole run over time and m/z, and over time and mobility."""

from __future__ import annotations

from typing import TYPE_CHECKING, Any, NamedTuple, Optional, Tuple

import numpy as np

from .._analysis import Analysis
from .._errors import KovaError
from ._axis import chosen_peaks, mobility_axis, run_title, scan_rows, survey_frames
from ._map import Grid, draw_map, map_view
from ._style import MZ_LABEL, Range, axes_or_new, number_ticks, range_text, time_axis, write_title

if TYPE_CHECKING:
    from matplotlib.axes import Axes

# About what a picture of ordinary size can show, and from how many frames it is seen where the signal is.
_COLUMNS, _ROWS, _SAMPLE = 1000, 250, 50


def overview(analysis: Analysis, ax: Optional[Axes] = None, *, mz_range: Range = None, mobility_range: Range = None,
             time_range: Range = None) -> Tuple[Axes, Axes]:
    """Plots the survey frames of a run over time and m/z, and over time and 1/K0, on logarithmic colour scales.

    Above and beside the maps are their sums: the chromatogram, the spectrum and the mobilogram. The time axis is that of
    `tic`. Where frames have no mobility calibration, the second map has scan numbers.

    Parameters
    ----------
    analysis : Analysis
        The analysis.
    ax : matplotlib.axes.Axes, optional
        Whose place the maps take; a new figure by default.
    mz_range, mobility_range : (float, float), optional
        Only peaks in these ranges of m/z in Th and 1/K0 in V s / cm^2; where the signal is by default.
    time_range : (float, float), optional
        Only frames in this range of retention times in s.

    Returns
    -------
    (matplotlib.axes.Axes, matplotlib.axes.Axes)
        The axes of the maps.
    """
    table = survey_frames(analysis, time_range)
    box = _Box(analysis, table, mz_range, mobility_range)
    by_mass, by_mobility, label = _by_mass(box), *_by_mobility(box)
    ax = axes_or_new(ax, (9, 8))
    ax.set_axis_off()
    lower = ax.inset_axes((0, 0, 1, 0.43))
    upper = ax.inset_axes((0, 0.47, 1, 0.43), sharex=lower)
    x, x_label = time_axis(table["id"], table["time"])
    for panel, (counts, edges), name in ((upper, by_mass, MZ_LABEL), (lower, by_mobility, label)):
        means, x_edges = _columns(counts, x)
        top = draw_map(panel, Grid(means, x_edges, edges), "counts per frame", top=panel is upper)
        panel.set_ylabel(name)
        panel.set_ylim(edges.min(), edges.max())
        panel.set_xlim(x_edges[0], x_edges[-1])
        if panel is upper:
            write_title(top, f"{run_title(analysis, table)}{range_text(mz_range, mobility_range, time_range)}")
    upper.tick_params(labelbottom=False)
    lower.set_xlabel(x_label)
    if x_label == "frame":
        number_ticks(lower)
    return upper, lower


class _Box(NamedTuple):
    """Which peaks of a run are shown: those of some frames, in some ranges."""

    analysis: Analysis
    table: np.ndarray
    mz_range: Range
    mobility_range: Range

    @property
    def sample(self) -> np.ndarray:
        """Frames all over the run, which show where the signal is."""
        count = len(self.table)
        ids: np.ndarray = self.table["id"][np.unique(np.linspace(0, count - 1, _SAMPLE).round().astype(int))]
        return ids

    def chromatograms(self, mz_ranges: Any, mobility_ranges: Any) -> np.ndarray:
        """One row per range, one column per frame."""
        return self.analysis.chromatograms(mz_ranges, mobility_ranges=mobility_ranges, frames=self.table["id"],
                                           ms_level=None).intensity


def _by_mass(box: _Box) -> Tuple[np.ndarray, np.ndarray]:
    """Intensities by m/z and frame, and the edges of the rows."""
    sample = box.analysis.summed_spectrum(frames=box.sample, ms_level=None, mz_range=box.mz_range,
                                          mobility_range=box.mobility_range)
    if not sample.intensity.any():
        raise KovaError("there are no peaks there")
    if np.isnan(sample.mz).any():
        raise KovaError("there is no mass calibration")
    edges = np.linspace(*map_view(sample.mz, sample.intensity, box.mz_range), _ROWS + 1)
    return box.chromatograms(_ranges(edges), box.mobility_range), edges


def _by_mobility(box: _Box) -> Tuple[Tuple[np.ndarray, np.ndarray], str]:
    """The same by 1/K0 or, without its calibration, by scan, and the label of that axis."""
    axis = mobility_axis(box.analysis.frame(int(box.table["id"][box.table["scans"].argmax()])))
    sample = box.analysis.mobilograms(box.mz_range, mobility_ranges=box.mobility_range, frames=box.sample, ms_level=None)
    present = sample.intensity[0] > 0
    rows = scan_rows(sample.scan[present], sample.intensity[0][present], len(axis.edges) - 1,
                     box.mobility_range is not None, _ROWS)
    edges = axis.edges[rows]
    if not axis.is_calibrated:
        return (_by_scan(box, rows), edges), axis.label
    ascending = np.sort(edges)
    counts = box.chromatograms(box.mz_range, _ranges(ascending))
    return (counts, ascending), axis.label


def _by_scan(box: _Box, rows: np.ndarray) -> np.ndarray:
    counts = np.zeros((len(rows) - 1, len(box.table)))
    for column, frame in enumerate(box.analysis.frames(box.table["id"], threads=1)):
        peaks = chosen_peaks(frame, box.mz_range, None)
        counts[:, column] = np.histogram(peaks.scan, rows, weights=peaks.intensity)[0]
    return counts


def _ranges(edges: np.ndarray) -> np.ndarray:
    """Ranges from edge to edge without their upper ends, which would count twice."""
    return np.column_stack([edges[:-1], np.nextafter(edges[1:], -np.inf)])


def _columns(counts: np.ndarray, x: np.ndarray) -> Tuple[np.ndarray, np.ndarray]:
    """Frames side by side; means of neighbours where there are more than can be shown."""
    begins = np.arange(0, len(x), -(-len(x) // _COLUMNS))
    gaps = np.diff(x) if len(x) > 1 else np.ones(1)
    edges = np.append(x - np.append(gaps[:1], np.diff(x)) / 2, x[-1] + gaps[-1] / 2)
    sizes = np.diff(begins, append=len(x))
    return np.add.reduceat(counts, begins, axis=1) / sizes, edges[np.append(begins, len(x))]
