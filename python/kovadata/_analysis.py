"""Analyses with ion mobility."""

from __future__ import annotations

import ctypes
import operator
import os
import warnings
from typing import Any, Iterable, Iterator, Literal, Optional, Sequence, Tuple, Union, overload

import numpy as np

from ._arrow_c import BatchStream
from ._base import frame_number, frame_numbers
from ._errors import KovaError
from ._frame import Frame
from ._mobility import MobilityAnalysis
from ._msms import MsmsProfile, MsmsSpectrum, read_msms
from ._partitions import Partition
from ._queries import Range, Ranges, ScanRange, Watch, control, query, reduction, targets
from ._read_ahead import read_ahead
from ._reductions import Chromatograms, Image, Mobilograms, Reducer, SummedSpectrum
from ._stream import Stream
from ._table import convert
from ._tables import FRAME_COLUMNS, PRECURSOR_COLUMNS, read_precursors

_PEAK_COLUMNS = {"frame": 1, "time": 2, "ms_level": 4, "scan": 8, "tof_index": 16, "intensity": 32, "mz": 64,
                 "one_over_k0": 128}

Frames = Union[Partition, Iterable[int], None]
Level = Union[int, Literal["auto"], None]


class Analysis(MobilityAnalysis):
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
    calibration : str, optional
        Which calibration must be there, instead: ``"off"`` (the acquisition's), ``"first"`` or ``"last"`` (the oldest or
        newest complete state), ``"first:SOURCE"`` or ``"last:SOURCE"`` (of one source), ``"lastIncomplete:SOURCE"``, or
        ``"uuid:KEY"``.

    Raises
    ------
    KovaError
        The analysis cannot be opened, or has no such calibration.

    Examples
    --------
    >>> with kovadata.Analysis("run.d") as analysis:
    ...     for frame in analysis.frames(threads=2):
    ...         peaks = frame.peaks()
    ...         print(frame.id, len(peaks), peaks.intensity.sum())
    """

    def _prepare(self, path: Union[str, os.PathLike[str]], recalibrated: bool, calibration: Optional[str]) -> None:
        super()._prepare(path, recalibrated, calibration)

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
            ``mobility_calibration`` (ids of calibrations), ``position`` of the frame in the file in bytes. What is not
            known is NaN, -1 or empty in an array, and null in a data frame.
        """
        table = self._frame_table()
        if complete:
            for position in np.flatnonzero((table["scans"] < 0) | (table["peaks"] < 0) | (table["intensity_sum"] < 0)):
                scans = Frame(self, table[position]).scans(normalized=False)
                total = sum(int(scan.intensity.sum(dtype=np.int64)) for scan in scans)
                for name, value in (("scans", len(scans)), ("peaks", scans.num_peaks), ("intensity_sum", total)):
                    table[name][position] = value
        return convert(table, FRAME_COLUMNS, kind)

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
        row = self._row(number)
        if row is None:
            self._scan_reader.require(number, 0, 1)  # the library says that there is none
            raise KovaError(f"frame {number} is not in the metadata")
        return Frame(self, row)

    def frames(self, which: Frames = None, *, ms_level: Level = None, threads: int = 0,
               on_damage: str = "raise") -> Iterator[Frame]:
        """Goes through frames.

        Parameters
        ----------
        which : Partition or iterable of int, optional
            A range of frames, or ids of frames in the order wanted; all frames in ascending order by default.
        ms_level : int or "auto", optional
            1 or 2: leave out frames of other levels; "auto" as for `chromatograms`.
        threads : int
            With 1 or more, that many threads read the peaks of frames ahead; frames come in the same order nevertheless.
            What waits is at most 256 MB, or one frame per thread. With 0, nothing is read before it is asked for.
        on_damage : {"raise", "skip"}
            What to do about a damaged frame that was read ahead: raise its error, or leave it out and list it in a
            `DamageWarning` at the end.

        Yields
        ------
        Frame
        """
        if threads < 0:
            raise ValueError("the number of threads must not be negative")
        level, rows = self._level(ms_level, which, stacklevel=3), self._rows(which)
        if level is not None:
            rows = rows[rows["ms_level"] == level]
        frames = (Frame(self, row) for row in rows)
        return read_ahead(self._run, list(frames), threads, on_damage) if threads and len(rows) else frames

    def precursor_table(self, kind: str = "numpy") -> Any:
        """What the metadata say about precursors, in ascending order of their ids.

        Parameters
        ----------
        kind
            As for `frame_table`.

        Returns
        -------
        ndarray, pandas.DataFrame, polars.DataFrame or pyarrow.Table
            Columns ``id``, ``frame`` (id of the survey frame), ``scan``, ``mz`` in Th, ``charge``, ``intensity`` in
            counts, ``time`` in s, ``one_over_k0`` in V s / cm^2, ``ccs`` in square angstrom. What is not known is NaN, -1
            or, for charges, 0 in an array, and null in a data frame.
        """
        return convert(read_precursors(self._run), PRECURSOR_COLUMNS, kind)

    @overload
    def msms(self, precursors: Optional[Iterable[int]] = ..., frame: Optional[int] = ..., *,
             profile: Literal[False] = ..., threads: Optional[int] = ..., on_damage: str = ...) -> Iterator[MsmsSpectrum]: ...

    @overload
    def msms(self, precursors: Optional[Iterable[int]] = ..., frame: Optional[int] = ..., *,
             profile: Literal[True], threads: Optional[int] = ..., on_damage: str = ...) -> Iterator[MsmsProfile]: ...

    def msms(self, precursors: Optional[Iterable[int]] = None, frame: Optional[int] = None, *,
             profile: bool = False, threads: Optional[int] = None, on_damage: str = "raise") -> Iterator[Any]:
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
        threads : int, optional
            How many threads read; the processors that the process may use by default.
        on_damage : {"raise", "skip"}
            Whether a damaged frame is an error, or the precursors that need it are left out and the frame is listed in a
            `DamageWarning` at the end.

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
        return read_msms(self, wanted, None if frame is None else frame_number(frame), profile, threads, on_damage)

    def chromatograms(self, mz_ranges: Ranges, *, mobility_ranges: Ranges = None, time_range: Range = None,
                      scan_range: ScanRange = None, ms_level: Level = "auto", frames: Frames = None, reduce: str = "sum",
                      threads: Optional[int] = None, normalized: bool = True, on_damage: str = "raise") -> Chromatograms:
        """Extracted ion chromatograms of any number of targets, in one pass over the frames.

        A peak belongs to a range if its m/z and 1/K0, by the calibration of its frame, lie in it, its ends included.

        Parameters
        ----------
        mz_ranges : array_like of float64, shape (n, 2), or None
            Ends of the ranges of m/z in Th, a row per target; None for all m/z.
        mobility_ranges : array_like of float64, shape (n, 2), optional
            Ends of the ranges of 1/K0 in V s / cm^2; one pair is for all targets.
        time_range : (float, float), optional
            Only frames in this range of retention times in s. An end that is None is open, here and in all ranges.
        ms_level : int or "auto", optional
            1 or 2, or None for all frames. "auto" is MS1, and all frames where the metadata do not tell levels or where
            `frames` lists ids.
        scan_range : (int, int), optional
            Only these scans, the last one not included. With None they go on to the end of the frame.
        frames : Partition or iterable of int, optional
            Only these frames.
        reduce : {"sum", "max", "count"}
            What becomes of the peaks of a target in a frame.
        threads : int, optional
            How many threads work; the processors that the process may use by default.
        normalized : bool
            Whether intensities are normalised as the analysis asks for, or left as they were measured.
        on_damage : {"raise", "skip"}
            Whether a damaged frame is an error, or is left out and listed in a `DamageWarning`.

        Returns
        -------
        Chromatograms
        """
        reducer = self._reducer(frames, ms_level, threads, on_damage, normalized, time_range=time_range,
                                scan_range=scan_range)
        return reducer.chromatograms(targets(mz_ranges, mobility_ranges), reduction(reduce))

    def mobilograms(self, mz_ranges: Ranges, *, mobility_ranges: Ranges = None, time_range: Range = None,
                    scan_range: ScanRange = None, ms_level: Level = "auto", frames: Frames = None, reduce: str = "sum",
                    threads: Optional[int] = None, normalized: bool = True, on_damage: str = "raise") -> Mobilograms:
        """Intensities over the scans, of any number of targets, in one pass over the frames.

        Parameters
        ----------
        mz_ranges, mobility_ranges, time_range, scan_range, ms_level, reduce, threads, normalized, on_damage
            As for `chromatograms`.
        frames : Partition or iterable of int, optional
            Only these frames.

        Returns
        -------
        Mobilograms
        """
        reducer = self._reducer(frames, ms_level, threads, on_damage, normalized, time_range=time_range,
                                scan_range=scan_range)
        return reducer.mobilograms(targets(mz_ranges, mobility_ranges), reduction(reduce))

    def summed_spectrum(self, *, time_range: Range = None, mobility_range: Range = None, mz_range: Range = None,
                        scan_range: ScanRange = None, ms_level: Level = "auto", frames: Frames = None,
                        threads: Optional[int] = None, normalized: bool = True, on_damage: str = "raise") -> SummedSpectrum:
        """The spectrum of all peaks in a box, summed over frames and scans.

        Peaks of frames whose mass calibrations differ are counted at the index of the first frame whose m/z is nearest.

        Parameters
        ----------
        time_range, mobility_range, mz_range : (float, float), optional
            The box: retention times in s, 1/K0 in V s / cm^2, m/z in Th, ends included.
        scan_range, ms_level, threads, normalized, on_damage
            As for `chromatograms`.
        frames : Partition or iterable of int, optional
            Only these frames.

        Returns
        -------
        SummedSpectrum
        """
        return self._reducer(frames, ms_level, threads, on_damage, normalized, time_range=time_range, mz_range=mz_range,
                             mobility_range=mobility_range, scan_range=scan_range).summed_spectrum()

    def image(self, x: str = "mz", y: str = "one_over_k0", *, bins: Tuple[int, int] = (800, 400), frames: Frames = None,
              ms_level: Level = "auto", time_range: Range = None, mz_range: Range = None, mobility_range: Range = None,
              scan_range: ScanRange = None, reduce: str = "sum", threads: Optional[int] = None, normalized: bool = True,
              on_damage: str = "raise") -> Image:
        """Intensities on a grid of two of time, m/z and 1/K0.

        Parameters
        ----------
        x, y : {"mz", "one_over_k0", "time"}
            The axes. An axis reaches over its range, or else over what there is.
        bins : (int, int)
            Number of cells along x and along y.
        frames : Partition or iterable of int, optional
            Only these frames.
        time_range, mz_range, mobility_range : (float, float), optional
            Only peaks in these ranges.
        scan_range, ms_level, reduce, threads, normalized, on_damage
            As for `chromatograms`.

        Returns
        -------
        Image
        """
        reducer = self._reducer(frames, ms_level, threads, on_damage, normalized, time_range=time_range, mz_range=mz_range,
                                mobility_range=mobility_range, scan_range=scan_range)
        return reducer.image(x, y, bins, reduction(reduce))

    def peaks(self, *, frames: Frames = None, ms_level: Level = None, time_range: Range = None,
              mz_range: Range = None, mobility_range: Range = None, scan_range: ScanRange = None,
              columns: Optional[Sequence[str]] = None, batch_size: int = 1 << 20, threads: Optional[int] = None,
              normalized: bool = True, on_damage: str = "raise") -> Stream:
        """The peaks in a box of the run, in batches: frames in order, scans ascending, indices ascending.

        Parameters
        ----------
        frames : Partition or iterable of int, optional
            Only these frames, in the order given.
        ms_level : int or "auto", optional
            1 or 2, or "auto" as for `chromatograms`; all frames by default.
        time_range, mz_range, mobility_range : (float, float), optional
            Only peaks in these ranges of retention times in s, m/z in Th and 1/K0 in V s / cm^2, ends included.
        columns : sequence of str, optional
            Out of ``frame``, ``time``, ``ms_level``, ``scan``, ``tof_index``, ``intensity``, ``mz`` and
            ``one_over_k0``, which is the order that they come in; all but ``time`` and ``ms_level`` by default.
        batch_size : int
            Number of peaks in a batch at most.
        scan_range, threads, normalized, on_damage
            As for `chromatograms`.

        Returns
        -------
        Stream
            Nothing is read before it is asked for batches, or given to a package that takes Arrow streams.

        Examples
        --------
        >>> with kovadata.Analysis("run.d") as analysis:
        ...     for batch in analysis.peaks(mz_range=(600, 700), columns=["mz", "intensity"]):
        ...         print(batch["mz"], batch["intensity"])
        """
        unknown = [name for name in columns or () if name not in _PEAK_COLUMNS]
        if unknown or isinstance(columns, str) or (columns is not None and not columns):
            raise ValueError(f"columns must be a list of some of {', '.join(_PEAK_COLUMNS)}")
        chosen = sum({_PEAK_COLUMNS[name] for name in columns or ()})
        level = self._level(ms_level, frames, stacklevel=3)
        wanted = query(self._ids(frames), ms_level=level, time_range=time_range, mz_range=mz_range,
                       mobility_range=mobility_range, scan_range=scan_range, normalized=normalized)

        def begin(watch: Watch) -> BatchStream:
            settings = control(watch, threads, on_damage, batch_size)
            return self._run.stream("peaks", ctypes.addressof(wanted), chosen, ctypes.addressof(settings))

        return Stream(begin)

    def _rows(self, which: Frames) -> np.ndarray:
        if which is None or isinstance(which, Partition):
            table = self._frame_table()
            return table if which is None else table[(table["id"] >= which.first) & (table["id"] <= which.last)]
        ids = np.array(frame_numbers(which), np.int64)
        places, are_known = self._known_frames.places(ids)
        for missing in ids[~are_known]:
            self.frame(operator.index(missing))  # the library says that there is none
        return self._known_frames.table[places]

    def _ids(self, which: Frames) -> Optional[np.ndarray]:
        return None if which is None else self._rows(which)["id"]

    def _reducer(self, frames: Frames, ms_level: Level, threads: Optional[int], on_damage: str, normalized: bool,
                 **ranges: Any) -> Reducer:
        watch = Watch()
        level = self._level(ms_level, frames, stacklevel=4)
        wanted = query(self._ids(frames), ms_level=level, normalized=normalized, **ranges)
        return Reducer(self._run, wanted, control(watch, threads, on_damage), watch)

    def _level(self, asked: Level, frames: Frames, stacklevel: int) -> Optional[int]:
        """The MS level to choose by. One that the metadata do not state chooses nothing, which looks like an empty run."""
        if asked is None:
            return None
        levels = self._known_frames.table["ms_level"]
        is_stated = bool((levels > 0).any())
        if asked == "auto":
            return 1 if is_stated and (frames is None or isinstance(frames, Partition)) else None
        if len(levels) and not is_stated:
            warnings.warn("the metadata do not state the MS level of any frame, so none is chosen; ms_level=None takes them all",
                          RuntimeWarning, stacklevel=stacklevel)
        return asked
