"""Takes Arrow C streams of the library apart into numpy arrays, without pyarrow and without copying.

An array is a view of a buffer of the library. It holds its record batch, which is released with the last such array, and
may outlive the stream and the run. Fields of the C structures are unpacked from their bytes, which is several times quicker than
reading them one by one through ctypes: batches may be as small as a frame of a few peaks.
"""

from __future__ import annotations

import ctypes
import dataclasses
import struct
from ctypes import c_char_p, c_int, c_int64, c_void_p
from typing import Any, Dict, Iterator, List, NamedTuple, Optional, Sequence, Tuple, Union

import numpy as np

from ._errors import KovaError

_Release = ctypes.CFUNCTYPE(None, c_void_p)


class ArrowSchema(ctypes.Structure):
    _fields_ = [("format", c_char_p), ("name", c_char_p), ("metadata", c_void_p), ("flags", c_int64),
                ("n_children", c_int64), ("children", c_void_p), ("dictionary", c_void_p), ("release", _Release),
                ("private_data", c_void_p)]


class ArrowArray(ctypes.Structure):
    _fields_ = [("length", c_int64), ("null_count", c_int64), ("offset", c_int64), ("n_buffers", c_int64),
                ("n_children", c_int64), ("buffers", c_void_p), ("children", c_void_p), ("dictionary", c_void_p),
                ("release", _Release), ("private_data", c_void_p)]


class ArrowArrayStream(ctypes.Structure):
    _fields_ = [("get_schema", ctypes.CFUNCTYPE(c_int, c_void_p, c_void_p)),
                ("get_next", ctypes.CFUNCTYPE(c_int, c_void_p, c_void_p)),
                ("get_last_error", ctypes.CFUNCTYPE(c_char_p, c_void_p)), ("release", _Release),
                ("private_data", c_void_p)]


class Field(NamedTuple):
    """Name and type of a column, as the C data interface writes types."""

    name: str
    format: str
    children: Tuple["Field", ...] = ()

    @property
    def dtype(self) -> np.dtype:
        """Type of the elements of a column of numbers."""
        return np.dtype(_NUMBER_TYPES[self.format])


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

_NUMBER_TYPES = {"c": "|i1", "C": "|u1", "s": "<i2", "S": "<u2", "i": "<i4", "I": "<u4", "l": "<i8", "L": "<u8",
                 "f": "<f4", "g": "<f8"}
# What stands in an array of integers where nothing is known; in one of floating-point numbers it is NaN.
UNKNOWN = -1
_TEN_WORDS = struct.Struct("=10q")


def filled(column: Numbers) -> np.ndarray:
    """The values, with something for what is not known. A batch belongs to whoever got it."""
    values, valid = column
    if valid is not None:
        values[~valid] = np.nan if values.dtype.kind == "f" else UNKNOWN
    return values


class _RecordBatch:
    """Owns a record batch."""

    def __init__(self) -> None:
        self.structure = ArrowArray()
        self.address = ctypes.addressof(self.structure)

    def __del__(self) -> None:
        if self.structure.release:
            self.structure.release(self.address)


class _Memory:
    """A part of a record batch, as numpy takes it. Arrays that are made of it keep the batch."""

    __slots__ = ("__array_interface__", "batch")

    def __init__(self, batch: _RecordBatch, address: int, shape: Tuple[int, ...], dtype: str) -> None:
        self.batch = batch
        self.__array_interface__ = {"data": (address, False), "shape": shape, "typestr": dtype, "version": 3}


class _Array(NamedTuple):
    """The fields of an ArrowArray that lie at an address."""

    length: int
    null_count: int
    offset: int
    buffers: Tuple[int, ...]
    children: Tuple[int, ...]


def _pointers(address: int, count: int) -> Tuple[int, ...]:
    return struct.unpack(f"={count}q", ctypes.string_at(address, 8 * count)) if count else ()


def _array(address: int) -> _Array:
    length, nulls, offset, n_buffers, n_children, buffers, children, _, _, _ = _TEN_WORDS.unpack(
        ctypes.string_at(address, 80))
    return _Array(length, nulls, offset, _pointers(buffers, n_buffers), _pointers(children, n_children))


def _view(batch: _RecordBatch, address: int, first: int, count: int, dtype: str) -> np.ndarray:
    if count == 0:
        return np.empty(0, dtype)
    return np.asarray(_Memory(batch, address + first * int(dtype[2]), (count,), dtype))


def _valid(batch: _RecordBatch, array: _Array) -> Optional[np.ndarray]:
    if array.null_count == 0 or array.length == 0 or not array.buffers[0]:
        return None
    first = array.offset // 8
    bits = _view(batch, array.buffers[0] + first, 0, (array.offset + array.length + 7) // 8 - first, "|u1")
    valid = np.unpackbits(bits, bitorder="little")[array.offset % 8:][:array.length].astype(bool)
    return None if valid.all() else valid


def _numbers(batch: _RecordBatch, array: _Array, dtype: str) -> Numbers:
    return Numbers(_view(batch, array.buffers[1], array.offset, array.length, dtype), _valid(batch, array))


def _flags(batch: _RecordBatch, array: _Array) -> Numbers:
    bits = _view(batch, array.buffers[1], 0, (array.offset + array.length + 7) // 8, "|u1")
    values = np.unpackbits(bits, bitorder="little")[array.offset:array.offset + array.length].astype(bool)
    return Numbers(values, _valid(batch, array))


def _texts(batch: _RecordBatch, array: _Array) -> Texts:
    if array.length == 0:
        return Texts([], None)
    ends = _view(batch, array.buffers[1], array.offset, array.length + 1, "<i4").tolist()
    letters = ctypes.string_at(array.buffers[2] + ends[0], ends[-1] - ends[0]) if ends[-1] > ends[0] else b""
    first = ends[0]
    return Texts([letters[begin - first:end - first].decode("utf-8", "replace") for begin, end in zip(ends, ends[1:])],
                 _valid(batch, array))


def _lists(batch: _RecordBatch, array: _Array, field: Field) -> Lists:
    values = _column(batch, array.children[0], field.children[0])
    offsets = (_view(batch, array.buffers[1], array.offset, array.length + 1, "<i4") if array.length
               else np.zeros(1, np.int32))
    return Lists(offsets, values.values, _valid(batch, array))


def _fixed_size_lists(batch: _RecordBatch, array: _Array, field: Field) -> Numbers:
    width = int(field.format[3:])
    values = _column(batch, array.children[0], field.children[0]).values
    rows = values[array.offset * width:(array.offset + array.length) * width]
    return Numbers(rows.reshape(array.length, width), _valid(batch, array))


def _column(batch: _RecordBatch, address: int, field: Field) -> Any:
    array = _array(address)
    dtype = _NUMBER_TYPES.get(field.format)
    if dtype is not None:
        return _numbers(batch, array, dtype)
    if field.format == "b":
        return _flags(batch, array)
    if field.format == "u":
        return _texts(batch, array)
    if field.format == "+l":
        return _lists(batch, array, field)
    if field.format.startswith("+w:"):
        return _fixed_size_lists(batch, array, field)
    raise KovaError(f"column {field.name!r} has the type {field.format!r}, which this package does not know")


def _fields_of(address: int) -> Tuple[Field, ...]:
    schema = ArrowSchema.from_address(address)
    return tuple(_field(child) for child in _pointers(schema.children or 0, schema.n_children))


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
            if self.structure.get_schema(self.address, at):
                raise self.failure()
            try:
                self._fields = _fields_of(at)
            finally:
                schema.release(at)
        return self._fields

    def failure(self) -> KovaError:
        text = self.structure.get_last_error(self.address)
        return KovaError((text or b"the stream failed").decode("utf-8", "replace"))

    def next_batch(self) -> Optional[Tuple[int, Batch]]:
        """Number of rows and columns of the next batch, None after the last one."""
        if not self.structure.release:
            return None
        fields, batch = self.fields, _RecordBatch()
        if self.structure.get_next(self.address, batch.address):
            raise self.failure()
        if not batch.structure.release:
            return None
        rows = _array(batch.address)
        return rows.length, {field.name: _column(batch, child, field) for field, child in zip(fields, rows.children)}

    def __iter__(self) -> Iterator[Batch]:
        while True:
            found = self.next_batch()
            if found is None:
                return
            yield found[1]

    def close(self) -> None:
        """Ends the stream and its threads. What was read stays."""
        if self.structure.release:
            self.structure.release(self.address)

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
