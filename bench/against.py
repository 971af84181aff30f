#!/usr/bin/env python3
"""Compares two builds of the benchmarks: they take turns, and rows that are slower by more than a tenth are measured again.

Exits with 1 for those that are slower by more than a tenth both times, in the median as well as at best. One run of a
machine that others share says little: turns spread what disturbs them over both builds.
"""

import argparse
import collections
import json
import os
import pathlib
import re
import statistics
import subprocess
import sys
import tempfile

ALLOWED = 1.10

Times = dict[str, list[float]]  # of each row, in nanoseconds, an entry per repetition


def run(program: pathlib.Path, data: pathlib.Path, rows: str, arguments: argparse.Namespace) -> Times:
    """Rows of the library in one run of one program; its floors only tell about the machine."""
    with tempfile.NamedTemporaryFile(suffix=".json") as result:
        subprocess.run([str(program), f"--benchmark_filter={rows}", f"--benchmark_repetitions={arguments.repetitions}",
                        "--benchmark_enable_random_interleaving=true", f"--benchmark_min_time={arguments.min_time}",
                        f"--benchmark_out={result.name}", "--benchmark_out_format=json"],
                       check=True, env={**os.environ, "KOVADATA_BENCH_DATA": str(data)}, stdout=subprocess.DEVNULL)
        text = pathlib.Path(result.name).read_text(encoding="utf-8")
    times: Times = collections.defaultdict(list)
    scale = {"ns": 1.0, "us": 1e3, "ms": 1e6, "s": 1e9}
    for entry in json.loads(text).get("benchmarks", []) if text else []:
        if entry.get("run_type") == "iteration":
            times["/".join(entry["run_name"].split("/")[:2])].append(entry["real_time"] * scale[entry["time_unit"]])
    return times


def take_turns(program: str, rows: str, turns: int, arguments: argparse.Namespace) -> tuple[Times, Times]:
    builds = (arguments.old, arguments.new)
    both: tuple[Times, Times] = (collections.defaultdict(list), collections.defaultdict(list))
    for turn in range(turns):
        for which in (0, 1) if turn % 2 == 0 else (1, 0):
            found = run(builds[which] / "bench" / program, arguments.new / "bench-data", rows, arguments)
            for row, times in found.items():
                both[which][row] += times
    return both


def slower(old: list[float], new: list[float]) -> tuple[float, float]:
    return statistics.median(new) / statistics.median(old), min(new) / min(old)


def compare(program: str, rows: str, turns: int, arguments: argparse.Namespace) -> list[str]:
    """Prints a line per row and returns those that are too slow."""
    old, new = take_turns(program, rows, turns, arguments)
    too_slow = []
    for row in (row for row in new if row in old):
        median, best = slower(old[row], new[row])
        suspect = min(median, best) > ALLOWED
        print(f"{row:48} {statistics.median(old[row]) / 1e6:11.4f} ms {statistics.median(new[row]) / 1e6:11.4f} ms "
              f"{median:7.2f} {best:7.2f}{'  SLOWER' if suspect else ''}", flush=True)
        if suspect:
            too_slow.append(row)
    return too_slow


def main() -> int:
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--old", type=pathlib.Path, required=True, help="build folder of what to compare with")
    parser.add_argument("--new", type=pathlib.Path, required=True, help="build folder of what is compared")
    parser.add_argument("--turns", type=int, default=3, help="of each build; twice as many when a row is measured again")
    parser.add_argument("--repetitions", type=int, default=5, help="in each turn")
    parser.add_argument("--min-time", type=float, default=0.06, help="seconds per repetition")
    parser.add_argument("--filter", default="/library", help="regular expression of benchmark names")
    parser.add_argument("programs", nargs="*", help="names of programs to run; all that both have by default")
    arguments = parser.parse_args()
    arguments.old, arguments.new = arguments.old.resolve(), arguments.new.resolve()
    names = arguments.programs or sorted(file.stem for file in pathlib.Path(__file__).parent.glob("*_bench.cpp")
                                         if (arguments.old / "bench" / file.stem).exists())
    print(f"{'row':48} {'before':>14} {'now':>14} {'median':>7} {'at best':>7}")
    suspects = {name: rows for name in names if (rows := compare(name, arguments.filter, arguments.turns, arguments))}
    if suspects:
        print("\nmeasured again")
    failed = []
    for name, rows in suspects.items():
        again = "^(" + "|".join(map(re.escape, rows)) + ")(/|$)"
        failed += compare(name, again, 2 * arguments.turns, arguments)
    print(f"{len(failed)} rows are slower by more than {ALLOWED - 1:.0%}")
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main())
