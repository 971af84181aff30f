"""Frame ranges of about the same size, for workers that share an analysis."""

from __future__ import annotations

from typing import List, NamedTuple, Optional, Tuple

import numpy as np


class Partition(NamedTuple):
    """A range of frames.

    Attributes
    ----------
    first : int
        "Id" of the first frame.
    last : int
        "Id" of the last frame, which belongs to the range.
    frames : int
        Number of frames.
    peaks : int or None
        Number of peaks that the metadata state for these frames; None if they do not for every frame.
    bytes : int
        Size of the compressed frames in the file, estimated from their positions.
    """

    first: int
    last: int
    frames: int
    peaks: Optional[int]
    bytes: int


def block_sizes(positions: np.ndarray, file_size: int) -> np.ndarray:
    """How far it is from each frame's block to the next one in the file, or to its end."""
    starts = np.unique(np.append(positions[positions >= 0], file_size))
    following = np.minimum(np.searchsorted(starts, positions, side="right"), len(starts) - 1)
    return np.where(positions < 0, 0, np.maximum(starts[following] - positions, 0))


def partition(table: np.ndarray, file_size: int, n: int) -> List[Partition]:
    """Splits a frame table into at most n ranges whose blocks are about the same size."""
    if n < 1:
        raise ValueError(f"the number of partitions must be at least 1, not {n}")
    sizes = block_sizes(table["position"], file_size)
    return [_range(table[begin:end], sizes[begin:end]) for begin, end in cuts(sizes, n)]


def cuts(sizes: np.ndarray, n: int) -> List[Tuple[int, int]]:
    """Where to cut successive blocks into at most n ranges of about the same size, none of them empty."""
    if not len(sizes):
        return []
    # Empty frames cost something as well.
    ends = np.cumsum(sizes.astype(np.float64) + 1.0)
    middles = ends - (sizes + 1.0) / 2
    number = np.minimum((middles * n / ends[-1]).astype(np.int64), n - 1)
    bounds = np.append(np.flatnonzero(np.diff(number, prepend=-1)), len(sizes)).tolist()
    return list(zip(bounds, bounds[1:]))


def _range(rows: np.ndarray, sizes: np.ndarray) -> Partition:
    peaks = rows["peaks"]
    known = int(peaks.sum()) if (peaks >= 0).all() else None
    return Partition(int(rows["id"][0]), int(rows["id"][-1]), len(rows), known, int(sizes.sum()))
