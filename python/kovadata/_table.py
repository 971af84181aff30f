"""Tables: numpy structured arrays, and data frames of other packages made from them on request."""

from __future__ import annotations

from typing import Any, Dict, Iterable, Mapping, NamedTuple, Sequence

import numpy as np

KINDS = ("numpy", "pandas", "polars", "arrow")


class Column(NamedTuple):
    """A column of a table, and what stands in it where the database has nothing of its type."""

    name: str
    dtype: str
    missing: Any
    lowest: int = 0

    def clean(self, value: Any) -> Any:
        kind = self.dtype[0]
        if kind == "f":
            return value if isinstance(value, (int, float)) else self.missing
        if kind == "i":
            return value if isinstance(value, int) and value >= self.lowest else self.missing
        return value if isinstance(value, str) else self.missing

    def is_missing(self, values: np.ndarray) -> np.ndarray:
        return np.isnan(values) if self.missing != self.missing else values == self.missing


def structured(columns: Sequence[Column], rows: Iterable[Sequence[Any]]) -> np.ndarray:
    """Rows of a query as a structured array."""
    cleaned = [tuple(column.clean(value) for column, value in zip(columns, row)) for row in rows]
    return np.array(cleaned, dtype=[(column.name, column.dtype) for column in columns])


def convert(table: np.ndarray, columns: Sequence[Column], kind: str) -> Any:
    """A structured array as it is, or as a data frame of another package with its null values."""
    if kind == "numpy":
        return table
    values = {column.name: np.ascontiguousarray(table[column.name]) for column in columns}
    return data_frame(kind, values, {column.name: column.is_missing(values[column.name]) for column in columns})


def data_frame(kind: str, columns: Mapping[str, np.ndarray], missing: Mapping[str, np.ndarray]) -> Any:
    """Arrays as a data frame of another package, with its null values where ``missing`` is true."""
    makers = {"pandas": _pandas, "polars": _polars, "arrow": _arrow}
    if kind not in makers:
        raise ValueError(f"{kind!r} is none of {', '.join(KINDS)}")
    return makers[kind](columns, {name: mask for name, mask in missing.items() if mask.any()})


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
