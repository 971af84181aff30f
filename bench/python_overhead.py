#!/usr/bin/env python3
"""What the Python package adds to the calls of the library: each step beside the bare call on the same frames.

    KOVADATA_LIBRARY=build/bench/src/libkovarun.so PYTHONPATH=python python3 bench/python_overhead.py ANALYSIS...

Processor times, the smallest of many rounds, in ms per frame. Frames take turns, so that each read decompresses. Tables and MS/MS
spectra stand beside the bare streams of the library.
"""

import argparse
import ctypes
import time

import numpy as np

import kovadata
from kovadata._arrays import address
from kovadata._arrow_c import ArrowArray
from kovadata._queries import Watch, control


def best(rounds, action, clock=time.thread_time):
    """Smallest time of an action, in ms."""
    times = []
    for _ in range(rounds):
        begin = clock()
        action()
        times.append(clock() - begin)
    return 1000 * min(times)


def measure(analysis, rounds):
    frames = list(analysis.frames())[:2]
    buffer = np.empty(1 << 24, np.uint32)
    columns = kovadata.PeakBuffer()

    def bare():
        for frame in frames:
            analysis._run.call_lent("read_scans_v2", frame.id, 0, frame.num_scans, address(buffer), buffer.nbytes)

    def each(read):
        return lambda: [len(read(frame)) for frame in frames]

    steps = {
        "bare call": bare,
        "scans(out=buffer)": each(lambda frame: frame.scans(out=buffer)),
        "scans()": each(lambda frame: frame.scans()),
        "peaks(out=buffer) without m/z, 1/K0": each(lambda frame: frame.peaks(mz=False, one_over_k0=False, out=columns)),
        "peaks(out=buffer)": each(lambda frame: frame.peaks(out=columns)),
        "peaks()": each(lambda frame: frame.peaks())}
    for action in steps.values():
        action()
    times = {name: best(rounds, action) / len(frames) for name, action in steps.items()}
    peaks = sum(frame.scans().num_peaks for frame in frames) // len(frames)
    print(f"{analysis.path.name}: {peaks} peaks in {frames[0].num_scans} scans per frame")
    for name, spent in times.items():
        print(f"  {name:36} {spent:8.3f} ms  {spent / times['bare call']:6.2f}")
    for threads in (0, 1, 2):
        spent = best(max(rounds // 10, 3), lambda: [len(frame.peaks()) for frame in analysis.frames(threads=threads)],
                     time.perf_counter)
        print(f"  peaks() of frames(threads={threads}), by the clock {spent / len(analysis.frame_table()):7.3f} ms")


def drain(analysis, name, *arguments):
    """Takes a stream of the library to its end without looking at what is in it."""
    stream, batch = analysis._run.stream(name, *arguments), ArrowArray()
    while not stream.structure.get_next(stream.address, ctypes.addressof(batch)) and batch.release:
        batch.release(ctypes.addressof(batch))


def measure_run(analysis, rounds):
    """Tables and MS/MS spectra beside the library's bare streams. One precursor is asked of an analysis that knows none yet."""
    precursors = analysis.precursor_table()["id"]
    if not len(precursors):
        return
    settings, one = control(Watch(), 1, "raise", 1000), precursors[len(precursors) // 2:][:1].copy()
    at = ctypes.addressof(settings)

    def first_precursor():
        with kovadata.Analysis(analysis.path) as fresh:
            list(fresh.msms(one, threads=1))

    for name, python, bare in (
            ("frame_table()", analysis.frame_table, lambda: drain(analysis, "table", 1)),
            ("precursor_table()", analysis.precursor_table, lambda: drain(analysis, "table", 2)),
            ("msms() of one precursor", first_precursor, lambda: drain(analysis, "msms", address(one), 1, None, 0, at)),
            ("msms() of all", lambda: sum(len(spectrum) for spectrum in analysis.msms(threads=1)),
             lambda: drain(analysis, "msms", None, 0, None, 0, at))):
        # Of the process: Ctrl-C reaches long calls because they run on a thread of their own.
        spent, floor = (best(rounds, action, time.process_time) for action in (python, bare))
        print(f"  {name:36} {spent:8.1f} ms  {spent / floor:6.2f} times the stream")


if __name__ == "__main__":
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("analyses", nargs="+", metavar="ANALYSIS")
    parser.add_argument("--rounds", type=int, default=50)
    arguments = parser.parse_args()
    kovadata.set_num_threads(1)
    for path in arguments.analyses:
        with kovadata.Analysis(path) as analysis:
            measure(analysis, arguments.rounds)
            measure_run(analysis, max(arguments.rounds // 20, 1))
