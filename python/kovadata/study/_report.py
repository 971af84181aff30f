"""Tells of damage that was left out: by a warning where it was found and, as workers are elsewhere, in a folder."""

from __future__ import annotations

import hashlib
import json
import os
import warnings
from typing import List, NamedTuple, Optional, Sequence, Set, Union

from .._errors import DamageWarning


class Damage(NamedTuple):
    """Something that was left out.

    Attributes
    ----------
    run : str
        Path of the run as given.
    frame : int or None
        Id of the frame; None if the run as a whole cannot be read.
    error : str
        What is wrong with it.
    """

    run: str
    frame: Optional[int]
    error: str


def report(damage: Sequence[Damage], folder: Optional[str]) -> None:
    """Warns of damage, and writes it to a file of its own in the folder, which a worker that repeats the task replaces."""
    listed = "; ".join(f"{one.run}{'' if one.frame is None else f', frame {one.frame}'} ({one.error})" for one in damage[:20])
    more = f"; and {len(damage) - 20} more" if len(damage) > 20 else ""
    warnings.warn(f"damaged frames or runs were left out: {listed}{more}", DamageWarning, stacklevel=3)
    if folder is not None:
        os.makedirs(folder, exist_ok=True)
        text = json.dumps(damage)
        name = os.path.join(folder, hashlib.sha256(text.encode()).hexdigest()[:24])
        with open(f"{name}.{os.getpid()}", "w", encoding="utf-8") as file:
            file.write(text)
        os.replace(file.name, f"{name}.json")


def read_report(folder: Union[str, "os.PathLike[str]"]) -> List[Damage]:
    """What was left out, by a study with ``report=folder``, sorted by run and frame; each frame once."""
    found: Set[Damage] = set()
    for name in os.listdir(folder):
        if name.endswith(".json"):
            with open(os.path.join(folder, name), encoding="utf-8") as file:
                found.update(Damage(*one) for one in json.load(file))
    return sorted(found, key=lambda one: (one.run, -1 if one.frame is None else one.frame))
