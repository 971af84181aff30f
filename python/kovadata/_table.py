"""Tables: numpy structured arrays, and data frames of other packages made from them on request."""

from __future__ import annotations

from typing import Any, Dict, Mapping, NamedTuple, Sequence

import numpy as np

from ._arrow_c import Batch

KINDS = ("numpy", "pandas", "polars", "arrow")


class Column(NamedTuple):
    """A column of a table, and what stands in its arrays where nothing is known."""

    name: str
    dtype: str
    missing: Any

    def is_missing(self, values: np.ndarray) -> np.ndarray:
        return np.isnan(values) if self.missing != self.missing else values == self.missing


def structured(columns: Sequence[Column], batches: Sequence[Batch]) -> np.ndarray:
    """Record batches of the library as a structured array."""
    dtype = np.dtype([(column.name, column.dtype) for column in columns])
    lengths = [len(batch[columns[0].name].values) for batch in batches]
    table = np.empty(sum(lengths), dtype)
    end = 0
    for batch, length in zip(batches, lengths):
        begin, end = end, end + length
        for column in columns:
            values, valid = batch[column.name]
            target = table[column.name][begin:end]
            target[:] = values
            if valid is not None:
                target[~valid] = column.missing
    return table


def convert(table: np.ndarray, columns: Sequence[Column], kind: str) -> Any:
    """A structured array as it is, or as a data frame of another package with its null values."""
    if kind == "numpy":
        return table
    values = {column.name: np.ascontiguousarray(table[column.name]) for column in columns}
    return data_frame(kind, values, {column.name: column.is_missing(values[column.name]) for column in columns})


def data_frame(kind: str, columns: Mapping[str, np.ndarray], missing: Mapping[str, np.ndarray]) -> Any:
    """Arrays as a structured array, or as a data frame with null values where ``missing`` is true."""
    makers = {"numpy": _numpy, "pandas": _pandas, "polars": _polars, "arrow": _arrow}
    if kind not in makers:
        raise ValueError(f"{kind!r} is none of {', '.join(KINDS)}")
    return makers[kind](columns, {name: mask for name, mask in missing.items() if mask.any()})


def _numpy(columns: Mapping[str, np.ndarray], _: Mapping[str, np.ndarray]) -> np.ndarray:
    dtype = [(name, values.dtype) for name, values in columns.items()]
    table = np.empty(len(next(iter(columns.values()))), dtype)
    for name, values in columns.items():
        table[name] = values
    return table


def _pandas(columns: Mapping[str, np.ndarray], missing: Mapping[str, np.ndarray]) -> Any:
    import pandas

    def series(name: str, values: np.ndarray) -> Any:
        if values.dtype.kind == "f" or name not in missing:
            return values
        if values.dtype.kind in "iu":
            return pandas.arrays.IntegerArray(values, missing[name])
        objects = values.astype(object)
        objects[missing[name]] = None
        return objects

    return pandas.DataFrame({name: series(name, values) for name, values in columns.items()})


def _arrow(columns: Mapping[str, np.ndarray], missing: Mapping[str, np.ndarray]) -> Any:
    import pyarrow

    return pyarrow.table({name: pyarrow.array(values, mask=missing.get(name)) for name, values in columns.items()})


def _polars(columns: Mapping[str, np.ndarray], missing: Mapping[str, np.ndarray]) -> Any:
    import polars

    frame = polars.DataFrame({name: values.tolist() if values.dtype.kind == "U" else values
                              for name, values in columns.items()})
    return frame.with_columns(
        polars.when(polars.Series(~mask)).then(polars.col(name)).otherwise(None).alias(name)
        for name, mask in missing.items())


def with_nulls(columns: Dict[str, np.ndarray], kind: str) -> Any:
    """Columns of peaks as a data frame, in which floating-point columns without calibration are null."""
    return data_frame(kind, columns, {name: np.isnan(values) for name, values in columns.items()
                                      if values.dtype.kind == "f"})
