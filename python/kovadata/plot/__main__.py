"""``python3 -m kovadata.plot KIND ANALYSIS``: writes a plot to a file."""

from __future__ import annotations

import argparse
import logging
import os
import pathlib
import sys
from typing import TYPE_CHECKING, Callable, Dict, List, NoReturn, Optional, Tuple, Union

import numpy as np

import kovadata
from kovadata import plot

if TYPE_CHECKING:
    from matplotlib.axes import Axes

AnyAnalysis = Union[kovadata.Analysis, kovadata.SpectrumAnalysis]

_EPILOG = """examples:
  kova plot tic run.d
  kova plot heatmap run.d --frame 1 --mz-range 400 1200 -o frame1.png
  kova plot msms run.d --precursor 3 -o spectrum.pdf
"""


class _Parser(argparse.ArgumentParser):
    def error(self, message: str) -> NoReturn:
        sys.stderr.write(f"kova: {message}\ntry: {self.prog} --help\n")
        sys.exit(2)


def _parser() -> argparse.ArgumentParser:
    parser = _Parser(prog="kova plot", description="Plots what an analysis holds, into a file.", epilog=_EPILOG,
                     formatter_class=argparse.RawDescriptionHelpFormatter, allow_abbrev=False)
    parser.add_argument("kind", metavar="KIND", choices=list(_KINDS),
                        help="tic: total ion chromatogram; heatmap: a frame over m/z and 1/K0; mobilogram: a frame over "
                             "1/K0; msms: the fragments of a precursor")
    parser.add_argument("analysis", metavar="ANALYSIS", help="directory of the analysis")
    parser.add_argument("-o", "--output", metavar="FILE", help="file to write; its ending tells the format, such as "
                                                              "png, pdf or svg (default: KIND.png)")
    parser.add_argument("--frame", type=_whole, metavar="N",
                        help="id of the frame (default: the survey frame with the highest sum); msms: the survey "
                             "frame of the precursor")
    parser.add_argument("--precursor", type=_whole, metavar="ID",
                        help="id of the precursor (default: the most intense one)")
    parser.add_argument("--mz-range", type=float, nargs=2, metavar=("A", "B"), help="only this range of m/z, in Th")
    parser.add_argument("--mobility-range", type=float, nargs=2, metavar=("A", "B"),
                        help="only this range of 1/K0, in V s / cm^2")
    parser.add_argument("--recalibrated", action="store_true",
                        help="use the newest complete re-calibrated state, if there is one")
    parser.add_argument("--labels", type=_whole, default=20, metavar="N",
                        help="msms: number of peaks to label at most (default: 20)")
    parser.add_argument("--size", type=float, nargs=2, metavar=("WIDTH", "HEIGHT"), help="size in inches")
    parser.add_argument("--dpi", type=float, default=150, metavar="N", help="dots per inch (default: 150)")
    return parser


def _whole(text: str) -> int:
    number = int(text)
    if not -2 ** 63 <= number < 2 ** 63:
        raise ValueError
    return number


def _check(parser: argparse.ArgumentParser, options: argparse.Namespace) -> None:
    for name in ("mz_range", "mobility_range"):
        ends = getattr(options, name)
        if ends is not None:
            if not ends[0] < ends[1] or not np.isfinite(ends).all():
                parser.error(f"--{name.replace('_', '-')}: {ends[0]:g} to {ends[1]:g} is no range")
            setattr(options, name, tuple(ends))
    # An option that does nothing would let a user believe that it did.
    unused = {"tic": ("frame", "precursor"), "heatmap": ("precursor",), "mobilogram": ("precursor",),
              "msms": ("mobility_range",)}
    for name in unused[options.kind]:
        if getattr(options, name) is not None:
            parser.error(f"--{name.replace('_', '-')} does not go with {options.kind}")
    if options.size is not None and not all(0.5 <= side <= 100 for side in options.size):
        parser.error("--size: sides must be from 0.5 to 100 inches")
    if not 10 <= options.dpi <= 2400:
        parser.error("--dpi: must be from 10 to 2400")
    if options.labels < 0:
        parser.error("--labels: must not be negative")


def _with_mobility(analysis: AnyAnalysis) -> kovadata.Analysis:
    if isinstance(analysis, kovadata.SpectrumAnalysis):
        raise kovadata.KovaError("this is an analysis without ion mobility")
    return analysis


def _frame(analysis: AnyAnalysis, options: argparse.Namespace) -> kovadata.Frame:
    analysis = _with_mobility(analysis)
    if options.frame is not None:
        return analysis.frame(options.frame)
    table = analysis.frame_table(complete=True)
    surveys = table[table["ms_level"] != 2]
    candidates = surveys if len(surveys) else table
    if not len(candidates):
        raise kovadata.KovaError("the analysis has no frames")
    return analysis.frame(int(candidates["id"][candidates["intensity_sum"].argmax()]))


def _spectrum(analysis: AnyAnalysis, options: argparse.Namespace) -> kovadata.MsmsSpectrum:
    analysis = _with_mobility(analysis)
    precursor = options.precursor
    table = analysis.precursor_table()
    if precursor is None and len(table):
        if options.frame is not None:
            table = table[table["frame"] == options.frame]
        if not len(table):
            raise kovadata.KovaError(f"no precursor was selected in frame {options.frame}")
        precursor = int(table["id"][np.nan_to_num(table["intensity"]).argmax()])
    elif precursor is not None and options.frame is not None:
        if not ((table["id"] == precursor) & (table["frame"] == options.frame)).any():
            raise kovadata.KovaError(f"precursor {precursor} was not selected in frame {options.frame}")
    for spectrum in analysis.msms([precursor or 0]):
        return spectrum
    raise kovadata.KovaError(f"there is no precursor {precursor} with an MS/MS spectrum")


def _tic(analysis: AnyAnalysis, options: argparse.Namespace, ax: Axes) -> None:
    plot.tic(analysis, ax, mz_range=options.mz_range, mobility_range=options.mobility_range)


def _heatmap(analysis: AnyAnalysis, options: argparse.Namespace, ax: Axes) -> None:
    plot.heatmap(_frame(analysis, options), ax, mz_range=options.mz_range, mobility_range=options.mobility_range)


def _mobilogram(analysis: AnyAnalysis, options: argparse.Namespace, ax: Axes) -> None:
    plot.mobilogram(_frame(analysis, options), ax, mz_range=options.mz_range, mobility_range=options.mobility_range)


def _msms(analysis: AnyAnalysis, options: argparse.Namespace, ax: Axes) -> None:
    plot.msms(_spectrum(analysis, options), ax, mz_range=options.mz_range, labels=options.labels,
              name=analysis.path.name)


_Plotter = Callable[[AnyAnalysis, argparse.Namespace, "Axes"], None]
_KINDS: Dict[str, Tuple[_Plotter, Tuple[float, float]]] = {
    "tic": (_tic, (9, 4)), "heatmap": (_heatmap, (9, 6.5)), "mobilogram": (_mobilogram, (9, 4)),
    "msms": (_msms, (9, 4.5))}


def _write(options: argparse.Namespace) -> None:
    try:
        from matplotlib.figure import Figure
    except ImportError as error:
        raise kovadata.KovaError(f"plots need matplotlib (pip install matplotlib): {error}") from error
    plotter, size = _KINDS[options.kind]
    figure = Figure(figsize=options.size or size, dpi=options.dpi)
    with kovadata.open(options.analysis, options.recalibrated) as analysis:
        plotter(analysis, options, figure.add_subplot())
    output = pathlib.Path(options.output or f"{options.kind}.png")
    if output.suffix[1:].lower() not in figure.canvas.get_supported_filetypes():
        raise kovadata.KovaError(f"{output}: no format that can be written; try png, pdf or svg")
    figure.savefig(output, bbox_inches="tight")
    if not options.output:
        print(f"{output} written")  # a name that the user did not choose


def main(arguments: Optional[List[str]] = None) -> int:
    """Runs the command; gives 0, or 1 after a failure. Wrong usage exits with 2."""
    # Such as that it makes a cache of fonts; standard error is for failures.
    logging.getLogger("matplotlib").setLevel(logging.ERROR)
    parser = _parser()
    options = parser.parse_args(arguments)
    _check(parser, options)
    try:
        _write(options)
    except Exception as error:
        text = " ".join(str(error).split()) or type(error).__name__
        sys.stderr.write(f"kova: {text}\n")
        return 1
    return 0


if __name__ == "__main__":
    os.environ.setdefault("MPLBACKEND", "agg")
    sys.exit(main())
