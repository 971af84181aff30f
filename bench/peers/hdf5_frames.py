"""HDF5: a group per frame with the data sets scan, index and intensity, each of them one compressed chunk."""

import functools
import pathlib
from collections.abc import Iterable

import h5py
import hdf5plugin

from peer import Format, Frame

SHUFFLE_ZSTD = {"shuffle": True, "compression": hdf5plugin.Zstd(clevel=1)}
BLOSC2 = {"compression": hdf5plugin.Blosc2(cname="zstd", clevel=1, filters=hdf5plugin.Blosc2.SHUFFLE)}


def write(path: pathlib.Path, frames: Iterable[tuple[int, Frame]], *, filters: dict) -> None:
    with h5py.File(path, "w") as file:
        for frame_id, frame in frames:
            group = file.create_group(str(frame_id))
            for name, values in frame._asdict().items():
                # An empty data set cannot have chunks.
                chunked = {"chunks": values.shape, **filters} if len(values) else {}
                group.create_dataset(name, data=values, **chunked)


class Hdf5Reader:
    def __init__(self, path: pathlib.Path) -> None:
        self.file = h5py.File(path, "r")

    def read(self, frame_id: int) -> Frame:
        group = self.file[str(frame_id)]
        return Frame(*(group[name][:] for name in Frame._fields))


FORMATS = [Format("HDF5, shuffle + zstd", ".zstd.h5", Hdf5Reader, functools.partial(write, filters=SHUFFLE_ZSTD)),
           Format("HDF5, Blosc2 (zstd)", ".blosc2.h5", Hdf5Reader, functools.partial(write, filters=BLOSC2))]
