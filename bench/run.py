#!/usr/bin/env python3
"""Runs the benchmark programs and prints, per path, the ratio of the library's median time to its floor's in the same run,
and that of the fastest repetitions ("at best"), which tells how much of it is noise of the machine.

Then what memory it takes. Values that miss their target in targets.json are marked and counted. Raw results are kept under
bench/results/.
"""

import argparse
import datetime
import json
import math
import os
import pathlib
import subprocess
import sys

HERE = pathlib.Path(__file__).resolve().parent
NANOSECONDS = {"ns": 1.0, "us": 1e3, "ms": 1e6, "s": 1e9}


def data_environment(arguments: argparse.Namespace) -> dict:
    return {**os.environ, "KOVADATA_BENCH_DATA": str(arguments.build / "bench-data")}


def run_program(program: pathlib.Path, arguments: argparse.Namespace, result: pathlib.Path) -> list[dict]:
    command = [str(program), f"--benchmark_repetitions={arguments.repetitions}",
               "--benchmark_enable_random_interleaving=true", f"--benchmark_min_time={arguments.min_time}",
               f"--benchmark_out={result}", "--benchmark_out_format=json"]
    if arguments.filter:
        wanted = f"--benchmark_filter={arguments.filter}"
        if not subprocess.run([str(program), wanted, "--benchmark_list_tests"], capture_output=True, check=True).stdout:
            return []
        command.append(wanted)
    subprocess.run(command, check=True, env=data_environment(arguments), stdout=subprocess.DEVNULL)
    return json.loads(result.read_text(encoding="utf-8")).get("benchmarks", [])


def run_python(arguments: argparse.Namespace, result: pathlib.Path) -> list[dict]:
    """Rows of the Python package, on runs that the programs have simulated."""
    command = [str(arguments.python), str(HERE / "python_overhead.py"), str(arguments.build / "bench-data"), str(result),
               f"--repetitions={min(arguments.repetitions, 10)}", f"--filter={arguments.filter or ''}"]
    library = next((arguments.build / "src").glob("libkovarun.so"))
    subprocess.run(command, check=True,
                   env={**os.environ, "KOVADATA_LIBRARY": str(library), "PYTHONPATH": str(HERE.parent / "python")})
    return json.loads(result.read_text(encoding="utf-8"))["benchmarks"]


def medians(benchmarks: list[dict]) -> dict[str, dict[str, dict]]:
    paths: dict[str, dict[str, dict]] = {}
    for entry in benchmarks:
        if entry.get("aggregate_name") == "median":
            path, role = entry["run_name"].split("/")[:2]
            paths.setdefault(path, {})[role] = entry
    return paths


def spread(benchmarks: list[dict], path: str, role: str) -> float:
    return next((entry["real_time"] for entry in benchmarks
                 if entry["run_name"].split("/")[:2] == [path, role] and entry.get("aggregate_name") == "cv"), 0.0)


def fastest(benchmarks: list[dict], path: str, role: str) -> float:
    return min((entry["real_time"] for entry in benchmarks
                if entry.get("run_type") == "iteration" and entry["run_name"].split("/")[:2] == [path, role]), default=math.nan)


def against_target(target: dict, ratio: float, library: float, floor: float) -> tuple[str, bool]:
    """What is wanted of a row, and whether it misses it; times in nanoseconds."""
    if "target_us" in target:
        return f"{target['target_us']}us", library > 1e3 * target["target_us"]
    if "target_ns_more" in target:
        return f"+{target['target_ns_more']}ns", library - floor > target["target_ns_more"]
    return str(target.get("target", "")), ratio > target.get("target", math.inf)


def report(benchmarks: list[dict], targets: dict) -> int:
    missed = 0
    print(f"{'path':36} {'floor':>12} {'library':>12} {'ratio':>7} {'target':>7} {'spread':>7} {'at best':>7}")
    for path, roles in medians(benchmarks).items():
        if "floor" not in roles or "library" not in roles:
            continue
        floor, library = roles["floor"], roles["library"]
        ratio = library["real_time"] / floor["real_time"]
        unit = library["time_unit"]
        wanted, miss = against_target(targets.get(path, {}), ratio, NANOSECONDS[unit] * library["real_time"],
                                      NANOSECONDS[unit] * floor["real_time"])
        missed += miss
        others = "".join(f"  {role} {library['real_time'] / entry['real_time']:.2f}" for role, entry in roles.items()
                         if role not in ("floor", "library"))
        print(f"{path:36} {floor['real_time']:9.3f} {unit} {library['real_time']:9.3f} {unit} {ratio:7.2f} "
              f"{wanted:>7} {spread(benchmarks, path, 'library'):6.1%} "
              f"{fastest(benchmarks, path, 'library') / fastest(benchmarks, path, 'floor'):7.2f}"
              f"{others}{'  MISSED' if miss else ''}")
    return missed


def report_memory(program: pathlib.Path, environment: dict, targets: dict) -> int:
    """Each use in a process of its own; sizes are what it adds to the process before it."""
    missed = 0
    print(f"\n{'memory':36} {'measured':>12} {'target':>7}")
    for use in ("open", "dense", "precursors"):
        output = subprocess.run([str(program), use], check=True, env=environment, capture_output=True, text=True).stdout
        for name, value in json.loads(output).items():
            target = targets[name]["target"]
            miss = value > target
            missed += miss
            print(f"{name:36} {value:12.1f} {target:>7}{'  MISSED' if miss else ''}")
    return missed


def main() -> None:
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--build", type=pathlib.Path, required=True, help="build folder of the bench preset")
    parser.add_argument("--repetitions", type=int, default=30, help="in an order of chance, so that noise hits all alike")
    parser.add_argument("--min-time", type=float, default=0.06, help="seconds per repetition")
    parser.add_argument("--filter", help="regular expression of benchmark names")
    parser.add_argument("--python", type=pathlib.Path, help="Python with numpy: the package is measured too")
    parser.add_argument("programs", nargs="*", help="names of programs to run; all by default")
    arguments = parser.parse_args()
    arguments.build = arguments.build.resolve()
    results = HERE / "results"
    results.mkdir(exist_ok=True)
    stamp = datetime.datetime.now().strftime("%Y%m%d-%H%M%S")
    names = arguments.programs or sorted(file.stem for file in HERE.glob("*_bench.cpp"))
    benchmarks = []
    for name in names:
        benchmarks += run_program(arguments.build / "bench" / name, arguments, results / f"{stamp}-{name}.json")
    if arguments.python:
        benchmarks += run_python(arguments, results / f"{stamp}-python.json")
    if not benchmarks:
        sys.exit(f"no row of {', '.join(names)} fits the filter {arguments.filter}")
    targets = json.loads((HERE / "targets.json").read_text(encoding="utf-8"))
    missed = report(benchmarks, targets)
    if not arguments.programs and not arguments.filter:
        missed += report_memory(arguments.build / "bench" / "memory_report", data_environment(arguments), targets)
    print(f"\n{missed} targets are missed")


if __name__ == "__main__":
    main()
