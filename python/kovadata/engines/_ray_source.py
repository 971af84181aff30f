"""The peaks of a study as a source of Ray."""

from __future__ import annotations

from typing import Any, Callable, List, Optional, Sequence

import pyarrow as pa
from ray.data.block import BlockMetadata
from ray.data.datasource import Datasource, ReadTask

from ..study import COLUMNS, Study, StudyPartition
from ..study._arrow import expression, plan, schema, tables


class PeakDatasource(Datasource):
    """Read tasks for the partitions of a study. Ray adds columns and conditions to a copy of it."""

    def __init__(self, study: Study, columns: Optional[Sequence[str]], filters: Any) -> None:
        super().__init__()
        self._study, self._condition = study, expression(filters)
        self._projection_map = None if columns is None else {name: name for name in COLUMNS if name in columns}

    def get_name(self) -> str:
        """The name of the tasks."""
        return "KovadataPeaks"

    def supports_projection_pushdown(self) -> bool:
        """Columns that are not used are not read."""
        return True

    def supports_predicate_pushdown(self) -> bool:
        """Ray leaves conditions to the tasks as far as pyarrow understands them."""
        return True

    def estimate_inmemory_data_size(self) -> Optional[int]:
        """Bytes of all blocks, as far as the metadata tell."""
        return sum(_bytes(part, self._columns()) for part in self._plan(1))

    def get_read_tasks(self, parallelism: int, per_task_row_limit: Optional[int] = None, *_: Any, **__: Any) -> List[Any]:
        """A task for each partition, with its number of rows and bytes."""
        columns, condition = self._columns(), self._all_conditions()
        types = pa.schema([schema(plain=True).field(name) for name in columns])
        return [ReadTask(_reader(part, columns, condition),
                         BlockMetadata(num_rows=part.rows if condition is None else None, size_bytes=_bytes(part, columns),
                                       input_files=(part.run.path,), exec_stats=None),
                         schema=types, per_task_row_limit=per_task_row_limit) for part in self._plan(parallelism)]

    def _columns(self) -> List[str]:
        projection = self.get_projection_map()
        return list(COLUMNS if projection is None else projection) or ["frame"]  # for counting, any column will do

    def _all_conditions(self) -> Optional[Any]:
        asked = self.get_current_predicate()
        conditions = [one for one in (self._condition, None if asked is None else asked.to_pyarrow()) if one is not None]
        return conditions[0] & conditions[1] if len(conditions) == 2 else conditions[0] if conditions else None

    def _plan(self, parallelism: int) -> List[StudyPartition]:
        return plan(self._study, self._columns(), self._all_conditions(), n=max(parallelism, 1))


def _bytes(part: StudyPartition, columns: Sequence[str]) -> int:
    """A peak that is not counted takes some two bytes in the file."""
    widths = {"run": 4 + len(part.run.name), "ms_level": 1, "scan": 4, "tof_index": 4, "intensity": 4}
    return (part.bytes // 2 if part.rows is None else part.rows) * sum(widths.get(name, 8) for name in columns)


def _reader(part: StudyPartition, columns: Sequence[str], condition: Optional[Any]) -> Callable[[], Any]:
    return lambda: tables(part, columns, condition, plain=True)
