"""Peaks of a run sorted by m/z, within a memory budget.

The sum spectrum shows how peaks are spread over m/z, so they can be dealt out into ranges of about the same number
that fit into memory. Each chunk of peaks is brought into the order of the ranges and appended to one temporary file; then
range after range is read from all chunks, sorted and given out. A peak is written and read once, whatever the budget is.
Equal m/z stay in the order of frames, scans and indices.
"""

from __future__ import annotations

import ctypes
import os
import pathlib
import tempfile
from typing import IO, Any, Iterator, List

import numpy as np

from .._queries import Watch, control, query
from .source import Source

# By measurement: a query of DuckDB or Polars reads one or two row groups, and the list of all of them, which takes longer
# than a larger row group where there are more than some hundreds.
ROWS = 1 << 18
_MANY = 512
# A peak that is sorted is in memory as read, as a key, and in order.
_COPIES = 3
_PLACE_BITS = 22


def sorted_by_mz(source: Source, schema: Any) -> Iterator[Any]:
    """Tables of pyarrow of `ROWS` peaks, or four times as many in large runs, in the columns of the schema."""
    columns = tuple(dict.fromkeys([*schema.names, "mz", "intensity"]))
    record = np.dtype([(name, schema.field(name).type.to_pandas_dtype() if name in schema.names else "<f8" if name == "mz" else "<u4")
                       for name in columns])
    at_once = min(source.plan.memory // (2 * _COPIES * record.itemsize), (1 << _PLACE_BITS) - 1)
    source.progress.begin("frames looked at")
    edges = _edges(source, at_once)
    source.progress.begin("frames dealt out")
    chunks = _chunks(_records(source, record), at_once)
    ranges = _dealt_out(source, chunks, edges) if len(edges) else (_joined(list(chunks), record) for _ in range(1))
    peaks = int(source.frames["peaks"].clip(0).sum())
    yield from _row_groups(ranges, schema, ROWS if peaks < _MANY * ROWS else 4 * ROWS)


def _edges(source: Source, at_once: int) -> np.ndarray:
    """Where ranges of m/z with so many peaks at most begin, all but the first."""
    watch = Watch()
    watch.progress, watch.damaged = source.progress.update, []
    plan = source.plan
    wanted = query(source.frames["id"], mz_range=plan.mz_range, mobility_range=plan.mobility_range)
    settings = control(watch, plan.threads, "skip" if plan.skip_damaged else "raise")
    stream = source.analysis._run.stream("summed_spectrum", ctypes.addressof(wanted), ctypes.addressof(settings))
    batches = watch.wait_for(lambda: list(stream))
    mz = np.concatenate([np.empty(0), *(batch["mz"].values for batch in batches)])
    # Half of what fits: calibrations of frames differ a little from that of the sum.
    number = np.cumsum(np.concatenate([np.empty(0), *(batch["count"].values for batch in batches)])) // max(at_once // 2, 1)
    return mz[1:][np.diff(number) > 0]


def _records(source: Source, record: np.dtype) -> Iterator[np.ndarray]:
    least = source.plan.min_intensity
    for batch in source.peak_batches(record.names or (), 1 << 18):
        values = np.empty(batch.num_rows, record)
        for name in batch.schema.names:
            column = batch.column(name)
            values[name] = (column.fill_null(-1) if name == "ms_level" else column).to_numpy(zero_copy_only=False)
        yield values if least <= 0 else values[values["intensity"] >= least]


def _chunks(records: Iterator[np.ndarray], at_once: int) -> Iterator[np.ndarray]:
    waiting: List[np.ndarray] = []
    rows = 0
    for values in records:
        waiting.append(values)
        rows += len(values)
        if rows >= at_once // 2:
            yield np.concatenate(waiting)
            waiting, rows = [], 0
    if waiting:
        yield np.concatenate(waiting)


def _joined(parts: List[np.ndarray], record: np.dtype) -> np.ndarray:
    return np.concatenate([np.empty(0, record), *parts])


def _dealt_out(source: Source, chunks: Iterator[np.ndarray], edges: np.ndarray) -> Iterator[np.ndarray]:
    """Peaks range by range, by way of a temporary file beside the output."""
    with tempfile.TemporaryFile(dir=_folder(source.plan.output), prefix=".kovadata-sort-") as file:
        bounds: List[np.ndarray] = []
        record = np.dtype([])
        for chunk in chunks:
            record = chunk.dtype
            number = np.searchsorted(edges, chunk["mz"], side="right").astype(np.uint16 if len(edges) < 1 << 16 else np.uint32)
            order = np.argsort(number, kind="stable")
            chunk.take(order).tofile(file)
            bounds.append(np.concatenate([[0], np.cumsum(np.bincount(number, minlength=len(edges) + 1))]))
        starts = np.concatenate([[0], np.cumsum([bound[-1] for bound in bounds])]).astype(np.int64)
        source.progress.begin("ranges of m/z sorted")
        for part in range(len(edges) + 1):
            yield _part(file, record, starts, bounds, part)
            source.progress.update(part + 1, len(edges) + 1)


def _folder(output: pathlib.Path) -> str:
    return os.path.dirname(os.path.realpath(output))


def _part(file: IO[bytes], record: np.dtype, starts: np.ndarray, bounds: List[np.ndarray], part: int) -> np.ndarray:
    """The peaks of one range, from all chunks."""
    counts = [int(bound[part + 1] - bound[part]) for bound in bounds]
    values = np.empty(sum(counts), record)
    bytes_of = values.view(np.uint8).data if len(values) else memoryview(b"")
    end = 0
    for start, bound, count in zip(starts.tolist(), bounds, counts):
        begin, end = end, end + count
        if count:
            target = bytes_of[begin * record.itemsize:end * record.itemsize]
            if os.preadv(file.fileno(), [target], (start + int(bound[part])) * record.itemsize) != len(target):
                raise OSError(0, "the temporary file of the sort was cut")
    return values


def _in_order(values: np.ndarray) -> np.ndarray:
    """Sorts by m/z and then by place: keys of integers that hold both are sorted several times faster than by indirection."""
    mz = np.ascontiguousarray(values["mz"])
    if len(mz) < 2:
        return values
    low, high = mz.min(), mz.max()
    steps = float(1 << (63 - _PLACE_BITS))
    if len(mz) < 1 << _PLACE_BITS and high > low:
        keys = ((mz - low) * (steps / (high - low) * (1 - 1e-9))).astype(np.uint64)
        keys <<= np.uint64(_PLACE_BITS)
        keys |= np.arange(len(mz), dtype=np.uint64)
        keys.sort(kind="stable")  # equal keys do not occur: the fastest for integers of 64 bits
        order = (keys & np.uint64((1 << _PLACE_BITS) - 1)).astype(np.intp)
        mz = mz.take(order)
        if not (mz[1:] < mz[:-1]).any():
            return values.take(order)
    return values.take(np.argsort(values["mz"], kind="stable"))  # different m/z had the same key


def _row_groups(ranges: Iterator[np.ndarray], schema: Any, rows: int) -> Iterator[Any]:
    import pyarrow as pa

    left = None
    for values in ranges:
        values = _in_order(values)
        if left is not None and len(left):
            values = np.concatenate([left, values])
        whole = len(values) // rows * rows
        for begin in range(0, whole, rows):
            yield _table(pa, values[begin:begin + rows], schema)
        left = values[whole:]
    if left is not None and len(left):
        yield _table(pa, left, schema)


def _table(pa: Any, values: np.ndarray, schema: Any) -> Any:
    def column(field: Any) -> Any:
        array = np.ascontiguousarray(values[field.name])
        missing = (np.isnan(array) if array.dtype.kind == "f" else array == -1) if field.nullable else None
        return pa.array(array, field.type, mask=missing)

    return pa.Table.from_arrays([column(field) for field in schema], schema=schema)
