"""Studies as a data source of Spark."""

from __future__ import annotations

from typing import Any

from . import needed


def register(session: Any) -> None:
    """Makes ``session.read.format("kovadata")`` known to a session of Spark.

    ``load`` takes paths and globs. Options are ``columns`` (names with commas between them; Spark does not tell a source in
    Python which columns a query uses), ``size`` (about how many bytes of compressed frames a partition has, 16 MB by default),
    and those of `kovadata.study.Study`: ``recalibrated``, ``calibration``, ``normalized``, ``on_damage``, ``report``. Simple
    conditions on single columns limit what is read, for which the session's setting
    ``spark.sql.python.filterPushdown.enabled`` is switched on.

    Columns are ``run`` (string), ``frame`` (long), ``time`` (double), ``ms_level`` (byte), ``scan``, ``tof_index`` and
    ``intensity`` (long, as Spark has no unsigned numbers), ``mz`` and ``one_over_k0`` (double).

    Parameters
    ----------
    session : pyspark.sql.SparkSession
        A session of Spark 4.1 or newer.
    """
    needed("pyarrow", "spark")
    needed("pyspark.sql.datasource", "spark")
    from ._spark_source import PeakSource

    session.conf.set("spark.sql.python.filterPushdown.enabled", "true")
    session.dataSource.register(PeakSource)
