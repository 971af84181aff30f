"""Files that appear under their name when they are complete.

Until then a file lies beside its place, under a name that says so; what is not published is removed, whatever ends the work.
"""

from __future__ import annotations

import os
import pathlib
from typing import Optional, Type

from .._errors import KovaError
from .._interruption import unfinished


def reason(error: OSError) -> str:
    """What the system says, without the number."""
    return error.strerror or str(error)


class Staged:
    """The place of an output file, as a context that gives the path to write to.

    Parameters
    ----------
    place : path-like
        Where the file is to be. Links are followed to what they lead to.
    force : bool
        Whether it may take the place of a file of that name.
    """

    def __init__(self, place: pathlib.Path, force: bool) -> None:
        self.name = str(place)
        self._place, self._force = pathlib.Path(os.path.realpath(place)), force
        # Programs that read it back for a check know formats by endings.
        ending = self._place.suffix
        if ending.lower() == ".gz":
            ending = self._place.with_suffix("").suffix + ending
        name = self._place.name[:len(self._place.name) - len(ending)]
        self._stage = self._place.with_name(f"{name}.incomplete-{os.getpid()}{ending}")
        self._refuse()

    def _refuse(self) -> None:
        if os.path.lexists(self._place) and not self._place.is_file():
            raise KovaError(f"{self.name} is there and is not a file")
        if self._place.exists() and not self._force:
            raise KovaError(f"{self.name} is there already; --force replaces it")

    def __enter__(self) -> pathlib.Path:
        unfinished.add(self._stage)
        try:
            self._stage.open("xb").close()
        except OSError as error:
            raise KovaError(f"{self.name}: {reason(error)}") from error
        return self._stage

    def publish(self) -> None:
        """Gives the file its name."""
        self._refuse()  # somebody may have made it meanwhile
        try:
            os.replace(self._stage, self._place)
        except OSError as error:
            raise KovaError(f"{self.name}: {reason(error)}") from error

    def __exit__(self, kind: Optional[Type[BaseException]], error: object, trace: object) -> None:
        try:
            self._stage.unlink()
        except OSError:
            pass  # published
        unfinished.discard(self._stage)
        if isinstance(error, OSError):
            raise KovaError(f"{self.name}: {reason(error)}") from error
