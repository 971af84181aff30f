"""Studies as data frames of Dask."""

from __future__ import annotations

from typing import Any, Optional, Sequence

from ..study import COLUMNS, Study, StudyPartition
from ..study._runs import Paths
from ..study._study import TABLE_SIZE
from . import needed


def read_peaks(paths: Paths, *, columns: Optional[Sequence[str]] = None, filters: Any = None, size: int = TABLE_SIZE,
               **options: Any) -> Any:
    """The peaks of some runs as a data frame of Dask, a partition of it for each part of a run.

    Columns that are not used later are not read.

    Parameters
    ----------
    paths : str, path-like, or iterable of them
        Directories of analyses, or globs. Workers need them under the same paths.
    columns : sequence of str, optional
        Out of `kovadata.study.COLUMNS`; all by default.
    filters : list or pyarrow.compute.Expression, optional
        Which rows are wanted, as ``dask.dataframe.read_parquet`` takes it: ``[("mz", ">=", 600), ("mz", "<", 601)]``. Dask
        does not hand on conditions that stand later in a program.
    size : int
        About how many bytes of compressed frames a partition has; as a data frame it has some 20 times as many with all columns.
    **options
        As for `kovadata.study.Study`: ``recalibrated``, ``calibration``, ``normalized``, ``on_damage``, ``report``.

    Returns
    -------
    dask.dataframe.DataFrame
        One row per peak. ``run`` is categorical, ``ms_level`` of pandas' type Int8.
    """
    needed("pyarrow", "dask")
    frames = needed("dask.dataframe", "dask")
    from ..study._arrow import expression, plan

    condition = expression(filters)
    wanted = [name for name in COLUMNS if columns is None or name in columns]
    parts = plan(Study(paths, **options), columns, condition, size=size)
    empty = _to_pandas([], wanted)
    if not parts:
        return frames.from_pandas(empty, npartitions=1)
    return frames.from_map(read_partition, parts, meta=empty, columns=wanted, condition=condition, label="kovadata-peaks")


def read_partition(part: StudyPartition, columns: Sequence[str], condition: Any = None) -> Any:
    """A partition as a data frame of pandas, with the rows that a condition lets through."""
    from ..study._arrow import narrowed, tables

    return _to_pandas(list(tables(narrowed(part, columns, condition), columns, condition)), columns)


def _to_pandas(found: Sequence[Any], columns: Sequence[str]) -> Any:
    pandas, pyarrow = needed("pandas", "dask"), needed("pyarrow", "dask")
    from ..study._arrow import schema

    empty = schema(columns).empty_table().select(list(columns))
    table = pyarrow.concat_tables([empty, *found])
    return table.to_pandas(types_mapper={pyarrow.int8(): pandas.Int8Dtype()}.get)
