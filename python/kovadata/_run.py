"""A run of the library: opened when needed, opened again in a forked child, closed after the call that is under way."""

from __future__ import annotations

import ctypes
import os
from ctypes import c_char_p, c_int32, c_uint32, c_uint64
from typing import Any, Optional

from . import _fork
from ._arrow_c import BatchStream
from ._calibration import Calibration
from ._errors import KovaError
from ._library import last_error, library

# What opens each kind of analysis, and the file that such a one has.
_KINDS = {True: ("Analysis", "analysis.kvd"), False: ("SpectrumAnalysis", "analysis.kvs")}


class _Options(ctypes.Structure):
    _fields_ = [("size", c_uint32), ("calibration", c_uint32), ("calibration_parameter", c_char_p),
                ("calibration_fallback", c_uint32), ("intensities", c_uint32), ("threads", c_uint32),
                ("reserved", c_uint32), ("memory_budget", c_uint64)]


class Info(ctypes.Structure):
    """What is known of a run without reading a frame."""

    _fields_ = [("size", c_uint32), ("has_mobility", c_uint32), ("recalibrated", c_uint32), ("storage", c_uint32),
                ("schema_major", c_int32), ("schema_minor", c_int32), ("num_bins", c_uint32), ("has_lines", c_uint32),
                ("has_line_widths", c_uint32), ("has_profiles", c_uint32), ("normalization", c_uint32),
                ("reserved", c_uint32), ("calibration_state", c_char_p)]


class Run(_fork.ForkAware):
    """Used as a context, which gives the run's address: inside, the calling thread has the run to itself.

    A child process that inherited the object opens a run of its own. What was closed stays closed.
    """

    def __init__(self, path: str, has_mobility: bool, calibration: Calibration) -> None:
        self.path, self.has_mobility, self.calibration = path, has_mobility, calibration
        self.memory_budget = 0  # the library's own
        self._run: Optional[int] = None
        self._lent = 0
        self._closed = False
        super().__init__()

    @property
    def closed(self) -> bool:
        return self._closed

    def __enter__(self) -> int:
        self._notice_fork()
        self._lock.acquire()
        try:
            if not self._run:
                self._open()
        except BaseException:
            self._lock.release()
            raise
        self._depth += 1
        return self._run  # type: ignore[return-value]

    def __exit__(self, *exception: object) -> None:
        self._depth -= 1
        if self._closed and self._depth == 0:
            self._release()
        self._lock.release()

    def call(self, name: str, *arguments: Any) -> None:
        """Calls a function ``kvr_...`` that takes the run first."""
        function = getattr(library(), f"kvr_{name}")
        with self as run:
            if not function(run, *arguments):
                raise KovaError(last_error("kvr"))

    def stream(self, name: str, *arguments: Any) -> BatchStream:
        """The stream that such a function makes."""
        stream = BatchStream()
        self.call(name, *arguments, stream.address)
        return stream

    def call_lent(self, name: str, *arguments: Any) -> int:
        """Calls a function of the frames' or spectra's own family with a handle that the run lends."""
        family = "kova" if self.has_mobility else "kvs"
        function = getattr(library(), f"{family}_{name}")
        with self as run:
            if not self._lent:
                self._lent = library().kvr_lend_handle(run)
                if not self._lent:
                    raise KovaError(last_error("kvr"))
            result: int = function(self._lent, *arguments)
            if not result:
                raise KovaError(last_error(family))
            return result

    def info(self) -> Info:
        """What is known of the run; its text is gone when the run is closed."""
        info = Info(ctypes.sizeof(Info))
        self.call("get_info", ctypes.addressof(info))
        return info

    def close(self) -> None:
        """Closes after the call that is under way, if there is one. Closing again does nothing."""
        self._notice_fork()
        with self._lock:
            self._closed = True
            if self._depth == 0:
                self._release()

    def _open(self) -> None:
        if self._closed:
            raise ValueError(f"the analysis is closed: {self.path}")
        options = _Options(size=ctypes.sizeof(_Options), calibration=self.calibration.mode,
                           calibration_parameter=self.calibration.parameter or None,
                           calibration_fallback=self.calibration.fallback,
                           memory_budget=self.memory_budget)
        run = library().kvr_open(os.fsencode(self.path), ctypes.addressof(options))
        if not run:
            raise KovaError(f"{last_error('kvr')} (while opening {self.path})")
        info = Info(ctypes.sizeof(Info))
        if not library().kvr_get_info(run, ctypes.addressof(info)) or bool(info.has_mobility) != self.has_mobility:
            library().kvr_close(run)
            other, wanted = _KINDS[not self.has_mobility][0], _KINDS[self.has_mobility][1]
            raise KovaError(f"{wanted} doesn't exist. (kovadata.{other} or kovadata.open opens {self.path})")
        self._run = run

    def _release(self) -> None:
        run, self._run, self._lent = self._run, None, 0
        if run:
            library().kvr_close(run)

    def _inherited_resource(self) -> Optional[int]:
        run, self._run, self._lent = self._run, None, 0
        return run

    def __del__(self) -> None:
        if getattr(self, "_run", None) and self._generation == _fork.generation:
            self._release()
