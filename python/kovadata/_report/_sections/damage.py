"""Frames that could not be read."""

from __future__ import annotations

from .._numbers import Run
from .blocks import Detail, Section, Table, Text, plural

_LISTED = 200


def damage(run: Run, _: Detail, prefix: str) -> Section:
    """A list; all the rest of the report is of the other frames."""
    if not run.damaged:
        return Section("Damage", [Text("No frame is damaged: all were read." if run.measured.frames else "There are no frames to be damaged.")])
    count = len(run.damaged)
    rows = list(run.damaged.items())[:_LISTED]
    more = [Text(f"The other {count - _LISTED:,} are not listed.")] if count > _LISTED else []
    whole = f"{plural(count, 'frame')} of {run.measured.frames:,} {'is' if count == 1 else 'are'} damaged and left out of everything above."
    return Section("Damage", [Text(whole), Table(rows, ("Frame", "What is wrong")), *more])
