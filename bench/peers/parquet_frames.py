"""Parquet: a row group per frame with the columns scan, index and intensity, compressed with zstd."""

import json
import pathlib
from collections.abc import Iterable

import pyarrow
import pyarrow.parquet

from peer import Format, Frame

SCHEMA = pyarrow.schema([(name, pyarrow.uint32()) for name in Frame._fields])


def write(path: pathlib.Path, frames: Iterable[tuple[int, Frame]], **encoding) -> None:
    ids = []
    with pyarrow.parquet.ParquetWriter(path, SCHEMA, compression="zstd", **encoding) as file:
        for frame_id, frame in frames:
            ids.append(frame_id)
            file.write_table(pyarrow.table(list(frame), schema=SCHEMA), row_group_size=max(1, len(frame.scan)))
        file.add_key_value_metadata({"frames": json.dumps(ids)})


def write_delta(path: pathlib.Path, frames: Iterable[tuple[int, Frame]]) -> None:
    write(path, frames, use_dictionary=False,
          column_encoding={"scan": "DELTA_BINARY_PACKED", "index": "DELTA_BINARY_PACKED",
                           "intensity": "BYTE_STREAM_SPLIT"})


class ParquetReader:
    def __init__(self, path: pathlib.Path) -> None:
        self.file = pyarrow.parquet.ParquetFile(path)
        ids = json.loads(self.file.metadata.metadata[b"frames"])
        self.row_groups = {frame_id: group for group, frame_id in enumerate(ids)}

    def read(self, frame_id: int) -> Frame:
        table = self.file.read_row_group(self.row_groups[frame_id], use_threads=False)
        return Frame(*(table.column(name).to_numpy() for name in Frame._fields))


FORMATS = [Format("Parquet, zstd", ".parquet", ParquetReader, write),
           Format("Parquet, zstd over deltas", ".delta.parquet", ParquetReader, write_delta)]
