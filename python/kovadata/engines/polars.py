"""Studies as lazy frames of Polars."""

from __future__ import annotations

import concurrent.futures
import json
from typing import TYPE_CHECKING, Any, Iterator, List, Optional

from ..study import COLUMNS, Bounds, Study, StudyPartition
from ..study._runs import Paths
from ..study._study import TABLE_SIZE
from . import needed

if TYPE_CHECKING:
    import polars

_SIZE_OF_FEW = 1 << 20  # where only some rows are wanted
_ROWS = 1 << 20  # at a time: what Polars computes of more takes new memory each time, by measurement a third of a sum's time
_OPERATORS = {"Eq": "==", "Lt": "<", "LtEq": "<=", "Gt": ">", "GtEq": ">="}
_SWAPPED = {"==": "==", "<": ">", "<=": ">=", ">": "<", ">=": "<="}
# Numbers of 32 bits are written with as many digits as they have, which is not the value that is compared with.
_EXACT = ("Int8", "Int16", "Int32", "Int64", "UInt8", "UInt16", "UInt32", "UInt64", "Float64", "String", "Int", "Float", "Str")


def scan(paths: Paths, *, threads: Optional[int] = None, **options: Any) -> "polars.LazyFrame":
    """The peaks of some runs as a lazy frame of Polars.

    Only what a query needs is read: its columns, and of its conditions on ``run``, ``frame``, ``time``, ``ms_level``, ``scan``,
    ``mz`` and ``one_over_k0`` the frames, scans and ranges that can meet them. Runs are looked at when the query is collected.

    Parameters
    ----------
    paths : str, path-like, or iterable of them
        Directories of analyses, or globs.
    threads : int, optional
        How many threads read; the processors that the process may use by default.
    **options
        As for `kovadata.study.Study`: ``recalibrated``, ``calibration``, ``normalized``, ``on_damage``, ``report``.

    Returns
    -------
    polars.LazyFrame
        One row per peak with the columns ``run``, ``frame``, ``time``, ``ms_level``, ``scan``, ``tof_index``, ``intensity``,
        ``mz``, ``one_over_k0``; runs in the order given, frames, scans and indices ascending.

    Examples
    --------
    >>> import polars
    >>> peaks = kovadata.scan("*run.d")
    >>> query = peaks.filter(polars.col("mz").is_between(600, 601)).group_by("run", "frame").agg(polars.col("intensity").sum())
    >>> print(query.collect())
    """
    pl = needed("polars", "polars")
    plugins = needed("polars.io.plugins", "polars")
    study = Study(paths, **options)
    types = {"run": pl.String, "frame": pl.Int64, "time": pl.Float64, "ms_level": pl.Int8, "scan": pl.UInt32,
             "tof_index": pl.UInt32, "intensity": pl.UInt32, "mz": pl.Float64, "one_over_k0": pl.Float64}

    def frames(parts: List[StudyPartition]) -> Iterator[Any]:
        for part in parts:
            with part.stream(threads) as stream:
                try:
                    whole = pl.DataFrame(stream)
                except pl.exceptions.PolarsError as error:
                    raise part.failed(error) from error
                for frame in whole.iter_slices(_ROWS):
                    yield frame.with_columns(run=pl.lit(part.run.name)) if "run" in part.columns else frame

    def read(columns: Optional[List[str]], predicate: Any, rows: Optional[int], _: Optional[int]) -> Iterator[Any]:
        wanted = list(COLUMNS) if columns is None else columns
        needed_too = [] if predicate is None else predicate.meta.root_names()
        parts = study.partitions(bounds_of(predicate), columns=[*wanted, *needed_too],
                                 size=TABLE_SIZE if rows is None else _SIZE_OF_FEW)
        left = rows
        for frame in _ahead(frames(parts)) if rows is None else frames(parts):
            if predicate is not None:
                frame = frame.filter(predicate)
            frame = frame.select(wanted).head(left if left is not None else frame.height)
            left = None if left is None else left - frame.height
            yield frame
            if left == 0:
                return

    return plugins.register_io_source(read, schema={name: types[name] for name in COLUMNS})


def _ahead(frames: Iterator[Any]) -> Iterator[Any]:
    """The frames, of which the next one is read while Polars works on the last."""
    with concurrent.futures.ThreadPoolExecutor(1, "kovadata") as reader:
        coming = reader.submit(next, frames, None)
        while True:
            frame = coming.result()
            if frame is None:
                return
            coming = reader.submit(next, frames, None)
            yield frame


def bounds_of(predicate: Optional[Any]) -> Bounds:
    """What an expression of Polars bounds, by the JSON that it is written as. What is not understood there bounds nothing."""
    if predicate is None:
        return Bounds()
    try:
        return _bounds(json.loads(predicate.meta.serialize(format="json")))
    except (LookupError, TypeError, ValueError, AttributeError):
        return Bounds()


def _bounds(node: Any) -> Bounds:
    (kind, content), = node.items()
    if kind == "BinaryExpr":
        return _binary(content["op"], content["left"], content["right"])
    if kind == "Function":
        function, inputs = content["function"].get("Boolean", {}), content["input"]
        if "IsBetween" in function:
            return _binary("GtEq", inputs[0], inputs[1]) & _binary("LtEq", inputs[0], inputs[2])
        if "IsIn" in function and not function["IsIn"]["nulls_equal"] and "Column" in inputs[0]:
            return Bounds.of(inputs[0]["Column"], "in", _literal(inputs[1]))
    return Bounds()


def _binary(operator: str, left: Any, right: Any) -> Bounds:
    if operator in ("And", "Or", "LogicalAnd", "LogicalOr"):
        return _bounds(left) & _bounds(right) if operator.endswith("And") else _bounds(left) | _bounds(right)
    if operator not in _OPERATORS:
        return Bounds()
    sign = _OPERATORS[operator]
    if "Column" in right:
        left, right, sign = right, left, _SWAPPED[sign]
    return Bounds.of(left["Column"], sign, _literal(right))


def _literal(node: Any) -> Any:
    """A value or a list of values; LookupError for what is none."""
    (kind, content), = node["Literal"].items()
    if kind in ("Dyn", "Scalar"):
        (kind, content), = content.items()
        if kind in _EXACT:
            return content
    if kind in ("List", "Series"):
        return needed("polars", "polars").read_ipc_stream(bytes(content)).to_series().to_list()
    raise LookupError(kind)
