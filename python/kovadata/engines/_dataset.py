"""Studies as datasets of pyarrow, which engines scan with the columns and conditions of their queries."""

from __future__ import annotations

from typing import Any, Iterator, Optional, Sequence

import pyarrow as pa
import pyarrow.dataset

from ..study import Study
from ..study._arrow import expression, plan, record_batches, schema
from ..study._expressions import fields_of
from ..study._study import TABLE_SIZE


class PeakDataset(pyarrow.dataset.Dataset):
    """The peaks of a study. Of what a dataset can do, engines ask for its schema and for scanners."""

    def __init__(self, study: Study, filters: Any = None, threads: Optional[int] = None) -> None:
        self._study, self._condition, self._threads = study, expression(filters), threads

    @property
    def schema(self) -> pa.Schema:
        return schema()

    def scanner(self, columns: Optional[Sequence[str]] = None, filter: Any = None, **_: Any) -> Any:
        """Reads some columns of the rows that a condition lets through."""
        conditions = [condition for condition in (self._condition, filter) if condition is not None]
        condition = conditions[0] & conditions[1] if len(conditions) == 2 else conditions[0] if conditions else None
        parts = plan(self._study, columns, condition, size=TABLE_SIZE)
        types = schema(columns if columns is None or condition is None else [*columns, *fields_of(condition)])

        def batches() -> Iterator[pa.RecordBatch]:
            for part in parts:
                yield from record_batches(part, self._threads)

        return pyarrow.dataset.Scanner.from_batches(batches(), schema=types, columns=columns, filter=condition)
