#!/usr/bin/env python3
"""What the Python package adds to the calls of the library: each step beside the bare call on the same frames.

    KOVADATA_LIBRARY=build/bench/src/libkovarun.so PYTHONPATH=python python3 bench/python_overhead.py ANALYSIS...

Processor times of the thread, the smallest of many rounds, in ms per frame. Frames take turns, so that each read decompresses.
"""

import argparse
import time

import numpy as np

import kovadata
from kovadata._arrays import address


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


if __name__ == "__main__":
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("analyses", nargs="+", metavar="ANALYSIS")
    parser.add_argument("--rounds", type=int, default=50)
    arguments = parser.parse_args()
    kovadata.set_num_threads(1)
    for path in arguments.analyses:
        with kovadata.Analysis(path) as analysis:
            measure(analysis, arguments.rounds)
