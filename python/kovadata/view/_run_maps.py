"""The run as maps: time and m/z, time and 1/K0. Reading it takes a while, so maps come when they are ready.

At first m/z reaches over what has signal, as in the map of a frame; zooming out shows the rest of the axis.
"""

from __future__ import annotations

from typing import Any, Dict, NamedTuple, Optional, Tuple

import numpy as np
from bokeh.models import Range1d

from .._figures import HeatMap, heat_map
from .._figures._chart import MOBILITY_LABEL, MZ_LABEL, SCAN_LABEL
from .._figures._heat_map import colour_range
from ..plot._map import map_view
from . import _code
from ._boxes import Boxes
from ._panel import READING_ERRORS, Columns, Pair, Panel, pair
from ._worker import Job

_AXES = {"run_mz": "mz", "run_mobility": "one_over_k0"}
# Frames all over the run that show where there is signal.
_SAMPLE = 40


class Cells(NamedTuple):
    """A map: means over the frames of each column, and edges; those of x are in units of the time axis."""

    values: np.ndarray
    x_edges: np.ndarray
    y_edges: np.ndarray


class RunMaps(Panel):
    """Both maps. They share the axis of time."""

    def __init__(self, session: Any) -> None:
        super().__init__(session)
        time = Range1d(0, 1)
        self.maps: Dict[str, HeatMap] = {
            "run_mz": heat_map("run_mz", "retention time (s)", MZ_LABEL, height=320, x_range=time,
                               colour_label="counts per frame"),
            "run_mobility": heat_map("run_mobility", "retention time (s)", MOBILITY_LABEL, height=320, x_range=time,
                                     colour_label="counts per frame")}
        self.charts = dict(self.maps)
        for one in self.maps.values():
            one.figure.update(min_border_left=74, min_border_right=66)
        self.commands = {"maps": self.want, "maps.zoom": self.zoom}
        self.shown: Dict[str, Cells] = {}
        self.is_wanted = False
        self.y_limits: Dict[str, Optional[Pair]] = {}
        boxes = session.panel(Boxes)
        boxes.listen(self.maps["run_mz"], "time", "mz")
        boxes.listen(self.maps["run_mobility"], "time", "mobility")
        self.time_limits: Optional[Pair] = None

    def begin(self) -> None:
        self.shown, self.y_limits, self.time_limits = {}, {}, None
        self.session.worker.cancel("maps")
        if self.is_wanted:
            self.draw()

    def want(self, width: Any = 0, height: Any = 0) -> None:
        """The page shows the maps: reads the run for them, once."""
        for name in self.maps:
            self.size(name, width, height)
        self.is_wanted = True
        if not self.shown:
            self.draw()

    def zoom(self, x: Any = None, y: Any = None, figure: str = "run_mz", width: Any = 0, height: Any = 0) -> None:
        """Draws what is in view again, from fewer frames and in more detail."""
        before = self.time_limits, self.y_limits.get(figure)
        after = pair(x) or before[0], pair(y) or before[1]
        # Before there is a map, its axes say nothing.
        if figure in self.shown and before != after:
            self.size(figure, width, height)
            self.time_limits, self.y_limits[figure] = after
            self.draw()

    def draw(self) -> None:
        """Begins to read."""
        run = self.run
        if not run.has_mobility or not len(run.table):
            return
        if np.isnan(run.seconds_per_unit):
            self.session.link.send("no_maps", text="The times of the frames do not tell them apart, so the run has no maps over time.")
            return
        limits, y_limits, sizes = self.time_limits, dict(self.y_limits), dict(self.sizes)
        self.session.worker.start("maps", "Reading the run for its maps",
                                  lambda job: {name: _cells(run, name, limits, y_limits.get(name),
                                                            sizes.get(name, (900, 300)), job) for name in self.maps},
                                  lambda found, job: self._show(run, found, job))

    def _show(self, run: Any, found: Dict[str, Cells], job: Job) -> None:
        self.session.tell_damage(job)
        if run is not self.run:
            return
        is_first = not self.shown
        self.shown = found
        for name, cells in found.items():
            chart = self.maps[name]
            chart.figure.xaxis.axis_label = run.time_label
            chart.show_cells(*cells)
            low, high = colour_range(cells.values)
            self.session.link.send("colours", figure=name, low=low, high=high)
            if is_first:
                self.y_limits[name] = float(cells.y_edges[0]), float(cells.y_edges[-1])
                self.time_limits = float(cells.x_edges[0]), float(cells.x_edges[-1])
                chart.limit(self.time_limits, self.y_limits[name])
        has_mobility = run.has_mobility_calibration
        self.maps["run_mobility"].figure.yaxis.axis_label = MOBILITY_LABEL if has_mobility else SCAN_LABEL
        self.session.link.send("maps")

    def numbers(self, figure: str) -> Optional[Columns]:
        cells = self.shown.get(figure)
        if cells is None:
            return None
        rows, columns = np.nonzero(cells.values)
        y = "scan" if figure == "run_mobility" and not self.run.has_mobility_calibration else _AXES[figure]
        x_edges = cells.x_edges * self.run.seconds_per_unit
        return {"time_low": x_edges[columns], "time_high": x_edges[columns + 1], f"{y}_low": cells.y_edges[rows],
                f"{y}_high": cells.y_edges[rows + 1], "intensity_per_frame": cells.values[rows, columns]}

    def code(self, figure: str) -> Optional[str]:
        cells = self.shown.get(figure)
        if cells is None or (figure == "run_mobility" and not self.run.has_mobility_calibration):
            return None
        return _code.run_map(self.run, _AXES[figure], cells)


def _cells(run: Any, name: str, limits: Optional[Pair], y_limits: Optional[Pair], size: Tuple[int, int], job: Job) -> Cells:
    """A map of the survey frames in a range of times."""
    unit = run.seconds_per_unit
    table = run.table if run.default_level is None else run.table[run.table["ms_level"] == 1]
    times = table["time"]
    whole = float(times[0]), float(times[-1])
    seconds = whole if limits is None else (limits[0] * unit, limits[1] * unit)
    if seconds[0] == seconds[1]:
        seconds = seconds[0] - 0.5, seconds[1] + 0.5
    with run.again() as analysis:
        if name == "run_mobility" and not run.has_mobility_calibration:
            values, x_edges, y_edges = _scan_image(analysis, table, seconds, y_limits, size, job)
        else:
            if name == "run_mz" and y_limits is None:
                y_limits = _signal(analysis, table["id"])
            image = analysis.image("time", _AXES[name], bins=size, time_range=seconds, ms_level=run.default_level,
                                   on_damage="skip", **{"mz_range" if name == "run_mz" else "mobility_range": y_limits})
            values, x_edges, y_edges = image.values, image.x_edges, image.y_edges
    return Cells(per_frame(values, x_edges, times), x_edges / unit, y_edges)


def _signal(analysis: Any, ids: np.ndarray) -> Optional[Pair]:
    """The m/z between which some of the frames have nearly all of their signal."""
    sample = ids[np.linspace(0, len(ids) - 1, min(len(ids), _SAMPLE)).astype(int)]
    found = analysis.summed_spectrum(frames=sample, ms_level=None, on_damage="skip")
    known = np.isfinite(found.mz) & (found.intensity > 0)
    return map_view(found.mz[known], found.intensity[known], None) if known.any() else None


def per_frame(values: np.ndarray, edges: np.ndarray, times: np.ndarray) -> np.ndarray:
    """Means over the frames of each column. A column without a frame shows the nearest frame: nothing was measured between."""
    column = np.searchsorted(edges, times, "right") - 1
    column[times == edges[-1]] = values.shape[1] - 1
    counts = np.bincount(column[(column >= 0) & (column < values.shape[1])], minlength=values.shape[1])
    filled = np.flatnonzero(counts)
    if not len(filled):
        return values.astype(float)
    means = values[:, filled] / counts[filled]
    middles = (filled[1:] + filled[:-1]) / 2
    shown: np.ndarray = means[:, np.searchsorted(middles, np.arange(values.shape[1]), "right")]
    return shown


def _scan_image(analysis: Any, table: np.ndarray, seconds: Pair, y_limits: Optional[Pair], size: Tuple[int, int],
                job: Job) -> Tuple[np.ndarray, np.ndarray, np.ndarray]:
    """The same over scans, frame by frame: the library's images need a mobility calibration."""
    scans = max(int(table["scans"].max()), analysis.frame(int(table["id"][0])).num_scans, 1)
    low, high = y_limits or (-0.5, scans - 0.5)
    x_edges = np.linspace(*seconds, size[0] + 1)
    rows = np.linspace(low, high, min(size[1], max(scans, 1)) + 1)
    chosen = table[(table["time"] >= seconds[0]) & (table["time"] <= seconds[1])]
    values = np.zeros((len(rows) - 1, size[0]))
    for done, frame in enumerate(analysis.frames(chosen["id"])):
        job.told(done, len(chosen))
        if job.is_cancelled:
            break
        try:
            peaks = frame.peaks(mz=False, one_over_k0=False)
        except READING_ERRORS as error:
            job.damaged.append((frame.id, str(error)))
            continue
        column = min(int(np.searchsorted(x_edges, frame.time, "right")) - 1, size[0] - 1)
        values[:, column] += np.histogram(peaks.scan, rows, weights=peaks.intensity)[0]
    return values, x_edges, rows
