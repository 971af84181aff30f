"""What an export reads of an analysis: the frames and precursors that its filters choose, and streams of the library over them."""

from __future__ import annotations

import ctypes
from typing import Any, Dict, Iterator, List, Optional, Set, Tuple, Union

import numpy as np

from .._analysis import _PEAK_COLUMNS, Analysis
from .._arrays import address
from .._arrow_c import Batch, BatchStream, capsule
from .._base import nan_without_calibration
from .._errors import KovaError
from .._queries import Watch, control, pair, query
from .._spectra import SpectrumAnalysis
from .pipeline import ahead
from .plan import Plan
from .progress import Progress

_ISOLATIONS, _LINES, _PROFILE = 4, 0, 1
_SPECTRA_AT_ONCE = 256
AnyAnalysis = Union[Analysis, SpectrumAnalysis]


class _Capsule:
    """A stream of the library for packages that take Arrow streams."""

    def __init__(self, stream: BatchStream) -> None:
        self._stream = stream

    def __arrow_c_stream__(self, requested_schema: Any = None) -> Any:
        return capsule(self._stream)


class Source:
    """The analysis, seen through the filters of a plan.

    Attributes
    ----------
    frames : ndarray
        Rows of the frames that were chosen.
    damaged : list of (int, str)
        Ids of the frames that were left out so far, and what is wrong with them.
    """

    def __init__(self, analysis: AnyAnalysis, plan: Plan, progress: Progress) -> None:
        self.analysis, self.plan, self.progress = analysis, plan, progress
        self.damaged: List[Tuple[int, str]] = []
        self.has_mobility = isinstance(analysis, Analysis)
        self.table = analysis._frame_table()
        self.frames = self._chosen_frames()
        self._precursors: Optional[np.ndarray] = None
        self.last_frames: Dict[int, int] = {}

    def _chosen_frames(self) -> np.ndarray:
        plan, table = self.plan, self.table
        if plan.ms_level is not None:
            if len(table) and (table["ms_level"] < 0).all():
                raise KovaError("the metadata do not state the MS levels of frames")
            table = table[table["ms_level"] == plan.ms_level]
        table = table[self._in_frames(table["id"])]
        low, high = pair("time", plan.time_range)
        if plan.time_range is not None:
            table = table[(table["time"] >= low) & (table["time"] <= high)]
        return table

    def _in_frames(self, ids: np.ndarray) -> np.ndarray:
        stretches = self.plan.frames
        if stretches is None:
            return np.ones(len(ids), bool)
        for first, last in stretches:
            if first == last and first not in self.table["id"]:
                raise KovaError(f"there is no frame {first}")
        chosen: np.ndarray = np.logical_or.reduce([(ids >= first) & (ids <= last) for first, last in stretches])
        return chosen

    def surveys(self) -> np.ndarray:
        """Rows of the frames that become spectra of their own: all but those that MS/MS spectra are summed from."""
        self.precursors()
        return self.frames[self.frames["ms_level"] != 2] if self.last_frames else self.frames

    def leave_out_damaged(self, precursors: Set[int]) -> None:
        """Goes on without frames that turned out to be damaged, and with these precursors only."""
        self.frames = self.frames[~np.isin(self.frames["id"], [frame for frame, _ in self.damaged])]
        known = self.precursors()
        self._precursors = known[np.isin(known["id"], list(precursors))]

    def has_all_calibrations(self, rows: np.ndarray) -> Tuple[bool, bool]:
        """Whether all of these frames have a calibration of masses, and of mobility."""
        return self.uncalibrated("index_to_mz", rows) is None, self.uncalibrated("scan_to_one_over_k0", rows) is None

    def uncalibrated(self, name: str, rows: np.ndarray) -> Optional[int]:
        """The first of these frames without a calibration, if there is one."""
        convert = getattr(self.analysis, name, None)
        for frame in self._one_per_calibration(rows):
            if convert is not None and np.isnan(nan_without_calibration(convert, frame, np.zeros(1))[0]):
                return int(frame)
        return None

    def _one_per_calibration(self, rows: np.ndarray) -> List[int]:
        """The first frame of each calibration, which has one if all do; a re-calibrated state knows each frame by itself."""
        frames = rows["id"].tolist()
        if self.analysis._run.info().calibration_state:
            return frames
        names = ("mz_calibration", "mobility_calibration", "polarity")
        first: Dict[Tuple[Any, ...], int] = {}
        for frame, *calibration in zip(frames, *(rows[name].tolist() for name in names)):
            first.setdefault(tuple(calibration), frame)
        return list(first.values())

    def require_calibrations(self, rows: np.ndarray, mobility: bool) -> None:
        """Fails for frames without a calibration that the format cannot do without."""
        frame = self.uncalibrated("index_to_mz", rows)
        if frame is not None:
            raise KovaError(f"frame {frame} has no mass calibration, without which there is no m/z to write")
        frame = self.uncalibrated("scan_to_one_over_k0", rows) if mobility else None
        if frame is not None:
            raise KovaError(f"frame {frame} has no mobility calibration; --mobility sum writes it without")

    def precursors(self) -> np.ndarray:
        """Rows of the precursors that were chosen and fragmented, and in ``last_frames`` where they were last."""
        if self._precursors is None:
            self._precursors, self.last_frames = self._find_precursors()
        return self._precursors

    def _find_precursors(self) -> Tuple[np.ndarray, Dict[int, int]]:
        plan, analysis = self.plan, self.analysis
        if not isinstance(analysis, Analysis) or plan.ms_level == 1:
            return np.empty(0, [("id", "i8"), ("frame", "i8"), ("mz", "f8"), ("one_over_k0", "f8")]), {}
        last: Dict[int, int] = {}
        for batch in analysis._run.stream("table", _ISOLATIONS):
            for frame, precursor in zip(batch["frame"].values.tolist(), batch["precursor"].values.tolist()):
                last[precursor] = max(frame, last.get(precursor, frame))
        rows = analysis.precursor_table()
        rows = rows[np.isin(rows["id"], np.fromiter(last, np.int64, len(last)))]
        if plan.frames is not None:
            rows = rows[self._in_frames(rows["frame"])]
        for column, limits in (("time", plan.time_range), ("one_over_k0", plan.mobility_range)):
            low, high = pair(column, limits)
            rows = rows if limits is None else rows[(rows[column] >= low) & (rows[column] <= high)]
        return rows, last

    def _open(self, name: str, watch: Watch, *arguments: Any, rows: int) -> BatchStream:
        watch.progress, watch.damaged = self.progress.update, self.damaged
        settings = control(watch, self.plan.threads, "skip" if self.plan.skip_damaged else "raise", rows)
        return self.analysis._run.stream(name, *arguments, ctypes.addressof(settings))

    def _query(self, rows: np.ndarray) -> Any:
        plan = self.plan
        return query(rows["id"], mz_range=plan.mz_range, mobility_range=plan.mobility_range, normalized=plan.normalized)

    def _read(self, stream: Any, watch: Watch) -> Iterator[Any]:
        """Batches of a stream, which another thread reads."""

        def stop() -> None:
            watch.is_cancelled = True

        try:
            yield from ahead(iter(stream), stop)
        finally:
            stream.close()

    def peak_batches(self, columns: Tuple[str, ...], rows_at_once: int, rows: Optional[np.ndarray] = None) -> Iterator[Any]:
        """The peaks of the chosen frames as record batches of pyarrow."""
        import pyarrow

        watch, wanted = Watch(), self._query(self.frames if rows is None else rows)
        stream = self._open("peaks", watch, ctypes.addressof(wanted), sum(_PEAK_COLUMNS[name] for name in columns),
                            rows=rows_at_once)
        yield from self._read(pyarrow.RecordBatchReader.from_stream(_Capsule(stream)), watch)

    def peak_arrays(self, rows: np.ndarray, columns: Tuple[str, ...]) -> Iterator[Batch]:
        """The same as arrays of numpy."""
        watch, wanted = Watch(), self._query(rows)
        stream = self._open("peaks", watch, ctypes.addressof(wanted), sum(_PEAK_COLUMNS[name] for name in columns),
                            rows=1 << 22)
        yield from self._read(stream, watch)

    def msms_batches(self, ids: np.ndarray) -> Iterator[Batch]:
        """MS/MS spectra of some precursors, in the order of their last frame."""
        watch, wanted = Watch(), np.append(np.unique(ids), 0)
        stream = self._open("msms", watch, address(wanted), len(wanted) - 1, None, _LINES, rows=_SPECTRA_AT_ONCE)
        yield from self._read(stream, watch)

    def plain_spectra(self) -> Iterator[Tuple[int, np.ndarray, np.ndarray, np.ndarray]]:
        """Spectra without mobility: frame, position or index, m/z and intensity of each line or filled bin."""
        analysis = self.analysis
        assert isinstance(analysis, SpectrumAnalysis)
        kind = _LINES if analysis.has_lines else _PROFILE
        watch, wanted = Watch(), query(self.frames["id"])
        for batch in self._read(self._open("spectra", watch, ctypes.addressof(wanted), kind, rows=_SPECTRA_AT_ONCE), watch):
            positions = batch["position"] if kind == _LINES else map(np.flatnonzero, batch["intensity"])
            for frame, position, intensity in zip(batch["id"].values.tolist(), positions, batch["intensity"]):
                intensity = intensity if kind == _LINES else intensity[position]
                mz = nan_without_calibration(analysis.index_to_mz, frame, position.astype(np.float64))
                low, high = pair("mz", self.plan.mz_range)
                kept = intensity >= self.plan.min_intensity
                if self.plan.mz_range is not None:
                    kept &= (mz >= low) & (mz <= high)
                yield frame, position[kept], mz[kept], intensity[kept]
