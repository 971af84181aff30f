"""What was fragmented, and what came of it."""

from __future__ import annotations

import ctypes
import dataclasses
from typing import Dict, Iterator, List, Optional, Tuple

import numpy as np

from ..._analysis import Analysis
from ..._arrays import address
from ..._queries import control
from .reading import Reading
from .spectra import Example, example, strongest_of_parts

_ISOLATIONS, _SPECTRA = 4, 0
_AT_ONCE = 1000


@dataclasses.dataclass(frozen=True)
class Msms:
    """Precursors, and the numbers that tell how they were fragmented.

    Attributes
    ----------
    precursors, spectra : int
        How many there are, and how many have a spectrum.
    charges : dict of int
        Precursors by charge number; "unknown" where the metadata do not state it.
    mz, one_over_k0, charge, time, peaks : ndarray
        Of each precursor; the last is the number of peaks of its spectrum, -1 where it has none.
    per_cycle : ndarray
        How many precursors were chosen in each survey frame.
    cycle_time : float
        Median time from survey frame to survey frame in s.
    frames_per_precursor, scans_per_isolation, per_fragment_frame : dict of int
        How often each number occurs.
    """

    precursors: int
    spectra: int
    charges: Dict[str, int]
    mz: np.ndarray
    one_over_k0: np.ndarray
    charge: np.ndarray
    time: np.ndarray
    peaks: np.ndarray
    per_cycle: np.ndarray
    cycle_time: float
    frames_per_precursor: Dict[str, int]
    scans_per_isolation: Dict[str, int]
    per_fragment_frame: Dict[str, int]


def gather_msms(reading: Reading) -> Tuple[Optional[Msms], List[Example]]:
    """The numbers with six example spectra; None where there are no precursors."""
    analysis = reading.analysis
    if not isinstance(analysis, Analysis):
        return None, []
    table = analysis.precursor_table()
    if not len(table):
        return None, []
    charges, counts = np.unique(table["charge"], return_counts=True)
    surveys = reading.surveys
    frames, scans, per_frame = _isolations(analysis)
    peaks, examples = _spectra(reading, analysis, table)
    cycles = np.diff(surveys["time"])
    return Msms(
        len(table), int((peaks >= 0).sum()),
        {str(charge) if charge else "unknown": count for charge, count in zip(charges.tolist(), counts.tolist())},
        table["mz"], table["one_over_k0"], table["charge"], table["time"], peaks,
        np.bincount(np.searchsorted(surveys["id"], table["frame"][np.isin(table["frame"], surveys["id"])]),
                    minlength=len(surveys)),
        float(np.median(cycles)) if len(cycles) else float("nan"), frames, scans, per_frame), examples


def _isolations(analysis: Analysis) -> Tuple[Dict[str, int], Dict[str, int], Dict[str, int]]:
    """How often precursors were fragmented in so many frames, isolated over so many scans, share a frame."""
    frame, precursor, begin, end = _isolation_columns(analysis, "frame", "precursor", "scan_begin", "scan_end")
    pairs = np.unique(np.column_stack([frame, precursor]), axis=0)
    return (_tally(np.unique(pairs[:, 1], return_counts=True)[1]), _tally(end - begin),
            _tally(np.unique(pairs[:, 0], return_counts=True)[1]))


def _isolation_columns(analysis: Analysis, *names: str) -> List[np.ndarray]:
    batches = list(analysis._run.stream("table", _ISOLATIONS))
    return [np.concatenate([np.empty(0, np.int64), *(batch[name].values for batch in batches)]) for name in names]


def _tally(values: np.ndarray) -> Dict[str, int]:
    numbers, counts = np.unique(values, return_counts=True)
    return {str(number): count for number, count in zip(numbers.tolist(), counts.tolist())}


def _spectra(reading: Reading, analysis: Analysis, table: np.ndarray) -> Tuple[np.ndarray, List[Example]]:
    """Number of peaks of each precursor's spectrum, and the spectra of the strongest of each sixth of the run."""
    order = np.argsort(table["time"], kind="stable")
    strength = np.nan_to_num(table["intensity"][order])
    # A charge is what a reader looks for first.
    strength[table["charge"][order] == 0] = 0
    chosen = set(table["id"][order][strongest_of_parts(strength, table["mz"][order])].tolist())
    peaks, examples = np.full(len(table), -1, np.int64), []
    frame, of = _isolation_columns(analysis, "frame", "precursor")
    ids = np.setdiff1d(table["id"][~np.isin(table["frame"], reading.broken)], of[np.isin(frame, reading.broken)])
    for precursor, mz, intensity in _read(reading, analysis, ids) if len(ids) else ():
        place = int(np.searchsorted(table["id"], precursor))
        peaks[place] = len(mz)
        if precursor in chosen:
            row = table[place]
            examples.append(example("MS/MS", int(row["frame"]), float(row["time"]), mz, intensity, precursor=precursor,
                                    precursor_mz=float(row["mz"]), charge=int(row["charge"]) or None,
                                    one_over_k0=float(row["one_over_k0"])))
    return peaks, sorted(examples, key=lambda one: one.time)


def _read(reading: Reading, analysis: Analysis, ids: np.ndarray) -> Iterator[Tuple[int, np.ndarray, np.ndarray]]:
    """The line spectra, in the order of their last frame."""
    reading.progress.begin("MS/MS spectra")
    watch = reading.watch(0, len(ids))
    wanted, settings = np.append(ids, 0), control(watch, reading.threads, "skip", _AT_ONCE)
    stream = analysis._run.stream("msms", address(wanted), len(ids), None, _SPECTRA, ctypes.addressof(settings))
    try:
        for _, columns in iter(lambda: watch.wait_for(stream.next_batch), None):
            yield from zip(columns["precursor"].values.tolist(), columns["mz"], columns["intensity"])
    finally:
        stream.close()
        reading.damaged.update(watch.damaged)
