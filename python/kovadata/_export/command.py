"""The command line of an export, which is that of ``kova export``."""

from __future__ import annotations

import argparse
import sys
import warnings
from typing import List, Optional, Tuple, Union

from .._command import Parser, failed
from . import export
from .plan import CONTENTS, FORMATS, UsageError

_EPILOG = """examples:
  kova export run.d -o run.parquet
  kova export run.d -o ions.parquet --layout mz --ms-level 1 --check
  kova export run.d -o run.mzML.gz
  kova export run.d -o run.mgf --top 150
"""
_UNITS = {"k": 1 << 10, "m": 1 << 20, "g": 1 << 30}


def _range(text: str) -> Tuple[Optional[float], Optional[float]]:
    low, colon, high = text.partition(":")
    if not colon:
        raise ValueError
    return (float(low) if low.strip() else None), (float(high) if high.strip() else None)


def _frames(text: str) -> List[Union[int, Tuple[int, int]]]:
    found: List[Union[int, Tuple[int, int]]] = []
    for part in text.split(","):
        first, colon, last = part.partition(":")
        found.append((int(first) if first else -2 ** 63, int(last) if last else 2 ** 63 - 1) if colon else int(first))
    return found


def _size(text: str) -> int:
    unit = _UNITS.get(text[-1:].lower(), 0)
    number = float(text[:-1] if unit else text) * (unit or 1)
    if not 0 < number < 2 ** 60:
        raise ValueError
    return int(number)


for _type, _name in ((_range, "range such as 400.5:401"), (_frames, "list of frames such as 1,3,10:20"),
                     (_size, "size such as 512M")):
    _type.__name__ = _name  # the name in messages of argparse


def _parser() -> argparse.ArgumentParser:
    parser = Parser(prog="kova export", description="Writes a run into a file that other programs read.", epilog=_EPILOG)
    add = parser.add_argument
    add("analysis", metavar="ANALYSIS", help="directory of the analysis")
    add("-o", "--output", metavar="FILE", required=True, help="file to write; its ending decides the format")
    add("--format", choices=FORMATS, help="format, if the ending does not tell it")
    add("--content", choices=CONTENTS, help="what a table has a row for (default: peaks)")
    add("--layout", choices=("frame", "mz"), help="order of the peaks in Parquet (default: frame)")
    add("--columns", metavar="A,B", type=lambda text: text.split(","), help="columns of peaks")
    add("--compression", metavar="NAME", help="zstd, lz4, snappy, zlib or none, as the format has it; numpress rounds m/z and 1/K0")
    add("--mobility", choices=("keep", "sum", "drop"), help="what becomes of the mobility (default: keep)")
    add("--frames", metavar="LIST", type=_frames, help="ids of frames, such as 1,3,10:20, ends included")
    add("--ms-level", type=int, choices=(1, 2), help="only this level")
    add("--time", metavar="A:B", type=_range, help="range of retention times in s")
    add("--mz", metavar="A:B", type=_range, help="range of m/z in Th")
    add("--k0", metavar="A:B", type=_range, help="range of 1/K0 in V s / cm^2")
    add("--min-intensity", metavar="N", type=float, default=0.0, help="least intensity of a peak")
    add("--top", metavar="N", type=int, help="no more than the N strongest peaks of an MS/MS spectrum")
    add("--raw", action="store_true", help="intensities as they were measured")
    which = parser.add_mutually_exclusive_group()
    which.add_argument("--recalibrated", action="store_true", help="use the newest complete re-calibrated state, if any")
    which.add_argument("--calibration", metavar="MODE", help="use a certain state, which must be there")
    add("--threads", metavar="N", type=int, help="threads to work with (default: all processors)")
    add("--memory", metavar="SIZE", type=_size, help="memory for what waits and is sorted (default: 512M)")
    add("--skip-damaged", action="store_true", help="leave damaged frames out and name them")
    add("--force", action="store_true", help="replace a file of that name")
    add("--check", action="store_true", help="read the file back and compare every value")
    add("--quiet", action="store_true", help="show no progress")
    return parser


def _run(options: argparse.Namespace) -> None:
    with warnings.catch_warnings():
        warnings.simplefilter("ignore")
        done = export(
            options.analysis, options.output, format=options.format, content=options.content, layout=options.layout,
            columns=options.columns, compression=options.compression, mobility=options.mobility, frames=options.frames,
            ms_level=options.ms_level, time_range=options.time, mz_range=options.mz, mobility_range=options.k0,
            min_intensity=options.min_intensity, top=options.top, recalibrated=options.recalibrated,
            calibration=options.calibration, normalized=not options.raw, threads=options.threads, memory=options.memory,
            on_damage="skip" if options.skip_damaged else "raise", force=options.force, check=options.check,
            progress=not options.quiet)
    for frame, text in done.left_out:
        sys.stderr.write(f"kova: frame {frame} left out: {text}\n")
    if options.mobility == "sum":
        sys.stderr.write("kova: the file has no mobility of survey frames: their scans were added up\n")
    unit = "rows" if done.path.suffix.lower() in (".parquet", ".arrow", ".feather") else "spectra"
    print(f"{done.path}: {done.rows} {unit}, {done.bytes} bytes" + (f"; {done.checked}" if done.checked else ""))


def main(arguments: Optional[List[str]] = None) -> int:
    """Runs the command; gives 0, or 1 after a failure. Wrong usage exits with 2."""
    parser = _parser()
    options = parser.parse_args(arguments)
    try:
        _run(options)
    except UsageError as error:
        parser.error(str(error))
    except Exception as error:
        return failed(error, with_type=True)
    return 0
