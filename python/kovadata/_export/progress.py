"""A progress bar on standard error with rate and time left, as the command line tool draws it."""

from __future__ import annotations

import os
import sys
import time

_REDRAW_INTERVAL = 0.1
_WIDTH = 30


class Progress:
    """Silent where standard error is not a terminal, or when nobody wants it."""

    def __init__(self, unit: str, wanted: bool) -> None:
        self._unit = unit
        self._is_visible = wanted and sys.stderr is not None and sys.stderr.isatty()
        self._is_drawn = False
        self._start = time.monotonic()
        self._next = self._start

    def begin(self, unit: str) -> None:
        """Another step of the work begins."""
        self.close()
        self._unit, self._start = unit, time.monotonic()

    def update(self, done: int, total: int) -> None:
        """So many of so many are done."""
        now = time.monotonic()
        if not self._is_visible or now < self._next:
            return
        self._next = now + _REDRAW_INTERVAL
        rate = done / (now - self._start) if now > self._start else 0.0
        fraction = min(1.0, done / max(total, 1))
        left = _duration(max(total - done, 0) / rate) if rate > 0 else "?"
        bar = ("#" * int(fraction * _WIDTH)).ljust(_WIDTH, ".")
        line = f"[{bar}] {100 * fraction:3.0f} %  {done}/{total} {self._unit}  {rate:.1f}/s  {left} left"
        sys.stderr.write(f"\r{line[:_columns() - 1]}\033[K")
        sys.stderr.flush()
        self._is_drawn = True

    def close(self) -> None:
        """Takes the bar away, for a message or for good."""
        if self._is_drawn:
            sys.stderr.write("\r\033[K")
            sys.stderr.flush()
            self._is_drawn = False


def _duration(seconds: float) -> str:
    whole = round(seconds)
    return f"{whole // 3600}:{whole // 60 % 60:02d}:{whole % 60:02d}"


def _columns() -> int:
    try:
        return max(os.get_terminal_size(sys.stderr.fileno()).columns, 2)
    except OSError:
        return 80
