"""Finds ``libkovadata.so``, loads it at the first use and declares its functions.

Functions of a ``ctypes.CDLL`` run without the interpreter's lock.
"""

from __future__ import annotations

import ctypes
import functools
import os
import pathlib
from ctypes import c_char_p, c_double, c_int32, c_int64, c_uint32, c_uint64, c_void_p
from typing import Iterator

SONAME = "libkovadata.so.0"

LineCallback = ctypes.CFUNCTYPE(None, c_int64, c_uint32, c_void_p, c_void_p, c_void_p)
ProfileCallback = ctypes.CFUNCTYPE(None, c_int64, c_uint32, c_void_p, c_void_p)

_CONVERSION = (c_uint32, [c_uint64, c_int64, c_void_p, c_void_p, c_uint32])
_READ_SCANS = (c_uint32, [c_uint64, c_int64, c_uint32, c_uint32, c_void_p, c_uint32])
_CCS = (c_double, [c_double, c_int32, c_double])
_FAMILY = {
    "open": (c_uint64, [c_char_p, c_uint32]),
    "close": (None, [c_uint64]),
    "has_recalibrated_state": (c_uint32, [c_uint64]),
    "get_last_error_string": (c_uint32, [c_char_p, c_uint32]),
    "set_num_threads": (None, [c_uint32]),
    "index_to_mz": _CONVERSION,
    "mz_to_index": _CONVERSION,
}
_PROTOTYPES = {
    **{f"{family}_{name}": prototype for family in ("kova", "kvs") for name, prototype in _FAMILY.items()},
    "kova_read_scans_v2": _READ_SCANS,
    "kova_read_scans_internal": _READ_SCANS,
    "kova_scannum_to_oneoverk0": _CONVERSION,
    "kova_oneoverk0_to_scannum": _CONVERSION,
    "kova_scannum_to_voltage": _CONVERSION,
    "kova_voltage_to_scannum": _CONVERSION,
    "kova_oneoverk0_to_ccs_for_mz": _CCS,
    "kova_ccs_to_oneoverk0_for_mz": _CCS,
    "kova_read_zorel_msms_v2": (c_uint32, [c_uint64, c_void_p, c_uint32, LineCallback, c_void_p]),
    "kova_read_zorel_profile_msms_v2": (c_uint32, [c_uint64, c_void_p, c_uint32, ProfileCallback, c_void_p]),
    "kova_read_zorel_msms_for_frame_v2": (c_uint32, [c_uint64, c_int64, LineCallback, c_void_p]),
    "kova_read_zorel_profile_msms_for_frame_v2": (c_uint32, [c_uint64, c_int64, ProfileCallback, c_void_p]),
    "kvs_read_line_spectrum": (c_uint32, [c_uint64, c_int64, c_void_p, c_void_p, c_uint32]),
    "kvs_read_line_spectrum_with_width": (c_uint32, [c_uint64, c_int64, c_void_p, c_void_p, c_void_p, c_uint32]),
    "kvs_read_profile_spectrum": (c_uint32, [c_uint64, c_int64, c_void_p, c_uint32]),
}


def _candidates() -> Iterator[str]:
    asked_for = os.environ.get("KOVADATA_LIBRARY")
    if asked_for:
        yield asked_for
        return
    bundled = pathlib.Path(__file__).with_name(SONAME)
    if bundled.exists():
        yield str(bundled)
    try:
        from ._system_library import PATH  # written by builds that use an installed library
    except ImportError:
        pass
    else:
        yield PATH
    yield SONAME


@functools.lru_cache(maxsize=None)
def library() -> ctypes.CDLL:
    """The loaded library.

    The file named by the environment variable ``KOVADATA_LIBRARY``, if that is set; otherwise the one inside the
    package, the one that the package was built for, or one that the dynamic linker finds, in this order.

    Raises
    ------
    ImportError
        There is none that can be loaded.
    """
    failures = []
    for path in _candidates():
        try:
            loaded = ctypes.CDLL(path)
            for name, (result, arguments) in _PROTOTYPES.items():
                function = getattr(loaded, name)
                function.restype, function.argtypes = result, arguments
            return loaded
        except (OSError, AttributeError) as error:
            failures.append(str(error))
    raise ImportError("libkovadata cannot be loaded: " + "; ".join(failures))


def last_error(family: str) -> str:
    """Text of the calling thread's last failure in the functions of one family, ``"kova"`` or ``"kvs"``."""
    read = getattr(library(), f"{family}_get_last_error_string")
    text = ctypes.create_string_buffer(read(None, 0))
    read(text, len(text))
    return text.value.decode("utf-8", "replace")


def set_num_threads(n: int) -> None:
    """Sets the number of worker threads for later conversions of the calling thread.

    Parameters
    ----------
    n : int
        Number of threads, at least 1. Used by m/z conversions of some thousand values or more; reading never uses
        them.
    """
    if not 1 <= n <= 0x7FFFFFFF:
        raise ValueError(f"the number of threads must be at least 1, not {n}")
    library().kova_set_num_threads(n)
