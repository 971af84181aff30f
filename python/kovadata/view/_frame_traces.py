"""The spectrum and the mobilogram of a frame, beside its map: each sums what the other axis of the map has in view.

The page is usable with the map alone, so these figures come right after it. Of an analysis without mobility the spectrum is all
that there is.
"""

from __future__ import annotations

from typing import Any, Optional, Tuple

import numpy as np

from .._figures import Stems, mobilogram, spectrum
from .._figures._chart import MOBILITY_LABEL
from ..plot._spectrum import traces_of
from ._frame_axes import FramePeaks
from ._panel import Columns, Pair, Panel

NO_STEMS = Stems(np.empty(0), np.empty(0))


class FrameTraces(Panel):
    """What the frame or spectrum that is chosen has in view."""

    def __init__(self, session: Any) -> None:
        super().__init__(session)
        chart = session.frames.map.figure
        self.spectrum = spectrum("frame_spectrum", x_range=chart.x_range)
        self.mobilogram = mobilogram("frame_mobilogram", MOBILITY_LABEL, upright=True, mobility_range=chart.y_range)
        self.spectrum.figure.update(min_border_left=74, min_border_right=66)  # under the map
        self.mobilogram.figure.update(min_border_bottom=54, min_border_top=34)  # beside it
        self.mobilogram.figure.toolbar_location = None  # it goes with the map
        self.charts = {"frame_spectrum": self.spectrum, "frame_mobilogram": self.mobilogram}
        self.draw()

    def draw(self) -> None:
        """Draws what the limits hold."""
        view = self.session.frames
        if view.loaded is None:
            self._draw_spectrum(view.limits[0], *view.traces)
        else:
            self._draw_sums(view.loaded, *view.limits)

    def _draw_sums(self, loaded: FramePeaks, x: Optional[Pair], y: Optional[Pair]) -> None:
        label_x, label_y = loaded.labels
        self.spectrum.figure.xaxis.axis_label = label_x
        self.mobilogram.figure.yaxis.axis_label = label_y
        sums = loaded.mobilogram(loaded.inside(x, None))
        self.mobilogram.show(loaded.scan_places, np.arange(len(sums)), sums, y)
        self.spectrum.stem_colour("blue")
        self.spectrum.show(loaded.stems(loaded.inside(x, y)), x, width=self.session.frames.width("frame_map"))

    def _draw_spectrum(self, limits: Optional[Pair], main: Stems, hanging: Optional[Stems]) -> None:
        width = self.width("frame_spectrum")
        if main.tof_index is None:
            self.spectrum.stem_colour("blue")
            self.spectrum.show(main, limits, width=width)
        else:
            self.spectrum.stem_colour("vermillion")
            self.spectrum.show(hanging or NO_STEMS, limits, profile=main, width=width)

    def clear(self) -> None:
        """Shows nothing, of a damaged frame."""
        nothing = np.empty(0)
        self.mobilogram.show(nothing, nothing, nothing)
        self.spectrum.show(NO_STEMS, (0.0, 1.0))

    def numbers(self, figure: str) -> Optional[Columns]:
        view = self.session.frames
        loaded, (x, y) = view.loaded, view.limits
        if loaded is None:
            return _trace_numbers(x, *view.traces)
        if figure == "frame_mobilogram":
            sums = loaded.mobilogram(loaded.inside(x, None))
            k0 = loaded.scan_places if loaded.has_mobility else np.full(len(sums), np.nan)
            return {"scan": np.arange(len(sums)), "one_over_k0": k0, "intensity": sums.astype(np.int64)}
        stems = loaded.stems(loaded.inside(x, y))
        mz = stems.mz if loaded.has_mz else np.full(len(stems.mz), np.nan)
        return {"tof_index": stems.tof_index, "mz": mz, "intensity": stems.intensity.astype(np.int64)}  # type: ignore[dict-item]

    def code(self, figure: str) -> Optional[str]:
        code: Optional[str] = self.session.frames.code(figure)
        return code


def _trace_numbers(x: Optional[Pair], main: Stems, hanging: Optional[Stems]) -> Optional[Columns]:
    forms = [one if x is None else one.between(*x) for one in (main, hanging) if one is not None]
    if not forms or not len(forms[0].mz):
        return None
    names = ("lines",) if main.tof_index is None else ("profile", "lines")
    return {"form": np.concatenate([np.full(len(one.mz), name) for name, one in zip(names, forms)]),
            "mz": np.concatenate([one.mz for one in forms]),
            "intensity": np.concatenate([one.intensity for one in forms])}


def traces_by_form(one: Any) -> Tuple[Stems, Optional[Stems]]:
    """The profile and the lines of a spectrum without mobility; the one that there is if it has one form."""
    traces, _ = traces_of(one, None, None)
    first = traces[0]
    main = Stems.sorted(first.mz, first.intensity, first.tof_index)
    return main, None if len(traces) == 1 else Stems.sorted(traces[1].mz, traces[1].intensity)
