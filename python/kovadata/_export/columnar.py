"""Parquet and Arrow files of tables, written batch by batch."""

from __future__ import annotations

import pathlib
from typing import Any, Dict, Protocol, Sequence

from .plan import Plan

# What compresses a column well without costing much time, by measurement. Within a frame, scans, 1/K0 and the frame
# itself repeat, indices ascend within a scan, and intensities are small numbers. Sorted by m/z it is indices and m/z that
# repeat, and the others are short numbers without order.
_FRAME_LAYOUT = {"frame": "dictionary", "time": "dictionary", "ms_level": "dictionary", "scan": "plain",
                 "tof_index": "DELTA_BINARY_PACKED", "intensity": "DELTA_BINARY_PACKED", "mz": "plain",
                 "one_over_k0": "plain"}
_MZ_LAYOUT = {"frame": "dictionary", "time": "dictionary", "ms_level": "dictionary", "scan": "dictionary",
              "tof_index": "DELTA_BINARY_PACKED", "intensity": "DELTA_BINARY_PACKED", "mz": "plain",
              "one_over_k0": "dictionary"}
_ZSTD_LEVELS = {"frame": -5, "mz": 1}


class Sink(Protocol):
    """Where the rows of a table go."""

    def write(self, rows: Any) -> None:
        """Writes a table of pyarrow: a row group or a batch."""

    def finish(self, metadata: Dict[str, str]) -> None:
        """Writes what comes last."""


class ParquetSink:
    """A Parquet file, a row group for each table."""

    def __init__(self, path: pathlib.Path, schema: Any, plan: Plan, sorted_by: Sequence[str]) -> None:
        from pyarrow import parquet, types

        encodings = _MZ_LAYOUT if plan.layout == "mz" else _FRAME_LAYOUT
        flat = [name for name in schema.names if plan.content == "peaks"]
        dictionary = [name for name in flat if encodings.get(name, "dictionary") == "dictionary"]
        special = {name: encodings[name] for name in flat if encodings.get(name, "plain") not in ("plain", "dictionary")
                   and types.is_integer(schema.field(name).type)}
        order = [(name, "ascending") for name in sorted_by if name in schema.names]
        self._writer = parquet.ParquetWriter(
            path, schema, compression=plan.compression, use_dictionary=dictionary if flat else True,
            compression_level=_ZSTD_LEVELS[plan.layout] if plan.compression == "zstd" else None,
            column_encoding=special or None,
            sorting_columns=parquet.SortingColumn.from_ordering(schema, order) if order else None)

    def write(self, rows: Any) -> None:
        self._writer.write_table(rows, row_group_size=max(rows.num_rows, 1))

    def finish(self, metadata: Dict[str, str]) -> None:
        self._writer.add_key_value_metadata(metadata)
        self._writer.close()


class ArrowSink:
    """An Arrow IPC file, which is what Feather is."""

    def __init__(self, path: pathlib.Path, schema: Any, plan: Plan) -> None:
        import pyarrow
        from pyarrow import ipc

        codec = None if plan.compression == "none" else plan.compression
        self._file = pyarrow.OSFile(str(path), "wb")
        self._writer = ipc.new_file(self._file, schema, options=ipc.IpcWriteOptions(compression=codec))

    def write(self, rows: Any) -> None:
        self._writer.write_table(rows)

    def finish(self, metadata: Dict[str, str]) -> None:
        self._writer.close()
        self._file.close()


def open_sink(path: pathlib.Path, schema: Any, plan: Plan, sorted_by: Sequence[str] = ()) -> Sink:
    """The file of a plan."""
    return ParquetSink(path, schema, plan, sorted_by) if plan.format == "parquet" else ArrowSink(path, schema, plan)
