"""Reads frames ahead: takes a stream of the peaks of many frames apart into frames."""

from __future__ import annotations

import ctypes
from typing import Dict, Iterable, Iterator, List, Sequence, Set, Tuple

import numpy as np

from ._arrow_c import Batch, filled
from ._errors import KovaError
from ._frame import Frame
from ._peaks import COLUMNS, Peaks
from ._queries import Watch, control, query
from ._run import Run

_FRAME, _PEAKS = 1, 8 | 16 | 32 | 64 | 128

_Part = Dict[str, np.ndarray]


def read_ahead(run: Run, frames: Sequence[Frame], threads: int, on_damage: str) -> Iterator[Frame]:
    """Frames in their order, with their peaks, which several threads read before they are asked for."""
    damaged: List[Tuple[int, str]] = []
    for stretch in _without_repetition(frames):
        yield from _read_stretch(run, stretch, threads, on_damage, damaged)
    watch = Watch()
    watch.damaged = damaged
    watch.warn()


def _without_repetition(frames: Sequence[Frame]) -> Iterator[List[Frame]]:
    """Stretches in which no frame is twice, so that the rows of a frame tell that it is over."""
    stretch: List[Frame] = []
    seen: Set[int] = set()
    for frame in frames:
        if frame.id in seen:
            yield stretch
            stretch, seen = [], set()
        stretch.append(frame)
        seen.add(frame.id)
    if stretch:
        yield stretch


def _read_stretch(run: Run, frames: List[Frame], threads: int, on_damage: str,
                  damaged: List[Tuple[int, str]]) -> Iterator[Frame]:
    watch = Watch()
    # Damage ends the loop where the frame would have come: those before it are good.
    settings, wanted = control(watch, threads, "skip"), query(np.array([frame.id for frame in frames], np.int64))
    stream = run.stream("peaks", ctypes.addressof(wanted), _FRAME | _PEAKS, ctypes.addressof(settings))
    try:
        found = _by_frame(stream)
        following = next(found, None)
        for frame in frames:
            parts: List[_Part] = []
            if following is not None and following[0] == frame.id:
                parts, following = following[1], next(found, None)
            text = dict(watch.damaged).get(frame.id) if watch.damaged else None
            if text is None:
                yield frame._with_peaks(_peaks(frame, parts))
            elif on_damage == "raise":
                raise KovaError(text)
            else:
                damaged.append((frame.id, text))
    finally:
        stream.close()


def _by_frame(batches: Iterable[Batch]) -> Iterator[Tuple[int, List[_Part]]]:
    """Ids of frames with their peaks, which may be in several batches; frames without peaks do not occur."""
    frame_id, parts = -1, []  # type: int, List[_Part]
    for batch in batches:
        columns = {name: filled(column) for name, column in batch.items()}
        frames = columns.pop("frame")
        bounds = [0, *(np.flatnonzero(np.diff(frames)) + 1).tolist(), len(frames)]
        for begin, end in zip(bounds, bounds[1:]):
            if begin == end:
                continue
            if parts and frames[begin] != frame_id:
                yield frame_id, parts
                parts = []
            frame_id = int(frames[begin])
            parts.append({name: values[begin:end] for name, values in columns.items()})
    if parts:
        yield frame_id, parts


def _peaks(frame: Frame, parts: List[_Part]) -> Peaks:
    if not parts:
        parts = [{name: np.empty(0, dtype) for name, dtype in zip(COLUMNS, ("u4", "u4", "u4", "f8", "f8"))}]
    columns = (parts[0][name] if len(parts) == 1 else np.concatenate([part[name] for part in parts])
               for name in COLUMNS)
    return Peaks(frame.id, 0, frame.num_scans, *columns)
