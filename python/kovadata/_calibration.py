"""Which calibration an analysis is opened with, as users write it and as the library takes it."""

from __future__ import annotations

from typing import NamedTuple, Optional

_MODES = {"off": 0, "first": 1, "last": 2, "lastIncomplete": 3, "uuid": 4}
_TAKES_NONE, _NEEDS_ONE = ("off",), ("lastIncomplete", "uuid")


class Calibration(NamedTuple):
    """A choice of the library, its source or key, and whether the acquisition's calibration will do as well."""

    mode: int
    parameter: bytes
    fallback: bool


def chosen_calibration(recalibrated: bool, calibration: Optional[str]) -> Calibration:
    """What the arguments of an analysis mean. ValueError for what is none of the choices."""
    if calibration is None:
        return Calibration(_MODES["last" if recalibrated else "off"], b"", True)
    if recalibrated:
        raise ValueError("recalibrated and calibration exclude each other")
    mode, colon, parameter = calibration.partition(":")
    if (mode not in _MODES or (mode in _TAKES_NONE and colon) or (mode in _NEEDS_ONE and not parameter)
            or (colon and not parameter) or "\0" in parameter):
        raise ValueError(f"{calibration!r} is none of off, first, first:SOURCE, last, last:SOURCE, "
                         "lastIncomplete:SOURCE, uuid:KEY")
    return Calibration(_MODES[mode], parameter.encode(), False)
