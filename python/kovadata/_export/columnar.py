"""Parquet and Arrow files of tables, written batch by batch."""

from __future__ import annotations

import inspect
import pathlib
from typing import Any, Dict, Optional, Protocol, Sequence, Tuple

from .plan import Plan

# What makes a column small without costing much time, by measurement: an encoding, and the level of zstd after it. In frames
# one after the other, scans, 1/K0 and the frame itself repeat, indices ascend within a scan, intensities are small numbers, and
# nothing but their first bytes makes m/z smaller. Sorted by m/z it is indices and m/z that repeat, frames ascend
# within an m/z, and the others are short numbers without order. Encodings are those that every reader knows: Spark reads no split bytes of integers.
_DICTIONARY, _DELTA, _SPLIT, _PLAIN = "dictionary", "DELTA_BINARY_PACKED", "BYTE_STREAM_SPLIT", "PLAIN"
_FRAME_LAYOUT = {"frame": (_PLAIN, -5), "time": (_PLAIN, -5), "ms_level": (_PLAIN, -5), "scan": (_PLAIN, 1),
                 "tof_index": (_DELTA, None), "intensity": (_DELTA, None), "mz": (_SPLIT, -200), "one_over_k0": (_PLAIN, -5)}
_MZ_LAYOUT = {"frame": (_DELTA, 1), "time": (_DICTIONARY, 1), "ms_level": (_DICTIONARY, 1), "scan": (_DICTIONARY, 1),
              "tof_index": (_DELTA, 1), "intensity": (_DELTA, None), "mz": (_PLAIN, 1), "one_over_k0": (_DICTIONARY, 1)}
# The columns whose least and greatest value tell row groups apart.
_TELLING = {"frame": ("frame", "time", "ms_level"), "mz": ("mz", "tof_index")}
# Values of a column at a time, by measurement. Pages of version 2 are put together with a copy less.
_WRITING: Dict[str, Dict[str, Any]] = {"frame": {"write_batch_size": 1 << 17, "data_page_version": "2.0"}, "mz": {"write_batch_size": 1 << 15}}
# Bytes of a page. Each is compressed with a context made for it, which asks for the kind of processor: slow in virtual machines.
_PAGES = 1 << 20
# Rows of a page. Later versions of pyarrow would begin one after 20,000 rows by themselves. Sorted by m/z, a reader leaves out pages.
_ROWS_OF_PAGES = {"frame": 1 << 20, "mz": 1 << 17}


def _encodings(schema: Any, plan: Plan) -> Dict[str, Tuple[str, Optional[int]]]:
    from pyarrow import types

    columns = _MZ_LAYOUT if plan.layout == "mz" else _FRAME_LAYOUT
    found = {name: columns.get(name, (_SPLIT, 1)) for name in schema.names}
    return {name: (_SPLIT, 1) if encoding == _DELTA and not types.is_integer(schema.field(name).type) else (encoding, level)
            for name, (encoding, level) in found.items()}


def _compression(codec: str, chosen: Dict[str, Tuple[str, Optional[int]]]) -> Dict[str, Any]:
    if codec != "zstd" or not chosen:
        return {"compression": codec}
    return {"compression": {name: "none" if level is None else "zstd" for name, (_, level) in chosen.items()},
            "compression_level": {name: level for name, (_, level) in chosen.items() if level is not None}}


def _page_limits(layout: str) -> Dict[str, int]:
    from pyarrow import parquet

    limits = {"data_page_size": _PAGES}
    if "max_rows_per_page" in inspect.signature(parquet.ParquetWriter.__init__).parameters:
        limits["max_rows_per_page"] = _ROWS_OF_PAGES[layout]
    return limits


def _open(path: pathlib.Path) -> Any:
    """The empty file that is there. Some file systems write one that was cut to nothing to the disk when it is closed."""
    import pyarrow

    return pyarrow.OSFile(str(path), "ab")


class Sink(Protocol):
    """Where the rows of a table go."""

    def write(self, rows: Any) -> None:
        """Writes a table of pyarrow: a row group or a batch."""

    def finish(self, metadata: Dict[str, str]) -> None:
        """Writes what comes last."""


class ParquetSink:
    """A Parquet file, a row group for each table."""

    def __init__(self, path: pathlib.Path, schema: Any, plan: Plan, sorted_by: Sequence[str]) -> None:
        from pyarrow import parquet

        chosen = _encodings(schema, plan) if plan.content == "peaks" else {}
        order = [(name, "ascending") for name in sorted_by if name in schema.names]
        self._file = _open(path)
        self._writer = parquet.ParquetWriter(
            self._file, schema, **(_WRITING[plan.layout] if chosen else {}),
            write_statistics=[name for name in _TELLING[plan.layout] if name in chosen] or not chosen,
            use_dictionary=[name for name, (encoding, _) in chosen.items() if encoding == _DICTIONARY] if chosen else True,
            column_encoding={name: encoding for name, (encoding, _) in chosen.items() if encoding != _DICTIONARY} or None,
            sorting_columns=parquet.SortingColumn.from_ordering(schema, order) if order else None,
            **_page_limits(plan.layout), **_compression(plan.compression, chosen))

    def write(self, rows: Any) -> None:
        self._writer.write_table(rows, row_group_size=max(rows.num_rows, 1))

    def finish(self, metadata: Dict[str, str]) -> None:
        self._writer.add_key_value_metadata(metadata)
        self._writer.close()
        self._file.close()


class ArrowSink:
    """An Arrow IPC file, which is what Feather is."""

    def __init__(self, path: pathlib.Path, schema: Any, plan: Plan) -> None:
        from pyarrow import ipc

        codec = None if plan.compression == "none" else plan.compression
        self._file = _open(path)
        self._writer = ipc.new_file(self._file, schema, options=ipc.IpcWriteOptions(compression=codec))

    def write(self, rows: Any) -> None:
        self._writer.write_table(rows)

    def finish(self, metadata: Dict[str, str]) -> None:
        self._writer.close()
        self._file.close()


def open_sink(path: pathlib.Path, schema: Any, plan: Plan, sorted_by: Sequence[str] = ()) -> Sink:
    """The file of a plan."""
    return ParquetSink(path, schema, plan, sorted_by) if plan.format == "parquet" else ArrowSink(path, schema, plan)
