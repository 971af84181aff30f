#!/usr/bin/env python3
"""What engines add to the work: the same jobs by libkovarun alone, and by each engine with one worker and with two.

    ./dev engines bench [ENGINE...] [--runs N] [--frames N]

Job "map" asks each partition of a study for 1,000 chromatograms and a base peak per frame, as a user's own function; Polars and
DuckDB have no such workers. Job "sum" adds the intensities of all peaks of the engine's table. Runs are copies of a simulated one,
in the page cache. One worker has one processor, together with what the engine runs beside it, and two have two. Times are the best
of some rounds, without what it takes to start workers: seconds by the clock, and processor seconds of all processes, which other
programs on the machine disturb less.
"""

import argparse
import concurrent.futures
import contextlib
import multiprocessing
import os
import pathlib
import shutil
import subprocess
import sys
import time

import numpy as np

import kovadata
from kovadata.study import Study

PROCESSORS = sorted(os.sched_getaffinity(0))
RANGES = 300 + np.arange(1000)[:, np.newaxis] + [0.0, 0.5]


def answer(part):
    """The work of one partition; small numbers that tell whether it was done."""
    with part.open() as analysis:
        settings = {"frames": part.frames, "ms_level": None, "threads": 1}
        found = analysis.chromatograms(RANGES, **settings).intensity.sum()
        return int(found), int(analysis.chromatograms(None, reduce="max", **settings).intensity.sum())


@contextlib.contextmanager
def plain(workers):
    def one(path):
        with kovadata.Analysis(path) as analysis:
            settings = {"ms_level": None, "threads": workers}
            found = analysis.chromatograms(RANGES, **settings).intensity.sum()
            return int(found), int(analysis.chromatograms(None, reduce="max", **settings).intensity.sum())

    def total(path):
        with kovadata.Analysis(path) as analysis:
            return sum(int(batch["intensity"].sum(dtype=np.uint64)) for batch in analysis.peaks(columns=["intensity"], threads=workers))

    yield {"map": lambda runs: np.sum([one(path) for path in runs], axis=0).tolist(),
           "sum": lambda runs: sum(map(total, runs))}


@contextlib.contextmanager
def polars(workers):
    import polars

    def total(runs):
        intensity = kovadata.scan(runs, threads=workers).select(polars.col("intensity").cast(polars.UInt64).sum())
        return intensity.collect(engine="streaming").item()

    yield {"sum": total}


@contextlib.contextmanager
def duckdb(workers):
    import duckdb

    import kovadata.engines.duckdb as engine

    with duckdb.connect(config={"threads": workers}) as connection:
        def total(runs):
            engine.register(connection, "peaks", runs, threads=workers)
            return int(connection.sql("SELECT sum(intensity) FROM peaks").fetchall()[0][0])

        yield {"sum": total}


def parts_of(runs):
    return Study(runs).partitions(columns=["intensity"])


@contextlib.contextmanager
def dask(workers):
    import distributed

    import kovadata.engines.dask as engine

    with distributed.LocalCluster(n_workers=workers, threads_per_worker=1, dashboard_address=":0") as cluster, \
            distributed.Client(cluster) as client:
        client.wait_for_workers(workers)
        yield {"map": lambda runs: np.sum(client.gather(client.map(answer, parts_of(runs), pure=False)), axis=0).tolist(),
               "sum": lambda runs: int(engine.read_peaks(runs, columns=["intensity"]).intensity.sum().compute())}


@contextlib.contextmanager
def ray(workers):
    import ray

    import kovadata.engines.ray as engine

    ray.init(num_cpus=workers, include_dashboard=False, log_to_driver=False, logging_level="ERROR")
    ray.data.DataContext.get_current().enable_progress_bars = False
    task = ray.remote(answer)
    yield {"map": lambda runs: np.sum(ray.get([task.remote(part) for part in parts_of(runs)]), axis=0).tolist(),
           "sum": lambda runs: int(engine.read_peaks(runs, columns=["intensity"]).sum("intensity"))}
    ray.shutdown()


@contextlib.contextmanager
def spark(workers):
    from pyspark.sql import SparkSession, functions

    import kovadata.engines.spark as engine

    os.environ["PYSPARK_PYTHON"] = sys.executable
    session = SparkSession.builder.master(f"local[{workers}]").config("spark.ui.enabled", "false").getOrCreate()
    session.sparkContext.setLogLevel("OFF")
    engine.register(session)

    def mapped(runs):
        parts = parts_of(runs)
        return np.sum(session.sparkContext.parallelize(parts, len(parts)).map(answer).collect(), axis=0).tolist()

    def total(runs):
        peaks = session.read.format("kovadata").option("columns", "intensity").load(runs)
        return int(peaks.agg(functions.sum("intensity")).first()[0])

    yield {"map": mapped, "sum": total}
    session.stop()


ENGINES = {"plain": plain, "polars": polars, "duckdb": duckdb, "dask": dask, "ray": ray, "spark": spark}


def prepared(arguments):
    """The runs, of which all but the first are copies; they are read once, so that they are in the page cache."""
    arguments.work.mkdir(parents=True, exist_ok=True)
    first = arguments.work / f"{arguments.frames}.d"
    if not first.exists():
        subprocess.run([os.environ["KOVA_SIMULATE"], first, "--frames", str(arguments.frames), "--peaks-per-frame",
                        "300000", "--msms-per-ms1", "0", "--seed", "1", "--quiet"], check=True)
    runs = [first, *(arguments.work / f"{arguments.frames}-{number}.d" for number in range(1, arguments.runs))]
    for run in runs:
        if not run.exists():
            shutil.copytree(first, run)
        (run / "analysis.kvd_bin").read_bytes()
    return [str(run) for run in runs]


def processor_time():
    """Seconds of this process and all below it."""
    spent, parents = {}, {}
    for stat in pathlib.Path("/proc").glob("[0-9]*/stat"):
        with contextlib.suppress(OSError):
            fields = stat.read_text().rpartition(")")[2].split()
            parents[int(stat.parent.name)], spent[int(stat.parent.name)] = int(fields[1]), int(fields[11]) + int(fields[12])

    def is_below(process):
        while process not in (0, os.getpid()):
            process = parents.get(process, 0)
        return process != 0

    return sum(time for process, time in spent.items() if is_below(process)) / os.sysconf("SC_CLK_TCK")


def measured_apart(*arguments):
    """In a process of its own: engines keep the threads that they began with."""
    with concurrent.futures.ProcessPoolExecutor(1, multiprocessing.get_context("spawn")) as pool:
        return pool.submit(measure, *arguments).result()


def measure(name, workers, runs, rounds, wanted):
    """Of each job the best time by the clock and of processors, after a first round that warms up on one run; what it found."""
    os.sched_setaffinity(0, PROCESSORS[:workers])
    with ENGINES[name](workers) as jobs:
        measured = {}
        for name, job in jobs.items():
            if name not in wanted:
                continue
            job(runs[:1])
            spent = []
            for _ in range(rounds):
                begin = time.perf_counter(), processor_time()
                found = job(runs)
                spent.append((time.perf_counter() - begin[0], processor_time() - begin[1]))
            measured[name] = (*np.min(spent, axis=0), found)
    return measured


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("engines", nargs="*", default=list(ENGINES)[1:], metavar="ENGINE", help=", ".join(list(ENGINES)[1:]))
    parser.add_argument("--work", type=pathlib.Path, required=True, help="folder for the runs")
    parser.add_argument("--runs", type=int, default=10)
    parser.add_argument("--frames", type=int, default=100, help="of 300,000 peaks in each run")
    parser.add_argument("--rounds", type=int, default=2)
    parser.add_argument("--jobs", nargs="+", default=["map", "sum"], choices=["map", "sum"])
    arguments = parser.parse_args()
    runs = prepared(arguments)
    stored = sum(part.bytes for part in parts_of(runs))
    peaks = sum(part.rows for part in parts_of(runs))
    floor = {workers: measured_apart("plain", workers, runs, arguments.rounds, arguments.jobs) for workers in (1, 2)}
    print(f"{len(runs)} runs, {stored / 1e6:.0f} MB of frames, {peaks / 1e6:.0f} million peaks")
    print("| engine | job | 1 worker | 2 workers | scaling | million peaks/s | processor time | over libkovarun |")
    print("|---|---|---:|---:|---:|---:|---:|---:|")
    for name in ("plain", *arguments.engines):
        both = {workers: floor[workers] if name == "plain" else measured_apart(name, workers, runs, arguments.rounds, arguments.jobs)
                for workers in (1, 2)}
        for job, (one, processors, found) in both[1].items():
            two = both[2][job][0]
            assert found == both[2][job][2] == floor[1][job][2], f"{name}: another result of {job}"
            print(f"| {name} | {job} | {one:.2f} s | {two:.2f} s | {one / two:.2f} | {peaks / two / 1e6:.0f} | {processors:.2f} s "
                  f"| {processors / floor[1][job][1] - 1:+.0%} |", flush=True)
    for job, (_, processors, _) in floor[1].items():
        print(f"libkovarun, {job}: {stored / processors / 1e6:.0f} MB/s per core, {processors / stored * 1e12:.0f} core-seconds per TB")


if __name__ == "__main__":
    main()
