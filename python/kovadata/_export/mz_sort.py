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
from typing import IO, Any, Iterator

import numpy as np

from .._queries import Watch, control, query
from .pipeline import in_order
from .source import Source
from .spectra import by_index

# By measurement: a query of DuckDB or Polars reads one or two row groups, and the list of all of them, which takes longer
# than a larger row group where there are more than some hundreds.
ROWS = 1 << 18
_MANY = 512
# A peak that is sorted is in memory as read, as a key, and in order; a thread sorts one range while another is written.
_COPIES = 3
_PLACE_BITS = 22
_FOR_TWO = 128 << 20  # with less memory, larger ranges are worth more than a second thread
_OF_CHUNKS = 8  # a chunk and its peaks in order take a quarter of the memory: fewer of them are put together faster
_PARTS_AT_ONCE = 256


class _Record:
    """How a peak is kept: columns that are always there, and those of the file, in no more bytes than they need."""

    def __init__(self, source: Source, schema: Any) -> None:
        ids, scans = source.frames["id"], source.frames["scans"]
        self.first = int(ids.min(initial=0))
        span = int(ids.max(initial=0)) - self.first
        kept = {name: schema.field(name).type.to_pandas_dtype() for name in schema.names}
        kept.update(mz="<f8", tof_index="<u4", intensity="<u4")
        if "frame" in kept:
            kept["frame"] = np.min_scalar_type(span)
        if "scan" in kept and len(scans) and 0 < scans.min() and scans.max() <= 1 << 16:
            kept["scan"] = "<u2"
        self.dtype = np.dtype(list(kept.items()))

    def fill(self, values: np.ndarray, batch: Any, begin: int) -> None:
        """Takes peaks of a batch from one on, as many as there is place for."""
        for name in batch.schema.names:
            column = batch.column(name).slice(begin, len(values))
            found = (column.fill_null(-1) if name == "ms_level" else column).to_numpy(zero_copy_only=False)
            values[name] = found - self.first if name == "frame" else found

    def table(self, values: np.ndarray, schema: Any) -> Any:
        """The columns of the file."""
        import pyarrow as pa

        def column(field: Any) -> Any:
            array = _room(len(values), np.dtype(field.type.to_pandas_dtype()))
            np.copyto(array, values[field.name], casting="unsafe")
            if field.name == "frame":
                array += self.first
            missing = (np.isnan(array) if array.dtype.kind == "f" else array == -1) if field.nullable else None
            return pa.array(array, field.type, mask=missing)

        return pa.Table.from_arrays([column(field) for field in schema], schema=schema)


def sorted_by_mz(source: Source, schema: Any) -> Iterator[Any]:
    """Tables of pyarrow of `ROWS` peaks, or up to four times as many in large runs, in the columns of the schema."""
    record = _Record(source, schema)
    memory, size = source.plan.memory, record.dtype.itemsize
    workers = min(source.plan.threads, 2 if memory > _FOR_TWO else 1)
    at_once = min(memory // (2 * workers * _COPIES * size), (1 << _PLACE_BITS) - 1)
    source.progress.begin("frames looked at")
    edges = _edges(source, at_once)
    source.progress.begin("frames dealt out")
    chunks = _chunks(source, record, max(memory // (_OF_CHUNKS * size), 1))
    ranges = _dealt_out(source, chunks, edges, record.dtype) if len(edges) else _undivided(chunks, record.dtype)
    is_large = int(source.frames["peaks"].clip(0).sum()) >= _MANY * ROWS
    larger = min(memory // _FOR_TWO, 4) if is_large else 1
    tables = in_order(ranges, lambda values: record.table(_in_order(values), schema), workers)
    yield from _row_groups(tables, ROWS * max(larger, 1))


def _room(count: int, dtype: np.dtype) -> np.ndarray:
    """An array from the memory of pyarrow, which has no gaps between what comes and goes: those of malloc took as much as all else."""
    import pyarrow as pa

    return np.frombuffer(pa.allocate_buffer(count * dtype.itemsize, resizable=False), dtype, count) if count else np.empty(0, dtype)


def _give_back() -> None:
    """Gives the system what is free, before something else is allocated in other sizes."""
    import pyarrow as pa

    pa.default_memory_pool().release_unused()
    trim = getattr(ctypes.CDLL(None), "malloc_trim", None)
    if trim is not None:
        trim(0)


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


def _chunks(source: Source, record: _Record, size: int) -> Iterator[np.ndarray]:
    """Peaks as they come, so many at a time, each time in the same place."""
    import pyarrow.compute as compute

    least, names = source.plan.min_intensity, record.dtype.names or ()
    chunk, filled = _room(size, record.dtype), 0
    for batch in source.peak_batches(names, max(min(1 << 18, size // 2), 1)):
        if least > 0:
            batch = batch.filter(compute.greater_equal(batch.column("intensity"), least))
        begin = 0
        while begin < batch.num_rows:
            count = min(batch.num_rows - begin, size - filled)
            record.fill(chunk[filled:filled + count], batch, begin)
            begin, filled = begin + count, filled + count
            if filled == size:
                yield chunk
                filled = 0
    if filled:
        yield chunk[:filled]


def _undivided(chunks: Iterator[np.ndarray], record: np.dtype) -> Iterator[np.ndarray]:
    """All peaks: few, or of one m/z, which is never divided, however many they are."""
    yield np.concatenate([np.empty(0, record), *(chunk.copy() for chunk in chunks)])


def _dealt_out(source: Source, chunks: Iterator[np.ndarray], edges: np.ndarray, record: np.dtype) -> Iterator[np.ndarray]:
    """Peaks range by range, by way of temporary files beside the output."""
    folder, parts = _folder(source.plan.output), len(edges) + 1
    with tempfile.TemporaryFile(dir=folder, prefix=".kovadata-sort-") as peaks, \
            tempfile.TemporaryFile(dir=folder, prefix=".kovadata-sort-") as counted:
        places = _deal(chunks, edges, peaks, counted)
        _give_back()
        source.progress.begin("ranges of m/z sorted")
        for part, counts in enumerate(_by_part(counted, len(places), parts)):
            yield _part(peaks, record, places, counts)
            places += counts
            source.progress.update(part + 1, parts)


def _deal(chunks: Iterator[np.ndarray], edges: np.ndarray, peaks: IO[bytes], counted: IO[bytes]) -> np.ndarray:
    """Writes each chunk in the order of the ranges, and how many of its peaks each has; gives where chunks begin."""
    starts = [0]
    dealt = np.empty(0)
    for chunk in chunks:
        dealt = dealt if len(dealt) else _room(len(chunk), chunk.dtype)
        number = np.searchsorted(edges, chunk["mz"], side="right").astype(np.uint16 if len(edges) < 1 << 16 else np.uint32)
        order = np.argsort(number, kind="stable")
        chunk.take(order, out=dealt[:len(chunk)], mode="clip")
        peaks.write(dealt[:len(chunk)].view(np.uint8).data)
        counted.write(np.bincount(number, minlength=len(edges) + 1).astype(np.uint32).data)
        starts.append(starts[-1] + len(chunk))
    peaks.flush()
    counted.flush()
    return np.array(starts[:-1], np.int64)


def _by_part(counted: IO[bytes], chunks: int, parts: int) -> Iterator[np.ndarray]:
    """Of one range after the other, how many peaks each chunk has. All of it, chunks by ranges, can be more than fits."""
    width = np.dtype(np.uint32).itemsize
    for first in range(0, parts, _PARTS_AT_ONCE):
        counts = np.empty((chunks, min(_PARTS_AT_ONCE, parts - first)), np.uint32)
        for chunk in range(chunks):
            _read(counted, counts[chunk].view(np.uint8).data, (chunk * parts + first) * width)
        yield from counts.T


def _folder(output: pathlib.Path) -> str:
    return os.path.dirname(os.path.realpath(output))


def _part(peaks: IO[bytes], record: np.dtype, places: np.ndarray, counts: np.ndarray) -> np.ndarray:
    """The peaks of one range, from all chunks."""
    values = _room(int(counts.sum()), record)
    bytes_of = values.view(np.uint8).data if len(values) else memoryview(b"")
    end = 0
    filled = np.flatnonzero(counts)
    for place, count in zip(places[filled].tolist(), counts[filled].tolist()):
        begin, end = end, end + count * record.itemsize
        _read(peaks, bytes_of[begin:end], place * record.itemsize)
    return values


def _read(file: IO[bytes], target: memoryview, place: int) -> None:
    if os.preadv(file.fileno(), [target], place) != len(target):
        raise OSError(0, "the temporary file of the sort was cut")


def _in_order(values: np.ndarray) -> np.ndarray:
    """Sorts by m/z and then by place. Mostly all frames have one calibration, and then indices are sorted, which is fastest."""
    if len(values) < 2:
        return values
    found = _room(len(values), values.dtype)
    values.take(by_index(values["tof_index"]), out=found, mode="clip")  # other modes make a copy first
    if not _ascends(found["mz"]):
        values.take(_by_keys(np.ascontiguousarray(values["mz"])), out=found, mode="clip")
    return found


def _ascends(mz: np.ndarray) -> bool:
    return not bool((mz[1:] < mz[:-1]).any())


def _by_keys(mz: np.ndarray) -> np.ndarray:
    """The order of m/z: integers that hold both m/z and place are sorted several times faster than by indirection."""
    low, high = mz.min(), mz.max()
    steps = float(1 << (63 - _PLACE_BITS))
    if len(mz) < 1 << _PLACE_BITS and high > low:
        keys = ((mz - low) * (steps / (high - low) * (1 - 1e-9))).astype(np.uint64)
        keys <<= np.uint64(_PLACE_BITS)
        keys |= np.arange(len(mz), dtype=np.uint64)
        keys.sort(kind="stable")  # equal keys do not occur: the fastest for what comes in ascending stretches
        order: np.ndarray = (keys & np.uint64((1 << _PLACE_BITS) - 1)).astype(np.intp)
        if _ascends(mz.take(order)):
            return order
    return np.argsort(mz, kind="stable")  # different m/z had the same key


def _row_groups(tables: Iterator[Any], rows: int) -> Iterator[Any]:
    import pyarrow as pa

    waiting = None
    for table in tables:
        waiting = table if waiting is None else pa.concat_tables([waiting, table])
        while waiting.num_rows >= rows:
            yield waiting.slice(0, rows)
            waiting = waiting.slice(rows)
    if waiting is not None and waiting.num_rows:
        yield waiting
