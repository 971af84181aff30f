"""The command line of a report, which is that of ``kova report``."""

from __future__ import annotations

import argparse
import pathlib
import sys
import warnings
from typing import List, Optional

from .._command import Parser, failed
from . import document, json_text, read_runs, report

_EPILOG = """examples:
  kova report run.d -o run.html
  kova report monday.d tuesday.d -o week.html --recalibrated
  kova report run.d --json > run.json
"""


def _threads(text: str) -> int:
    number = int(text)
    if not 1 <= number <= 0xFFFF:
        raise ValueError
    return number


_threads.__name__ = "number of threads"  # the name in messages of argparse


def _parser() -> argparse.ArgumentParser:
    parser = Parser(prog="kova report", description="Writes a report of runs into one HTML file.", epilog=_EPILOG)
    add = parser.add_argument
    add("analyses", metavar="ANALYSIS", nargs="+", help="directories of the analyses")
    add("-o", "--output", metavar="FILE", help="file to write; without it --json prints the numbers")
    add("--json", action="store_true", help="the numbers as JSON instead of the page")
    which = parser.add_mutually_exclusive_group()
    which.add_argument("--recalibrated", action="store_true", help="use the newest complete re-calibrated state, if any")
    which.add_argument("--calibration", metavar="MODE", help="use a certain state, which must be there")
    add("--threads", metavar="N", type=_threads, help="threads to work with (default: all processors)")
    add("--force", action="store_true", help="replace a file of that name")
    add("--quiet", action="store_true", help="show no progress")
    return parser


def _run(options: argparse.Namespace) -> None:
    if options.output is None:
        runs = read_runs(options.analyses, options.recalibrated, options.calibration, options.threads, not options.quiet)
        sys.stdout.write(json_text(document(runs)))
        damaged = {run.name: run.damaged for run in runs}
    else:
        with warnings.catch_warnings():
            warnings.simplefilter("ignore")
            done = report(options.analyses, options.output, recalibrated=options.recalibrated, calibration=options.calibration,
                          threads=options.threads, json=options.json, force=options.force, progress=not options.quiet)
        damaged = done.damaged
    for name, frames in damaged.items():
        for frame, text in frames.items():
            sys.stderr.write(f"kova: {name}: frame {frame} left out: {text}\n")
    if options.output is not None:
        print(f"{pathlib.Path(options.output)}: {len(done.numbers['runs'])} run{'s' * (len(done.numbers['runs']) != 1)}, "
              f"{done.bytes} bytes")


def main(arguments: Optional[List[str]] = None) -> int:
    """Runs the command; gives 0, or 1 after a failure. Wrong usage exits with 2."""
    parser = _parser()
    options = parser.parse_args(arguments)
    if options.output is None and not options.json:
        parser.error("--output is required, unless --json prints the numbers")
    try:
        _run(options)
    except Exception as error:
        return failed(error, with_type=True)
    return 0
