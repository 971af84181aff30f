"""Studies in the hands of engines: one module per engine, each of which shows the same table, one row per peak.

The columns are ``run`` (the path as given), ``frame``, ``time`` in s, ``ms_level``, ``scan``, ``tof_index``, ``intensity``,
``mz`` in Th and ``one_over_k0`` in V s / cm^2. An engine is imported when it is used.
"""

from __future__ import annotations

import importlib
from typing import Any


def needed(module: str, extra: str) -> Any:
    """A module of an engine, or an ImportError that says what to install."""
    try:
        return importlib.import_module(module)
    except ImportError as error:
        raise ImportError(f"{module.partition('.')[0]} cannot be imported ({error}). "
                          f"pip install 'kovadata[{extra}]' installs what this needs.") from error
