"""Names of a package that are imported when they are first asked for: a program that uses few of them starts sooner."""

from __future__ import annotations

import importlib
import sys
from typing import Any, Callable, List, Mapping, Tuple


def later(package: str, places: Mapping[str, str]) -> Tuple[Callable[[str], Any], Callable[[], List[str]]]:
    """``__getattr__`` and ``__dir__`` of a package; `places` has the module that each name is in, or that it is."""
    def get(name: str) -> Any:
        if name not in places:
            raise AttributeError(f"module {package!r} has no attribute {name!r}")
        module = importlib.import_module(places[name], package)
        found = module if places[name] == f".{name}" else getattr(module, name)
        setattr(sys.modules[package], name, found)
        return found

    return get, lambda: sorted({*vars(sys.modules[package]), *places})
