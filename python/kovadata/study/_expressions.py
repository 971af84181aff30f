"""What a pyarrow expression bounds.

pyarrow shows no structure of its expressions, but it writes them: as a record batch whose schema lists calls, fields and
literals as they are nested, in metadata with repeated keys, while the values of literals are its columns. Repeated keys are
only seen in the C structure of the schema. What cannot be read bounds nothing.
"""

from __future__ import annotations

import ctypes
import struct
from typing import Any, FrozenSet, Iterator, List, NamedTuple, Optional, Tuple

import pyarrow as pa

from .._arrow_c import ArrowSchema
from ._bounds import Bounds

_OPERATORS = {"equal": "==", "less": "<", "less_equal": "<=", "greater": ">", "greater_equal": ">="}
_SWAPPED = {"==": "==", "<": ">", "<=": ">=", ">": "<", ">=": "<="}


class _Node(NamedTuple):
    kind: str  # "field", "literal", or the name of a function
    value: Any  # name of the field, value of the literal, options of the function
    inputs: Tuple["_Node", ...] = ()


def bounds_of(condition: Optional[Any]) -> Bounds:
    """The bounds of what an expression lets through."""
    if condition is None:
        return Bounds()
    try:
        return _bounds(_read(condition))
    except (pa.ArrowException, LookupError, StopIteration, TypeError, ValueError):
        return Bounds()


def fields_of(condition: Any) -> FrozenSet[str]:
    """The fields that an expression is about."""

    def walk(node: _Node) -> Iterator[str]:
        if node.kind == "field":
            yield node.value
        for one in node.inputs:
            yield from walk(one)

    return frozenset(walk(_read(condition)))


def _bounds(node: _Node) -> Bounds:
    if node.kind in ("and", "and_kleene", "or", "or_kleene"):
        left, right = map(_bounds, node.inputs)
        return left & right if node.kind.startswith("and") else left | right
    if node.kind == "if_else" and node.inputs[2].kind == "literal" and not node.inputs[2].value:
        return _bounds(node.inputs[0]) & _bounds(node.inputs[1])
    if node.kind in _OPERATORS:
        first, second = node.inputs
        operator = _OPERATORS[node.kind]
        if first.kind == "literal":
            first, second, operator = second, first, _SWAPPED[operator]
        if (first.kind, second.kind) == ("field", "literal"):
            return Bounds.of(first.value, operator, second.value)
    if node.kind == "is_in" and node.inputs[0].kind == "field":
        return Bounds.of(node.inputs[0].value, "in", node.value["value_set"])
    return Bounds()


def _read(condition: Any) -> _Node:
    _, (buffer, *_) = condition.__reduce__()
    with pa.ipc.open_file(buffer) as reader:
        batch = reader.get_batch(0)
    entries = iter(_metadata(batch.schema))

    def value(column: bytes) -> Any:
        return batch.column(int(column))[0].as_py()

    def node(key: bytes, text: bytes) -> _Node:
        if key == b"field_ref":
            return _Node("field", text.decode())
        if key == b"literal":
            return _Node("literal", value(text))
        if key != b"call":
            raise ValueError(f"{key!r} is unknown")
        inputs: List[_Node] = []
        options = None
        for part, content in entries:
            if part == b"end":
                break
            if part == b"options":
                options = value(content)
            else:
                inputs.append(node(part, content))
        return _Node(text.decode(), options, tuple(inputs))

    return node(*next(entries))


def _metadata(schema: pa.Schema) -> List[Tuple[bytes, bytes]]:
    structure = ArrowSchema()
    address = ctypes.addressof(structure)
    schema._export_to_c(address)
    try:
        at = structure.metadata

        def word() -> int:
            nonlocal at
            at += 4
            return int(struct.unpack("=i", ctypes.string_at(at - 4, 4))[0])

        def text() -> bytes:
            nonlocal at
            size = word()
            at += size
            return ctypes.string_at(at - size, size)

        return [(text(), text()) for _ in range(word())] if at else []
    finally:
        structure.release(address)
