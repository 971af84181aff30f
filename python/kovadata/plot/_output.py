"""Pictures that appear when they are complete."""

from __future__ import annotations

import os
import pathlib

from .._errors import KovaError
from .._interruption import unfinished


def write_file(path: pathlib.Path, content: bytes) -> None:
    """Writes a file under another name first. What is no ordinary file, such as a pipe, is written as it is."""
    target = os.path.realpath(path)
    is_staged = not os.path.exists(target) or os.path.isfile(target)
    written = pathlib.Path(f"{target}.{os.getpid()}.part" if is_staged else target)
    if is_staged:
        unfinished.add(written)
    try:
        written.write_bytes(content)
        if is_staged:
            written.replace(target)
    except OSError as error:
        if is_staged:
            written.unlink(missing_ok=True)
        raise KovaError(f"{path}: {error.strerror}") from error
    finally:
        unfinished.discard(written)
