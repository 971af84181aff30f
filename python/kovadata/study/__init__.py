"""Studies: many runs, read by engines that other people make.

A `Study` finds the runs of paths and globs, and plans their reading: which runs, frames, scans and ranges of m/z and 1/K0 can
hold what is asked for, in partitions of about the same size in the files. A `StudyPartition` is pickled to a worker, which
opens the run, checks that it is still the one that was planned, and reads. `kovadata.engines` hands both to engines.
"""

from __future__ import annotations

from ._bounds import Bounds
from ._partition import COLUMNS, StudyPartition
from ._report import read_report
from ._study import Study

__all__ = ["COLUMNS", "Bounds", "Study", "StudyPartition", "read_report"]
