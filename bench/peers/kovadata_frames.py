"""The library itself, by ctypes, with results packed into a buffer that is filled in place."""

import bisect
import ctypes
import pathlib
import sqlite3

import numpy

from peer import Frame

MAX_SCANS = 1 << 16


def load(library: pathlib.Path) -> ctypes.CDLL:
    loaded = ctypes.CDLL(str(library))
    loaded.kova_open.restype = ctypes.c_uint64
    loaded.kova_open.argtypes = [ctypes.c_char_p, ctypes.c_uint32]
    loaded.kova_close.argtypes = [ctypes.c_uint64]
    loaded.kova_get_last_error_string.argtypes = [ctypes.c_char_p, ctypes.c_uint32]
    loaded.kova_read_scans_v2.restype = ctypes.c_uint32
    loaded.kova_read_scans_v2.argtypes = [ctypes.c_uint64, ctypes.c_int64, ctypes.c_uint32, ctypes.c_uint32,
                                          ctypes.c_void_p, ctypes.c_uint32]
    return loaded


def unpack(words: numpy.ndarray, scans: int) -> Frame:
    """Counts, then per scan its indices and its intensities: a mask takes the two apart."""
    counts, peaks = words[:scans], words[scans:]
    chosen = numpy.repeat(numpy.tile([True, False], scans), numpy.repeat(counts, 2))
    index = peaks[chosen]
    numpy.logical_not(chosen, out=chosen)
    return Frame(numpy.repeat(numpy.arange(scans, dtype=numpy.uint32), counts), index, peaks[chosen])


class KovadataReader:
    def __init__(self, library: pathlib.Path, analysis: pathlib.Path) -> None:
        self.library = load(library)
        self.handle = self.library.kova_open(str(analysis).encode(), 0)
        if not self.handle:
            raise RuntimeError(self.last_error())
        self.buffer = numpy.empty(1 << 20, numpy.uint32)
        database = sqlite3.connect(f"{analysis.resolve().as_uri()}/analysis.kvd?mode=ro", uri=True)
        ids = [row[0] for row in database.execute("SELECT Id FROM Frames ORDER BY Id")]
        database.close()
        self.scans = {frame_id: self.find_scan_count(frame_id) for frame_id in ids}

    def close(self) -> None:
        self.library.kova_close(self.handle)

    def last_error(self) -> str:
        text = ctypes.create_string_buffer(1024)
        self.library.kova_get_last_error_string(text, len(text))
        return text.value.decode()

    def find_scan_count(self, frame_id: int) -> int:
        def beyond(scan: int) -> bool:
            return self.library.kova_read_scans_v2(self.handle, frame_id, scan, scan + 1, None, 0) == 0
        return bisect.bisect_left(range(MAX_SCANS), True, key=beyond)

    def read_packed(self, frame_id: int) -> numpy.ndarray:
        size = self.library.kova_read_scans_v2(self.handle, frame_id, 0, self.scans[frame_id],
                                               self.buffer.ctypes.data, self.buffer.nbytes)
        if size == 0:
            raise RuntimeError(self.last_error())
        if size > self.buffer.nbytes:
            self.buffer = numpy.empty(size // 4, numpy.uint32)
            return self.read_packed(frame_id)
        return self.buffer[: size // 4]

    def read(self, frame_id: int) -> Frame:
        return unpack(self.read_packed(frame_id), self.scans[frame_id])
