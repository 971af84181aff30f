"""Total ion and base peak chromatograms of the run; a click chooses a frame."""

from __future__ import annotations

from typing import Any, List, Optional

import numpy as np
from bokeh.events import Tap

from .._errors import KovaError
from .._figures import ChromatogramChart, Series, chromatogram
from .._spectra import SpectrumAnalysis
from ..plot._chromatogram import spectrum_value
from . import _code
from ._panel import Columns, Panel
from ._worker import Job

_NAMES = {"tic": "total ion chromatogram", "bpc": "base peak chromatogram"}


class Chromatograms(Panel):
    """Of the whole run, by MS level."""

    def __init__(self, session: Any) -> None:
        super().__init__(session)
        self.chart: ChromatogramChart = chromatogram("chromatogram", [], x_label="retention time (s)")
        self.chart.figure.update(min_border_left=74, min_border_right=66)
        self.charts = {"chromatogram": self.chart}
        self.commands = {"chromatogram": self.choose, "chromatogram.size": self._set_size}
        self.chart.figure.on_event(Tap, self._clicked)
        self.kind = "tic"
        self.levels = {1, 2, -1}
        self.values: Optional[np.ndarray] = None

    def begin(self) -> None:
        self.choose(self.kind)

    def choose(self, kind: str, ms1: bool = True, ms2: bool = True) -> None:
        """Shows one of both, of some levels."""
        if kind not in _NAMES:
            raise ValueError(f"{kind!r} is no kind of chromatogram")
        self.kind = kind
        self.levels = {-1} | {level for level, wanted in ((1, ms1), (2, ms2)) if wanted}
        run, table = self.run, self.run.table
        self.chart.figure.xaxis.axis_label = run.time_label
        self.chart.figure.xaxis.ticker.min_interval = 1.0 if np.isnan(run.seconds_per_unit) else 0.0  # no half frames
        self.session.worker.cancel("chromatogram")
        known = run.known_chromatograms.get(kind)
        if known is None and kind == "tic" and run.has_mobility and (table["intensity_sum"] >= 0).all():
            known = run.known_chromatograms[kind] = table["intensity_sum"].astype(float)
        if known is not None:
            self._draw(known)
            return
        self._draw(None)
        self.session.worker.start("chromatogram", f"Reading the run for its {_NAMES[kind]}",
                                  lambda job: self._read(run, kind, job), lambda values, job: self._keep(run, kind, values, job))

    @staticmethod
    def _read(run: Any, kind: str, job: Job) -> np.ndarray:
        reduce = "sum" if kind == "tic" else "max"
        with run.again() as analysis:
            if isinstance(analysis, SpectrumAnalysis):
                return _of_spectra(analysis, reduce, job)
            found = analysis.chromatograms(None, ms_level=None, reduce=reduce, normalized=kind == "bpc", on_damage="skip")
        values = np.full(len(run.table), np.nan)
        places = np.searchsorted(run.table["id"], found.frame)
        values[places] = found.intensity[0]
        return values

    def _keep(self, run: Any, kind: str, values: np.ndarray, job: Job) -> None:
        run.known_chromatograms[kind] = values
        self.session.tell_damage(job)
        if run is self.run and kind == self.kind:
            self._draw(values)

    def _draw(self, values: Optional[np.ndarray]) -> None:
        self.values = values
        table, series = self.run.table, []
        for level, name, colour in ((1, "MS1", "blue"), (2, "MS/MS", "vermillion"), (-1, "all", "blue")):
            chosen = (table["ms_level"] == level) if level > 0 else (table["ms_level"] < 1)
            if values is not None and chosen.any() and level in self.levels:
                series.append(Series(name, self.run.time[chosen], values[chosen], table["id"][chosen], colour))
        self.chart.show(series)
        self.mark()

    def mark(self) -> None:
        """Puts the cursor at the frame that is chosen."""
        frame = self.session.frames.frame_id
        places = np.flatnonzero(self.run.table["id"] == frame)
        place = self.run.time[places[0]] if len(places) else np.nan
        self.chart.cursor.update(visible=bool(np.isfinite(place)), location=float(np.nan_to_num(place)))

    def _set_size(self, width: Any, height: Any) -> None:
        self.size("chromatogram", width, height)

    def _clicked(self, event: Any) -> None:
        """Chooses the frame whose point is nearest on the screen."""
        points = self._points()
        if not len(points[0]) or event.x is None:
            return
        frames, x, y = points
        width, height = self.sizes.get("chromatogram", (900, 200))
        ranges = self.chart.figure.x_range, self.chart.figure.y_range
        dx, dy = ((values - at) * pixels / ((axis.end - axis.start) or 1.0) for values, at, pixels, axis in (
            (x, event.x, width, ranges[0]), (y, event.y, height, ranges[1])))
        # Mostly along the axis of time: a click below a line means the frame above it.
        self.session.do("frame", frame=int(frames[np.nanargmin(dx ** 2 + (0.2 * dy) ** 2)]))

    def _points(self) -> List[np.ndarray]:
        columns = [source.data for source in self.chart.sources.values()]
        return [np.concatenate([np.asarray(one[name]) for one in columns] or [np.empty(0)]) for name in ("frame", "x", "y")]

    def numbers(self, figure: str) -> Optional[Columns]:
        if self.values is None:
            return None
        table = self.run.table
        return {"frame": table["id"], "time": table["time"], "ms_level": table["ms_level"], "intensity": self.values}

    def code(self, figure: str) -> Optional[str]:
        return _code.chromatogram(self.run, self.kind)


def _of_spectra(analysis: SpectrumAnalysis, reduce: str, job: Job) -> np.ndarray:
    values = []
    table = analysis.spectrum_table()
    for done, one in enumerate(analysis.spectra()):
        if job.is_cancelled:
            break
        job.told(done, len(table))
        try:
            values.append(spectrum_value(analysis, one, reduce))
        except KovaError as error:
            job.damaged.append((one.id, str(error)))
            values.append(np.nan)
    return np.array(values, float)
