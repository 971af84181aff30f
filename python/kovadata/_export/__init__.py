"""Exports of analyses to files that other programs read.

A plan says what is asked for, a source reads it, a writer per format puts it into a staged file, and a check reads that back
with a parser that shares no code with the writer.
"""

from __future__ import annotations

import contextlib
import dataclasses
import importlib
import os
import pathlib
import warnings
from typing import Callable, Dict, Iterable, Iterator, List, Optional, Sequence, Tuple, Union

from .._base import BaseAnalysis
from .._errors import DamageWarning, KovaError
from .._opening import kind_of_analysis
from .._queries import Range
from .plan import DOCUMENTS, LISTS, TABLES, Plan, UsageError, make_plan
from .progress import Progress
from .source import AnyAnalysis, Source
from .staging import Staged

_NEEDED = {"parquet": ("pyarrow",), "arrow": ("pyarrow",), "mzml": ("psims",), "mzmlb": ("psims", "h5py", "hdf5plugin")}
_NEEDED_BY_CHECK = {"parquet": ("duckdb",), "arrow": ("duckdb", "polars"), "mzml": ("pymzml", "lxml", "psims"),
                    "mzmlb": ("pyteomics", "h5py", "hdf5plugin"), "mgf": ("pyteomics",), "ms2": ("pyteomics",)}
# What compressions of mzML need besides, and what reads them back.
_NEEDED_BY_CODEC = {"numpress": ("pynumpress",), "zstd": ("pyarrow",)}
_READ_BY_CODEC = {"numpress": ("pyteomics",), "zstd": ("pyteomics", "zstandard")}


@dataclasses.dataclass(frozen=True)
class Exported:
    """What `kovadata.export` wrote.

    Attributes
    ----------
    path : pathlib.Path
        The file.
    rows : int
        Number of rows of a table, or of spectra.
    bytes : int
        Size of the file.
    left_out : list of (int, str)
        Ids of damaged frames that were left out, and what is wrong with them.
    checked : str
        What was compared with the analysis, empty without a check.
    """

    path: pathlib.Path
    rows: int
    bytes: int
    left_out: List[Tuple[int, str]]
    checked: str


def export(run: Union[str, "os.PathLike[str]", AnyAnalysis], output: Union[str, "os.PathLike[str]"], *,
           format: Optional[str] = None, content: Optional[str] = None, layout: Optional[str] = None,
           columns: Optional[Sequence[str]] = None, compression: Optional[str] = None, mobility: Optional[str] = None,
           frames: Union[None, int, Iterable[Union[int, Tuple[int, int]]]] = None, ms_level: Optional[int] = None,
           time_range: Range = None, mz_range: Range = None, mobility_range: Range = None, min_intensity: float = 0,
           top: Optional[int] = None, recalibrated: bool = False, calibration: Optional[str] = None,
           normalized: bool = True, threads: Optional[int] = None, memory: Optional[int] = None,
           on_damage: str = "raise", force: bool = False, check: bool = False, progress: bool = False) -> Exported:
    """Writes an analysis, or a part of it, into a file that other programs read.

    The file appears under its name when it is complete.

    Parameters
    ----------
    run : path-like, Analysis or SpectrumAnalysis
        The analysis, or its directory.
    output : path-like
        The file; its ending decides the format: ``.parquet``, ``.arrow`` or ``.feather``, ``.mzML`` or ``.mzML.gz``,
        ``.mzMLb``, ``.mgf``, ``.ms2``.
    format : {"parquet", "arrow", "mzml", "mzmlb", "mgf", "ms2"}, optional
        The format, if the ending does not tell it.
    content : {"peaks", "frames", "precursors", "msms"}, optional
        What a table has a row for, peaks by default. ``"msms"`` has a row per precursor, with its spectrum in lists.
    layout : {"frame", "mz"}, optional
        Order of peaks in Parquet: frame by frame, or sorted by m/z, which makes queries of an m/z fast.
    columns : sequence of str, optional
        Columns of peaks, out of those of `Analysis.peaks`; all but ``time`` and ``ms_level`` by default.
    compression : str, optional
        Parquet: ``"zstd"`` (the default), ``"lz4"``, ``"snappy"`` or ``"none"``; Arrow: ``"zstd"``, ``"lz4"`` or ``"none"``;
        mzML: ``"zlib"``, ``"zstd"``, ``"none"``, or ``"numpress"``, which rounds m/z and 1/K0 to millionths; mzMLb:
        ``"zlib"`` or ``"none"``.
    mobility : {"keep", "sum", "drop"}, optional
        ``"sum"`` adds the scans of survey frames up in mzML and mzMLb; ``"drop"`` allows columns without mobility.
    frames : int, or iterable of int or (int, int), optional
        Ids of frames, or first and last ids of stretches; of survey frames, where MS/MS spectra are concerned.
    ms_level : int, optional
        1 or 2: only frames, or spectra, of this level.
    time_range, mz_range, mobility_range : (float, float), optional
        Retention times in s, m/z in Th, 1/K0 in V s / cm^2, ends included. Of an MS/MS spectrum, time and 1/K0 are those
        of its precursor, and the m/z are those of its peaks.
    min_intensity : float
        The least intensity of a peak.
    top : int, optional
        So many peaks of an MS/MS spectrum at most, the strongest.
    recalibrated, calibration
        As for `Analysis`, if `run` is a path.
    normalized : bool
        Whether intensities of frames are normalised as the analysis asks for.
    threads : int, optional
        How many threads work; the processors that the process may use by default.
    memory : int, optional
        Bytes that the export may use for what waits and what is sorted; 512 MiB by default, 96 MiB at least.
    on_damage : {"raise", "skip"}
        Whether a damaged frame is an error, or is left out, listed in the result and in a `DamageWarning`.
    force : bool
        Whether to replace a file of that name.
    check : bool
        Whether to read the file back, with a parser that shares no code with the writer, and compare every value with the
        analysis before the file gets its name.
    progress : bool
        Whether to show a progress bar where standard error is a terminal.

    Returns
    -------
    Exported

    Raises
    ------
    ValueError
        The arguments do not go together, or would do nothing.
    KovaError
        The analysis cannot be read, the file cannot be written, the format cannot hold what the analysis has, a package is
        missing, or the check found a difference.

    Examples
    --------
    >>> kovadata.export("run.d", "run.parquet")
    >>> kovadata.export("run.d", "ions.parquet", layout="mz", ms_level=1, check=True)
    >>> kovadata.export("run.d", "run.mgf", top=150)
    """
    plan = make_plan(output, format=format, content=content, layout=layout, columns=columns, compression=compression,
                     mobility=mobility, frames=frames, ms_level=ms_level, time_range=time_range, mz_range=mz_range,
                     mobility_range=mobility_range, min_intensity=min_intensity, top=top, normalized=normalized,
                     threads=threads, memory=memory, on_damage=on_damage)
    _require(_packages(plan, check))
    bar = Progress("frames", progress)
    staged = Staged(plan.output, force)
    with _opened(run, recalibrated, calibration, plan) as analysis, staged as stage, contextlib.closing(bar):
        source = Source(analysis, plan, bar)
        _refuse_contents(source)
        rows = _writer(plan)(source, stage)
        checked = _check(source, stage) if check else ""
        size = stage.stat().st_size
        staged.publish()
    if source.damaged:
        listed = "; ".join(f"{frame} ({text})" for frame, text in sorted(source.damaged)[:20])
        warnings.warn(f"damaged frames were left out: {listed}", DamageWarning, stacklevel=2)
    return Exported(plan.output, rows, size, sorted(source.damaged), checked)


@contextlib.contextmanager
def _opened(run: Union[str, "os.PathLike[str]", AnyAnalysis], recalibrated: bool, calibration: Optional[str],
            plan: Plan) -> Iterator[AnyAnalysis]:
    if isinstance(run, BaseAnalysis):
        if recalibrated or calibration is not None:
            raise UsageError("the calibration of an open analysis is chosen")
        yield run
        return
    folder = pathlib.Path(os.fsdecode(run))
    with kind_of_analysis(folder)._opened_later(os.path.abspath(folder), recalibrated, calibration) as analysis:
        analysis._run.memory_budget = plan.memory // 4
        yield analysis


def _packages(plan: Plan, check: bool) -> Tuple[str, ...]:
    codec = plan.compression if plan.format == "mzml" else ""
    needed = _NEEDED.get(plan.format, ()) + _NEEDED_BY_CODEC.get(codec, ())
    return needed + _NEEDED_BY_CHECK[plan.format] + _READ_BY_CODEC.get(codec, ()) if check else needed


def _require(packages: Iterable[str]) -> None:
    missing = []
    for name in packages:
        try:
            importlib.import_module(name)
        except ImportError:
            missing.append(name)
    if missing:
        raise KovaError(f"this export needs {' and '.join(missing)} (pip install {' '.join(missing)})")


def _refuse_contents(source: Source) -> None:
    plan = source.plan
    if source.has_mobility or plan.format in LISTS:
        return
    if plan.content in ("precursors", "msms") or plan.mobility_range is not None or plan.mobility == "sum":
        raise KovaError("this is an analysis without ion mobility")


def _writer(plan: Plan) -> Callable[[Source, pathlib.Path], int]:
    if plan.format in TABLES:
        from .tables import write_table

        return write_table
    if plan.format in LISTS:
        from .peak_lists import write_list

        return write_list
    if plan.format == "mzmlb":
        from .mzmlb import write_mzmlb

        return write_mzmlb
    from .mzml import write_mzml

    return write_mzml


def _check(source: Source, stage: pathlib.Path) -> str:
    source.progress.begin("frames compared")
    if source.plan.format in TABLES:
        from .check_tables import check_table

        return check_table(source, stage)
    from .check_spectra import check_spectra

    return check_spectra(source, stage)
