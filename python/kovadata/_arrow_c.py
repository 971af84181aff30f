"""Takes Arrow C streams of the library apart into numpy arrays, without pyarrow and without copying.

An array is a view of a buffer of the library. It holds its record batch, which is released with the last such array, and
may outlive the stream and the run. Structures and buffers are read by their addresses from one buffer that is the memory of
the process: batches may be as small as a frame of a few peaks, for which an object of ctypes per structure takes too long.
"""

from __future__ import annotations

import ctypes
import dataclasses
import functools
import struct
from ctypes import c_char_p, c_int, c_int64, c_void_p
from typing import Any, Dict, Iterator, List, NamedTuple, Optional, Sequence, Tuple, Union, cast

import numpy as np

from ._errors import KovaError

_Release = ctypes.CFUNCTYPE(None, c_void_p)
_Get = ctypes.CFUNCTYPE(c_int, c_void_p, c_void_p)
_GetText = ctypes.CFUNCTYPE(c_char_p, c_void_p)


@functools.lru_cache(maxsize=256)
def _function(kind: Any, address: int) -> Any:
    """The function at an address. All batches and most streams have the same ones."""
    return kind(address)


class ArrowSchema(ctypes.Structure):
    _fields_ = [("format", c_char_p), ("name", c_char_p), ("metadata", c_void_p), ("flags", c_int64),
                ("n_children", c_int64), ("children", c_void_p), ("dictionary", c_void_p), ("release", _Release),
                ("private_data", c_void_p)]


class ArrowArray(ctypes.Structure):
    _fields_ = [("length", c_int64), ("null_count", c_int64), ("offset", c_int64), ("n_buffers", c_int64),
                ("n_children", c_int64), ("buffers", c_void_p), ("children", c_void_p), ("dictionary", c_void_p),
                ("release", c_void_p), ("private_data", c_void_p)]


class ArrowArrayStream(ctypes.Structure):
    _fields_ = [("get_schema", c_void_p), ("get_next", c_void_p), ("get_last_error", c_void_p), ("release", c_void_p),
                ("private_data", c_void_p)]


class Field(NamedTuple):
    """Name and type of a column, as the C data interface writes types."""

    name: str
    format: str
    children: Tuple["Field", ...] = ()

    @property
    def dtype(self) -> np.dtype:
        """Type of the elements of a column of numbers."""
        return _NUMBER_TYPES[self.format]


class Numbers(NamedTuple):
    """A column of numbers; of fixed-size lists of them, a row each. ``valid`` is None where there is no null."""

    values: np.ndarray
    valid: Optional[np.ndarray]


class Texts(NamedTuple):
    """A column of texts."""

    values: List[str]
    valid: Optional[np.ndarray]


@dataclasses.dataclass(frozen=True, eq=False)
class Lists:
    """A column of lists: list ``i`` is ``values[offsets[i]:offsets[i + 1]]``. Iterating gives views."""

    offsets: np.ndarray
    values: np.ndarray
    valid: Optional[np.ndarray]

    def __iter__(self) -> Iterator[Any]:
        ends = self.offsets.tolist()
        return (self.values[begin:end] for begin, end in zip(ends, ends[1:]))


Column = Union[Numbers, Texts, Lists]
Batch = Dict[str, Any]

_NUMBER_TYPES = {letter: np.dtype(kind) for letter, kind in (
    ("c", "i1"), ("C", "u1"), ("s", "i2"), ("S", "u2"), ("i", "i4"), ("I", "u4"), ("l", "i8"), ("L", "u8"), ("f", "f4"),
    ("g", "f8"))}
_BYTE, _OFFSET = np.dtype("u1"), np.dtype("i4")
# What stands in an array of integers where nothing is known; in one of floating-point numbers it is NaN.
UNKNOWN = -1
# length, null_count, offset, n_buffers, n_children, buffers and children of an ArrowArray; as many pointers.
_ARRAY, _POINTERS = struct.Struct("=7q"), [struct.Struct(f"={count}q") for count in range(4)]
_TWO_POINTERS = _POINTERS[2]


def filled(column: Numbers) -> np.ndarray:
    """The values, with something for what is not known. A batch belongs to whoever got it."""
    values, valid = column
    if valid is not None:
        values[~valid] = np.nan if values.dtype.kind == "f" else UNKNOWN
    return values


class _RecordBatch(ctypes.Array):
    """Owns a record batch. As a buffer it is the whole memory of the process, so that any array in it keeps the batch."""

    _type_, _length_ = ctypes.c_ubyte, 1 << 62
    structure: ArrowArray
    address: int

    @classmethod
    def empty(cls) -> _RecordBatch:
        batch = cls.from_address(0)
        batch.structure = structure = ArrowArray()
        batch.address = ctypes.addressof(structure)
        return batch

    def __del__(self) -> None:
        release = self.structure.release
        if release:
            _function(_Release, release)(self.address)


def _view(batch: Any, address: int, first: int, count: int, dtype: np.dtype) -> np.ndarray:
    return np.frombuffer(batch, dtype, count, address + first * dtype.itemsize) if count else np.empty(0, dtype)


def _bits(batch: _RecordBatch, address: int, first: int, count: int) -> np.ndarray:
    start = first // 8
    return np.unpackbits(_view(batch, address, start, (first + count + 7) // 8 - start, _BYTE),
                         bitorder="little")[first % 8:][:count].astype(bool)


def _column(batch: Any, address: int, field: Field) -> Any:
    """The column whose ArrowArray lies at an address."""
    count, nulls, first, n_buffers, _, buffers, children = _ARRAY.unpack_from(batch, address)
    dtype = _NUMBER_TYPES.get(field.format)
    mask, *data = _POINTERS[n_buffers].unpack_from(batch, buffers)
    valid = _bits(batch, mask, first, count) if nulls and count and mask else None
    if valid is not None and valid.all():
        valid = None
    if dtype is not None:
        return Numbers(_view(batch, data[0], first, count, dtype), valid)
    if field.format == "b":
        return Numbers(_bits(batch, data[0], first, count), valid)
    if field.format == "u":
        return Texts(_texts(batch, data[0], data[1], first, count), valid)
    if not field.format.startswith(("+l", "+w:")):
        raise KovaError(f"column {field.name!r} has the type {field.format!r}, which this package does not know")
    (child,) = _POINTERS[1].unpack_from(batch, children)
    values = _column(batch, child, field.children[0]).values
    if field.format == "+l":
        return Lists(_view(batch, data[0], first, count + 1, _OFFSET) if count else np.zeros(1, _OFFSET), values, valid)
    width = int(field.format[3:])
    return Numbers(values[first * width:(first + count) * width].reshape(count, width), valid)


def _texts(batch: _RecordBatch, offsets: int, letters: int, first: int, count: int) -> List[str]:
    if count == 0:
        return []
    begin, *ends = _view(batch, offsets, first, count + 1, _OFFSET).tolist()
    found = ctypes.string_at(letters + begin, ends[-1] - begin)
    return [found[one - begin:other - begin].decode("utf-8", "replace") for one, other in zip([begin, *ends], ends)]


def _fields_of(address: int) -> Tuple[Field, ...]:
    schema = ArrowSchema.from_address(address)
    return tuple(map(_field, (c_int64 * schema.n_children).from_address(schema.children or 0)))


def _field(address: int) -> Field:
    schema = ArrowSchema.from_address(address)
    return Field((schema.name or b"").decode(), schema.format.decode(), _fields_of(address))


class BatchStream:
    """A stream of the library: an iterator of record batches, each a dictionary of columns.

    It is filled by a call that receives its ``address``. One thread may use it at a time.

    Parameters
    ----------
    fields : tuple of Field, optional
        The columns, where they are known, which spares asking the stream.
    """

    def __init__(self, fields: Optional[Tuple[Field, ...]] = None) -> None:
        self.structure = ArrowArrayStream()
        self.address = ctypes.addressof(self.structure)
        self._fields = fields

    @property
    def fields(self) -> Tuple[Field, ...]:
        """Names and types of the columns."""
        if self._fields is None:
            schema = ArrowSchema()
            at = ctypes.addressof(schema)
            if _function(_Get, self.structure.get_schema)(self.address, at):
                raise self.failure()
            try:
                self._fields = _fields_of(at)
            finally:
                schema.release(at)
        return self._fields

    def failure(self) -> KovaError:
        text = _function(_GetText, self.structure.get_last_error)(self.address)
        return KovaError((text or b"the stream failed").decode("utf-8", "replace"))

    def next_batch(self) -> Optional[Tuple[int, Batch]]:
        """Number of rows and columns of the next batch, None after the last one."""
        batch = self._next()
        if batch is None:
            return None
        return batch.structure.length, {field.name: _column(batch, child, field)
                                        for field, child in zip(self.fields, self._children(batch))}

    def next_numbers(self) -> Optional[List[np.ndarray]]:
        """The same of columns of numbers, as arrays with something for what is not known. A frame may have few peaks, so
        this is written for few steps."""
        batch = self._next()
        if batch is None:
            return None
        arrays, memory = [], cast(Any, batch)
        for field, child in zip(self.fields, self._children(batch)):
            count, nulls, first, _, _, buffers, _ = _ARRAY.unpack_from(batch, child)
            if nulls or not count:
                arrays.append(filled(_column(batch, child, field)))
            else:
                dtype = _NUMBER_TYPES[field.format]
                _, values = _TWO_POINTERS.unpack_from(batch, buffers)
                arrays.append(np.frombuffer(memory, dtype, count, values + first * dtype.itemsize))
        return arrays

    def _next(self) -> Optional[_RecordBatch]:
        if not self.structure.release:
            return None
        batch = _RecordBatch.empty()
        if _function(_Get, self.structure.get_next)(self.address, batch.address):
            raise self.failure()
        return batch if batch.structure.release else None

    def _children(self, batch: _RecordBatch) -> Tuple[int, ...]:
        return struct.unpack_from(f"={len(self.fields)}q", batch, batch.structure.children)

    def __iter__(self) -> Iterator[Batch]:
        while True:
            found = self.next_batch()
            if found is None:
                return
            yield found[1]

    def close(self) -> None:
        """Ends the stream and its threads. What was read stays."""
        release = self.structure.release
        if release:
            _function(_Release, release)(self.address)

    def __del__(self) -> None:
        self.close()


_CAPSULE_NAME = b"arrow_array_stream"
_Destructor = ctypes.PYFUNCTYPE(None, c_void_p)
_new_capsule = ctypes.PYFUNCTYPE(ctypes.py_object, c_void_p, c_char_p, _Destructor)(("PyCapsule_New", ctypes.pythonapi))
_pointer_of = ctypes.PYFUNCTYPE(c_void_p, c_void_p, c_char_p)(("PyCapsule_GetPointer", ctypes.pythonapi))
# Streams in capsules. A consumer moves the content out; what it leaves is released with the capsule.
_exported: Dict[int, BatchStream] = {}


def _drop_capsule(capsule: int) -> None:
    stream = _exported.pop(_pointer_of(capsule, _CAPSULE_NAME) or 0, None)
    if stream is not None:
        stream.close()


_destructor = _Destructor(_drop_capsule)


def capsule(stream: BatchStream) -> Any:
    """The stream as the capsule of ``__arrow_c_stream__``, which takes it over."""
    _exported[stream.address] = stream
    return _new_capsule(stream.address, _CAPSULE_NAME, _destructor)
