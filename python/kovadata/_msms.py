"""MS/MS spectra of precursors."""

from __future__ import annotations

import ctypes
import dataclasses
from typing import TYPE_CHECKING, Any, Callable, Dict, Iterator, List, Optional, Tuple, Union

import numpy as np

from ._arrays import address, require_out
from ._errors import BufferTooSmall
from ._frame import nan_without_calibration
from ._library import LineCallback, ProfileCallback
from ._precursors import Precursor, batches

if TYPE_CHECKING:
    from ._analysis import Analysis

# Spectra of a call wait until it is over. A larger batch reads fewer frames twice, those at its ends.
_BATCH = 1000


@dataclasses.dataclass(frozen=True, eq=False, repr=False)
class MsmsSpectrum:
    """The MS/MS line spectrum of a precursor, summed over all its frames.

    Attributes
    ----------
    precursor : Precursor
        What the metadata say about the precursor.
    mz : ndarray of float64, shape (n,)
        m/z of each peak in Th, in the order of their time-of-flight indices.
    intensity : ndarray of float32, shape (n,)
        Intensity of each peak in counts: the largest bin at its apex.
    """

    precursor: Precursor
    mz: np.ndarray
    intensity: np.ndarray

    def __len__(self) -> int:
        return len(self.mz)

    def __repr__(self) -> str:
        return f"<kovadata.MsmsSpectrum: {len(self)} peaks of precursor {self.precursor.id}>"


@dataclasses.dataclass(frozen=True, eq=False, repr=False)
class MsmsProfile:
    """The MS/MS profile of a precursor, summed over all its frames. Only bins other than 0 are kept.

    Attributes
    ----------
    precursor : Precursor
        What the metadata say about the precursor.
    bins : int
        Number of bins of the whole profile.
    tof_index : ndarray of uint32, shape (n,)
        Time-of-flight index of each bin other than 0.
    intensity : ndarray of int32, shape (n,)
        Intensity of each of these bins in counts; sums wrap in 32 bits.
    mz : ndarray of float64, shape (n,)
        m/z of each of these bins in Th, by the calibration of the survey frame.
    """

    precursor: Precursor
    bins: int
    tof_index: np.ndarray
    intensity: np.ndarray
    mz: np.ndarray

    def __len__(self) -> int:
        return len(self.tof_index)

    def __repr__(self) -> str:
        return f"<kovadata.MsmsProfile: {len(self)} of {self.bins} bins of precursor {self.precursor.id}>"

    def dense(self, out: Optional[np.ndarray] = None) -> np.ndarray:
        """The whole profile.

        Parameters
        ----------
        out : ndarray of int32, optional
            Receives the profile in place; what it has beyond `bins` elements is left as it is.

        Returns
        -------
        ndarray of int32, shape (bins,)
            One intensity per time-of-flight index from 0.
        """
        if out is None:
            out = np.empty(self.bins, np.int32)
        if require_out(out, np.int32).size < self.bins:
            raise BufferTooSmall(f"the profile has {self.bins} bins, out has {out.size}", self.bins)
        profile = out.reshape(-1)[:self.bins]
        profile[:] = 0
        profile[self.tof_index] = self.intensity
        return profile


Result = Tuple[int, int, np.ndarray, np.ndarray]


class _Receiver:
    """Keeps what the library hands over in its callbacks. An exception must not pass through the library."""

    def __init__(self) -> None:
        self.results: List[Result] = []
        self.failure: Optional[BaseException] = None

    def _guard(self, keep: Callable[..., Result], *arguments: Any) -> None:
        if self.failure is None:
            try:
                self.results.append(keep(*arguments))
            except BaseException as failure:
                self.failure = failure

    def line(self, precursor: int, count: int, mz: Optional[int], intensity: Optional[int], _: Any) -> None:
        self._guard(_copy_lines, precursor, count, mz, intensity)

    def profile(self, precursor: int, count: int, bins: Optional[int], _: Any) -> None:
        self._guard(_copy_profile, precursor, count, bins)


def _copy(source: Optional[int], count: int, dtype: Any) -> np.ndarray:
    target = np.empty(count, dtype)
    if count and source is not None:
        ctypes.memmove(address(target), source, target.nbytes)
    return target


def _copy_lines(precursor: int, count: int, mz: Optional[int], intensity: Optional[int]) -> Result:
    return precursor, count, _copy(mz, count, np.float64), _copy(intensity, count, np.float32)


def _copy_profile(precursor: int, count: int, bins: Optional[int]) -> Result:
    if not count or bins is None:
        return precursor, count, np.empty(0, np.uint32), np.empty(0, np.int32)
    profile = np.frombuffer(memoryview((ctypes.c_int32 * count).from_address(bins)), np.int32)
    filled = np.flatnonzero(profile)
    return precursor, count, filled.astype(np.uint32), profile[filled]


def read_msms(analysis: Analysis, wanted: Optional[np.ndarray], frame: Optional[int],
              profile: bool) -> Iterator[Union[MsmsSpectrum, MsmsProfile]]:
    """The spectra of some precursors, of those of a frame, or of all."""
    table = analysis._precursors()
    if frame is not None:
        yield from _finish(analysis, table, *_call(analysis, profile, "_for_frame", frame))
        return
    for ids in batches(analysis._metadata, wanted, _BATCH):
        yield from _finish(analysis, table, *_call(analysis, profile, "", address(ids), len(ids), keep_alive=ids))


def _call(analysis: Analysis, profile: bool, suffix: str, *selection: int,
          keep_alive: Any = None) -> Tuple[List[Result], Optional[BaseException]]:
    receiver = _Receiver()
    name = f"read_zorel_{'profile_' * profile}msms{suffix}_v2"
    callback = ProfileCallback(receiver.profile) if profile else LineCallback(receiver.line)
    try:
        analysis._handle.call(name, *selection, callback, None)
    except Exception as failure:
        # What came before a failure is good.
        return receiver.results, receiver.failure or failure
    return receiver.results, receiver.failure


def _finish(analysis: Analysis, table: np.ndarray, results: List[Result],
            failure: Optional[BaseException]) -> Iterator[Union[MsmsSpectrum, MsmsProfile]]:
    described = _describe(analysis, table, [result[0] for result in results])
    for precursor, bins, positions, intensity in results:
        about = described.get(precursor, Precursor.unknown(precursor))
        if positions.dtype == np.float64:
            yield MsmsSpectrum(about, positions, intensity)
        else:
            mz = positions.astype(np.float64)
            analysis.index_to_mz(about.frame or 0, mz, mz)
            yield MsmsProfile(about, bins, positions, intensity, mz)
    if failure is not None:
        raise failure


def _describe(analysis: Analysis, table: np.ndarray, ids: List[int]) -> Dict[int, Precursor]:
    rows = table[np.isin(table["id"], np.array(ids, np.int64))]
    mobilities = np.full(len(rows), np.nan)
    for parent in np.unique(rows["frame"]):
        chosen = np.flatnonzero((rows["frame"] == parent) & ~np.isnan(rows["scan"]))
        if len(chosen):
            mobilities[chosen] = nan_without_calibration(analysis.scan_to_one_over_k0, int(parent),
                                                         rows["scan"][chosen].copy())
    return {int(row["id"]): Precursor.of_row(row)._replace(one_over_k0=float(mobility))
            for row, mobility in zip(rows, mobilities)}
