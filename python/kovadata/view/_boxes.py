"""Boxes drawn into maps: their chromatograms, mobilograms, summed spectra and strongest peaks, kept and compared.

The chromatogram, which is what a box is mostly drawn for, comes first. All three are calls of the library on the frames of one
MS level, by the calibration in use.
"""

from __future__ import annotations

from typing import Any, Dict, List, NamedTuple, Optional, Set, Tuple

import numpy as np
from bokeh.events import SelectionGeometry
from bokeh.models import BoxAnnotation

from .._errors import KovaError
from .._figures import SERIES_COLOURS, Series, Stems, chromatogram, spectrum, themed
from .._figures._chart import MOBILITY_LABEL, SCAN_LABEL
from .._reductions import Chromatograms, Mobilograms, SummedSpectrum
from ..plot._labels import tallest
from . import _code
from ._box import Box, boxes_from_csv, boxes_to_csv
from ._downloads import Download
from ._panel import Columns, Pair, Panel, pair
from ._worker import Job

_STRONGEST = 20
_MOST_COMPARED = len(SERIES_COLOURS)
# Peaks of the list are apart by this part of m/z at least: one peak has several indices.
_APART = 3e-5


class Found(NamedTuple):
    """What a box holds, one after the other."""

    chromatogram: Chromatograms
    mobilogram: Optional[Mobilograms] = None
    spectrum: Optional[SummedSpectrum] = None


class Boxes(Panel):
    """All boxes of the page, which of them is chosen and which are compared with it."""

    def __init__(self, session: Any) -> None:
        super().__init__(session)
        self.chromatogram = chromatogram("box_chromatogram", [], x_label="retention time (s)")
        self.mobilogram = chromatogram("box_mobilogram", [], x_label=MOBILITY_LABEL, id_label="scan")
        self.spectrum = spectrum("box_spectrum", labels=8)
        self.charts = {"box_chromatogram": self.chromatogram, "box_mobilogram": self.mobilogram,
                       "box_spectrum": self.spectrum}
        self.commands = {"box": self.add, "box.choose": self.choose, "box.compare": self.compare, "box.rename": self.rename,
                         "box.remove": self.remove, "box.load": self.load, "box.save": self.save, "box.zoom": self.zoom}
        self.boxes: Dict[int, Box] = {}
        self.chosen: Optional[int] = None
        self.compared: Set[int] = set()
        self.found: Dict[Any, Found] = {}
        self.outlines: List[Tuple[Any, BoxAnnotation]] = []
        self._count = 0
        self._spectrum_limits: Optional[Pair] = None
        self.maps: List[Tuple[Any, str, str]] = []
        self.listen(session.frames.map, "mz", "mobility")

    def listen(self, chart: Any, x: str, y: str) -> None:
        """Takes the boxes that are drawn into a map."""
        chart.figure.on_event(SelectionGeometry, lambda event: self._drawn(event, x, y))
        self.maps.append((chart, x, y))
        self._outline()

    def begin(self) -> None:
        self.found = {}
        self.session.worker.cancel("box")
        self._tell()
        self._draw()
        self._query()

    def add(self, mz: Any = None, mobility: Any = None, time: Any = None, name: str = "", level: Any = None) -> None:
        """Keeps a box and shows what it holds."""
        box = Box(str(name)[:80], pair(mz), pair(mobility), pair(time), 2 if level == 2 else None)
        if box.mz is box.mobility is box.time is None:
            raise KovaError("a box needs a range of m/z, 1/K0 or time, with both ends")
        self.chosen = self._keep(box)
        self.begin_with_chosen()

    def choose(self, box: Any) -> None:
        if int(box) in self.boxes:
            self.chosen = int(box)
            self.begin_with_chosen()

    def begin_with_chosen(self) -> None:
        """Draws what is known of the boxes that are shown, and asks for the rest."""
        self._spectrum_limits = None
        self._tell()
        self._draw()
        self._query()

    def compare(self, box: Any, on: Any) -> None:
        """Shows a box beside the chosen one, or no longer."""
        if on and len(self.compared) >= _MOST_COMPARED - 1:
            raise KovaError(f"at most {_MOST_COMPARED} boxes can be compared")
        (self.compared.add if on else self.compared.discard)(int(box))
        self.begin_with_chosen()

    def rename(self, box: Any, name: str) -> None:
        if int(box) in self.boxes and name.strip():
            self.boxes[int(box)].name = name.strip()[:80]
        self._tell()
        self._draw()

    def remove(self, box: Any) -> None:
        self.boxes.pop(int(box), None)
        self.compared.discard(int(box))
        if self.chosen not in self.boxes:
            self.chosen = next(reversed(self.boxes), None)
        self.begin_with_chosen()

    def load(self, text: str) -> None:
        """Keeps the boxes of a CSV file."""
        loaded = boxes_from_csv(text)
        if not loaded:
            raise KovaError("the file has no boxes")
        self.chosen = [self._keep(one) for one in loaded][0]
        self.begin_with_chosen()

    def save(self) -> None:
        """Offers all boxes as a CSV file."""
        content = boxes_to_csv(list(self.boxes.values()))
        self.session.offer(Download(f"{self.run.name}-boxes.csv", lambda: iter([content])))

    def zoom(self, x: Any = None, width: Any = 0, **_: Any) -> None:
        """Draws what is in view of the summed spectrum."""
        self.size("box_spectrum", width, 200)
        if self.chosen_spectrum() is not None:  # before that, the axis says nothing
            self._spectrum_limits = pair(x)
            self._draw_spectrum()

    def _drawn(self, event: Any, x: str, y: str) -> None:
        geometry = event.geometry
        if not event.final or geometry.get("type") != "rect":
            return
        ends = {x: (geometry["x0"], geometry["x1"]), y: (geometry["y0"], geometry["y1"])}
        if "time" in ends:
            ends["time"] = tuple(end * self.run.seconds_per_unit for end in ends["time"])
        if "mobility" in ends and not self.run.has_mobility_calibration:
            self.session.message("The run has no mobility calibration, so the box is open in 1/K0.", key="box")
            del ends["mobility"]
        frames = self.session.frames
        level = frames.ms_level if x == "mz" else None
        self.session.do("box", **ends, level=level)

    def _keep(self, box: Box) -> int:
        self._count += 1
        box.name = box.name or f"box {self._count}{' MS/MS' if box.level == 2 else ''}"
        self.boxes[self._count] = box
        return self._count

    def _shown(self) -> List[int]:
        """The chosen box, then those compared with it, in order."""
        others = [one for one in self.boxes if one in self.compared and one != self.chosen]
        return ([self.chosen] if self.chosen in self.boxes else []) + others

    def _query(self) -> None:
        """Reads what is missing of the boxes that are shown, one after the other."""
        run = self.run
        missing = next((self.boxes[one] for one in self._shown() if self._is_missing(self.boxes[one])), None)
        if missing is None or not run.has_mobility:
            self.session.worker.cancel("box")
            return
        box, known = missing, self.found.get(missing.key())
        self.session.worker.start("box", f"Reading {box.name}", lambda _: read_box(run, box, known),
                                  lambda found, job: self._got(run, box, found, job))

    def _is_missing(self, box: Box) -> bool:
        found = self.found.get(box.key())
        return found is None or found.spectrum is None

    def _got(self, run: Any, box: Box, found: Found, job: Job) -> None:
        self.session.tell_damage(job)
        if run is self.run:
            self.found[box.key()] = found
            self._draw()
            self._query()

    def _tell(self) -> None:
        rows = [{"id": number, **one.described(), "compared": number in self.compared} for number, one in self.boxes.items()]
        self.session.link.send("boxes", boxes=rows, chosen=self.chosen)
        self._outline()

    def _outline(self) -> None:
        """Boxes in the maps."""
        for figure, outline in self.outlines:
            figure.center.remove(outline)
        self.outlines = []
        unit = self.run.seconds_per_unit
        for place, number in enumerate(self._shown()):
            box, colour = self.boxes[number], SERIES_COLOURS[place]
            ends = {"mz": box.mz, "mobility": box.mobility if self.run.has_mobility_calibration else None,
                    "time": None if box.time is None or np.isnan(unit) else (box.time[0] / unit, box.time[1] / unit)}
            for chart, x, y in self.maps:
                if ends[x] is ends[y] is None:
                    continue  # it would be all of the map
                outline = BoxAnnotation(fill_alpha=0.06, line_width=1.8, **_ends("left", "right", ends[x]),
                                        **_ends("bottom", "top", ends[y]))
                chart.figure.add_layout(themed(outline, line_color=colour, fill_color=colour))
                self.outlines.append((chart.figure, outline))
        self.session.link.send("dress")

    def _draw(self) -> None:
        chromatograms, mobilograms = [], []
        for place, number in enumerate(self._shown()):
            box, colour = self.boxes[number], SERIES_COLOURS[place]
            found = self.found.get(box.key())
            if found is not None:
                chromatograms.append(self._chromatogram_series(box.name, found, colour))
                if found.mobilogram is not None:
                    mobilograms.append(self._mobilogram_series(box.name, found.mobilogram, colour))
        self.chromatogram.figure.xaxis.axis_label = self.run.time_label
        self.chromatogram.figure.xaxis.ticker.min_interval = 1.0 if np.isnan(self.run.seconds_per_unit) else 0.0
        self.mobilogram.figure.xaxis.axis_label = MOBILITY_LABEL if self.run.has_mobility_calibration else SCAN_LABEL
        self.chromatogram.show(chromatograms)
        self.mobilogram.show(mobilograms)
        self._draw_spectrum()
        self.session.link.send("dress")

    def _chromatogram_series(self, name: str, found: Found, colour: str) -> Series:
        """On the time axis of the run, which has ids of frames where times say nothing."""
        unit = self.run.seconds_per_unit
        one = found.chromatogram
        x = one.frame.astype(float) if np.isnan(unit) else one.time / unit
        return Series(name, x, one.intensity[0], one.frame, colour)

    def _mobilogram_series(self, name: str, one: Mobilograms, colour: str) -> Series:
        filled = np.flatnonzero(one.intensity[0])
        shown = slice(max(filled[0] - 3, 0), filled[-1] + 4) if len(filled) else slice(0, 0)
        x = one.one_over_k0 if self.run.has_mobility_calibration else one.scan.astype(float)
        return Series(name, x[shown], one.intensity[0][shown], one.scan[shown], colour)

    def _draw_spectrum(self) -> None:
        found = self.chosen_spectrum()
        stems = Stems(np.empty(0), np.empty(0)) if found is None else Stems.sorted(found.mz, found.intensity)
        whole = (float(stems.mz[0]), float(stems.mz[-1])) if len(stems.mz) else (0.0, 1.0)
        margin = 0.03 * (whole[1] - whole[0]) or 0.5
        limits = whole[0] - margin, whole[1] + margin
        if self._spectrum_limits is None:
            self.spectrum.limit(x=limits)
        self.spectrum.show(stems, self._spectrum_limits or limits, width=self.width("box_spectrum"))
        rows = [] if found is None else strongest(found)
        self.session.link.send("peaks", peaks=rows, box=self.chosen, waiting=found is None and self.chosen is not None)

    def chosen_spectrum(self) -> Optional[SummedSpectrum]:
        """Of the chosen box, once it has been read."""
        box = None if self.chosen is None else self.boxes.get(self.chosen)
        found = None if box is None else self.found.get(box.key())
        return None if found is None else found.spectrum

    def numbers(self, figure: str) -> Optional[Columns]:
        parts = []
        for number in self._shown():
            found = self.found.get(self.boxes[number].key())
            columns = None if found is None else _columns(figure, found)
            if columns is not None and (figure != "box_spectrum" or number == self.chosen):
                length = len(next(iter(columns.values())))
                name = self.boxes[number].name.replace(",", ";")
                parts.append({"box": np.full(length, name), **columns})
        return {name: np.concatenate([one[name] for one in parts]) for name in parts[0]} if parts else None

    def code(self, figure: str) -> Optional[str]:
        shown = [self.boxes[one] for one in self._shown()]
        return _code.boxes(self.run, figure, shown) if shown else None


def read_box(run: Any, box: Box, known: Optional[Found]) -> Found:
    """What is known of a box and the next thing: chromatogram, mobilogram, spectrum."""
    level = box.level or run.default_level
    with run.again() as analysis:
        common = {"time_range": box.time, "ms_level": level, "on_damage": "skip"}
        mz = None if box.mz is None else [box.mz]
        mobility = None if box.mobility is None else [box.mobility]
        if known is None:
            return Found(analysis.chromatograms(mz, mobility_ranges=mobility, **common))
        if known.mobilogram is None:
            return known._replace(mobilogram=analysis.mobilograms(mz, mobility_ranges=mobility, **common))
        return known._replace(spectrum=analysis.summed_spectrum(mz_range=box.mz, mobility_range=box.mobility, **common))


def strongest(found: SummedSpectrum) -> List[Dict[str, Any]]:
    """The strongest peaks of a summed spectrum."""
    order = np.argsort(found.mz, kind="stable")
    mz, intensity = found.mz[order], found.intensity[order].astype(float)
    is_known = np.isfinite(mz)
    mz, intensity, order = mz[is_known], intensity[is_known], order[is_known]
    if not len(mz):
        return []
    tops = tallest(mz, intensity, _APART * float(mz.mean()))
    total = float(found.intensity.sum())
    rows: List[Dict[str, Any]] = []
    for place in tops[np.argsort(-intensity[tops], kind="stable")].tolist():
        if all(abs(one["mz"] - mz[place]) > 2 * _APART * mz[place] for one in rows):
            rows.append({"mz": float(mz[place]), "intensity": int(intensity[place]), "share": intensity[place] / total,
                         "count": int(found.count[order[place]]), "index": int(found.tof_index[order[place]])})
        if len(rows) == _STRONGEST:
            break
    return rows


def _ends(low: str, high: str, limits: Optional[Pair]) -> Dict[str, float]:
    """Ends that are open are left out, so that the outline goes on to the border."""
    return {} if limits is None else {name: end for name, end in zip((low, high), limits) if np.isfinite(end)}


def _columns(figure: str, found: Found) -> Optional[Columns]:
    if figure == "box_chromatogram":
        one = found.chromatogram
        return {"frame": one.frame, "time": one.time, "intensity": one.intensity[0]}
    if figure == "box_mobilogram" and found.mobilogram is not None:
        mobilogram = found.mobilogram
        return {"scan": mobilogram.scan, "one_over_k0": mobilogram.one_over_k0, "intensity": mobilogram.intensity[0]}
    if figure == "box_spectrum" and found.spectrum is not None:
        summed = found.spectrum
        return {"tof_index": summed.tof_index, "mz": summed.mz, "intensity": summed.intensity, "count": summed.count}
    return None
