"""Tables of an export: which columns and rows go into a Parquet or Arrow file, and in which pieces."""

from __future__ import annotations

import pathlib
from typing import Any, Iterator, List, Tuple

import numpy as np

from .._errors import KovaError
from .._table import convert
from .._tables import FRAME_COLUMNS, PRECURSOR_COLUMNS
from .columnar import open_sink
from .mz_sort import sorted_by_mz
from .plan import USUAL_COLUMNS, Plan
from .provenance import metadata
from .source import Source
from .spectra import strongest

# A row group has whole frames and at least so many peaks: with more, its columns are not in the processor's cache.
_ROWS = 1 << 17
# The order of peaks in the layouts.
_ORDERS = {"frame": ("frame", "scan", "tof_index"), "mz": ("mz",)}


def write_table(source: Source, path: pathlib.Path) -> int:
    """Writes what a plan asks for; gives the number of rows."""
    content = source.plan.content
    if content == "peaks":
        return _write_peaks(source, path)
    if content == "msms":
        return _write(source, path, _msms_schema(), _msms_tables(source))
    rows, columns = ((source.frames, FRAME_COLUMNS) if content == "frames" else (_precursors(source), PRECURSOR_COLUMNS))
    table = convert(rows, columns, "arrow")
    return _write(source, path, table.schema, iter([table]))


def _write(source: Source, path: pathlib.Path, schema: Any, tables: Iterator[Any], sorted_by: Tuple[str, ...] = ()) -> int:
    schema = schema.with_metadata(metadata(source))
    sink = open_sink(path, schema, source.plan, sorted_by)
    rows = 0
    for table in tables:
        sink.write(table.cast(schema) if table.schema != schema else table)
        rows += table.num_rows
    sink.finish(metadata(source))
    return rows


def _write_peaks(source: Source, path: pathlib.Path) -> int:
    plan = source.plan
    if not source.has_mobility:
        return _write(source, path, _lines_schema(source), _line_tables(source))
    schema = _peak_schema(source)
    if plan.layout == "mz":
        source.require_calibrations(source.frames, False)
        tables = sorted_by_mz(source, schema)
    else:
        tables = _whole_frames(_filtered(source, schema), "frame" in plan.columns)
    return _write(source, path, schema, tables, _ORDERS[plan.layout])


def _peak_schema(source: Source) -> Any:
    """Columns that cannot be null say so, which spares every reader and writer looking."""
    import pyarrow as pa

    types = {"frame": pa.int64(), "time": pa.float64(), "ms_level": pa.int8(), "scan": pa.uint32(), "tof_index": pa.uint32(),
             "intensity": pa.uint32(), "mz": pa.float64(), "one_over_k0": pa.float64()}
    has_mz, has_mobility = source.has_all_calibrations(source.frames)
    missing = {"time": bool(np.isnan(source.frames["time"]).any()), "ms_level": bool((source.frames["ms_level"] < 0).any()),
               "mz": not has_mz, "one_over_k0": not has_mobility}
    return pa.schema([pa.field(name, types[name], missing.get(name, False)) for name in source.plan.columns])


def _filtered(source: Source, schema: Any) -> Iterator[Any]:
    """Batches of peaks in the columns of the schema."""
    import pyarrow as pa
    import pyarrow.compute as compute

    least = source.plan.min_intensity
    columns = set(schema.names) | {"frame"} | ({"intensity"} if least > 0 else set())
    whole = None
    for batch in source.peak_batches(tuple(columns), 1 << 22):
        if least > 0:
            batch = batch.filter(compute.greater_equal(batch.column("intensity"), least))
        whole = whole or pa.schema([schema.field(name) if name in schema.names else batch.schema.field(name)
                                    for name in batch.schema.names])
        yield pa.Table.from_arrays(batch.columns, schema=whole)


def _whole_frames(tables: Iterator[Any], keeps_frame: bool) -> Iterator[Any]:
    """Puts batches together, and cuts them where frames end."""
    import pyarrow as pa

    waiting: List[Any] = []
    rows = 0
    for table in tables:
        frames = table.column("frame").chunk(0).to_numpy()  # combine_chunks() would copy
        if not len(frames):
            continue
        cut = int(np.searchsorted(frames, frames[-1])) if rows + len(frames) >= _ROWS else 0
        is_over = bool(waiting) and waiting[-1].column("frame")[-1].as_py() != frames[0]
        if cut or (is_over and rows >= _ROWS):
            yield _without_frame(pa.concat_tables([*waiting, table.slice(0, cut)]), keeps_frame)
            waiting, rows, table = [], 0, table.slice(cut)
        waiting.append(table)
        rows += table.num_rows
    if waiting:
        yield _without_frame(pa.concat_tables(waiting), keeps_frame)


def _without_frame(table: Any, keeps_frame: bool) -> Any:
    return table if keeps_frame else table.drop_columns(["frame"])


def _lines_schema(source: Source) -> Any:
    import pyarrow as pa

    if source.plan.layout != "frame" or source.plan.columns != USUAL_COLUMNS:
        raise KovaError("spectra without mobility have neither layouts nor columns to choose from")
    lines = source.analysis.has_lines  # type: ignore[union-attr]
    return pa.schema([pa.field("frame", pa.int64(), False),
                      pa.field("position" if lines else "tof_index", pa.float64() if lines else pa.uint32(), False),
                      pa.field("intensity", pa.float32() if lines else pa.uint32(), False), pa.field("mz", pa.float64())])


def _line_tables(source: Source) -> Iterator[Any]:
    import pyarrow as pa

    schema = _lines_schema(source)
    for frame, position, mz, intensity in source.plain_spectra():
        columns = np.full(len(mz), frame, np.int64), position.astype(schema.field(1).type.to_pandas_dtype()), intensity
        arrays = [pa.array(values) for values in columns] + [pa.array(mz, mask=np.isnan(mz))]
        yield pa.Table.from_arrays(arrays, schema=schema)


def _precursors(source: Source) -> np.ndarray:
    rows = source.analysis.precursor_table()  # type: ignore[union-attr]
    return rows[np.isin(rows["id"], source.precursors()["id"])]


def _msms_schema() -> Any:
    import pyarrow as pa

    empty = convert(np.empty(0, [(column.name, column.dtype) for column in PRECURSOR_COLUMNS]), PRECURSOR_COLUMNS, "arrow")
    return pa.schema([*empty.schema, pa.field("mzs", pa.list_(pa.float64())), pa.field("intensities", pa.list_(pa.float32()))])


def _msms_tables(source: Source) -> Iterator[Any]:
    import pyarrow as pa

    known = source.precursors()
    for batch in source.msms_batches(known["id"]):
        ids = batch["precursor"].values
        rows = known[np.searchsorted(known["id"], ids)]
        pairs = [strongest(source.plan, *pair) for pair in zip(batch["mz"], batch["intensity"])]
        offsets = np.concatenate([[0], np.cumsum([len(mz) for mz, _ in pairs])]).astype(np.int32)
        table = convert(rows, PRECURSOR_COLUMNS, "arrow")
        for name, number, dtype in (("mzs", 0, np.float64), ("intensities", 1, np.float32)):
            values = np.concatenate([np.empty(0, dtype), *(one[number] for one in pairs)], dtype=dtype)
            table = table.append_column(name, pa.ListArray.from_arrays(offsets, pa.array(values)))
        yield table
