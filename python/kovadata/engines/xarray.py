"""The frames of a run as a stack of images, for xarray."""

from __future__ import annotations

from typing import Any, Optional, Tuple

import numpy as np

from .._queries import Range
from ..study import Bounds, Study, StudyPartition
from ..study._runs import Path
from . import needed


def image_stack(path: Path, *, bins: Tuple[int, int] = (800, 400), mz_range: Range = None, mobility_range: Range = None,
                ms_level: Optional[int] = 1, chunk: int = 16, **options: Any) -> Any:
    """Intensities of a run over time, 1/K0 and m/z, computed by Dask where they are looked at.

    Parameters
    ----------
    path : str or path-like
        Directory of an analysis.
    bins : (int, int)
        Number of cells along m/z and along 1/K0.
    mz_range, mobility_range : (float, float), optional
        What the cells reach over, in Th and V s / cm^2; what there is in the first frame by default.
    ms_level : int, optional
        1 or 2, or None for all frames.
    chunk : int
        Number of frames that are read at a time.
    **options
        As for `kovadata.study.Study`: ``recalibrated``, ``calibration``, ``normalized``.

    Returns
    -------
    xarray.DataArray
        Sums of intensities (uint64) with the dimensions ``time`` in s, ``one_over_k0`` and ``mz``, whose coordinates are
        the middles of the cells, and the ids ``frame`` along time.
    """
    xarray, array = needed("xarray", "xarray"), needed("dask.array", "xarray")
    wanted = Bounds() if ms_level is None else Bounds.of("ms_level", "==", ms_level)
    parts = Study([path], **options).partitions(wanted, n=1)
    if not parts:
        raise ValueError(f"no frame of {path} is of MS level {ms_level}")
    part = parts[0]
    with part.open() as analysis:
        table = analysis.frame_table()
        first = analysis.image(bins=bins, frames=part.frames[:1], ms_level=None, mz_range=mz_range, mobility_range=mobility_range)
    grid = {"bins": bins, "mz_range": (first.x_edges[0], first.x_edges[-1]),
            "mobility_range": (first.y_edges[0], first.y_edges[-1])}
    ids = array.from_array(part.frames, chunks=chunk)
    values = array.map_blocks(_images, ids, part=part, grid=grid, new_axis=[1, 2], dtype=np.uint64, meta=np.empty((0, 0, 0), np.uint64),
                              chunks=(ids.chunks[0], (bins[1],), (bins[0],)))
    times = table["time"][np.searchsorted(table["id"], part.frames)]
    return xarray.DataArray(values, dims=("time", "one_over_k0", "mz"), name="intensity",
                            coords={"time": times, "one_over_k0": _middles(first.y_edges), "mz": _middles(first.x_edges),
                                    "frame": ("time", part.frames)})


def _middles(edges: np.ndarray) -> np.ndarray:
    return (edges[:-1] + edges[1:]) / 2


def _images(ids: np.ndarray, part: StudyPartition, grid: Any) -> np.ndarray:
    normalized = part.options.normalized
    with part.open() as analysis:
        return np.stack([analysis.image(frames=[one], ms_level=None, threads=1, normalized=normalized, **grid).values
                         for one in ids.tolist()])
