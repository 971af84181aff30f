"""Finds ``libkovarun.so``, loads it at the first use and declares its functions.

Functions of a ``ctypes.CDLL`` run without the interpreter's lock.
"""

from __future__ import annotations

import ctypes
import functools
import os
import pathlib
from ctypes import c_char_p, c_double, c_int32, c_int64, c_uint32, c_uint64, c_void_p
from typing import Iterator

SONAME = "libkovarun.so.0"

_CONVERSION = (c_uint32, [c_uint64, c_int64, c_void_p, c_void_p, c_uint32])
_READ_SCANS = (c_uint32, [c_uint64, c_int64, c_uint32, c_uint32, c_void_p, c_uint32])
_CCS = (c_double, [c_double, c_int32, c_double])
_LAST_ERROR = (c_uint32, [c_char_p, c_uint32])
# Runs, queries, settings and streams are passed as addresses.
_PROTOTYPES = {
    "kova_get_last_error_string": _LAST_ERROR,
    "kova_set_num_threads": (None, [c_uint32]),
    "kova_read_scans_v2": _READ_SCANS,
    "kova_read_scans_internal": _READ_SCANS,
    "kova_index_to_mz": _CONVERSION,
    "kova_mz_to_index": _CONVERSION,
    "kova_scannum_to_oneoverk0": _CONVERSION,
    "kova_oneoverk0_to_scannum": _CONVERSION,
    "kova_scannum_to_voltage": _CONVERSION,
    "kova_voltage_to_scannum": _CONVERSION,
    "kova_oneoverk0_to_ccs_for_mz": _CCS,
    "kova_ccs_to_oneoverk0_for_mz": _CCS,
    "kvs_get_last_error_string": _LAST_ERROR,
    "kvs_index_to_mz": _CONVERSION,
    "kvs_mz_to_index": _CONVERSION,
    "kvr_get_last_error_string": _LAST_ERROR,
    "kvr_open": (c_void_p, [c_char_p, c_void_p]),
    "kvr_close": (None, [c_void_p]),
    "kvr_get_info": (c_uint32, [c_void_p, c_void_p]),
    "kvr_lend_handle": (c_uint64, [c_void_p]),
    "kvr_count_scans": (c_uint32, [c_void_p, c_int64, c_void_p]),
    "kvr_table": (c_uint32, [c_void_p, c_uint32, c_void_p]),
    "kvr_precursors": (c_uint32, [c_void_p, c_void_p, c_uint64, c_void_p]),
    "kvr_peaks": (c_uint32, [c_void_p, c_void_p, c_uint32, c_void_p, c_void_p]),
    "kvr_chromatograms": (c_uint32, [c_void_p, c_void_p, c_void_p, c_uint64, c_uint32, c_void_p, c_void_p]),
    "kvr_mobilograms": (c_uint32, [c_void_p, c_void_p, c_void_p, c_uint64, c_uint32, c_void_p, c_void_p]),
    "kvr_summed_spectrum": (c_uint32, [c_void_p, c_void_p, c_void_p, c_void_p]),
    "kvr_image": (c_uint32, [c_void_p, c_void_p, c_void_p, c_void_p, c_uint32, c_void_p, c_void_p]),
    "kvr_msms": (c_uint32, [c_void_p, c_void_p, c_uint64, c_void_p, c_uint32, c_void_p, c_void_p]),
    "kvr_spectra": (c_uint32, [c_void_p, c_void_p, c_uint32, c_void_p, c_void_p]),
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
    raise ImportError("libkovarun cannot be loaded: " + "; ".join(failures))


def last_error(family: str) -> str:
    """Text of the calling thread's last failure in the functions of one family: ``"kova"``, ``"kvs"`` or ``"kvr"``."""
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
