"""A box of the run, and boxes as lines of a CSV file: the targets of `kova xic --targets`, with names."""

from __future__ import annotations

import csv
import dataclasses
import io
import math
from typing import Any, Dict, Iterator, List, Mapping, Optional, Sequence

from .._errors import KovaError
from ._panel import Pair

_COLUMNS = ("name", "mz_low", "mz_high", "mobility_low", "mobility_high", "time_low", "time_high")
_MOST_BOXES = 2000


@dataclasses.dataclass
class Box:
    """Ranges of m/z in Th, 1/K0 in V s / cm^2 and time in s; an open one is None."""

    name: str
    mz: Optional[Pair] = None
    mobility: Optional[Pair] = None
    time: Optional[Pair] = None
    level: Optional[int] = None  # the MS level that it asks for, where it is not that of survey frames

    def described(self) -> Dict[str, Any]:
        """For the page."""
        return dataclasses.asdict(self)

    def key(self) -> Any:
        """What the box chooses, whatever it is called."""
        return self.mz, self.mobility, self.time, self.level


def boxes_to_csv(boxes: Sequence[Box]) -> bytes:
    """Names lose commas and quotes, which the format has no way to write."""
    lines = [",".join(_COLUMNS)]
    for one in boxes:
        name = " ".join(one.name.replace(",", ";").replace('"', "'").split())
        ends = [end for limits in (one.mz, one.mobility, one.time) for end in limits or (math.inf, math.inf)]
        lines.append(",".join([name, *(str(end) if math.isfinite(end) else "" for end in ends)]))
    return ("\n".join(lines) + "\n").encode()


def boxes_from_csv(text: str) -> List[Box]:
    """Boxes of a file, which names mz_low and mz_high, or mz and ppm, in its first line; KovaError where a line is wrong."""
    reader = csv.DictReader(io.StringIO(text.lstrip("\ufeff")), skipinitialspace=True)
    names = [name.strip() for name in reader.fieldnames or ()]
    reader.fieldnames = names
    if not ({"mz_low", "mz_high"} <= set(names) or {"mz", "ppm"} <= set(names)):
        raise KovaError("the first line names neither mz_low and mz_high nor mz and ppm")
    found = list(_read(reader))
    if len(found) > _MOST_BOXES:
        raise KovaError(f"the file has {len(found)} boxes; {_MOST_BOXES} are the most that can be kept")
    return found


def _read(reader: "csv.DictReader[str]") -> Iterator[Box]:
    for count, row in enumerate(reader, 1):
        if any(isinstance(value, str) and value.strip() for value in row.values()):
            try:
                yield Box((row.get("name") or f"box {count}").strip()[:80], _mass(row), _range(row, "mobility"),
                          _range(row, "time"))
            except ValueError as error:
                raise KovaError(f"line {reader.line_num}: {error}") from None


def _mass(row: Mapping[str, Optional[str]]) -> Optional[Pair]:
    if "mz_low" in row and "mz_high" in row:
        return _range(row, "mz")
    mz, ppm = _number(row, "mz"), _number(row, "ppm")
    if mz is None or ppm is None or ppm < 0:
        raise ValueError("mz and ppm must be there, and ppm at least 0")
    return mz * (1 - ppm * 1e-6), mz * (1 + ppm * 1e-6)


def _range(row: Mapping[str, Optional[str]], name: str) -> Optional[Pair]:
    low, high = _number(row, f"{name}_low"), _number(row, f"{name}_high")
    limits = -math.inf if low is None else low, math.inf if high is None else high
    if limits[0] > limits[1]:
        raise ValueError(f"{name}_low is above {name}_high")
    return None if limits == (-math.inf, math.inf) else limits


def _number(row: Mapping[str, Optional[str]], name: str) -> Optional[float]:
    text = (row.get(name) or "").strip()
    if not text:
        return None
    try:
        value = float(text)
    except ValueError:
        value = math.nan
    if math.isnan(value):
        raise ValueError(f"{name} is {text!r}, which is not a number")
    return value
