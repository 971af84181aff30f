"""Bokeh's models without the signatures of their constructors, for a process that nobody types into.

Bokeh makes a signature for each of its four hundred models, from all properties with their defaults, so that help and completion
show it. That takes more than half of the time of the import.
"""

from __future__ import annotations

import contextlib
import sys
from typing import Any, Iterator


@contextlib.contextmanager
def no_signatures() -> Iterator[None]:
    """Inside, models are imported without them."""
    from bokeh.model import Model

    made: Any = vars(Model).get("parameters")
    if made is None or "bokeh.models" in sys.modules:
        yield
        return
    Model.parameters = classmethod(lambda cls: [])
    try:
        yield
    finally:
        Model.parameters = made
