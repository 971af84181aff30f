"""Calibration states: which there are, which is in use, and by how much two of them differ over m/z."""

from __future__ import annotations

from typing import Any, Optional

import numpy as np
from bokeh.models import ColumnDataSource, HoverTool, Line, Range1d, Span

from .._errors import KovaError
from .._figures import Chart, draw, new_figure, themed
from .._figures._chart import MZ_LABEL
from .._opening import kind_of_analysis
from . import _code
from ._panel import Columns, Panel
from ._runs import ACQUISITION

_POINTS = 1000


class States(Panel):
    """The states of the run, and the figure of a difference."""

    def __init__(self, session: Any) -> None:
        super().__init__(session)
        hover = HoverTool(mode="vline", attachment="horizontal", tooltips=[("m/z", "@mz{0.000}"),
                                                                           ("difference", "@ppm{0.0000} ppm")])
        made = new_figure("ppm", MZ_LABEL, "difference (ppm)", hover=hover, x_range=Range1d(0, 1), y_range=Range1d(0, 1))
        self.line = ColumnDataSource({"mz": [], "ppm": []})
        draw(made, themed(Line(x="mz", y="ppm", line_width=1.6), line_color="blue"), self.line)
        made.add_layout(themed(Span(location=0, dimension="width", line_width=1), line_color="line"))
        self.charts = {"ppm": Chart(made, {"line": self.line})}
        self.commands = {"calibration": session.recalibrate, "ppm": self.compare}
        self.compared: Optional[tuple[str, str]] = None

    def begin(self) -> None:
        self.line.data = {"mz": [], "ppm": []}
        self.compared = None
        states = self.run.states()
        self.session.link.send("states", states=states, calibration=self.run.calibration, acquisition=ACQUISITION)

    def compare(self, first: str, second: str) -> None:
        """Draws the m/z of the second state less that of the first, for the chosen frame."""
        frame = self.session.frames.frame_id
        known = {ACQUISITION, *(f"uuid:{one['key']}" for one in self.run.states())}
        if frame is None or not {first, second} <= known:
            raise KovaError("there is no such calibration state")
        path = self.run.named.path
        index = np.linspace(0, self.run.num_bins - 1, _POINTS)
        kind = kind_of_analysis(path)
        with kind(path, calibration=first) as one, kind(path, calibration=second) as other:
            mz, others = one.index_to_mz(frame, index), other.index_to_mz(frame, index)
        self.compared = first, second
        ppm = 1e6 * (others - mz) / mz
        self.line.data = {"mz": mz, "ppm": ppm}
        low, high = float(np.nanmin(ppm, initial=0)), float(np.nanmax(ppm, initial=0))
        margin = 0.08 * (high - low) or 1.0
        self.charts["ppm"].limit((float(mz[0]), float(mz[-1])), (low - margin, high + margin))
        self.session.link.send("ppm", frame=frame, largest=np.abs(ppm).max())

    def numbers(self, figure: str) -> Optional[Columns]:
        return dict(self.line.data) if self.compared else None

    def code(self, figure: str) -> Optional[str]:
        frame = self.session.frames.frame_id
        if self.compared is None or frame is None:
            return None
        return _code.difference(self.run, frame, *self.compared)
