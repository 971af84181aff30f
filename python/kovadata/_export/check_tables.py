"""Reads tables back and compares them with the analysis: Parquet by DuckDB, Arrow by Polars and DuckDB.

Both sides become counts, sums and a hash of all values per frame in one kind of query; only where they differ are peaks looked
at one by one, for the place of the first difference.
"""

from __future__ import annotations

import pathlib
from typing import Any, Dict, Iterator, List, Sequence, Tuple

import numpy as np

from .._table import convert
from .._tables import FRAME_COLUMNS, PRECURSOR_COLUMNS
from .expected import Difference, expected_fragments
from .source import Source

_SUMS = ("intensity",)


def check_table(source: Source, path: pathlib.Path) -> str:
    """Compares a file with the analysis; gives what was compared."""
    import duckdb

    plan = source.plan
    with duckdb.connect(config={"threads": plan.threads, "memory_limit": f"{plan.memory >> 20}MB",
                                "temp_directory": ""}) as connection:
        _open(connection, plan.format, path)
        if plan.content == "peaks":
            return _check_peaks(connection, source)
        if plan.content == "msms":
            return _check_msms(connection, source)
        return _check_rows(connection, source)


def _open(connection: Any, format: str, path: pathlib.Path) -> None:
    if format == "parquet":
        name = str(path).replace("'", "''")
        connection.execute(f"CREATE VIEW written AS SELECT * FROM read_parquet('{name}')")
        return
    import polars

    connection.register("written", polars.scan_ipc(str(path)).collect(engine="streaming"))


def _check_peaks(connection: Any, source: Source) -> str:
    columns: List[str] = [row[0] for row in connection.execute("DESCRIBE written").fetchall()]
    expected = source.plan.columns if source.has_mobility else tuple(columns)
    if tuple(columns) != expected:
        raise Difference(f"the columns are {', '.join(columns)}, not {', '.join(expected)}")
    frame = "frame" if "frame" in columns else "0 AS frame"
    sums = "".join(f", sum({name}::DOUBLE)" for name in columns if name in _SUMS)
    query = (f"SELECT {frame}, count(*){sums}, sum(hash({', '.join(columns)})::HUGEINT) FROM {{}} GROUP BY 1 ORDER BY 1")
    written = connection.execute(query.format("written")).fetchall()
    connection.register("analysed", _analysed(source, tuple(columns)))
    least = source.plan.min_intensity
    where = f"(SELECT * FROM analysed WHERE intensity >= {least!r})" if least > 0 and source.has_mobility else "analysed"
    analysed = connection.execute(query.format(where)).fetchall()
    if written != analysed:
        raise Difference(_first_difference(connection, source, columns, written, analysed))
    peaks = sum(row[1] for row in analysed)
    total = f", sum of intensities {sum(row[2] for row in analysed):.0f}" if sums else ""
    return f"checked: {len(analysed)} frames, {peaks} peaks{total}, a hash of all values of each frame"


def _analysed(source: Source, columns: Tuple[str, ...]) -> Any:
    """The peaks of the analysis, as DuckDB reads them."""
    import pyarrow as pa

    if not source.has_mobility:
        from .tables import _line_tables, _lines_schema

        return pa.RecordBatchReader.from_batches(
            _lines_schema(source), (batch for table in _line_tables(source) for batch in table.to_batches()))
    needed = set(columns) | ({"intensity"} if source.plan.min_intensity > 0 else set())
    rows = source.frames[~np.isin(source.frames["id"], [frame for frame, _ in source.damaged])]
    batches = source.peak_batches(tuple(needed), 1 << 20, rows)
    first = next(batches, None)
    if first is None:
        return pa.table({name: pa.array([], pa.int64()) for name in columns})

    def all_of_them() -> Iterator[Any]:
        yield first
        yield from batches

    return pa.RecordBatchReader.from_batches(first.schema, all_of_them())


def _first_difference(connection: Any, source: Source, columns: Sequence[str], written: List[Any], analysed: List[Any]) -> str:
    found, expected = ({row[0]: row for row in rows} for rows in (written, analysed))
    frame = min(key for key in {*found, *expected} if found.get(key) != expected.get(key))
    if frame not in found or frame not in expected:
        return f"frame {frame} is {'not ' if frame not in found else ''}in the file" + (
            "" if frame in expected else ", and not in the analysis")
    counts = found[frame][1], expected[frame][1]
    if counts[0] != counts[1]:
        return f"frame {frame}: {counts[0]} peaks in the file, {counts[1]} in the analysis"
    if "frame" not in columns or not source.has_mobility:
        return f"frame {frame}: the same number of peaks, of other values"
    order = ", ".join(name for name in ("scan", "tof_index", "mz", "one_over_k0", "intensity") if name in columns)
    rows = connection.execute(f"SELECT * FROM written WHERE frame = {frame} ORDER BY {order}").fetchnumpy()
    one = source.frames[source.frames["id"] == frame]
    least = source.plan.min_intensity if "intensity" in columns else 0
    connection.register("one", _one_frame(source, tuple(columns), one))
    right = connection.execute(f"SELECT * FROM one {f'WHERE intensity >= {least!r}' if least else ''} ORDER BY {order}").fetchnumpy()
    for name in columns:
        differs = np.flatnonzero(~_equal(rows[name], right[name]))
        if len(differs):
            place = int(differs[0])
            return f"frame {frame}, peak {place}: {name} is {rows[name][place]} in the file, {right[name][place]} in the analysis"
    return f"frame {frame}: the values are put together in another way"


def _one_frame(source: Source, columns: Tuple[str, ...], rows: np.ndarray) -> Any:
    import pyarrow as pa

    return pa.Table.from_batches(list(source.peak_batches(columns, 1 << 22, rows)))


def _equal(left: Any, right: Any) -> Any:
    left, right = np.ma.filled(np.ma.asarray(left), 0), np.ma.filled(np.ma.asarray(right), 0)
    return (left == right) | ((left != left) & (right != right))


def _check_rows(connection: Any, source: Source) -> str:
    """Tables of the metadata, row by row."""
    if source.plan.content == "frames":
        rows, columns = source.frames, list(FRAME_COLUMNS)
    else:
        table = source.analysis.precursor_table()  # type: ignore[union-attr]
        rows, columns = table[np.isin(table["id"], source.precursors()["id"])], list(PRECURSOR_COLUMNS)
    expected = convert(rows, columns, "arrow").to_pylist()
    written = _rows(connection)
    _compare_rows(written, expected)
    return f"checked: {len(expected)} rows of {len(columns)} values"


def _rows(connection: Any) -> List[Dict[str, Any]]:
    cursor = connection.execute("SELECT * FROM written")
    names = [column[0] for column in cursor.description]
    return [dict(zip(names, row)) for row in cursor.fetchall()]


def _compare_rows(written: Sequence[Dict[str, Any]], expected: Sequence[Dict[str, Any]]) -> None:
    if len(written) != len(expected):
        raise Difference(f"{len(written)} rows in the file, {len(expected)} in the analysis")
    for number, (left, right) in enumerate(zip(written, expected)):
        for name in right:
            if left.get(name) != right[name]:
                raise Difference(f"row {number}: {name} is {left.get(name)} in the file, {right[name]} in the analysis")


def _check_msms(connection: Any, source: Source) -> str:
    known = source.precursors()
    about = {row["id"]: row for row in convert(known, PRECURSOR_COLUMNS, "arrow").to_pylist()}
    cursor = connection.execute("SELECT * FROM written")
    names = [column[0] for column in cursor.description]
    peaks = rows = 0
    for number, mz, intensity in expected_fragments(source):
        row = dict(zip(names, cursor.fetchone() or [None] * len(names)))
        _compare_rows([{name: row[name] for name in about[number]}], [about[number]])
        if row["mzs"] != mz.tolist() or row["intensities"] != intensity.tolist():
            raise Difference(f"precursor {number}: the peaks in the file are not those of the analysis")
        peaks, rows = peaks + len(mz), rows + 1
    if cursor.fetchone() is not None:
        raise Difference(f"more than {rows} rows in the file")
    return f"checked: {rows} spectra, {peaks} peaks, value by value"
