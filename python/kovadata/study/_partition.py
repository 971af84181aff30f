"""A part of a run that one worker reads."""

from __future__ import annotations

import contextlib
import dataclasses
from typing import Iterator, List, NamedTuple, Optional, Tuple, Union

import numpy as np

from .._analysis import Analysis
from .._base import is_lack_of_calibration
from .._errors import KovaError
from .._queries import Range, ScanRange
from .._stream import Stream
from ._open_runs import open_run
from ._report import Damage, report
from ._runs import StudyRun

# The table of peaks that every engine shows.
COLUMNS = ("run", "frame", "time", "ms_level", "scan", "tof_index", "intensity", "mz", "one_over_k0")


class Options(NamedTuple):
    """How the runs of a study are read."""

    recalibrated: bool = False
    calibration: Optional[str] = None
    normalized: bool = True
    on_damage: str = "raise"
    report: Optional[str] = None


class Box(NamedTuple):
    """Ranges outside of which peaks are left out while they are read."""

    mz: Range = None
    one_over_k0: Range = None
    scan: ScanRange = None


def compact(ids: np.ndarray) -> Union[range, np.ndarray]:
    """Ids in ascending order as a range if they are one: a study has millions of them."""
    first, after = int(ids[0]), int(ids[-1]) + 1
    return range(first, after) if after - first == len(ids) else np.array(ids)


@dataclasses.dataclass(frozen=True, eq=False, repr=False)
class StudyPartition:
    """Frames of one run, to be read by one worker. It is pickled without opening anything.

    Attributes
    ----------
    run : StudyRun
        The run as it was when reading was planned: ``name``, the path as given; ``path``, the absolute one; ``files``.
    ids : range or ndarray of int64
        Ids of the frames.
    columns : tuple of str
        The columns wanted, out of `COLUMNS` and in their order.
    rows : int or None
        Number of peaks that the metadata state; None if they do not, or if only some of the peaks are wanted.
    bytes : int
        Size of the compressed frames in the file.
    """

    run: StudyRun
    ids: Union[range, np.ndarray]
    columns: Tuple[str, ...]
    rows: Optional[int]
    bytes: int
    options: Options
    box: Box

    def __repr__(self) -> str:
        return f"<kovadata.study.StudyPartition: {len(self.ids)} frames of {self.run.name}>"

    @property
    def frames(self) -> np.ndarray:
        """Ids of the frames as an array of int64."""
        return np.array(self.ids, np.int64)

    @contextlib.contextmanager
    def open(self) -> Iterator[Analysis]:
        """The run as a context, for questions of your own about its ``frames``. It stays open for the next partition of it.

        Raises
        ------
        KovaError
            The run is not there, or was written to since reading was planned or during the context.
        """
        self.run.check()
        with open_run(self.run.path, self.run.files, self.options.recalibrated, self.options.calibration) as analysis:
            yield analysis
        self.run.check()

    @contextlib.contextmanager
    def stream(self, threads: Optional[int] = 1) -> Iterator[Stream]:
        """The peaks as a context, in record batches without the column ``run``. The context is to be left when all were read.

        Parameters
        ----------
        threads : int, optional
            How many threads read; None for the processors that the process may use.

        Raises
        ------
        KovaError
            As for `open`, or a frame is damaged.
        """
        columns = [name for name in self.columns if name != "run"] or ["frame"]
        # A frame without calibration has no peak in a range of m/z or 1/K0, but ends a stream that asks for one.
        skips = self.options.on_damage == "skip" or self.box.mz is not None or self.box.one_over_k0 is not None
        with self.open() as analysis:
            stream = analysis.peaks(frames=self.frames, columns=columns, threads=threads, normalized=self.options.normalized,
                                    mz_range=self.box.mz, mobility_range=self.box.one_over_k0, scan_range=self.box.scan,
                                    on_damage="skip" if skips else "raise")
            yield stream
            self._judge([(frame, text) for frame, text in stream.damaged if not is_lack_of_calibration(text)])

    def failed(self, error: object) -> KovaError:
        """What is wrong with the run, by its name."""
        return KovaError(f"{error} (while reading {self.run.name})")

    def _judge(self, damaged: List[Tuple[int, str]]) -> None:
        if damaged and self.options.on_damage != "skip":
            raise self.failed(damaged[0][1])
        if damaged:
            report([Damage(self.run.name, frame, text) for frame, text in damaged], self.options.report)
