"""A handle of the library that is opened when needed and used by one thread at a time."""

from __future__ import annotations

import os
from typing import Any

from . import _fork
from ._errors import KovaError, noted
from ._library import last_error, library


# The metadata of each function family, those of the other, and what opens the other.
_KINDS = {"kova": ("analysis.kvd", "analysis.kvs", "SpectrumAnalysis"),
          "kvs": ("analysis.kvs", "analysis.kvd", "Analysis")}


class Handle(_fork.ForkAware):
    """Used as a context: inside, the calling thread has the handle to itself.

    A child process that inherited the object opens a handle of its own. What was closed stays closed.
    """

    def __init__(self, family: str, path: str, recalibrated: bool) -> None:
        self.family, self.path, self.recalibrated = family, path, recalibrated
        self._value = 0
        self._closed = False
        super().__init__()

    @property
    def closed(self) -> bool:
        return self._closed

    def function(self, name: str) -> Any:
        return getattr(library(), f"{self.family}_{name}")

    def failure(self) -> KovaError:
        """The last failure of this thread. To be called before anything else is."""
        return KovaError(last_error(self.family))

    def call(self, name: str, *arguments: Any) -> int:
        """Calls a function that takes the handle first and gives 0 when it fails."""
        function = self.function(name)
        with self as value:
            result: int = function(value, *arguments)
            if not result:
                raise self.failure()
            return result

    def __enter__(self) -> int:
        self._notice_fork()
        self._lock.acquire()
        try:
            if not self._value:
                self._open()
        except BaseException:
            self._lock.release()
            raise
        self._depth += 1
        return self._value

    def __exit__(self, *exception: object) -> None:
        self._depth -= 1
        if self._closed and self._depth == 0:
            self._release()
        self._lock.release()

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
        self._value = self.function("open")(os.fsencode(self.path), int(self.recalibrated))
        if not self._value:
            raise noted(self.failure(), self._opening_note())

    def _opening_note(self) -> str:
        """What the library's texts do not tell a user who took the wrong path or the wrong class."""
        wanted, other, opener = _KINDS[self.family]
        if not os.path.exists(os.path.join(self.path, wanted)) and os.path.exists(os.path.join(self.path, other)):
            return f"kovadata.{opener} or kovadata.open opens {self.path}"
        return f"while opening {self.path}"

    def _release(self) -> None:
        value, self._value = self._value, 0
        if value:
            self.function("close")(value)

    def _inherited_resource(self) -> int:
        value, self._value = self._value, 0
        return value

    def __del__(self) -> None:
        if getattr(self, "_value", 0) and self._generation == _fork.generation:
            self._release()
