"""What the formats have in common: how one is written, how it is opened, and what a reader of it gives."""

import dataclasses
import pathlib
from collections.abc import Callable, Iterable
from typing import NamedTuple, Protocol

import numpy


class Frame(NamedTuple):
    """The peaks of one frame, an entry of each array per peak; 32-bit unsigned, in the order of the scans."""

    scan: numpy.ndarray
    index: numpy.ndarray
    intensity: numpy.ndarray


class Reader(Protocol):
    def read(self, frame_id: int) -> Frame: ...


@dataclasses.dataclass(frozen=True)
class Format:
    name: str
    suffix: str
    open: Callable[[pathlib.Path], Reader]
    write: Callable[[pathlib.Path, Iterable[tuple[int, Frame]]], None]
