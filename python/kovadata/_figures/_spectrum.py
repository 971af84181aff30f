"""Spectra as stems or as profiles, with the m/z of the strongest peaks in view.

A picture has room for some thousand lines. What is drawn is the tallest of each column of the screen, chosen again at every
zoom where there is a server; what is saved as numbers is everything.
"""

from __future__ import annotations

import dataclasses
from typing import Any, Callable, NamedTuple, Optional, Tuple

import numpy as np
from bokeh.core.properties import value
from bokeh.models import ColumnDataSource, HoverTool, LabelSet, Line, Range1d, Segment, Span

from ..plot._labels import tallest
from ..plot._spectrum import with_zeros
from ..plot._style import view
from ._chart import FONT, MZ_LABEL, Chart, count_axis, draw, new_figure, thousands
from ._theme import themed

_COLUMNS = 1600
# Room of a label in pixels, and the least part of the highest peak that has one.
_LABEL_WIDTH, _LEAST_LABELLED = 62.0, 0.02
_HEADROOM = 1.16
# Height of a label as a part of the height of the figure.
_LINE_HEIGHT = 0.12


class Stems(NamedTuple):
    """Peaks of a spectrum, ascending in m/z; `tof_index` are time-of-flight indices where they are known."""

    mz: np.ndarray
    intensity: np.ndarray
    tof_index: Optional[np.ndarray] = None

    @classmethod
    def sorted(cls, mz: np.ndarray, intensity: np.ndarray, index: Optional[np.ndarray] = None) -> Stems:
        """From peaks in any order; those without m/z are left out."""
        order = np.argsort(mz, kind="stable")
        order = order[np.isfinite(mz[order])]
        return cls(mz[order], np.asarray(intensity, float)[order], None if index is None else index[order])

    def between(self, low: float, high: float) -> Stems:
        """Those of a range."""
        first, last = np.searchsorted(self.mz, (low, high))
        return Stems(self.mz[first:last], self.intensity[first:last], None if self.tof_index is None else self.tof_index[first:last])


@dataclasses.dataclass
class SpectrumChart(Chart):
    """Sources ``stems`` (``mz``, ``intensity``), ``profile`` (the points of a line) and ``labels``."""

    num_labels: int
    marker: Span
    label_text: Callable[[float], str]
    stem_glyph: Any = None

    def stem_colour(self, role: str) -> None:
        """The colour of stems, which profiles do not have."""
        if self.stem_glyph is not None:
            themed(self.stem_glyph, line_color=role)

    def show(self, stems: Stems, limits: Optional[Tuple[float, float]] = None, *, profile: Optional[Stems] = None,
             width: int = 0) -> None:
        """Draws what of a spectrum lies in the limits, on a figure of a width in pixels.

        A `profile` is a line through points that have time-of-flight indices; the stems then hang from 0 downwards.
        """
        everything = stems if profile is None else profile
        if limits is None:
            ends = everything.mz if len(everything.mz) else np.array([0.0, 1.0])
            margin = 0.02 * float(ends[-1] - ends[0]) or 1.0
            limits = float(ends[0]) - margin, float(ends[-1]) + margin
        shown, sign = _thinned(stems.between(*limits), limits), 1.0 if profile is None else -1.0
        self.sources["stems"].data = {"mz": shown.mz, "intensity": sign * shown.intensity, "size": shown.intensity}
        line = shown if profile is None else _thinned(profile.between(*limits), limits)
        self.sources["profile"].data = dict(zip(("mz", "intensity"), _outline(None if profile is None else line)))
        top = float(line.intensity.max(initial=0)) * _HEADROOM or 1.0
        low = 0.0 if profile is None else -_HEADROOM * float(shown.intensity.max(initial=0))
        self.limit(y=(low, top))
        self.label(line, limits, width)

    def label(self, line: Stems, limits: Tuple[float, float], width: int = 0) -> None:
        """Labels the strongest peaks in the limits."""
        places = chosen_labels(line, limits, self.num_labels, width or 900)
        self.sources["labels"].data = {"mz": line.mz[places], "intensity": line.intensity[places],
                                       "text": [self.label_text(mz) for mz in line.mz[places]]}


def chosen_labels(stems: Stems, limits: Tuple[float, float], count: int, width: float) -> np.ndarray:
    """Positions of the strongest peaks whose labels have room beside each other and beside taller peaks."""
    if not len(stems.mz) or not count or not stems.intensity.max() > 0:
        return np.empty(0, np.intp)
    room = _LABEL_WIDTH * (limits[1] - limits[0]) / max(width, 1.0)
    line = _LINE_HEIGHT * float(stems.intensity.max())
    candidates = tallest(stems.mz, stems.intensity, room / 2)
    candidates = candidates[stems.intensity[candidates] >= _LEAST_LABELLED * stems.intensity.max()]
    taken: list[int] = []
    for place in candidates[np.argsort(-stems.intensity[candidates], kind="stable")].tolist():
        at = stems.mz[place]
        neighbours = stems.between(at - room / 2, at + room / 2)
        if at - room / 2 < limits[0] or at + room / 2 > limits[1] or (neighbours.intensity > stems.intensity[place]).any():
            continue
        # No stem is above a label, so two of them meet only at about the same height.
        if all(abs(stems.mz[other] - at) >= room or abs(stems.intensity[other] - stems.intensity[place]) >= line
               for other in taken):
            taken.append(place)
        if len(taken) == count:
            break
    return np.array(taken, np.intp)


def _thinned(stems: Stems, limits: Tuple[float, float]) -> Stems:
    if len(stems.mz) <= _COLUMNS:
        return stems
    kept = tallest(stems.mz, stems.intensity, (limits[1] - limits[0]) / _COLUMNS)
    return Stems(stems.mz[kept], stems.intensity[kept], None if stems.tof_index is None else stems.tof_index[kept])


def _outline(profile: Optional[Stems]) -> Tuple[np.ndarray, np.ndarray]:
    """A line that comes down to 0 between points that are not neighbours."""
    if profile is None or profile.tof_index is None or not len(profile.mz):
        return np.empty(0), np.empty(0)
    return with_zeros(profile.mz, profile.intensity, profile.tof_index)


def spectrum(name: str, *, height: int = 240, x_range: Optional[Any] = None, title: str = "", labels: int = 12,
             y_label: str = "intensity (counts)", colour: str = "blue", digits: int = 4) -> SpectrumChart:
    """An empty spectrum. `marker` is a line at the m/z of a precursor, hidden at first."""
    hover = HoverTool(mode="vline", attachment="horizontal", line_policy="nearest", formatters={"@size": thousands()},
                      tooltips=[("m/z", f"@mz{{0.{'0' * (digits + 1)}}}"), ("intensity", "@size{custom}")])
    made = new_figure(name, MZ_LABEL, y_label, height=height, title=title, hover=hover, x_range=x_range or Range1d(0, 1),
                      y_range=Range1d(0, 1))
    count_axis(made)
    sources = {"stems": ColumnDataSource({"mz": [], "intensity": [], "size": []}),
               "profile": ColumnDataSource({"mz": [], "intensity": []}),
               "labels": ColumnDataSource({"mz": [], "intensity": [], "text": []})}
    stems = themed(Segment(x0="mz", y0=0, x1="mz", y1="intensity", line_width=1.2), line_color=colour)
    hover.renderers = [draw(made, stems, sources["stems"])]
    draw(made, themed(Line(x="mz", y="intensity", line_width=1.2, line_join="round"), line_color="blue"), sources["profile"])
    texts = LabelSet(x="mz", y="intensity", text="text", source=sources["labels"], text_align="center", y_offset=3,
                     text_font_size="11px", text_font=value(FONT))
    made.add_layout(themed(texts, text_color="ink"))
    marker = Span(dimension="height", line_dash=[5, 3], line_width=1.2, visible=False, location=0)
    made.add_layout(themed(marker, line_color="vermillion"))
    return SpectrumChart(made, sources, labels, marker, lambda mz: f"{mz:.{digits}f}", stems)


def show_spectrum(chart: SpectrumChart, stems: Stems, width: int, marked: Optional[float] = None) -> None:
    """Draws a spectrum for a page without a server: all of it, of which what has signal is in view, and an m/z that is marked."""
    chart.show(stems, width=width)
    low, high = view(stems.mz, stems.intensity, None) if stems.intensity.any() else (0.0, 1.0)
    if marked is not None:
        low, high = min(low, marked - 5), max(high, marked + 5)
        chart.marker.update(location=marked, visible=True)
    margin = 0.5 * _LABEL_WIDTH / width * (high - low)  # so that outermost peaks have room for their labels
    limits = low - margin, high + margin
    chart.limit(x=limits)
    chart.label(stems, limits, width)
