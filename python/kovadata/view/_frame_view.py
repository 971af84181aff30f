"""A frame: its map, its spectrum and its mobilogram, which zoom together.

The map is an image of the library at the resolution of the screen, made again at every zoom, or the peaks themselves once
there are few in view. Spectrum and mobilogram sum what the other axis has in view.
"""

from __future__ import annotations

from typing import Any, Optional, Tuple

import numpy as np
from bokeh.models import BoxAnnotation

from .._figures import Stems, heat_map, mobilogram, spectrum, themed
from .._figures._chart import MOBILITY_LABEL, MZ_LABEL
from .._figures._heat_map import colour_range
from ..plot._spectrum import traces_of
from ..plot._style import view
from . import _code
from ._frame_axes import FramePeaks
from ._panel import READING_ERRORS, Columns, Pair, Panel, pair

# So many peaks are drawn one by one, and hover.
_FEW_PEAKS = 4000
# Share of cells of one pixel that must have a peak; with fewer, cells are larger, so that peaks are seen.
_FILLED = 0.06
_REACH = 7  # pixels
_NOTHING = Stems(np.empty(0), np.empty(0))


class FrameView(Panel):
    """The frame that is chosen, or the spectrum of an analysis without mobility."""

    def __init__(self, session: Any) -> None:
        super().__init__(session)
        self.map = heat_map("frame_map", MZ_LABEL, MOBILITY_LABEL)
        x, y = self.map.figure.x_range, self.map.figure.y_range
        self.spectrum = spectrum("frame_spectrum", x_range=x)
        self.mobilogram = mobilogram("frame_mobilogram", MOBILITY_LABEL, upright=True, mobility_range=y)
        self.isolation = BoxAnnotation(visible=False, fill_alpha=0.08, line_width=1.5, line_dash=[5, 3])
        self.map.figure.add_layout(themed(self.isolation, line_color="vermillion", fill_color="vermillion"))
        for one in (self.map.figure, self.spectrum.figure):  # one above the other
            one.update(min_border_left=74, min_border_right=66)
        for one in (self.map.figure, self.mobilogram.figure):  # side by side
            one.update(min_border_bottom=54, min_border_top=34)
        self.mobilogram.figure.toolbar_location = None  # it goes with the map
        self.charts = {"frame_map": self.map, "frame_spectrum": self.spectrum, "frame_mobilogram": self.mobilogram}
        self.commands = {"frame": self.choose, "step": self.step, "frame.zoom": self.zoom, "frame.whole": self.whole,
                         "frame.peak": self.tell_peak}
        self.frame_id: Optional[int] = None
        self.shown: Any = None
        self.loaded: Optional[FramePeaks] = None
        self.traces: Tuple[Stems, Optional[Stems]] = _NOTHING, None
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
        self.size(figure, width, height)
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
        if self.loaded is None:
            self._draw_traces()
            return
        x, y = self.limits
        assert x is not None and y is not None
        self.spectrum.stem_colour("blue")
        in_x, in_y = self.loaded.inside(x, None), self.loaded.inside(None, y)
        self._draw_map(x, y, in_x & in_y)
        sums = self.loaded.mobilogram(in_x)
        self.mobilogram.show(self.loaded.scan_places, np.arange(len(sums)), sums, y)
        self.spectrum.show(self.loaded.stems(in_x & in_y), x, width=self.width("frame_map"))

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
        self.session.link.send("colours", figure="frame_map", low=low, high=high)
        self.session.link.send("drawn", form="peaks" if count <= _FEW_PEAKS else "image", peaks=count)

    def _draw_traces(self) -> None:
        main, hanging = self.traces
        width = self.width("frame_spectrum")
        if main.tof_index is None:
            self.spectrum.stem_colour("blue")
            self.spectrum.show(main, self.limits[0], width=width)
        else:
            self.spectrum.stem_colour("vermillion")
            self.spectrum.show(hanging or _NOTHING, self.limits[0], profile=main, width=width)

    def _first_limits(self) -> None:
        """Limits for what has none yet, to which a reset comes back."""
        if self.loaded is None:
            main = self.traces[0]
            whole: Tuple[Pair, Pair] = (
                view(main.mz, main.intensity, None) if main.intensity.any() else (0.0, 1.0)), (0.0, 1.0)
        else:
            whole = self.loaded.whole_view()
            label_x, label_y = self.loaded.labels
            for figure in (self.map.figure, self.spectrum.figure):
                figure.xaxis.axis_label = label_x
            for figure in (self.map.figure, self.mobilogram.figure):
                figure.yaxis.axis_label = label_y
        axes = (self.map.figure.x_range, self.map.figure.y_range)
        for axis, limits, shown in zip(axes, whole, self.limits):
            axis.update(reset_start=limits[0], reset_end=limits[1])
            if shown is None:
                axis.update(start=limits[0], end=limits[1])
        self.limits = self.limits[0] or whole[0], self.limits[1] or whole[1]

    def _clear(self) -> None:
        self.loaded, self.traces = None, (_NOTHING, None)
        nothing = np.empty(0)
        self.map.show_peaks(nothing, nothing, **{name: nothing for name in ("mz", "scan", "one_over_k0", "tof_index",
                                                                            "intensity")})
        self.mobilogram.show(nothing, nothing, nothing)
        self.spectrum.show(self.traces[0], (0.0, 1.0))

    def numbers(self, figure: str) -> Optional[Columns]:
        x, y = self.limits
        if self.loaded is None:
            return self._trace_numbers(x)
        peaks = self.loaded.peaks
        if figure == "frame_map":
            chosen = peaks[self.loaded.inside(x, y)]
            return {name: getattr(chosen, name) for name in ("scan", "tof_index", "intensity", "mz", "one_over_k0")}
        if figure == "frame_mobilogram":
            sums = self.loaded.mobilogram(self.loaded.inside(x, None))
            k0 = self.loaded.scan_places if self.loaded.has_mobility else np.full(len(sums), np.nan)
            return {"scan": np.arange(len(sums)), "one_over_k0": k0, "intensity": sums.astype(np.int64)}
        stems = self.loaded.stems(self.loaded.inside(x, y))
        mz = stems.mz if self.loaded.has_mz else np.full(len(stems.mz), np.nan)
        return {"tof_index": stems.tof_index, "mz": mz, "intensity": stems.intensity.astype(np.int64)}  # type: ignore[dict-item]

    def _trace_numbers(self, x: Optional[Pair]) -> Optional[Columns]:
        main, hanging = self.traces
        forms = [one if x is None else one.between(*x) for one in (main, hanging) if one is not None]
        if not forms or not len(forms[0].mz):
            return None
        names = ("lines",) if main.tof_index is None else ("profile", "lines")
        return {"form": np.concatenate([np.full(len(one.mz), name) for name, one in zip(names, forms)]),
                "mz": np.concatenate([one.mz for one in forms]),
                "intensity": np.concatenate([one.intensity for one in forms])}

    def code(self, figure: str) -> Optional[str]:
        if self.frame_id is None:
            return None
        if not self.run.has_mobility:
            return _code.spectrum(self.run, self.frame_id, self.limits[0], self.run.analysis.has_profiles)
        if self.loaded is None:
            return None
        return _code.frame(self.run, figure, self.loaded, self.limits)


def traces_by_form(one: Any) -> Tuple[Stems, Optional[Stems]]:
    """The profile and the lines of a spectrum without mobility; the one that there is if it has one form."""
    traces, _ = traces_of(one, None, None)
    first = traces[0]
    main = Stems.sorted(first.mz, first.intensity, first.tof_index)
    return main, None if len(traces) == 1 else Stems.sorted(traces[1].mz, traces[1].intensity)
