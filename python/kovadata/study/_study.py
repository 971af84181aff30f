"""Plans the reading of many runs."""

from __future__ import annotations

import concurrent.futures
import math
import os
from typing import Any, Iterable, Iterator, List, NamedTuple, Optional, Sequence

import numpy as np

from .._errors import KovaError
from .._partitions import block_sizes, cuts
from ._bounds import Bounds, Domain
from ._open_runs import open_run
from ._partition import COLUMNS, Box, Options, StudyPartition, compact
from ._report import Damage, report as tell
from ._runs import Path, Paths, StudyRun, expand, file_states

DEFAULT_SIZE = 64 << 20
TABLE_SIZE = 16 << 20  # where peaks are written down, which takes some twenty times as much memory
_OF_FRAMES = {"frame": "id", "time": "time", "ms_level": "ms_level"}
_SCANS = 2 ** 32 - 1


class _Plan(NamedTuple):
    """The frames of a run that are read: ids, numbers of peaks as far as they are known, sizes in the file."""

    run: StudyRun
    ids: np.ndarray
    peaks: np.ndarray
    sizes: np.ndarray


class Study:
    """Runs that are asked the same questions.

    Parameters
    ----------
    paths : str, path-like, or iterable of them
        Directories of analyses with ion mobility, or globs such as ``"study/*.d"``.
    recalibrated, calibration
        As for `kovadata.Analysis`.
    normalized : bool
        Whether intensities are normalised as the analysis asks for, or left as they were measured.
    on_damage : {"raise", "skip"}
        Whether a damaged frame, or a run that cannot be opened, is an error, or is left out and listed in a `DamageWarning`.
    report : str or path-like, optional
        Folder for what was left out, which `read_report` reads: warnings of workers are seen on their machines only.

    Raises
    ------
    KovaError
        A glob finds nothing.

    Examples
    --------
    >>> study = kovadata.study.Study("*run.d")
    >>> for part in study.partitions():
    ...     with part.open() as analysis:
    ...         print(part.run.name, analysis.chromatograms([(600, 601)], frames=part.frames).intensity)
    """

    def __init__(self, paths: Paths, *, recalibrated: bool = False, calibration: Optional[str] = None,
                 normalized: bool = True, on_damage: str = "raise", report: Optional[Path] = None) -> None:
        if on_damage not in ("raise", "skip"):
            raise ValueError(f"on_damage must be 'raise' or 'skip', not {on_damage!r}")
        folder = None if report is None else os.path.abspath(os.fsdecode(report))
        self._options = Options(recalibrated, calibration, normalized, on_damage, folder)
        self._runs = expand(paths)
        self._paths = [os.path.abspath(name) for name in self._runs]  # some engines plan in another directory

    def __repr__(self) -> str:
        return f"<kovadata.study.Study of {len(self._runs)} runs>"

    @property
    def runs(self) -> List[str]:
        """The paths of the runs, as they were given or found."""
        return list(self._runs)

    def partitions(self, bounds: Bounds = Bounds(), *, columns: Optional[Sequence[str]] = None,
                   size: int = DEFAULT_SIZE, n: Optional[int] = None) -> List[StudyPartition]:
        """Plans the reading of all peaks that can lie in some bounds, without reading any frame.

        Parameters
        ----------
        bounds : Bounds
            What is known of the peaks that are wanted. More may come: bounds say which frames, scans and ranges of m/z and
            1/K0 are read, and nothing about intensities.
        columns : sequence of str, optional
            Out of `COLUMNS`; all by default.
        size : int
            About how many bytes of compressed frames a partition has.
        n : int, optional
            About how many partitions are wanted, instead.

        Returns
        -------
        list of StudyPartition
            In the order of the runs, and of their frames.
        """
        unknown = [name for name in columns or () if name not in COLUMNS]
        if unknown or isinstance(columns, str):
            raise ValueError(f"columns must be a list of some of {', '.join(COLUMNS)}")
        chosen = tuple(name for name in COLUMNS if columns is None or name in columns)
        box = _box(bounds)
        if box is None:
            return []
        plans: Iterable[_Plan] = self._plan_all(bounds)
        if n is not None:
            plans = list(plans)
            size = max(1, math.ceil(sum(int(plan.sizes.sum()) for plan in plans) / max(n, 1)))
        return [StudyPartition(plan.run, compact(plan.ids[begin:end]), chosen, _total(plan.peaks[begin:end]) if box == Box() else None,
                               int(plan.sizes[begin:end].sum()), self._options, box)
                for plan in plans for begin, end in cuts(plan.sizes, max(1, round(int(plan.sizes.sum()) / size)))]

    def _plan_all(self, bounds: Bounds) -> Iterator[_Plan]:
        named = [(name, path) for name, path in zip(self._runs, self._paths) if bounds.get("run", Domain()).contains(name)]
        lost: List[Damage] = []
        with concurrent.futures.ThreadPoolExecutor(8, "kovadata") as pool:
            planned = [pool.submit(self._plan, name, path, bounds) for name, path in named]
            for (name, _), plan in zip(named, planned):
                try:
                    yield plan.result()
                except KovaError as error:
                    if self._options.on_damage != "skip":
                        for other in planned:
                            other.cancel()
                        raise
                    lost.append(Damage(name, None, str(error)))
        if lost:
            tell(lost, self._options.report)

    def _plan(self, name: str, path: str, bounds: Bounds) -> _Plan:
        run = StudyRun(name, path, file_states(path))
        with open_run(path, run.files, self._options.recalibrated, self._options.calibration) as analysis:
            rows = analysis.frame_table()
        blob = next((file.size for file in run.files if file.name == "analysis.kvd_bin"), 0)
        chosen = np.ones(len(rows), bool)
        for column, of_table in _OF_FRAMES.items():
            if column in bounds:
                chosen &= bounds[column].mask(rows[of_table])
        if "ms_level" in bounds:
            chosen &= rows["ms_level"] > 0
        return _Plan(run, rows["id"][chosen], rows["peaks"][chosen], block_sizes(rows["position"], blob)[chosen])


def _total(peaks: np.ndarray) -> Optional[int]:
    return int(peaks.sum()) if (peaks >= 0).all() else None


def _box(bounds: Bounds) -> Optional[Box]:
    """The ranges to read; None if there can be no peak at all."""
    ranges: List[Any] = [bounds[name].range() if name in bounds else (None, None) for name in ("mz", "one_over_k0", "scan")]
    if any(limits is None for limits in ranges):
        return None
    mz, one_over_k0, scan = (None if limits == (None, None) else limits for limits in ranges)
    if scan is not None:
        begin = 0 if scan[0] is None or scan[0] <= 0 else min(math.ceil(min(scan[0], _SCANS)), _SCANS)
        end = None if scan[1] is None or scan[1] >= _SCANS else math.floor(max(scan[1], -1)) + 1
        if begin >= (_SCANS if end is None else end):
            return None
        scan = begin, end
    return Box(mz, one_over_k0, scan)
