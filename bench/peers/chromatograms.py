#!/usr/bin/env python3
"""Chromatograms of 1,000 ions and of one, by the library and by those who ask a copy of the peaks in Parquet.

The copies hold frame, m/z and intensity with row group statistics, one sorted by frame, one by m/z. Each way runs in a process of
its own on one processor and on two, opens its file again, and must find the same sums. Times are by the clock, the fastest round.
"""

import argparse
import json
import os
import pathlib
import subprocess
import sys
import time
import zlib
from collections.abc import Callable

import numpy
import pyarrow
import pyarrow.parquet

import kovadata

LOW = 200.0 + 1.2 * numpy.arange(1000)
RANGES = numpy.column_stack([LOW, LOW * (1 + 20e-6)])
ROWS_PER_GROUP = 1 << 17

Sums = numpy.ndarray  # a row per ion, a column per frame
Rows = tuple[numpy.ndarray, numpy.ndarray, numpy.ndarray]  # ion, frame and sum where there is one


def by_library(analysis: pathlib.Path, ranges: numpy.ndarray, threads: int) -> Sums:
    with kovadata.Analysis(analysis) as run:
        return run.chromatograms(ranges, ms_level=None, threads=threads).intensity


def by_numpy(analysis: pathlib.Path, ranges: numpy.ndarray, threads: int) -> Sums:
    """Frame by frame: sorted by m/z, an ion is the difference of two running sums."""
    columns = []
    with kovadata.Analysis(analysis) as run:
        for frame in run.frames(threads=threads):
            peaks = frame.peaks(one_over_k0=False)
            order = numpy.argsort(peaks.mz)
            sums = numpy.zeros(len(order) + 1, numpy.uint64)
            numpy.cumsum(peaks.intensity[order], out=sums[1:])
            mz = peaks.mz[order]
            columns.append(sums[numpy.searchsorted(mz, ranges[:, 1], "right")] - sums[numpy.searchsorted(mz, ranges[:, 0])])
    return numpy.array(columns).T


def by_duckdb(peaks: pathlib.Path, ranges: numpy.ndarray, threads: int) -> Rows:
    import duckdb

    database = duckdb.connect(config={"threads": threads})
    if len(ranges) == 1:
        found = database.execute("SELECT 0 AS ion, frame, sum(intensity)::UBIGINT FROM read_parquet(?) WHERE mz BETWEEN ? AND ? "
                                 "GROUP BY frame", [str(peaks), *ranges[0].tolist()])
    else:
        ions = pyarrow.table({"ion": numpy.arange(len(ranges)), "low": ranges[:, 0], "high": ranges[:, 1]})
        database.register("ions", ions)
        found = database.execute("SELECT ion, frame, sum(intensity)::UBIGINT FROM read_parquet(?) JOIN ions "
                                 "ON mz BETWEEN low AND high GROUP BY ion, frame", [str(peaks)])
    return tuple(found.fetchnumpy().values())


def by_polars(peaks: pathlib.Path, ranges: numpy.ndarray, threads: int) -> Rows:
    import polars  # takes its number of threads from the environment

    table, mz = polars.scan_parquet(peaks), polars.col("mz")
    if len(ranges) == 1:
        inside = table.filter(mz.is_between(*ranges[0].tolist())).with_columns(ion=polars.lit(0))
    else:
        ions = polars.LazyFrame({"ion": numpy.arange(len(ranges)), "low": ranges[:, 0], "high": ranges[:, 1]})
        inside = table.join_where(ions, mz >= polars.col("low"), mz <= polars.col("high"))
    found = inside.group_by("ion", "frame").agg(polars.col("intensity").cast(polars.UInt64).sum()).collect()
    return tuple(column.to_numpy() for column in found)


WAYS: dict[str, tuple[str, Callable]] = {
    "libkovarun": ("", by_library), "numpy on frames": ("", by_numpy),
    "DuckDB, sorted by frame": (".by-frame.parquet", by_duckdb), "DuckDB, sorted by m/z": (".by-mz.parquet", by_duckdb),
    "Polars, sorted by frame": (".by-frame.parquet", by_polars), "Polars, sorted by m/z": (".by-mz.parquet", by_polars)}


def dense(found: Sums | Rows, ions: int, frames: int) -> Sums:
    if isinstance(found, numpy.ndarray):
        return numpy.ascontiguousarray(found)
    sums = numpy.zeros((ions, frames), numpy.uint64)
    sums[found[0], found[1] - 1] = found[2]  # simulated runs count frames from 1
    return sums


def measure(way: str, path: str, frames: int, threads: int, rounds: int) -> None:
    """Prints the fastest time for 1,000 ions and for one in s, and checksums."""
    os.sched_setaffinity(0, sorted(os.sched_getaffinity(0))[:threads])
    for ranges in (RANGES, RANGES[500:501]):
        times = []
        for _ in range(rounds):
            begin = time.perf_counter()
            found = WAYS[way][1](pathlib.Path(path), ranges, threads)
            times.append(time.perf_counter() - begin)
        print(min(times), zlib.crc32(dense(found, len(ranges), frames)))


def write_copies(analysis: pathlib.Path, stem: pathlib.Path) -> tuple[int, int]:
    with kovadata.Analysis(analysis) as run:
        table = run.peaks(columns=["frame", "mz", "intensity"]).table("arrow")
        frames = len(run.frame_table())
    for suffix, rows in ((".by-frame.parquet", table), (".by-mz.parquet", table.sort_by("mz"))):
        pyarrow.parquet.write_table(rows, f"{stem}{suffix}", compression="zstd", row_group_size=ROWS_PER_GROUP)
    return frames, len(table)


def compare(analysis: pathlib.Path, work: pathlib.Path, rounds: int) -> None:
    stem = work / analysis.name
    frames, peaks = write_copies(analysis, stem)
    print(f"\n{analysis.name}: {frames} frames, {peaks} peaks\n\n| way | MB on disk | 1,000 ions, one thread | two threads | "
          "one ion, one thread | two threads |\n|---|---:|---:|---:|---:|---:|")
    expected = None
    for way, (suffix, _) in WAYS.items():
        path = pathlib.Path(f"{stem}{suffix}") if suffix else analysis
        cells = []
        for threads in (1, 2):
            output = subprocess.run([sys.executable, __file__, "--measure", json.dumps([way, str(path), frames, threads, rounds])],
                                    check=True, text=True, stdout=subprocess.PIPE,
                                    env={**os.environ, "POLARS_MAX_THREADS": str(threads)}).stdout.split()
            expected = expected or output[1::2]
            assert output[1::2] == expected, f"{way}: other sums"
            cells.append(output[0::2])
        size = sum(file.stat().st_size for file in ([path] if path.is_file() else path.iterdir())) / 1e6
        print(f"| {way} | {size:.1f} | {' | '.join(f'{float(cells[t][i]):.3f} s' for i in (0, 1) for t in (0, 1))} |", flush=True)


def main() -> None:
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--measure", type=json.loads, help=argparse.SUPPRESS)
    parser.add_argument("--work", type=pathlib.Path, help="folder for the copies")
    parser.add_argument("--rounds", type=int, default=5)
    parser.add_argument("analyses", type=pathlib.Path, nargs="*", help="simulated runs")
    arguments = parser.parse_args()
    if arguments.measure:
        measure(*arguments.measure)
        return
    arguments.work.mkdir(parents=True, exist_ok=True)
    for analysis in arguments.analyses:
        compare(analysis, arguments.work, arguments.rounds)


if __name__ == "__main__":
    main()
