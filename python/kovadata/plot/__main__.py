"""``python3 -m kovadata.plot KIND ANALYSIS``: writes a plot to a file."""

from __future__ import annotations

from kovadata._interruption import end_when_interrupted
from kovadata.plot._output import write_file

if __name__ == "__main__":
    end_when_interrupted()  # before imports that take time

import argparse
import io
import logging
import os
import pathlib
import sys
from typing import TYPE_CHECKING, Callable, Dict, List, NamedTuple, Optional, Set, Tuple, Union

import numpy as np

import kovadata
from kovadata import plot
from kovadata._command import Parser, failed
from kovadata.plot._chromatogram import frame_values

if TYPE_CHECKING:
    from matplotlib.axes import Axes

AnyAnalysis = Union[kovadata.Analysis, kovadata.SpectrumAnalysis]

_EPILOG = """examples:
  kova plot tic run.d
  kova plot heatmap run.d --frame 1 --mz-range 400 1200 -o frame1.png
  kova plot spectrum run.d --time-range 60 90 --mobility-range 0.9 1.0
  kova plot msms run.d --precursor 3 -o fragments.pdf
"""


def _parser() -> argparse.ArgumentParser:
    parser = Parser(prog="kova plot", description="Plots what an analysis holds, into a file.", epilog=_EPILOG)
    parser.add_argument("kind", metavar="KIND", choices=list(_KINDS),
                        help="tic: total ion chromatogram; bpc: base peak chromatogram; overview: the run over time and "
                             "m/z, and over time and 1/K0; heatmap: a frame over m/z and 1/K0; mobilogram: a frame over "
                             "1/K0; spectrum: a frame, a spectrum without mobility, or the sum of a range of times over "
                             "m/z; msms: the fragments of a precursor")
    parser.add_argument("analysis", metavar="ANALYSIS", help="directory of the analysis")
    parser.add_argument("-o", "--output", metavar="FILE", help="file to write; its ending decides the format, such as "
                                                              "png, pdf or svg (default: KIND.png)")
    parser.add_argument("--frame", type=_whole, metavar="N",
                        help="id of the frame or spectrum (default: the survey frame with the highest sum); msms: "
                             "the survey frame of the precursor")
    parser.add_argument("--precursor", type=_whole, metavar="ID",
                        help="id of the precursor (default: the most intense one)")
    parser.add_argument("--mz-range", type=float, nargs=2, metavar=("A", "B"), help="only this range of m/z, in Th")
    parser.add_argument("--mobility-range", type=float, nargs=2, metavar=("A", "B"),
                        help="only this range of 1/K0, in V s / cm^2")
    parser.add_argument("--time-range", type=float, nargs=2, metavar=("A", "B"),
                        help="overview, spectrum: only frames in this range of retention times, in s")
    parser.add_argument("--form", choices=("profile", "lines"),
                        help="spectrum: which form of a spectrum without mobility (default: all that it has)")
    parser.add_argument("--recalibrated", action="store_true",
                        help="use the newest complete re-calibrated state, if there is one")
    parser.add_argument("--labels", type=_whole, metavar="N",
                        help="spectrum, msms: number of peaks to label at most (default: 12 and 20)")
    parser.add_argument("--size", type=float, nargs=2, metavar=("WIDTH", "HEIGHT"), help="size in inches")
    parser.add_argument("--dpi", type=float, default=150, metavar="N", help="dots per inch (default: 150)")
    return parser


def _whole(text: str) -> int:
    number = int(text)
    if not -2 ** 63 <= number < 2 ** 63:
        raise ValueError
    return number


def _check(parser: argparse.ArgumentParser, options: argparse.Namespace) -> None:
    for name in ("mz_range", "mobility_range", "time_range"):
        ends = getattr(options, name)
        if ends is not None:
            if not ends[0] < ends[1] or not np.isfinite(ends).all():
                parser.error(f"--{name.replace('_', '-')}: {ends[0]:g} to {ends[1]:g} is no range")
            setattr(options, name, tuple(ends))
    # An option that does nothing would let a user believe that it did.
    for name in sorted(_CHOICES - _KINDS[options.kind].takes):
        if getattr(options, name) is not None:
            parser.error(f"--{name.replace('_', '-')} does not go with {options.kind}")
    if options.frame is not None and options.time_range is not None:
        parser.error("--frame and --time-range exclude each other")
    if options.size is not None and not all(0.5 <= side <= 100 for side in options.size):
        parser.error("--size: sides must be from 0.5 to 100 inches")
    if not 10 <= options.dpi <= 2400:
        parser.error("--dpi: must be from 10 to 2400")
    if options.labels is not None and options.labels < 0:
        parser.error("--labels: must not be negative")


def _with_mobility(analysis: AnyAnalysis) -> kovadata.Analysis:
    if isinstance(analysis, kovadata.SpectrumAnalysis):
        raise kovadata.KovaError("this is an analysis without ion mobility")
    return analysis


def _number(analysis: AnyAnalysis, options: argparse.Namespace) -> int:
    """Id of the frame or spectrum that was asked for, or of the survey frame with the highest sum."""
    if options.frame is not None:
        return int(options.frame)
    table, sums = frame_values(analysis, "sum")
    surveys = np.flatnonzero(table["ms_level"] != 2)
    candidates = surveys if len(surveys) else np.arange(len(table))
    if not len(candidates):
        raise kovadata.KovaError("the analysis has no frames")
    return int(table["id"][candidates[sums[candidates].argmax()]])


def _frame(analysis: AnyAnalysis, options: argparse.Namespace) -> kovadata.Frame:
    analysis = _with_mobility(analysis)
    return analysis.frame(_number(analysis, options))


def _fragments(analysis: AnyAnalysis, options: argparse.Namespace) -> kovadata.MsmsSpectrum:
    analysis = _with_mobility(analysis)
    precursor = options.precursor
    table = analysis.precursor_table()
    if not len(table):
        raise kovadata.KovaError("the analysis has no precursors")
    if precursor is None:
        if options.frame is not None:
            table = table[table["frame"] == options.frame]
        if not len(table):
            raise kovadata.KovaError(f"no precursor was selected in frame {options.frame}")
        precursor = int(table["id"][np.nan_to_num(table["intensity"]).argmax()])
    elif precursor is not None and options.frame is not None:
        if not ((table["id"] == precursor) & (table["frame"] == options.frame)).any():
            raise kovadata.KovaError(f"precursor {precursor} was not selected in frame {options.frame}")
    for spectrum in analysis.msms([precursor]):
        return spectrum
    raise kovadata.KovaError(f"there is no precursor {precursor} with an MS/MS spectrum")


def _tic(analysis: AnyAnalysis, options: argparse.Namespace, ax: Axes) -> None:
    plot.tic(analysis, ax, mz_range=options.mz_range, mobility_range=options.mobility_range)


def _bpc(analysis: AnyAnalysis, options: argparse.Namespace, ax: Axes) -> None:
    plot.bpc(analysis, ax, mz_range=options.mz_range, mobility_range=options.mobility_range)


def _overview(analysis: AnyAnalysis, options: argparse.Namespace, ax: Axes) -> None:
    plot.overview(_with_mobility(analysis), ax, mz_range=options.mz_range, mobility_range=options.mobility_range,
                  time_range=options.time_range)


def _heatmap(analysis: AnyAnalysis, options: argparse.Namespace, ax: Axes) -> None:
    plot.heatmap(_frame(analysis, options), ax, mz_range=options.mz_range, mobility_range=options.mobility_range)


def _mobilogram(analysis: AnyAnalysis, options: argparse.Namespace, ax: Axes) -> None:
    plot.mobilogram(_frame(analysis, options), ax, mz_range=options.mz_range, mobility_range=options.mobility_range)


def _spectrum(analysis: AnyAnalysis, options: argparse.Namespace, ax: Axes) -> None:
    source: Union[kovadata.Analysis, kovadata.Frame, kovadata.Spectrum]
    if options.time_range is not None:
        source = _with_mobility(analysis)
    elif isinstance(analysis, kovadata.SpectrumAnalysis):
        source = analysis.spectrum(_number(analysis, options))
    else:
        source = _frame(analysis, options)
    plot.spectrum(source, ax, mz_range=options.mz_range, mobility_range=options.mobility_range,
                  time_range=options.time_range, form=options.form, **_labels(options))


def _msms(analysis: AnyAnalysis, options: argparse.Namespace, ax: Axes) -> None:
    plot.msms(_fragments(analysis, options), ax, mz_range=options.mz_range, name=analysis.path.name, **_labels(options))


def _labels(options: argparse.Namespace) -> Dict[str, int]:
    return {} if options.labels is None else {"labels": options.labels}


class _Kind(NamedTuple):
    """How a kind is drawn, its size in inches and which of the options that choose something it takes."""

    plotter: Callable[[AnyAnalysis, argparse.Namespace, Axes], None]
    size: Tuple[float, float]
    takes: Set[str]


_BOX = {"mz_range", "mobility_range"}
_KINDS = {
    "tic": _Kind(_tic, (9, 4), _BOX), "bpc": _Kind(_bpc, (9, 4), _BOX),
    "overview": _Kind(_overview, (9, 8), _BOX | {"time_range"}),
    "heatmap": _Kind(_heatmap, (9, 6.5), _BOX | {"frame"}), "mobilogram": _Kind(_mobilogram, (9, 4), _BOX | {"frame"}),
    "spectrum": _Kind(_spectrum, (9, 4.5), _BOX | {"frame", "time_range", "form", "labels"}),
    "msms": _Kind(_msms, (9, 4.5), {"mz_range", "frame", "precursor", "labels"})}
_CHOICES = set().union(*(kind.takes for kind in _KINDS.values()))


def _write(options: argparse.Namespace) -> None:
    try:
        import matplotlib
        from matplotlib.figure import Figure
    except ImportError as error:
        raise kovadata.KovaError(f"plots need matplotlib (pip install matplotlib): {error}") from error
    kind = _KINDS[options.kind]
    size = options.size or kind.size
    # Small pictures have small letters; documents have letters that can be searched.
    matplotlib.rcParams.update({"font.size": min(10, max(6, 2.6 * min(size))), "pdf.fonttype": 42})
    figure = Figure(figsize=size, dpi=options.dpi, layout="constrained")
    output = pathlib.Path(options.output or f"{options.kind}.png")
    form = output.suffix[1:].lower()
    if form not in figure.canvas.get_supported_filetypes():
        raise kovadata.KovaError(f"{output}: no format that can be written; try png, pdf or svg")
    with kovadata.open(options.analysis, options.recalibrated) as analysis:
        kind.plotter(analysis, options, figure.add_subplot())
    content = io.BytesIO()
    figure.savefig(content, format=form)
    write_file(output, content.getvalue())
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
        return failed(error)
    return 0


if __name__ == "__main__":
    os.environ.setdefault("MPLBACKEND", "agg")
    sys.exit(main())
