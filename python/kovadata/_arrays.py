"""Arrays handed to the library: their addresses, and what may serve as a result array."""

from __future__ import annotations

from typing import Any, Optional, Union

import numpy as np
import numpy.typing as npt

Out = Optional[np.ndarray]
Values = npt.ArrayLike
Converted = Union[np.ndarray, np.float64]


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
