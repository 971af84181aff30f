"""Numbers as CSV files: made when the page asks for them, fetched once at an address of their own."""

from __future__ import annotations

import secrets
from typing import Any, Callable, Dict, Iterator, Mapping, NamedTuple

import numpy as np

_ROWS_AT_ONCE = 20000
_MOST_WAITING = 32


class Download(NamedTuple):
    """A file and what writes it, piece by piece."""

    name: str
    pieces: Callable[[], Iterator[bytes]]


class Downloads:
    """Files that pages may fetch. Those that nobody fetches make room for others."""

    def __init__(self) -> None:
        self._waiting: Dict[str, Download] = {}

    def offer(self, one: Download) -> str:
        """Gives the last part of the address."""
        while len(self._waiting) >= _MOST_WAITING:
            del self._waiting[next(iter(self._waiting))]
        key = secrets.token_urlsafe(16)
        self._waiting[key] = one
        return key

    def take(self, key: str) -> Any:
        """The file, or None if there is none."""
        return self._waiting.pop(key, None)


def csv_pieces(columns: Mapping[str, np.ndarray]) -> Iterator[bytes]:
    """A line per row, numbers with all the digits that they need; what is not known is empty."""
    yield (",".join(columns) + "\n").encode()
    values = list(columns.values())
    for begin in range(0, len(values[0]) if values else 0, _ROWS_AT_ONCE):
        texts = [_texts(np.asarray(one[begin:begin + _ROWS_AT_ONCE])) for one in values]
        yield "".join(",".join(row) + "\n" for row in zip(*texts)).encode()


def _texts(values: np.ndarray) -> Iterator[str]:
    if values.dtype.kind == "f":
        # A 32-bit number has its own shortest text, not that of the 64-bit number of the same value.
        return ("" if one != one else str(one) for one in (values if values.dtype == np.float32 else values.tolist()))
    return map(str, values.tolist())


def download_handler(downloads: Downloads) -> Any:
    """What answers requests for them."""
    from tornado.web import RequestHandler

    class Handler(RequestHandler):
        async def get(self, key: str) -> None:
            found = downloads.take(key)
            if found is None:
                self.set_status(404)
                self.finish("There is no such file any more.\n")
                return
            self.set_header("Content-Type", "text/csv; charset=utf-8")
            self.set_header("Content-Disposition", f'attachment; filename="{found.name}"')
            self.set_header("Cache-Control", "no-store")
            for piece in found.pieces():
                self.write(piece)
                await self.flush()

    return Handler
