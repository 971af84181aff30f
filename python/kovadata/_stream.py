"""Peaks of a whole run as a stream of record batches."""

from __future__ import annotations

from typing import Any, Callable, Dict, Iterator, List, Optional, Tuple

import numpy as np

from ._arrow_c import UNKNOWN, BatchStream, capsule, filled
from ._queries import Watch
from ._table import data_frame


class Stream:
    """Record batches of a query, read while they are asked for. Made by `Analysis.peaks`.

    Iterating gives batches as dictionaries of numpy arrays, one array per column, which are not copies. Packages that know
    the Arrow C stream interface take the whole: ``polars.DataFrame(stream)``,
    ``pyarrow.RecordBatchReader.from_stream(stream)``, or a query of DuckDB that names it. Each use reads the run again; only
    the frames of the first one are those there were when the stream was made.
    """

    def __init__(self, begin: Callable[[Watch], BatchStream]) -> None:
        self._begin = begin
        self._watch = Watch()
        self._first: Optional[BatchStream] = begin(self._watch)  # here, so mistakes are reported by this call
        self._types = {field.name: field.dtype for field in self._first.fields}

    def __repr__(self) -> str:
        return f"<kovadata.Stream of {', '.join(self._types)}>"

    @property
    def columns(self) -> List[str]:
        """Names of the columns."""
        return list(self._types)

    @property
    def damaged(self) -> List[Tuple[int, str]]:
        """Ids of damaged frames that were left out so far, and what is wrong with them."""
        return list(self._watch.damaged)

    def __iter__(self) -> Iterator[Dict[str, np.ndarray]]:
        stream = self._take()
        try:
            for batch in stream:
                yield {name: filled(column) for name, column in batch.items()}
            self._watch.warn()
        finally:
            stream.close()

    def __arrow_c_stream__(self, requested_schema: Any = None) -> Any:
        """The stream as a capsule of the Arrow C stream interface."""
        return capsule(self._take())

    def table(self, kind: str = "numpy") -> Any:
        """Everything at once; it must fit into memory.

        Parameters
        ----------
        kind
            As for `Analysis.frame_table`.

        Returns
        -------
        ndarray, pandas.DataFrame, polars.DataFrame or pyarrow.Table
            What is not known is NaN or -1 in an array, and null in a data frame.
        """
        if kind == "arrow":
            import pyarrow

            return pyarrow.RecordBatchReader.from_stream(self).read_all()
        if kind == "polars":
            import polars

            return polars.DataFrame(self)
        batches = list(self)
        columns = {name: np.concatenate([np.empty(0, dtype), *(batch[name] for batch in batches)], dtype=dtype)
                   for name, dtype in self._types.items()}
        missing = {name: np.isnan(values) if values.dtype.kind == "f" else values == UNKNOWN
                   for name, values in columns.items() if values.dtype.kind == "f" or name == "ms_level"}
        return data_frame(kind, columns, missing)

    def _take(self) -> BatchStream:
        stream, self._first = self._first, None
        if stream is None:
            self._watch = Watch()
            stream = self._begin(self._watch)
        return stream
