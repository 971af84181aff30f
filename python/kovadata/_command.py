"""What the package's command lines have in common: how they tell wrong usage and failures."""

from __future__ import annotations

import argparse
import sys
from typing import Any, NoReturn

from ._errors import KovaError


class Parser(argparse.ArgumentParser):
    """Wrong usage is one line, another that says where help is, and status 2."""

    def __init__(self, **options: Any) -> None:
        super().__init__(formatter_class=argparse.RawDescriptionHelpFormatter, allow_abbrev=False, **options)

    def error(self, message: str) -> NoReturn:
        sys.stderr.write(f"kova: {message}\ntry: {self.prog} --help\n")
        sys.exit(2)


def failed(error: Exception, *, with_type: bool = False) -> int:
    """Says in one line what went wrong; gives the exit status. `with_type` names the type of what nobody foresaw."""
    is_foreseen = not with_type or isinstance(error, (KovaError, OSError))
    text = str(error) if is_foreseen else f"{type(error).__name__}: {error}"
    sys.stderr.write(f"kova: {' '.join(text.split()) or type(error).__name__}\n")
    return 1
