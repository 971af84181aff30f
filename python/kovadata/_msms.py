"""MS/MS spectra of precursors."""

from __future__ import annotations

import ctypes
import dataclasses
import importlib
from ctypes import c_int64
from typing import Any, Iterator, Optional, Union

import numpy as np

from ._arrays import Float32, Float64, Int32, UInt32, address, require_out
from ._base import nan_without_calibration
from ._errors import BufferTooSmall, KovaError
from ._mobility import MobilityAnalysis
from ._precursors import Precursor, precursors_of
from ._queries import Watch, control
from ._table import with_nulls
from ._tables import find_precursors, read_precursors, rows_by_id

_LINES, _PROFILES = 0, 1
_new = object.__new__
# As many as the library reads at once, so that no batch is cut; few profiles, so that they stay within memory.
_SPECTRA_AT_ONCE = {_LINES: 2048, _PROFILES: 20}


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
    mz: Float64
    intensity: Float32

    def __len__(self) -> int:
        return len(self.mz)

    def __repr__(self) -> str:
        return f"<kovadata.MsmsSpectrum: {len(self)} peaks of precursor {self.precursor.id}>"

    def table(self, kind: str = "numpy") -> Any:
        """Columns ``mz`` and ``intensity``; `kind` as for `Peaks.table`."""
        return with_nulls({"mz": self.mz, "intensity": self.intensity}, kind)

    def to_spectrum_utils(self) -> Any:
        """The spectrum as a ``spectrum_utils.spectrum.MsmsSpectrum``. A charge that is not known is 0 there."""
        about = self.precursor
        return _package("spectrum_utils.spectrum").MsmsSpectrum(
            str(about.id), about.mz, about.charge or 0, self.mz, self.intensity, retention_time=about.time)

    def to_matchms(self) -> Any:
        """The spectrum as a ``matchms.Spectrum``, with what is known of its precursor as metadata."""
        about = self.precursor
        known = {"id": str(about.id), "precursor_mz": about.mz, "charge": about.charge, "retention_time": about.time,
                 "precursor_intensity": about.intensity, "inverse_reduced_mobility": about.one_over_k0, "ccs": about.ccs}
        return _package("matchms").Spectrum(self.mz.astype(np.float64), self.intensity.astype(np.float64), {
            name: value for name, value in known.items() if value is not None and value == value})


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
    tof_index: UInt32
    intensity: Int32
    mz: Float64

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


def _package(name: str) -> Any:
    try:
        return importlib.import_module(name)
    except ModuleNotFoundError as error:
        package = name.partition(".")[0]
        raise ImportError(f"this needs the package {package}, which is not installed: pip install {package}") from error


def read_msms(analysis: MobilityAnalysis, wanted: Optional[np.ndarray], frame: Optional[int],
              profile: bool, threads: Optional[int], on_damage: str) -> Iterator[Union[MsmsSpectrum, MsmsProfile]]:
    """The spectra of some precursors, of those of a frame, or of all."""
    kind, watch = _PROFILES if profile else _LINES, Watch()
    settings = control(watch, threads, on_damage, _SPECTRA_AT_ONCE[kind])
    parent = None if frame is None else c_int64(frame)
    ids = None if wanted is None else np.append(wanted, 0)  # NULL means all precursors
    stream = analysis._run.stream("msms", None if ids is None else address(ids), 0 if wanted is None else len(wanted),
                                  None if parent is None else ctypes.addressof(parent), kind, ctypes.addressof(settings))
    try:
        # Looking up all rows, some at a time, would take three times as long as reading them.
        table = read_precursors(analysis._run) if wanted is None and frame is None else None
        while True:
            found = watch.wait_for(stream.next_batch)
            if found is None:
                break
            columns = found[1]
            numbers = columns["precursor"].values
            described = precursors_of(rows_by_id(find_precursors(analysis._run, numbers) if table is None else table, numbers))
            if profile:
                for about, bins in zip(described, columns["intensity"]):
                    yield _profile(analysis, about, bins)
            else:
                yield from map(_spectrum, described, columns["mz"], columns["intensity"])
        watch.warn()
    finally:
        stream.close()


def _spectrum(about: Precursor, mz: np.ndarray, intensity: np.ndarray) -> MsmsSpectrum:
    """As the constructor makes it, which takes twice as long since spectra do not change."""
    spectrum = _new(MsmsSpectrum)
    content = spectrum.__dict__
    content["precursor"], content["mz"], content["intensity"] = about, mz, intensity
    return spectrum


def _profile(analysis: MobilityAnalysis, about: Precursor, bins: np.ndarray) -> MsmsProfile:
    filled = np.flatnonzero(bins)
    mz = nan_without_calibration(analysis.index_to_mz, about.frame or 0, filled.astype(np.float64))
    return MsmsProfile(about, len(bins), filled.astype(np.uint32), bins[filled], mz)
