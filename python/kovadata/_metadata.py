"""Queries on the metadata database of an analysis. Nothing is ever written or created beside it."""

from __future__ import annotations

import os
import sqlite3
import subprocess
import tempfile
import urllib.parse
from typing import Any, List, Optional, Sequence, Set, Tuple

from . import _fork
from ._errors import KovaError

# An acquisition may be writing; its locks are short.
_BUSY_TIMEOUT_S = 15


# SQLite takes names of 512 bytes, with suffixes.
_LONGEST_NAME = 500


def _run(*command: str) -> bytes:
    """What a program prints. The system ends the locks that this process has on a file when it closes the file, those of
    other SQLite connections too, so whatever reads a database without SQLite is another process."""
    result = subprocess.run(command, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.PIPE)
    if result.returncode != 0:
        raise OSError(result.stderr.decode(errors="replace").strip())
    return result.stdout


def _is_in_write_ahead_mode(path: str) -> bool:
    return _run("head", "-c", "20", "--", path)[18:] == b"\x02\x02"


def _is_log_left_behind(path: str) -> bool:
    """Whether there is a log that nobody uses, because its index is missing, which SQLite would make."""
    return os.path.exists(path + "-wal") and not os.path.exists(path + "-shm")


def _copied(path: str, folder: str) -> str:
    """The database and its log, where SQLite may do as it likes."""
    for suffix in ("", "-wal"):
        if os.path.exists(path + suffix):
            _run("cp", "--", path + suffix, os.path.join(folder, "copy" + suffix))
    return os.path.join(folder, "copy")


def _uri(path: str) -> str:
    return "file:" + urllib.parse.quote("/" + path.lstrip("/"), errors="surrogateescape")


class Metadata(_fork.ForkAware):
    """The metadata database, opened at the first query."""

    def __init__(self, path: str) -> None:
        self.path = path
        self._connection: Optional[sqlite3.Connection] = None
        self._closed = False
        super().__init__()

    def rows(self, sql: str, parameters: Sequence[Any] = ()) -> List[Tuple[Any, ...]]:
        """All rows of a query."""
        self._notice_fork()
        with self._lock:
            if self._closed:
                raise ValueError(f"the analysis is closed: {os.path.dirname(self.path)}")
            try:
                if self._connection is None:
                    self._connection = self._connect()
                return self._connection.execute(sql, parameters).fetchall()
            except (sqlite3.Error, OSError) as error:
                raise KovaError(f"{self.path}: {error}") from error

    def columns(self, table: str) -> Set[str]:
        """Names of the columns of a table, none if there is no such table."""
        return {row[0] for row in self.rows("SELECT name FROM pragma_table_info(?)", (table,))}

    def value(self, key: str) -> Optional[str]:
        """One value of table GlobalMetadata."""
        found = self.rows("SELECT Value FROM GlobalMetadata WHERE Key = ?", (key,))
        return None if not found or found[0][0] is None else str(found[0][0])

    def number(self, key: str) -> int:
        """One value of table GlobalMetadata; 0 if it is missing or no number."""
        try:
            return int(self.value(key) or 0)
        except ValueError:
            return 0

    def close(self) -> None:
        self._notice_fork()
        with self._lock:
            self._closed = True
            connection, self._connection = self._connection, None
            if connection is not None:
                connection.close()

    def _connect(self) -> sqlite3.Connection:
        path = os.path.realpath(self.path)
        if len(os.fsencode(path)) > _LONGEST_NAME or _is_log_left_behind(path):
            return self._in_memory(path)
        # Without a log, all is in the database itself, until a writer makes one; SQLite would make one too.
        if _is_in_write_ahead_mode(path) and not os.path.exists(path + "-wal"):
            copied = self._in_memory(path)
            if not os.path.exists(path + "-wal"):
                return copied
            copied.close()
        return self._open(_uri(path) + "?mode=ro")

    def _in_memory(self, path: str) -> sqlite3.Connection:
        with tempfile.TemporaryDirectory(prefix="kovadata-") as folder:
            copy = self._open(_uri(_copied(path, folder)) + "?mode=rw")
            try:
                memory = self._open("file::memory:")
                copy.backup(memory)
                return memory
            finally:
                copy.close()

    @staticmethod
    def _open(uri: str) -> sqlite3.Connection:
        connection = sqlite3.connect(uri, uri=True, timeout=_BUSY_TIMEOUT_S, check_same_thread=False)
        connection.execute("PRAGMA trusted_schema=OFF")
        return connection

    def _inherited_resource(self) -> Optional[sqlite3.Connection]:
        connection, self._connection = self._connection, None
        return connection
