"""Studies as tables of DuckDB."""

from __future__ import annotations

from typing import Any, Optional

from ..study import Study
from ..study._runs import Paths
from . import needed


def register(connection: Any, name: str, paths: Paths, *, filters: Any = None, threads: Optional[int] = None,
             **options: Any) -> None:
    """Makes the peaks of some runs a table of a connection.

    A query reads the columns that it needs. DuckDB hands its conditions on numbers without fraction and on texts to such a
    table: those on ``run``, ``frame``, ``ms_level`` and ``scan`` decide what is read. It keeps those on ``time``, ``mz`` and
    ``one_over_k0`` to itself; `filters` is for them.

    Parameters
    ----------
    connection : duckdb.DuckDBPyConnection
        The connection, or the module ``duckdb`` for its default one.
    name : str
        Name of the table.
    paths : str, path-like, or iterable of them
        Directories of analyses, or globs. The runs are looked at by each query.
    filters : list or pyarrow.compute.Expression, optional
        What the table is limited to, as ``pyarrow.parquet.read_table`` takes it: ``[("mz", ">=", 600), ("mz", "<", 601)]``.
    threads : int, optional
        How many threads read; the processors that the process may use by default.
    **options
        As for `kovadata.study.Study`: ``recalibrated``, ``calibration``, ``normalized``, ``on_damage``, ``report``.
    """
    for module in ("duckdb", "pyarrow"):
        needed(module, "duckdb")
    from ._dataset import PeakDataset

    connection.register(name, PeakDataset(Study(paths, **options), filters, threads))
