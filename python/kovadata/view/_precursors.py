"""Precursors: a table that is sorted and filtered here, and what was measured of the one that is chosen."""

from __future__ import annotations

from typing import Any, Dict, List, Optional, Tuple

import numpy as np

from .._errors import KovaError
from .._figures import Stems, spectrum
from .._precursors import Precursor
from . import _code
from ._frame_axes import FramePeaks
from ._panel import READING_ERRORS, Columns, Pair, Panel, pair

_ROWS = 50
_COLUMNS = ("id", "mz", "charge", "intensity", "time", "one_over_k0", "frame")
# An isotope pattern: from before the precursor, to as many of its isotopes.
_BEFORE, _ISOTOPES, _SPACING = 1.2, 5, 1.00335
# Scans around the mean one whose signal belongs to the precursor, where the metadata state no scans.
_SCANS_AROUND = 12


class Precursors(Panel):
    """The table, the MS/MS spectrum and the isotope pattern."""

    def __init__(self, session: Any) -> None:
        super().__init__(session)
        self.msms = spectrum("msms", labels=20, colour="blue")
        self.isotopes = spectrum("isotopes", labels=6, colour="green")
        self.charts = {"msms": self.msms, "isotopes": self.isotopes}
        self.commands = {"precursors.open": lambda: None, "precursors": self.list_rows, "precursor": self.choose, "precursor.go": self.go_to,
                         "precursor.zoom": self.zoom}
        self._forget()

    def _forget(self) -> None:
        self.table: Any = np.empty(0)
        self.about: Optional[Precursor] = None
        self.fragments = Stems(np.empty(0), np.empty(0))
        self.pattern = Stems(np.empty(0), np.empty(0))
        self.isolations: List[Dict[str, Any]] = []

    def begin(self) -> None:
        before = self.about
        self._forget()
        if self.run.has_mobility:
            self.table = self.run.analysis.precursor_table()
        self.list_rows()
        if before is not None and len(self.table) and (self.table["id"] == before.id).any():
            self.choose(before.id)
        else:
            self._draw()

    def list_rows(self, sort: str = "id", down: bool = False, first: Any = 0, filters: Any = None) -> None:
        """Tells the page a part of the table."""
        if not len(self.table):
            self.session.link.send("precursors", rows=[], total=0, found=0, first=0)
            return
        rows = self._filtered(filters or {})
        order = np.argsort(rows[sort if sort in _COLUMNS else "id"], kind="stable")
        order = order[::-1] if down else order
        first = min(max(int(first), 0), max(len(rows) - 1, 0)) // _ROWS * _ROWS
        shown = rows[order[first:first + _ROWS]]
        self.session.link.send("precursors", total=len(self.table), found=len(rows), first=first, page=_ROWS,
                               rows=[{name: one[name] for name in _COLUMNS} for one in shown],
                               chosen=None if self.about is None else self.about.id)

    def _filtered(self, filters: Dict[str, Any]) -> np.ndarray:
        """Rows whose columns are in the ranges that the page asks for; an open end is None."""
        keep = np.ones(len(self.table), bool)
        for name, (low, high) in filters.items():
            if name not in _COLUMNS:
                continue
            if low is not None:
                keep &= self.table[name] >= float(low)
            if high is not None:
                keep &= self.table[name] <= float(high)
        chosen: np.ndarray = self.table[keep]
        return chosen

    def choose(self, precursor: Any) -> None:
        """Shows the MS/MS spectrum of a precursor and its isotope pattern."""
        number = int(precursor)
        found = list(self.run.analysis.msms([number], on_damage="raise"))
        known = self.table[self.table["id"] == number]
        self.isolations = self.run.isolations(number)
        if not found and not len(known):
            raise KovaError(f"there is no precursor {number}")
        if found:
            self.about = found[0].precursor
            self.fragments = Stems.sorted(found[0].mz, found[0].intensity)
        else:
            self.about = Precursor.of_row(known[0].tolist())
            self.fragments = Stems(np.empty(0), np.empty(0))
        self._read_pattern()
        self._draw()

    def _read_pattern(self) -> None:
        """The survey frame around the precursor, summed over the scans in which it was isolated."""
        self.pattern = Stems(np.empty(0), np.empty(0))
        about = self.about
        if about is None or about.frame is None or np.isnan(about.mz):
            return
        try:
            peaks = FramePeaks.read(self.run.analysis.frame(about.frame))
        except READING_ERRORS as error:
            self.session.message(f"Survey frame {about.frame} cannot be shown: {error}", key="precursor")
            return
        mask = peaks.inside(self.pattern_limits(), None) if peaks.has_mz else np.zeros(len(peaks.x), bool)
        first, last = self.scans()
        self.pattern = peaks.stems(mask & (peaks.peaks.scan >= first) & (peaks.peaks.scan < last))

    def scans(self) -> Tuple[int, int]:
        """In which scans the precursor was isolated, or those around its own."""
        if self.isolations:
            return min(one["scan_begin"] for one in self.isolations), max(one["scan_end"] for one in self.isolations)
        scan = self.about.scan if self.about is not None else np.nan
        if np.isnan(scan):
            return 0, 2 ** 31
        return max(int(scan) - _SCANS_AROUND, 0), int(scan) + _SCANS_AROUND + 1

    def pattern_limits(self) -> Pair:
        """m/z of the isotope pattern."""
        assert self.about is not None
        return self.about.mz - _BEFORE, self.about.mz + _ISOTOPES * _SPACING / (self.about.charge or 1) + 0.3

    def go_to(self, frame: Any = None) -> None:
        """Shows a frame where the precursor was seen, the survey frame if none is named."""
        about = self.about
        if about is None or (frame is None and about.frame is None):
            return
        number = int(about.frame if frame is None else frame)  # type: ignore[arg-type]
        view, is_survey = self.session.frames, number == about.frame
        mz = (about.mz - 15, about.mz + 15) if is_survey and np.isfinite(about.mz) else None
        if mz is None:
            view.choose(number)
        else:
            view.go_to(number, mz, self._mobility(number, 6.0))
        self.mark()

    def _mobility(self, frame: int, wide: float) -> Optional[Pair]:
        """The isolated scans, and as much again on both sides, on the mobility axis of a frame."""
        first, last = self.scans()
        margin = wide / 2 * (last - first)
        ends = np.array([first - 0.5 - margin, last - 0.5 + margin])
        if self.run.has_mobility_calibration:
            ends = np.asarray(self.run.analysis.scan_to_one_over_k0(frame, ends))
        return pair(ends)

    def mark(self) -> None:
        """Outlines in the frame's map where the precursor was isolated."""
        view, about = self.session.frames, self.about
        box, frame = view.isolation, view.frame_id
        frames = {one["frame"] for one in self.isolations} | ({about.frame} if about is not None else set())
        is_shown = about is not None and frame in frames and view.loaded is not None
        if is_shown:
            assert about is not None and frame is not None
            mobility = self._mobility(frame, 0.0)
            mz = self.pattern_limits() if frame == about.frame and np.isfinite(about.mz) else (None, None)
            box.update(left=mz[0], right=mz[1], bottom=None if mobility is None else mobility[0],
                       top=None if mobility is None else mobility[1])
        box.visible = is_shown

    def zoom(self, x: Any = None, width: Any = 0, **_: Any) -> None:
        """Draws what is in view of the MS/MS spectrum."""
        self.size("msms", width, 200)
        limits = pair(x)
        if limits is not None and self.about is not None:
            self.msms.show(self.fragments, limits, width=self.width("msms"))

    def _draw(self) -> None:
        about = self.about
        for chart, stems, limits in ((self.msms, self.fragments, self._fragment_limits()),
                                     (self.isotopes, self.pattern, None if about is None else self.pattern_limits())):
            if limits is not None and np.isfinite(limits).all():
                chart.limit(x=limits)
                chart.show(stems, limits, width=self.width("msms"))
            else:
                chart.show(Stems(np.empty(0), np.empty(0)))
            is_inside = about is not None and np.isfinite(about.mz)
            chart.marker.update(visible=bool(is_inside), location=about.mz if about is not None and is_inside else 0)
        described = None if about is None else {**about._asdict(), "peaks": len(self.fragments.mz)}
        self.session.link.send("precursor", precursor=described, isolations=self.isolations)
        self.mark()

    def _fragment_limits(self) -> Optional[Pair]:
        if self.about is None:
            return None
        ends = np.append(self.fragments.mz[[0, -1]] if len(self.fragments.mz) else [], self.about.mz)
        ends = ends[np.isfinite(ends)]
        return (float(ends.min()) - 15, float(ends.max()) + 15) if len(ends) else None

    def numbers(self, figure: str) -> Optional[Columns]:
        stems = self.fragments if figure == "msms" else self.pattern
        if self.about is None:
            return None
        if figure == "msms":
            return {"mz": stems.mz, "intensity": stems.intensity.astype(np.float32)}
        index = np.empty(0, np.int64) if stems.tof_index is None else stems.tof_index
        return {"tof_index": index, "mz": stems.mz, "intensity": stems.intensity.astype(np.int64)}

    def code(self, figure: str) -> Optional[str]:
        if self.about is None:
            return None
        if figure == "msms":
            return _code.msms(self.run, self.about.id)
        if self.about.frame is None or not len(self.pattern.mz):
            return None
        return _code.isotopes(self.run, self.about.frame, self.scans(), self.pattern_limits())
