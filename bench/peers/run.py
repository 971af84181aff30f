#!/usr/bin/env python3
"""What would a user do instead? Reads the same frames as three arrays from an analysis and from common file formats.

Every format must return the same arrays before anything is timed. Times are processor time of the whole process: the files are
in the page cache, so that is what an idle machine takes, and a busy one changes it little. The formats take turns; a random
frame is the median of all such reads, all frames the fastest round. The peaks are those of kova_read_scans_v2(), all numbers
32-bit unsigned.
"""

import argparse
import ctypes
import os
import pathlib
import random
import statistics
import subprocess
import sys
import time
import zlib
from collections.abc import Callable

import hdf5plugin
import numpy

import hdf5_frames
import mzml_frames
import parquet_frames
from kovadata_frames import KovadataReader
from peer import Format, Frame, Reader

FORMATS = parquet_frames.FORMATS + hdf5_frames.FORMATS + mzml_frames.FORMATS
BYTES_PER_PEAK = 12
M_TRIM_THRESHOLD, M_MMAP_THRESHOLD = -1, -3  # of malloc.h


class Measurement:
    def __init__(self, name: str, size: int, reader: Reader) -> None:
        self.name, self.size, self.reader = name, size, reader
        self.frame_ms: list[float] = []
        self.total_ms: list[float] = []

    def run_round(self, ordered: list[int], shuffled: list[int]) -> None:
        self.frame_ms += [milliseconds(lambda: self.reader.read(frame_id)) for frame_id in shuffled]
        self.total_ms.append(milliseconds(lambda: self.read_all(ordered)))

    def read_all(self, frame_ids: list[int]) -> None:
        for frame_id in frame_ids:
            self.reader.read(frame_id)


def milliseconds(work: Callable[[], object]) -> float:
    begin = time.process_time_ns()
    work()
    return (time.process_time_ns() - begin) / 1e6


def keep_freed_memory() -> None:
    """Else a read takes page faults or not, depending on what other formats allocated before it."""
    c_library = ctypes.CDLL(None)
    c_library.mallopt(M_MMAP_THRESHOLD, 32 << 20)
    c_library.mallopt(M_TRIM_THRESHOLD, 1 << 30)


def size_of(path: pathlib.Path) -> int:
    return sum(file.stat().st_size for file in path.iterdir()) if path.is_dir() else path.stat().st_size


def check_equal(name: str, frames: dict[int, Frame], reader: Reader) -> None:
    for frame_id, frame in frames.items():
        for field, expected, read in zip(Frame._fields, frame, reader.read(frame_id), strict=True):
            assert read.dtype == numpy.uint32 and numpy.array_equal(read, expected), f"{name}: {field} of frame {frame_id}"


def prepare(form: Format, frames: dict[int, Frame], stem: pathlib.Path) -> Measurement:
    path = stem.with_name(stem.name + form.suffix)
    form.write(path, frames.items())
    reader = form.open(path)
    check_equal(form.name, frames, reader)
    return Measurement(form.name, size_of(path), reader)


def run_native(program: pathlib.Path, arguments: argparse.Namespace, analysis: pathlib.Path, kovadata: KovadataReader,
               frames: dict[int, Frame], stem: pathlib.Path) -> list[tuple[str, int, float, float]]:
    """From C++; the filters of the HDF5 files are those that were used to write them."""
    files = [stem.with_name(stem.name + form.suffix) for form in hdf5_frames.FORMATS]
    keys = "".join(f"{frame_id} {scans}\n" for frame_id, scans in kovadata.scans.items())
    output = subprocess.run([str(program), str(arguments.rounds), str(analysis), *map(str, files)], input=keys, text=True,
                            check=True, stdout=subprocess.PIPE,
                            env={**os.environ, "HDF5_PLUGIN_PATH": hdf5plugin.PLUGINS_PATH}).stdout
    expected = 0
    for frame in frames.values():
        for values in frame:
            expected = zlib.crc32(values, expected)
    rows = []
    names = ["kovadata"] + [form.name for form in hdf5_frames.FORMATS]
    for name, path, line in zip(names, [analysis] + files, output.splitlines(), strict=True):
        frame_ms, seconds, checksum = line.split()
        assert int(checksum) == expected, f"{name} from C++: other peaks"
        rows.append((f"{name} (C++)", size_of(path), float(frame_ms), 1e3 * float(seconds)))
    return rows


def print_rows(rows: list[tuple[str, int, float, float]], peaks: int) -> None:
    """The first row is what the others are held against."""
    _, _, base_frame, base_total = rows[0]
    for name, size, frame_ms, total_ms in rows:
        print(f"| {name:32} | {size / 1e6:8.2f} | {frame_ms:8.3f} | {frame_ms / base_frame:5.2f} "
              f"| {peaks / total_ms / 1e3:8.1f} | {BYTES_PER_PEAK * peaks / total_ms / 1e3:6.0f} "
              f"| {total_ms / base_total:5.2f} |")


def compare(arguments: argparse.Namespace, analysis: pathlib.Path) -> None:
    kovadata = KovadataReader(arguments.library, analysis)
    frames = {frame_id: kovadata.read(frame_id) for frame_id in kovadata.scans}
    peaks = sum(len(frame.scan) for frame in frames.values())
    stem = arguments.work / analysis.name
    measurements = [Measurement("kovadata", size_of(analysis), kovadata)]
    measurements += [prepare(form, frames, stem) for form in FORMATS]
    shuffled = list(frames)
    packed_ms = []
    for _ in range(arguments.rounds):
        random.shuffle(shuffled)
        for measurement in measurements:
            measurement.run_round(list(frames), shuffled)
        packed_ms += [milliseconds(lambda: kovadata.read_packed(frame_id)) for frame_id in shuffled]
    print(f"\n{analysis.name}: {len(frames)} frames, {peaks} peaks; kovadata as packed, without numpy: "
          f"{statistics.median(packed_ms):.3f} ms per frame\n")
    print("| format | MB on disk | ms per random frame | ratio | all frames, million peaks/s | MB/s | ratio |")
    print("|---|---:|---:|---:|---:|---:|---:|")
    print_rows([(m.name, m.size, statistics.median(m.frame_ms), min(m.total_ms)) for m in measurements],
               peaks)
    if arguments.native and arguments.native.exists():
        print_rows(run_native(arguments.native, arguments, analysis, kovadata, frames, stem), peaks)
    kovadata.close()


def main() -> int:
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--library", type=pathlib.Path, required=True, help="libkovadata.so")
    parser.add_argument("--native", type=pathlib.Path, help="the program native_frames, for the comparison from C++")
    parser.add_argument("--work", type=pathlib.Path, required=True, help="folder for the files of the other formats")
    parser.add_argument("--rounds", type=int, default=20)
    parser.add_argument("analyses", type=pathlib.Path, nargs="+", help="analysis directories with ion mobility")
    arguments = parser.parse_args()
    arguments.work.mkdir(parents=True, exist_ok=True)
    random.seed(1)
    keep_freed_memory()
    for analysis in arguments.analyses:
        compare(arguments, analysis)
    return 0


if __name__ == "__main__":
    sys.exit(main())
