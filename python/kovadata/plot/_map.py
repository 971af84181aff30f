"""Maps of intensities on a logarithmic colour scale, with the sums along both axes beside them."""

from __future__ import annotations

from typing import TYPE_CHECKING, Any, NamedTuple, Tuple

import numpy as np

from ._style import BLUE, COLOUR_MAP, Range, view

if TYPE_CHECKING:
    from matplotlib.axes import Axes

# Fewer filled cells than this share of a map would hardly be seen.
_SPARSE = 0.05
_PLAIN_COUNTS = 10000


class Grid(NamedTuple):
    """Intensities by row and column, and the edges of both, which may descend."""

    counts: np.ndarray
    x_edges: np.ndarray
    y_edges: np.ndarray


def map_view(values: np.ndarray, intensity: np.ndarray, limits: Range) -> Tuple[float, float]:
    """Limits of an axis of a map, where logarithmic colours show weak signals too, and single peaks are many."""
    return view(values, np.sqrt(intensity), limits, strong=None)


def draw_map(ax: Axes, grid: Grid, label: str, *, top: bool = True, side: bool = True) -> Axes:
    """Draws a map with its colour bar; gives the axes that the title belongs above."""
    from matplotlib.colors import LogNorm

    filled = grid.counts[grid.counts > 0]
    low, high = np.percentile(filled, 5), filled.max()
    norm = LogNorm(min(low, high / 10), high)
    if len(filled) < _SPARSE * grid.counts.size:
        drawn = _draw_dots(ax, grid, norm)
    else:
        drawn = ax.pcolormesh(grid.x_edges, grid.y_edges, np.ma.masked_equal(grid.counts, 0), norm=norm, cmap=COLOUR_MAP,
                              rasterized=True)
    _add_colour_bar(ax, drawn, label, 1.17 if side else 1.03)
    if side:
        # Rows of 1/K0 differ in height.
        density = grid.counts.sum(axis=1) / np.abs(np.diff(grid.y_edges))
        _marginal(ax.inset_axes((1.02, 0, 0.12, 1), sharey=ax), density, grid.y_edges, "horizontal").set_xlim(0, None)
    if not top:
        return ax
    above = _marginal(ax.inset_axes((0, 1.03, 1, 0.2), sharex=ax), grid.counts.sum(axis=0), grid.x_edges, "vertical")
    above.set_ylim(0, None)
    return above


def _draw_dots(ax: Axes, grid: Grid, norm: Any) -> Any:
    """Cells as dots, the fewer the larger, and the strongest on top. The lightest colours would not be seen."""
    import matplotlib
    from matplotlib.colors import ListedColormap

    colours = ListedColormap(matplotlib.colormaps[COLOUR_MAP](np.linspace(0.15, 1, 256)))
    rows, columns = np.nonzero(grid.counts)
    x, y = (((edges[:-1] + edges[1:]) / 2)[cells] for edges, cells in ((grid.x_edges, columns), (grid.y_edges, rows)))
    values = grid.counts[rows, columns]
    order = np.argsort(values, kind="stable")
    size = np.clip(9 * np.sqrt(1500 / len(values)), 4, 12)
    return ax.scatter(x[order], y[order], c=values[order], s=size, norm=norm, cmap=colours, linewidths=0)


def _add_colour_bar(ax: Axes, drawn: Any, label: str, left: float) -> None:
    from matplotlib.ticker import FuncFormatter, LogLocator, NullFormatter

    bar = ax.figure.colorbar(drawn, cax=ax.inset_axes((left, 0, 0.025, 1)), label=label, extend="min")
    decades = np.log10(drawn.norm.vmax / drawn.norm.vmin)
    bar.locator = LogLocator(subs=(1, 2, 5) if decades < 2 else (1,))
    bar.formatter, bar.minorformatter = FuncFormatter(_count_text), NullFormatter()
    bar.update_ticks()


def _count_text(value: float, _: Any = None) -> str:
    if value < _PLAIN_COUNTS:
        return f"{value:,g}"
    power = int(np.floor(np.log10(value) + 1e-9))
    digit = round(value / 10 ** power)
    return f"$10^{power}$" if digit == 1 else rf"${digit}\times10^{power}$"


def _marginal(ax: Axes, sums: np.ndarray, edges: np.ndarray, orientation: Any) -> Axes:
    order = slice(None, None, -1) if edges[0] > edges[-1] else slice(None)
    ax.stairs(sums[order], edges[order], fill=True, facecolor=BLUE, edgecolor=BLUE, linewidth=0.5, orientation=orientation)
    ax.tick_params(labelbottom=False, labelleft=False, left=False, bottom=False)
    ax.spines[:].set_visible(False)
    return ax
