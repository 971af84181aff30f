"""Arrays handed to the library: their addresses, and what may serve as a result array."""

from __future__ import annotations

from typing import Any, Callable, Optional, Protocol, Type, TypeVar, Union, cast, overload

import numpy as np
import numpy.typing as npt

UInt32 = npt.NDArray[np.uint32]
Float32 = npt.NDArray[np.float32]
Float64 = npt.NDArray[np.float64]
UInt64 = npt.NDArray[np.uint64]
Int32 = npt.NDArray[np.int32]
Int64 = npt.NDArray[np.int64]

Out = Optional[Float64]
Values = npt.ArrayLike
Converted = Union[Float64, np.float64]


class OfFrame(Protocol):
    """A conversion by the calibration of a frame: of a number to a number, of anything else to an array."""

    @overload
    def __call__(self, frame: int, values: float, /) -> np.float64: ...

    @overload
    def __call__(self, frame: int, values: Values, /, out: Out = ...) -> Float64: ...

    def __call__(self, frame: int, values: Any, /, out: Out = ...) -> Any: ...


class OfValues(Protocol):
    """The same where the frame is known."""

    @overload
    def __call__(self, values: float, /) -> np.float64: ...

    @overload
    def __call__(self, values: Values, /, out: Out = ...) -> Float64: ...

    def __call__(self, values: Any, /, out: Out = ...) -> Any: ...


Call = TypeVar("Call", OfFrame, OfValues, covariant=True)


class _Method(Protocol[Call]):
    def __get__(self, instance: object, owner: Optional[Type[Any]] = None) -> Call: ...


def conversion(method: Callable[[Any, int, Values, Out], Converted]) -> _Method[OfFrame]:
    """Types a method as a conversion."""
    return cast("_Method[OfFrame]", method)


def frame_conversion(method: Callable[[Any, Values, Out], Converted]) -> _Method[OfValues]:
    """The same for one frame."""
    return cast("_Method[OfValues]", method)


def address(array: np.ndarray) -> int:
    """Where the first element is."""
    return int(array.__array_interface__["data"][0])


def require_out(out: np.ndarray, dtype: Any, name: str = "out") -> np.ndarray:
    """Refuses an array that the library cannot fill in place."""
    if not isinstance(out, np.ndarray) or out.dtype != np.dtype(dtype):
        raise TypeError(f"{name} must be a numpy array of {np.dtype(dtype).name}")
    if not out.flags.carray:
        raise ValueError(f"{name} must be contiguous, aligned and writeable")
    return out


def conversion_arrays(values: Values, out: Out) -> tuple[np.ndarray, np.ndarray]:
    """Input and output of a conversion, the same array or without overlap."""
    source = np.asarray(values, dtype=np.float64, order="C")
    if source.size > 0xFFFFFFFF:
        raise ValueError("more than 4294967295 values at once")
    if out is None:
        return source, np.empty(source.shape, np.float64)
    require_out(out, np.float64)
    if out.shape != source.shape:
        raise ValueError(f"out has shape {out.shape}, the values have {source.shape}")
    if address(out) != address(source) and np.may_share_memory(out, source):
        source = source.copy()
    return source, out
