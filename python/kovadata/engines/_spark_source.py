"""The peaks of a study as a data source of Spark."""

from __future__ import annotations

import json
from typing import Any, Dict, Iterable, Iterator, List, Sequence

import pyarrow as pa
from pyspark.sql import datasource, types

from ..study import COLUMNS, Bounds, Study, StudyPartition
from ..study._arrow import record_batches
from ..study._study import TABLE_SIZE

_TYPES = {"run": types.StringType(), "time": types.DoubleType(), "ms_level": types.ByteType(), "mz": types.DoubleType(),
          "one_over_k0": types.DoubleType()}
_ARROW_TYPES = {"scan": pa.int64(), "tof_index": pa.int64(), "intensity": pa.int64()}
_OPERATORS = {datasource.EqualTo: "==", datasource.LessThan: "<", datasource.LessThanOrEqual: "<=",
              datasource.GreaterThan: ">", datasource.GreaterThanOrEqual: ">=", datasource.In: "in"}


class PeakSource(datasource.DataSource):
    """What ``format("kovadata")`` stands for."""

    @classmethod
    def name(cls) -> str:
        """The name of the format."""
        return "kovadata"

    def schema(self) -> types.StructType:
        """The columns that are asked for."""
        asked = self.options.get("columns")
        wanted = COLUMNS if asked is None else [name.strip() for name in asked.split(",")]
        unknown = [name for name in wanted if name not in COLUMNS]
        if unknown:
            raise ValueError(f"columns must be some of {', '.join(COLUMNS)}, not {', '.join(unknown)}")
        return types.StructType([types.StructField(name, _TYPES.get(name, types.LongType())) for name in COLUMNS
                                 if name in wanted])

    def reader(self, schema: types.StructType) -> PeakReader:
        """Reads the columns of a schema."""
        return PeakReader(dict(self.options), schema.fieldNames())


class _Part(datasource.InputPartition):
    def __init__(self, part: StudyPartition) -> None:
        self.part = part


class PeakReader(datasource.DataSourceReader):
    """Plans on the driver; a copy of it reads on each executor."""

    def __init__(self, options: Dict[str, str], columns: Sequence[str]) -> None:
        self._options, self._columns, self._bounds = options, list(columns), Bounds()

    def pushFilters(self, filters: List[Any]) -> Iterable[Any]:
        """Takes bounds from conditions, all of which stay with Spark as well."""
        for condition in filters:
            operator = _OPERATORS.get(type(condition))
            if operator is not None and len(condition.attribute) == 1:
                self._bounds = self._bounds & Bounds.of(condition.attribute[0], operator, condition.value)
            yield condition

    def partitions(self) -> List[_Part]:
        """One for each part of a run."""
        parts = self._study().partitions(self._bounds, columns=self._columns, size=int(self._options.get("size", TABLE_SIZE)))
        return [_Part(part) for part in parts]

    def read(self, partition: Any) -> Iterator[pa.RecordBatch]:
        """The peaks of a partition."""
        if not isinstance(partition, _Part):  # a plan without partitions is given one that is empty
            return
        for batch in record_batches(partition.part, plain=True):
            columns = [batch.column(name).cast(_ARROW_TYPES[name]) if name in _ARROW_TYPES else batch.column(name)
                       for name in self._columns]
            yield pa.record_batch(columns, names=self._columns)

    def _study(self) -> Study:
        given = self._options
        paths = json.loads(given["paths"]) if "paths" in given else [given[name] for name in ("path",) if name in given]
        if not paths:
            raise ValueError('load("study/*.d") is to say which runs are read')
        return Study(paths, recalibrated=_flag(given, "recalibrated", False), calibration=given.get("calibration"),
                     normalized=_flag(given, "normalized", True), on_damage=given.get("on_damage", "raise"),
                     report=given.get("report"))


def _flag(options: Dict[str, str], name: str, default: bool) -> bool:
    text = options.get(name, str(default)).lower()
    if text not in ("true", "false"):
        raise ValueError(f"{name} must be true or false, not {text!r}")
    return text == "true"
