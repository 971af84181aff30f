"""Partitions as Arrow record batches, for the engines that read with pyarrow."""

from __future__ import annotations

import dataclasses
from typing import Any, Iterator, List, Optional, Sequence

import numpy as np
import pyarrow as pa
import pyarrow.parquet

from ._expressions import bounds_of, fields_of
from ._partition import COLUMNS, StudyPartition
from ._study import Study

_TYPES = {"run": pa.dictionary(pa.int32(), pa.string()), "frame": pa.int64(), "time": pa.float64(), "ms_level": pa.int8(),
          "scan": pa.uint32(), "tof_index": pa.uint32(), "intensity": pa.uint32(), "mz": pa.float64(),
          "one_over_k0": pa.float64()}


def schema(columns: Optional[Sequence[str]] = None, *, plain: bool = False) -> pa.Schema:
    """Types of columns, in the order of the table; with plain texts for engines that cannot join dictionaries."""
    types = {**_TYPES, "run": pa.string()} if plain else _TYPES
    return pa.schema([(name, types[name]) for name in COLUMNS if columns is None or name in columns])


def expression(filters: Any) -> Optional[Any]:
    """Filters as an expression of pyarrow: lists as ``pyarrow.parquet.read_table`` takes them are turned into one."""
    if filters is None or isinstance(filters, pa.compute.Expression):
        return filters
    return pyarrow.parquet.filters_to_expression(filters)


def plan(study: Study, columns: Optional[Sequence[str]], condition: Optional[Any], **how: Any) -> List[StudyPartition]:
    """The partitions that hold what a condition lets through, with the columns wanted and those that it is about."""
    if columns is not None and condition is not None:
        columns = [*columns, *fields_of(condition)]
    return study.partitions(bounds_of(condition), columns=columns, **how)


def record_batches(part: StudyPartition, threads: Optional[int] = 1, *, plain: bool = False) -> Iterator[pa.RecordBatch]:
    """The peaks of a partition with all of its columns."""
    types = schema(part.columns, plain=plain)
    with part.stream(threads) as stream:
        try:
            for batch in pa.RecordBatchReader.from_stream(stream):
                yield pa.record_batch([_run_column(part.run.name, batch.num_rows, plain) if name == "run" else batch.column(name)
                                       for name in types.names], schema=types)
        except (OSError, pa.ArrowException) as error:
            raise part.failed(error) from error


def _run_column(name: str, rows: int, plain: bool) -> pa.Array:
    return pa.repeat(name, rows) if plain else pa.DictionaryArray.from_arrays(np.zeros(rows, np.int32), pa.array([name]))


def tables(part: StudyPartition, columns: Sequence[str], condition: Optional[Any], *, plain: bool = False) -> Iterator[pa.Table]:
    """The rows of a partition that meet a condition, and some of their columns."""
    for batch in record_batches(part, plain=plain):
        table = pa.Table.from_batches([batch])
        yield (table if condition is None else table.filter(condition)).select(list(columns))


def narrowed(part: StudyPartition, columns: Sequence[str], condition: Optional[Any]) -> StudyPartition:
    """The same partition with no more columns than are wanted and a condition is about."""
    fields = frozenset() if condition is None else fields_of(condition)
    return dataclasses.replace(part, columns=tuple(name for name in COLUMNS if name in columns or name in fields))
