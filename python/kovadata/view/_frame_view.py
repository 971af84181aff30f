"""A frame: its map, with which its spectrum and its mobilogram zoom.

The map is an image of the library at the resolution of the screen, made again at every zoom, or the peaks themselves once
there are few in view.
"""

from __future__ import annotations

from typing import Any, Optional, Tuple

import numpy as np
from bokeh.models import BoxAnnotation

from .._figures import Stems, heat_map, themed
from .._figures._chart import MOBILITY_LABEL, MZ_LABEL
from .._figures._heat_map import PEAK_COLUMNS, colour_range
from ..plot._style import view
from . import _code
from ._frame_axes import FramePeaks
from ._frame_traces import NO_STEMS, FrameTraces, traces_by_form
from ._panel import READING_ERRORS, Columns, Pair, Panel, pair

# So many peaks are drawn one by one, and hover.
_FEW_PEAKS = 4000
# Share of cells of one pixel that must have a peak; with fewer, cells are larger, so that peaks are seen.
_FILLED = 0.06
_REACH = 7  # pixels


class FrameView(Panel):
    """The frame that is chosen, or the spectrum of an analysis without mobility."""

    def __init__(self, session: Any) -> None:
        super().__init__(session)
        self.map = heat_map("frame_map", MZ_LABEL, MOBILITY_LABEL)
        self.isolation = BoxAnnotation(visible=False, fill_alpha=0.08, line_width=1.5, line_dash=[5, 3])
        self.map.figure.add_layout(themed(self.isolation, line_color="vermillion", fill_color="vermillion"))
        self.map.figure.update(min_border_left=74, min_border_right=66, min_border_bottom=54, min_border_top=34)
        self.charts = {"frame_map": self.map}
        self._has_colours = False
        self.commands = {"frame": self.choose, "step": self.step, "frame.zoom": self.zoom, "frame.whole": self.whole,
                         "frame.peak": self.tell_peak}
        self.frame_id: Optional[int] = None
        self.shown: Any = None
        self.loaded: Optional[FramePeaks] = None
        self.traces: Tuple[Stems, Optional[Stems]] = NO_STEMS, None
        self.limits: Tuple[Optional[Pair], Optional[Pair]] = None, None

    def begin(self) -> None:
        table = self.run.table
        if self.shown is not self.run.named:  # another calibration keeps the view, so that its difference is seen
            self.limits, self.shown = (None, None), self.run.named
        known = self.frame_id is not None and (table["id"] == self.frame_id).any()
        if not len(table):
            self.session.message("The run has no frames.")
        elif not (known and self.show(int(self.frame_id or 0))):
            self.choose(self.run.first_frame())

    @property
    def ms_level(self) -> Optional[int]:
        """Of the frame that is chosen."""
        return None if self.frame_id is None else int(self.run.table["ms_level"][self.run.row(self.frame_id)])

    def choose(self, frame: Any) -> None:
        """Shows the frame with an id."""
        number = int(frame)
        self.run.row(number)
        self.show(number)

    def step(self, by: Any, level: bool = False) -> None:
        """Goes on by so many frames, with `level` among those of the same MS level."""
        table = self.run.table
        if not len(table) or self.frame_id is None:
            return
        row, ids = self.run.row(self.frame_id), table["id"]
        if level:
            ids = ids[table["ms_level"] == table["ms_level"][row]]
        place = int(np.searchsorted(ids, self.frame_id)) + int(by)
        self.choose(ids[min(max(place, 0), len(ids) - 1)])

    def show(self, number: int) -> bool:
        """Reads a frame and draws it; a damaged one is a message, and figures are empty."""
        self.frame_id = number
        row = self.run.table[self.run.row(number)]
        self.session.frame_chosen(row)
        try:
            if self.run.has_mobility:
                self.loaded = FramePeaks.read(self.run.analysis.frame(number))
            else:
                self.loaded, self.traces = None, traces_by_form(self.run.analysis.spectrum(number))
        except READING_ERRORS as error:
            self._clear()
            self.session.message(f"Frame {number} cannot be shown: {error}", key="frame")
            return False
        self.session.clear_message("frame")
        self._first_limits()
        self.draw()
        return True

    def zoom(self, x: Any = None, y: Any = None, width: Any = 0, height: Any = 0, figure: str = "frame_map") -> None:
        """Draws what is in view at the size that the figure has on the screen."""
        self.session.figures[figure].size(figure, width, height)
        self.limits = pair(x) or self.limits[0], pair(y) or self.limits[1]
        self.draw()
        self.session.link.send("zoomed")

    def whole(self) -> None:
        """Shows the whole frame."""
        self.limits = None, None
        if self.frame_id is not None:
            self.show(self.frame_id)

    def go_to(self, frame: int, x: Pair, y: Optional[Pair]) -> None:
        """Shows a part of a frame."""
        self.limits = x, y or self.limits[1]
        self.choose(frame)
        self.map.figure.x_range.update(start=x[0], end=x[1])
        if y is not None:
            self.map.figure.y_range.update(start=y[0], end=y[1])

    def tell_peak(self, x: float, y: float, dx: float, dy: float) -> None:
        """Tells the page of the strongest peak near the pointer; `dx` and `dy` are the width of a pixel."""
        if self.loaded is None:
            return
        place = self.loaded.strongest_near(x, y, (_REACH * abs(dx), _REACH * abs(dy)))
        peaks = self.loaded.peaks
        found = None if place is None else {
            "index": peaks.tof_index[place], "scan": peaks.scan[place], "mz": peaks.mz[place],
            "one_over_k0": peaks.one_over_k0[place], "intensity": peaks.intensity[place]}
        self.session.link.send("peak", peak=found)

    def draw(self) -> None:
        """Draws what the limits hold."""
        if self.session.document is None:  # the sizes are not known yet
            return
        if self.loaded is not None:
            x, y = self.limits
            assert x is not None and y is not None
            self._draw_map(x, y, self.loaded.inside(x, y))
        traces = self.session.panel(FrameTraces)
        if traces is not None:
            traces.draw()

    def _draw_map(self, x: Pair, y: Pair, inside: np.ndarray) -> None:
        assert self.loaded is not None
        count, peaks = int(inside.sum()), self.loaded.peaks
        if count <= _FEW_PEAKS:
            chosen = peaks[inside]
            self.map.show_peaks(self.loaded.x[inside], self.loaded.y[inside], mz=chosen.mz, scan=chosen.scan,
                                one_over_k0=chosen.one_over_k0, tof_index=chosen.tof_index, intensity=chosen.intensity)
            values = chosen.intensity
        else:
            width, height = self.sizes.get("frame_map", (900, 420))
            pixels = next((one for one in (1, 2) if count >= _FILLED * width * height / one ** 2), 3)
            values, x_edges, y_edges = self.loaded.cells(x, y, (max(width // pixels, 1), max(height // pixels, 1)))
            self.map.show_cells(values, x_edges, y_edges)
        low, high = colour_range(values)
        if not self._has_colours:  # from now on the page sets them
            self._has_colours = True
            self.map.colour(low, high)
        self.session.link.send("colours", figure="frame_map", low=low, high=high)
        self.session.link.send("drawn", form="peaks" if count <= _FEW_PEAKS else "image", peaks=count)

    def _first_limits(self) -> None:
        """Limits for what has none yet, to which a reset comes back."""
        if self.loaded is None:
            main = self.traces[0]
            whole: Tuple[Pair, Pair] = (
                view(main.mz, main.intensity, None) if main.intensity.any() else (0.0, 1.0)), (0.0, 1.0)
        else:
            whole = self.loaded.whole_view()
            self.map.figure.xaxis.axis_label, self.map.figure.yaxis.axis_label = self.loaded.labels
        axes = (self.map.figure.x_range, self.map.figure.y_range)
        for axis, limits, shown in zip(axes, whole, self.limits):
            axis.update(reset_start=limits[0], reset_end=limits[1])
            if shown is None:
                axis.update(start=limits[0], end=limits[1])
        self.limits = self.limits[0] or whole[0], self.limits[1] or whole[1]

    def _clear(self) -> None:
        self.loaded, self.traces = None, (NO_STEMS, None)
        nothing = np.empty(0)
        self.map.show_peaks(nothing, nothing, **{name: nothing for name in PEAK_COLUMNS})
        traces = self.session.panel(FrameTraces)
        if traces is not None:
            traces.clear()

    def numbers(self, figure: str) -> Optional[Columns]:
        if self.loaded is None:
            return None
        chosen = self.loaded.peaks[self.loaded.inside(*self.limits)]
        return {name: getattr(chosen, name) for name in ("scan", "tof_index", "intensity", "mz", "one_over_k0")}

    def code(self, figure: str) -> Optional[str]:
        if self.frame_id is None:
            return None
        if not self.run.has_mobility:
            return _code.spectrum(self.run, self.frame_id, self.limits[0], self.run.analysis.has_profiles)
        if self.loaded is None:
            return None
        return _code.frame(self.run, figure, self.loaded, self.limits)
