"""What analyses of both kinds have in common."""

from __future__ import annotations

import operator
import os
import pathlib
from typing import Any, Callable, Iterable, List, Optional, Tuple, Type, TypeVar, Union

import numpy as np

from ._arrays import Converted, Out, Values, address, conversion, conversion_arrays
from ._calibration import chosen_calibration
from ._description import Described, Facts, frames_fact
from ._errors import KovaError
from ._partitions import Partition, partition
from ._run import Run
from ._tables import KnownRows, read_frames, read_metadata

_NO_CALIBRATION = ("is missing MzCalibration/Polarity", "is missing KovaCalibration", "No m/z trafo available.",
                   "No mobility trafo available.")

A = TypeVar("A", bound="BaseAnalysis")


def frame_number(value: Any) -> int:
    """An id that the library can be asked for; wider integers would be cut on the way."""
    number = operator.index(value)
    if not -2 ** 63 <= number < 2 ** 63:
        raise ValueError(f"{number} is no id of a frame")
    return number


def frame_numbers(values: Iterable[Any]) -> List[int]:
    """The same for several, which a single id is often passed for."""
    try:
        wanted = iter(values)
    except TypeError:
        raise TypeError(f"ids are passed as a list, such as [{values!r}]") from None
    return [frame_number(one) for one in wanted]


def nan_without_calibration(convert: Callable[[int, np.ndarray, np.ndarray], Any], frame: int,
                            values: np.ndarray) -> np.ndarray:
    """Converts in place, to NaN if the frame has no such calibration."""
    try:
        convert(frame, values, values)
    except KovaError as error:
        if not is_lack_of_calibration(str(error)):
            raise
        values[:] = np.nan
    return values


def is_lack_of_calibration(text: str) -> bool:
    """Whether a text of the library says that a frame has no calibration, rather than that something is broken."""
    return text.endswith(_NO_CALIBRATION)


class BaseAnalysis(Described):
    """An open analysis of either kind."""

    _has_mobility = True
    _blob_name = ""

    def __init__(self, path: Union[str, os.PathLike[str]], recalibrated: bool = False, *,
                 calibration: Optional[str] = None) -> None:
        self._prepare(path, recalibrated, calibration)
        with self._run:
            pass

    def _prepare(self, path: Union[str, os.PathLike[str]], recalibrated: bool, calibration: Optional[str]) -> None:
        self._path = os.path.abspath(os.fsdecode(path))
        if "\0" in self._path:
            raise ValueError("the path has a null character")  # where the library would see its end
        self._options = bool(recalibrated), calibration
        self._run = Run(self._path, self._has_mobility, chosen_calibration(*self._options))
        self._known_frames = KnownRows(self._frame_table)

    @classmethod
    def _opened_later(cls: Type[A], path: str, recalibrated: bool, calibration: Optional[str]) -> A:
        analysis = cls.__new__(cls)
        analysis._prepare(path, recalibrated, calibration)
        return analysis

    def __reduce__(self) -> Tuple[Any, ...]:
        return type(self)._opened_later, (self._path, *self._options)

    def __enter__(self: A) -> A:
        return self

    def __exit__(self, *exception: object) -> None:
        self.close()

    def _title(self) -> str:
        return f"{type(self).__name__} {self._path!r}{' closed' * self.closed}"

    def _facts(self) -> Facts:
        """Costs as much as reading the table of frames."""
        table = self._frame_table()
        return frames_fact("frames" if self._has_mobility else "spectra", table) + (
            self._ranges(int(table["id"][0]), int(table["scans"].max())) if len(table) else [])

    def _ranges(self, frame: int, scans: int) -> Facts:
        """What the axes of a frame reach over."""
        return []

    def close(self) -> None:
        """Closes the analysis, after the call that another thread may be in. Closing again does nothing."""
        self._run.close()

    @property
    def closed(self) -> bool:
        """Whether the analysis was closed. Using a closed one is a ValueError."""
        return self._run.closed

    @property
    def path(self) -> pathlib.Path:
        """Absolute path of the analysis directory."""
        return pathlib.Path(self._path)

    @property
    def metadata(self) -> dict[str, str]:
        """Keys and values of table "GlobalMetadata"."""
        return read_metadata(self._run)

    @property
    def recalibrated(self) -> bool:
        """Whether conversions use a re-calibrated state; False if one was asked for but there is none."""
        return bool(self._run.info().recalibrated)

    def partitions(self, n: int) -> List[Partition]:
        """Splits the frames into ranges of about the same size in the file, without reading any frame.

        Parameters
        ----------
        n : int
            Number of partitions wanted, at least 1.

        Returns
        -------
        list of Partition
            At most `n`, in ascending order of frames, none of them empty. Pass one to ``frames`` or ``spectra``, in
            this process or in another.
        """
        return partition(self._frame_table(), os.path.getsize(os.path.join(self._path, self._blob_name)), n)

    @conversion
    def index_to_mz(self, frame: int, index: Values, out: Out = None) -> Converted:
        """Converts time-of-flight indices, fractional and counted from 0, to m/z in Th.

        Parameters
        ----------
        frame : int
            "Id" of the frame, whose calibration is used.
        index : array_like of float64
            What is to be converted.
        out : ndarray of float64, optional
            Receives the result in place; contiguous, of the shape of the input. May be the input itself.

        Returns
        -------
        ndarray of float64 or float64
            Of the shape of the input; `out` if that was passed.

        Raises
        ------
        KovaError
            There is no such frame, or it has no such calibration.
        """
        return self._convert("index_to_mz", frame, index, out)

    @conversion
    def mz_to_index(self, frame: int, mz: Values, out: Out = None) -> Converted:
        """The inverse of `index_to_mz`, called in the same way."""
        return self._convert("mz_to_index", frame, mz, out)

    def _convert(self, name: str, frame: int, values: Values, out: Out) -> Converted:
        source, target = conversion_arrays(values, out)
        self._run.call_lent(name, frame_number(frame), address(source), address(target), source.size)
        return target if target.ndim or out is not None else np.float64(target)

    def _row(self, number: int) -> Optional[np.void]:
        """The row of a frame; None if there is no such frame."""
        with self._run:  # refuses a closed analysis
            return self._known_frames.find(number)

    def _frame_table(self) -> np.ndarray:
        return read_frames(self._run)
