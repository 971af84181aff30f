#!/usr/bin/env python3
"""What the Python package adds to the calls of the library: rows beside floors on the simulated runs of the other programs.

    KOVADATA_LIBRARY=build/bench/src/libkovarun.so PYTHONPATH=python python3 bench/python_overhead.py build/bench/bench-data RESULT.json

Writes the result as those programs do; `./dev bench --python` prints it with theirs. Times are of the process, since long
calls have a thread of their own for Ctrl-C to reach them. Rows of runs that no program has simulated yet are left out.
"""

import argparse
import ctypes
import json
import pathlib
import random
import re
import statistics
import sys
import time

import numpy as np

import kovadata
from kovadata._arrays import address
from kovadata._queries import Watch, control

DENSE, SMALL, LONG = "24x300000-type2-msms0.d", "10000x300-type2-msms8.d", "100000x300-type2-msms8.d"


def drain(analysis, name, *arguments):
    """Takes a stream of the library to its end without looking at what is in it."""
    stream = analysis._run.stream(name, *arguments)
    while stream._next() is not None:
        pass


def frame_rows(analysis, name, count):
    """Frames take turns, so that each read decompresses."""
    frames, buffer = list(analysis.frames())[:count], np.empty(1 << 24, np.uint32)
    into = kovadata.PeakBuffer()

    def bare():
        for frame in frames:
            analysis._run.call_lent("read_scans_v2", frame.id, 0, frame.num_scans, address(buffer), buffer.nbytes)

    for row, read in (("scans", lambda frame: frame.scans()), ("peaks", lambda frame: frame.peaks()),
                      ("peaks_into_buffer", lambda frame: frame.peaks(out=into))):
        yield f"python_{row}_of_{name}", count, bare, lambda read=read: [len(read(frame)) for frame in frames]


def table_rows(analysis):
    yield "python_frames_table", 1, lambda: drain(analysis, "table", 1), analysis.frame_table
    yield "python_precursors_table", 1, lambda: drain(analysis, "table", 2), analysis.precursor_table


def msms_rows(analysis):
    settings = control(Watch(), 1, "raise", 2048)
    yield ("python_msms", 1, lambda: drain(analysis, "msms", None, 0, None, 0, ctypes.addressof(settings)),
           lambda: sum(len(spectrum) for spectrum in analysis.msms(threads=1)))


def first_precursor_rows(analysis):
    """Of an analysis that was just opened, so that nothing is remembered."""
    settings, one = control(Watch(), 1, "raise", 2048), np.array([100_000])

    def first():
        with kovadata.Analysis(analysis.path) as fresh:
            list(fresh.msms(one, threads=1))

    yield "python_one_precursor", 1, lambda: drain(analysis, "msms", address(one), 1, None, 0, ctypes.addressof(settings)), first


def rows(data, opened):
    """Name, number of calls in a round, floor and what stands beside it."""
    for run, make in ((DENSE, lambda a: frame_rows(a, "dense_frame", 4)), (SMALL, lambda a: frame_rows(a, "small_frame", 500)),
                      (SMALL, table_rows), (SMALL, msms_rows), (LONG, first_precursor_rows)):
        if (data / run).exists():
            opened.append(kovadata.Analysis(data / run))
            yield from make(opened[-1])
        else:
            print(f"no {run}, which run_bench simulates", file=sys.stderr)


def entries(name, times):
    of_row = {"run_name": name, "time_unit": "us"}
    yield from ({**of_row, "run_type": "iteration", "real_time": spent} for spent in times)
    middle = statistics.median(times)
    yield {**of_row, "run_type": "aggregate", "aggregate_name": "median", "real_time": middle}
    yield {**of_row, "run_type": "aggregate", "aggregate_name": "cv", "real_time": statistics.pstdev(times) / statistics.fmean(times)}


def measure(found, repetitions):
    """Repetitions of all rows in an order of chance, so that noise hits all alike."""
    actions = {f"{name}/{role}": (calls, action) for name, calls, floor, library in found
               for role, action in (("floor", floor), ("library", library))}
    times = {name: [] for name in actions}
    for _, action in actions.values():
        action()
    for name in random.sample(repetitions * list(actions), repetitions * len(actions)):
        calls, action = actions[name]
        begin = time.process_time()
        action()
        times[name].append((time.process_time() - begin) / calls * 1e6)
    return [entry for name in actions for entry in entries(name, times[name])]


if __name__ == "__main__":
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("data", type=pathlib.Path, help="folder of simulated runs")
    parser.add_argument("result", type=pathlib.Path)
    parser.add_argument("--repetitions", type=int, default=10)
    parser.add_argument("--filter", default="", help="regular expression of names of rows")
    arguments = parser.parse_args()
    kovadata.set_num_threads(1)
    analyses = []
    wanted = [row for row in rows(arguments.data, analyses) if re.search(arguments.filter, row[0])]
    arguments.result.write_text(json.dumps({"benchmarks": measure(wanted, arguments.repetitions)}), encoding="utf-8")
