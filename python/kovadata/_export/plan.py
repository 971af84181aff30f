"""What is to be exported and how: the arguments of an export, checked before anything is read."""

from __future__ import annotations

import dataclasses
import os
import pathlib
from typing import Iterable, List, NoReturn, Optional, Sequence, Tuple, Union

from .._queries import Range, pair

PEAK_COLUMNS = ("frame", "time", "ms_level", "scan", "tof_index", "intensity", "mz", "one_over_k0")
USUAL_COLUMNS = ("frame", "scan", "tof_index", "intensity", "mz", "one_over_k0")
MOBILITY_COLUMNS = ("scan", "one_over_k0")
TABLES, DOCUMENTS, LISTS = ("parquet", "arrow"), ("mzml", "mzmlb"), ("mgf", "ms2")
FORMATS = TABLES + DOCUMENTS + LISTS
ENDINGS = {".parquet": "parquet", ".pq": "parquet", ".arrow": "arrow", ".feather": "arrow", ".ipc": "arrow", ".mzml": "mzml",
           ".mzml.gz": "mzml", ".mzmlb": "mzmlb", ".mgf": "mgf", ".ms2": "ms2"}
COMPRESSIONS = {"parquet": ("zstd", "lz4", "snappy", "none"), "arrow": ("zstd", "lz4", "none"),
                "mzml": ("zlib", "zstd", "numpress", "none"), "mzmlb": ("zlib", "none")}
CONTENTS = ("peaks", "frames", "precursors", "msms")
# The programs themselves need some 200 MB besides.
USUAL_MEMORY, LEAST_MEMORY = 512 << 20, 96 << 20


class UsageError(ValueError):
    """Arguments that make no sense together."""


@dataclasses.dataclass(frozen=True)
class Plan:
    """The arguments of `kovadata.export`, with what was left out filled in."""

    output: pathlib.Path
    format: str
    content: str
    layout: str
    columns: Tuple[str, ...]
    compression: str
    mobility: str
    frames: Optional[Tuple[Tuple[int, int], ...]]
    ms_level: Optional[int]
    time_range: Range
    mz_range: Range
    mobility_range: Range
    min_intensity: float
    top: Optional[int]
    normalized: bool
    threads: int
    memory: int
    skip_damaged: bool

    @property
    def is_compressed_whole(self) -> bool:
        """Whether the file is compressed as a whole."""
        return self.output.name.lower().endswith(".gz")

    @property
    def is_about_peaks(self) -> bool:
        """Whether frames are read, rather than tables or MS/MS spectra only."""
        return self.format in DOCUMENTS or (self.format in TABLES and self.content == "peaks")


def format_of(output: pathlib.Path) -> str:
    """The format that the ending of a name asks for."""
    name = output.name.lower()
    for ending, found in sorted(ENDINGS.items(), key=lambda item: -len(item[0])):
        if name.endswith(ending):
            return found
    raise UsageError(f"{output}: the ending names no format; --format is one of {', '.join(FORMATS)}")


def make_plan(output: Union[str, "os.PathLike[str]"], *, format: Optional[str], content: Optional[str],
              layout: Optional[str], columns: Optional[Sequence[str]], compression: Optional[str], mobility: Optional[str],
              frames: Union[None, int, Iterable[Union[int, Tuple[int, int]]]], ms_level: Optional[int], time_range: Range,
              mz_range: Range, mobility_range: Range, min_intensity: float, top: Optional[int], normalized: bool,
              threads: Optional[int], memory: Optional[int], on_damage: str) -> Plan:
    """Checks the arguments. Options that would do nothing are refused: a user would believe that they did."""
    path = pathlib.Path(os.fsdecode(output))
    chosen = format or format_of(path)
    if chosen not in FORMATS:
        raise UsageError(f"--format: {chosen!r} is none of {', '.join(FORMATS)}")
    _only_for(TABLES, chosen, ("--content", content), ("--layout", layout), ("--columns", columns))
    kind = content or "peaks"
    _one_of("--content", kind, CONTENTS)
    _one_of("--layout", layout or "frame", ("frame", "mz"))
    usual = COMPRESSIONS.get(chosen, ("none",))
    if compression is not None:
        _one_of("--compression", compression, usual)
    plan = Plan(path, chosen, kind, layout or "frame", _columns(columns), compression or usual[0], mobility or "keep",
                _stretches(frames), ms_level, time_range, mz_range, mobility_range, float(min_intensity), top, normalized,
                _positive("--threads", threads) or _processors(),
                USUAL_MEMORY if memory is None else max(memory, LEAST_MEMORY), on_damage == "skip")
    _one_of("on_damage", on_damage, ("raise", "skip"))
    _one_of("--ms-level", ms_level, (None, 1, 2))
    _positive("--top", top)
    for name, limits in (("--time", time_range), ("--mz", mz_range), ("--k0", mobility_range)):
        low, high = pair(name, limits)
        if not low <= high:
            raise UsageError(f"{name}: {low:g} to {high:g} is no range")
    _refuse_what_does_nothing(plan, layout, columns, mobility)
    _refuse_loss_of_mobility(plan, columns)
    return plan


def _refuse_what_does_nothing(plan: Plan, layout: Optional[str], columns: Optional[Sequence[str]],
                              mobility: Optional[str]) -> None:
    whole = f"--content {plan.content}" if plan.format in TABLES else plan.format
    has_peaks = plan.format not in TABLES or plan.content in ("peaks", "msms")
    has_spectra = plan.format not in TABLES or plan.content == "msms"
    for name, is_used, value in (
            ("--layout", plan.content == "peaks", layout), ("--columns", plan.content == "peaks", columns),
            ("--mobility", plan.is_about_peaks, mobility), ("--mz", has_peaks, plan.mz_range),
            ("--min-intensity", has_peaks, plan.min_intensity or None), ("--top", has_spectra, plan.top),
            ("--k0", has_peaks or plan.content == "precursors", plan.mobility_range), ("--raw", plan.is_about_peaks, None if plan.normalized else True),
            ("--ms-level", plan.is_about_peaks or plan.content == "frames", plan.ms_level)):
        if value is not None and not is_used:
            raise UsageError(f"{name} does not go with {whole}")
    if plan.layout == "mz" and plan.format == "arrow":
        raise UsageError("--layout mz is for Parquet, whose statistics find the rows of an m/z")


def _refuse_loss_of_mobility(plan: Plan, columns: Optional[Sequence[str]]) -> None:
    choices = {"keep": FORMATS, "sum": DOCUMENTS, "drop": TABLES}
    _one_of("--mobility", plan.mobility, tuple(choices))
    if plan.format not in choices[plan.mobility]:
        raise UsageError(f"--mobility {plan.mobility} does not go with {plan.format}")
    has_mobility = any(name in plan.columns for name in MOBILITY_COLUMNS)
    if columns is not None and plan.mobility == "keep" and not has_mobility:
        raise UsageError("--columns: without scan and one_over_k0 the mobility is lost; --mobility drop if that is meant")
    if plan.mobility == "drop" and (columns is None or has_mobility):
        raise UsageError("--mobility drop needs --columns without scan and one_over_k0")


def _only_for(formats: Tuple[str, ...], chosen: str, *options: Tuple[str, object]) -> None:
    for name, value in options:
        if value is not None and chosen not in formats:
            raise UsageError(f"{name} does not go with {chosen}")


def _one_of(name: str, value: object, choices: Sequence[object]) -> None:
    if value not in choices:
        raise UsageError(f"{name}: {value!r} is none of {', '.join(str(one) for one in choices)}")


def _columns(columns: Optional[Sequence[str]]) -> Tuple[str, ...]:
    if columns is None:
        return USUAL_COLUMNS
    if isinstance(columns, str) or not columns:
        _no_columns()
    for name in columns:
        if name not in PEAK_COLUMNS:
            _no_columns()
    return tuple(name for name in PEAK_COLUMNS if name in columns)


def _no_columns() -> NoReturn:
    raise UsageError(f"--columns must be a list of some of {', '.join(PEAK_COLUMNS)}")


def _stretches(frames: Union[None, int, Iterable[Union[int, Tuple[int, int]]]]) -> Optional[Tuple[Tuple[int, int], ...]]:
    if frames is None:
        return None
    listed: List[Tuple[int, int]] = []
    for one in [frames] if isinstance(frames, int) else frames:
        first, last = (one, one) if not isinstance(one, tuple) else one
        listed.append((int(first), int(last)))
    return tuple(listed)


def _positive(name: str, value: Optional[int]) -> Optional[int]:
    if value is not None and value < 1:
        raise UsageError(f"{name}: {value} is not a whole number from 1")
    return value


def _processors() -> int:
    try:
        return max(len(os.sched_getaffinity(0)), 1)
    except AttributeError:
        return os.cpu_count() or 1
