"""Analyses with ion mobility."""

from __future__ import annotations

import operator
import os
from typing import Any, Iterable, Iterator, Literal, Optional, Union, overload

import numpy as np

from . import _precursors
from ._arrays import Converted, Out, Values
from ._base import BaseAnalysis, frame_number, frame_numbers
from ._frame import Frame
from ._frame_table import COLUMNS, read_frame_table
from ._msms import MsmsProfile, MsmsSpectrum, read_msms
from ._partitions import Partition
from ._read_ahead import read_ahead
from ._scan_reader import ScanReader
from ._table import convert


class Analysis(BaseAnalysis):
    """An open analysis with ion mobility.

    Calls on one analysis take turns: another thread's call waits. For parallel reading, use ``frames(threads=n)``, or an
    analysis per thread or process. Objects are pickled as path and options and open again where they are used; so does
    an analysis that a child process inherited. The interpreter's lock is released while the library works.

    Parameters
    ----------
    path : str or path-like
        Directory of the analysis.
    recalibrated : bool
        Whether to convert with the newest complete re-calibrated state, if there is one, rather than with the
        calibration of the acquisition.

    Raises
    ------
    KovaError
        The analysis cannot be opened.

    Examples
    --------
    >>> with kovadata.Analysis("run.d") as analysis:
    ...     for frame in analysis.frames(threads=2):
    ...         peaks = frame.peaks()
    ...         print(frame.id, len(peaks), peaks.intensity.sum())
    """

    _family = "kova"
    _metadata_name = "analysis.kvd"

    def _prepare(self, path: Union[str, os.PathLike[str]], recalibrated: bool) -> None:
        super()._prepare(path, recalibrated)
        self._scan_reader = ScanReader(self._handle)

    def _clone(self) -> Analysis:
        return Analysis(self._path, self._recalibrated)

    @property
    def recalibrated(self) -> bool:
        """Whether conversions use a re-calibrated state; False if one was asked for but there is none."""
        with self._handle as handle:
            return bool(self._handle.function("has_recalibrated_state")(handle))

    def frame_table(self, kind: str = "numpy", *, complete: bool = False) -> Any:
        """What the metadata say about the frames, in ascending order of their ids.

        Parameters
        ----------
        kind : {"numpy", "pandas", "polars", "arrow"}
            Structured array, or data frame of that package.
        complete : bool
            Whether to read the frames for which the metadata do not state the numbers of scans and peaks and the sum of
            intensities.

        Returns
        -------
        ndarray, pandas.DataFrame, polars.DataFrame or pyarrow.Table
            Columns ``id``, ``time`` in s, ``polarity``, ``ms_level`` (1 or 2), ``scans``, ``peaks``, ``intensity_sum`` of
            the intensities as they were measured, ``accumulation_time`` and ``ramp_time`` in ms, ``mz_calibration`` and
            ``mobility_calibration`` (ids of calibrations), ``position`` of the frame in the file in bytes. What is not known is NaN, -1 or
            empty in an array, and null in a data frame.
        """
        table = self._frame_table()
        if complete:
            for position in np.flatnonzero((table["scans"] < 0) | (table["peaks"] < 0) | (table["intensity_sum"] < 0)):
                scans = Frame(self, table[position]).scans(normalized=False)
                total = sum(int(scan.intensity.sum(dtype=np.int64)) for scan in scans)
                for name, value in (("scans", len(scans)), ("peaks", scans.num_peaks), ("intensity_sum", total)):
                    table[name][position] = value
        return convert(table, COLUMNS, kind)

    def frame(self, frame_id: int) -> Frame:
        """The frame with an id.

        Parameters
        ----------
        frame_id : int
            "Id" of the frame.

        Returns
        -------
        Frame

        Raises
        ------
        KovaError
            There is no such frame.
        """
        number = frame_number(frame_id)
        rows = read_frame_table(self._metadata, number)
        if not len(rows):
            self._handle.call("read_scans_internal", number, 0, 1, None, 0)
        return Frame(self, rows[0])

    def frames(self, which: Union[Partition, Iterable[int], None] = None, *, ms_level: Optional[int] = None,
               threads: int = 0) -> Iterator[Frame]:
        """Goes through frames.

        Parameters
        ----------
        which : Partition or iterable of int, optional
            A range of frames, or ids of frames in the order wanted; all frames in ascending order by default.
        ms_level : int, optional
            1 or 2: leave out frames of other levels.
        threads : int
            With 1 or more, that many threads read the peaks of frames ahead, each with a handle of its own; frames
            come in the same order nevertheless. Up to ``3 * threads`` frames are in memory, at 28 bytes per peak. With 0,
            nothing is read before it is asked for.

        Yields
        ------
        Frame
        """
        if threads < 0:
            raise ValueError("the number of threads must not be negative")
        rows = self._selected(which)
        if ms_level is not None:
            rows = rows[rows["ms_level"] == ms_level]
        if threads and len(rows):
            return read_ahead(self, rows, min(threads, len(rows)))
        return (Frame(self, row) for row in rows)

    def precursor_table(self, kind: str = "numpy") -> Any:
        """What the metadata say about precursors, in ascending order of their ids.

        Parameters
        ----------
        kind : {"numpy", "pandas", "polars", "arrow"}
            Structured array, or data frame of that package.

        Returns
        -------
        ndarray, pandas.DataFrame, polars.DataFrame or pyarrow.Table
            Columns ``id``, ``frame`` (id of the survey frame), ``scan``, ``mz`` in Th, ``charge``, ``intensity`` in
            counts, ``time`` in s. What is not known is NaN, -1 or, for charges, 0 in an array, and null in a data frame.
        """
        return convert(self._precursors(), _precursors.COLUMNS, kind)

    @overload
    def msms(self, precursors: Optional[Iterable[int]] = ..., frame: Optional[int] = ..., *,
             profile: Literal[False] = ...) -> Iterator[MsmsSpectrum]: ...

    @overload
    def msms(self, precursors: Optional[Iterable[int]] = ..., frame: Optional[int] = ..., *,
             profile: Literal[True]) -> Iterator[MsmsProfile]: ...

    def msms(self, precursors: Optional[Iterable[int]] = None, frame: Optional[int] = None, *,
             profile: bool = False) -> Iterator[Any]:
        """Reads MS/MS spectra of precursors, each summed over all frames in which it was fragmented.

        Frames are read in ascending order and a spectrum comes when its last frame has been read. Ask for many
        precursors at once rather than one after the other.

        Parameters
        ----------
        precursors : iterable of int, optional
            Ids of precursors; repeated ones count once and unknown ones are left out. All precursors by default.
        frame : int, optional
            "Id" of a survey frame: all precursors that were selected in it. Not together with `precursors`.
        profile : bool
            Whether to read profiles rather than line spectra.

        Yields
        ------
        MsmsSpectrum or MsmsProfile

        Raises
        ------
        KovaError
            The analysis has no precursors, or a frame is damaged. What was yielded before is good.
        """
        if precursors is not None and frame is not None:
            raise TypeError("precursors and frame exclude each other")
        wanted = None if precursors is None else np.unique(np.array(frame_numbers(precursors), np.int64))
        return read_msms(self, wanted, None if frame is None else frame_number(frame), profile)

    def scan_to_one_over_k0(self, frame: int, scan: Values, out: Out = None) -> Converted:
        """Converts scan numbers to 1/K0.

        Parameters
        ----------
        frame : int
            "Id" of the frame, whose calibration is used.
        scan : array_like of float64
            Scan numbers, fractional, counted from 0.
        out : ndarray of float64, optional
            Receives the result in place; contiguous, of the shape of `scan`. May be `scan` itself.

        Returns
        -------
        ndarray of float64
            1/K0 in V s / cm^2; `out` if that was passed.

        Raises
        ------
        KovaError
            There is no such frame, or it has no mobility calibration.
        """
        return self._convert("scannum_to_oneoverk0", frame, scan, out)

    def one_over_k0_to_scan(self, frame: int, one_over_k0: Values, out: Out = None) -> Converted:
        """Converts 1/K0 in V s / cm^2 to scan numbers; the inverse of `scan_to_one_over_k0`.

        Parameters
        ----------
        frame : int
            "Id" of the frame, whose calibration is used.
        one_over_k0 : array_like of float64
            1/K0 in V s / cm^2.
        out : ndarray of float64, optional
            Receives the result in place; contiguous, of the shape of `one_over_k0`.

        Returns
        -------
        ndarray of float64
            Fractional scan numbers, counted from 0; `out` if that was passed.
        """
        return self._convert("oneoverk0_to_scannum", frame, one_over_k0, out)

    def scan_to_voltage(self, frame: int, scan: Values, out: Out = None) -> Converted:
        """Converts scan numbers to voltages of the mobility ramp, which are negative in negative mode.

        Parameters
        ----------
        frame : int
            "Id" of the frame, whose calibration is used.
        scan : array_like of float64
            Scan numbers, fractional, counted from 0.
        out : ndarray of float64, optional
            Receives the result in place; contiguous, of the shape of `scan`.

        Returns
        -------
        ndarray of float64
            Voltages in V; `out` if that was passed.
        """
        return self._convert("scannum_to_voltage", frame, scan, out)

    def voltage_to_scan(self, frame: int, voltage: Values, out: Out = None) -> Converted:
        """Converts voltages of the mobility ramp in V to scan numbers; the inverse of `scan_to_voltage`.

        Parameters
        ----------
        frame : int
            "Id" of the frame, whose calibration is used.
        voltage : array_like of float64
            Voltages in V.
        out : ndarray of float64, optional
            Receives the result in place; contiguous, of the shape of `voltage`.

        Returns
        -------
        ndarray of float64
            Fractional scan numbers, counted from 0; `out` if that was passed.
        """
        return self._convert("voltage_to_scannum", frame, voltage, out)

    def _selected(self, which: Union[Partition, Iterable[int], None]) -> np.ndarray:
        table = self._frame_table()
        if which is None:
            return table
        if isinstance(which, Partition):
            return table[(table["id"] >= which.first) & (table["id"] <= which.last)]
        ids = np.array(frame_numbers(which), np.int64)
        places = np.minimum(np.searchsorted(table["id"], ids), max(len(table) - 1, 0))
        known = table["id"][places] == ids if len(table) else np.zeros(len(ids), bool)
        for missing in ids[~known]:
            self.frame(operator.index(missing))  # the library says that there is none
        return table[places]

    def _precursors(self) -> np.ndarray:
        return _precursors.read_precursor_table(self._metadata)
