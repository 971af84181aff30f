"""Studies as datasets of Ray."""

from __future__ import annotations

from typing import Any, Optional, Sequence

from ..study import Study
from ..study._runs import Paths
from . import needed


def read_peaks(paths: Paths, *, columns: Optional[Sequence[str]] = None, filters: Any = None,
               override_num_blocks: Optional[int] = None, **options: Any) -> Any:
    """The peaks of some runs as a dataset of Ray.

    Columns selected later, and conditions of ``filter(expr=...)``, limit what is read.

    Parameters
    ----------
    paths : str, path-like, or iterable of them
        Directories of analyses, or globs. Workers need them under the same paths.
    columns : sequence of str, optional
        Out of `kovadata.study.COLUMNS`; all by default.
    filters : list or pyarrow.compute.Expression, optional
        Which rows are wanted, as ``pyarrow.parquet.read_table`` takes it: ``[("mz", ">=", 600), ("mz", "<", 601)]``.
    override_num_blocks : int, optional
        About how many tasks read; Ray decides by default.
    **options
        As for `kovadata.study.Study`: ``recalibrated``, ``calibration``, ``normalized``, ``on_damage``, ``report``.

    Returns
    -------
    ray.data.Dataset
        One row per peak.
    """
    needed("pyarrow", "ray")
    data = needed("ray.data", "ray")
    from ._ray_source import PeakDatasource

    return data.read_datasource(PeakDatasource(Study(paths, **options), columns, filters),
                                override_num_blocks=override_num_blocks)
