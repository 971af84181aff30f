"""Studies on clusters of two workers, held against a plain loop over frames. Each engine is the real one."""

import os
import pathlib
import re
import subprocess
import sys

import numpy as np
import pytest

import kovadata
from kovadata import engines
from kovadata.study import read_report
from peak_tables import as_expression, as_sql, assert_same, die_once, plain_table, predicates
from test_study import copied, damage

PROJECT = pathlib.Path(__file__).resolve().parents[3]


def expression(tree):
    return None if tree is None else as_expression(tree, pytest.importorskip("pyarrow.compute").field, "isin")


class Dask:
    """Two processes that a nanny starts again."""

    def __init__(self):
        distributed = pytest.importorskip("distributed")
        import kovadata.engines.dask
        self.client = distributed.Client(distributed.LocalCluster(n_workers=2, threads_per_worker=1, dashboard_address=":0"))

    def close(self):
        self.client.cluster.close()
        self.client.close()

    def plan(self, paths, tree=None, dying=None, **options):
        peaks = engines.dask.read_peaks(paths, filters=expression(tree), size=20_000, **options)
        return peaks if dying is None else peaks.map_partitions(die_once, dying, meta=peaks._meta)

    def dataset(self, folder):
        return pytest.importorskip("dask.dataframe").read_parquet(folder)

    def read(self, planned, columns=None):
        found = (planned if columns is None else planned[columns]).compute()
        return {name: found[name].to_numpy() for name in found.columns}


class Ray:
    """Two workers, each with a core."""

    def __init__(self):
        self.ray = pytest.importorskip("ray")
        import kovadata.engines.ray
        self.ray.init(num_cpus=2, include_dashboard=False, log_to_driver=False)
        self.ray.data.DataContext.get_current().execution_options.preserve_order = True

    def close(self):
        self.ray.shutdown()

    def plan(self, paths, tree=None, dying=None, **options):
        peaks = engines.ray.read_peaks(paths, override_num_blocks=8, **options)
        if tree is not None:
            from ray.data.expressions import col
            peaks = peaks.filter(expr=as_expression(tree, col, "is_in"))
        return peaks if dying is None else peaks.map_batches(die_once, fn_args=(dying,), batch_format="pyarrow", batch_size=None)

    def dataset(self, folder):
        return self.ray.data.read_parquet(folder)

    def read(self, planned, columns=None):
        batches = (planned if columns is None else planned.select_columns(columns)).iter_batches(batch_format="pyarrow", batch_size=None)
        tables = [{name: batch[name].to_numpy() for name in batch.column_names} for batch in batches]
        return {name: np.concatenate([table[name] for table in tables]) for name in tables[0]} if tables else {
            name: np.empty(0) for name in columns}


class Spark:
    """Two threads, each with a Python worker; a task may fail three times."""

    def __init__(self):
        sql = pytest.importorskip("pyspark.sql")
        import kovadata.engines.spark
        os.environ["PYSPARK_PYTHON"] = sys.executable
        builder = sql.SparkSession.builder.master("local[2,4]").config("spark.ui.enabled", "false")
        self.session = builder.config("spark.driver.bindAddress", "127.0.0.1").config("spark.driver.host", "127.0.0.1").getOrCreate()
        self.session.sparkContext.setLogLevel("OFF")
        engines.spark.register(self.session)

    def close(self):
        self.session.stop()

    def plan(self, paths, tree=None, dying=None, **options):
        peaks = self.session.read.format("kovadata").options(size=20_000, **options).load([str(path) for path in paths])
        peaks = peaks if tree is None else peaks.where(as_sql(tree))
        return peaks if dying is None else peaks.mapInArrow(lambda batches: (die_once(batch, dying) for batch in batches), peaks.schema)

    def dataset(self, folder):
        return self.session.read.parquet(folder)

    def read(self, planned, columns=None):
        table = (planned if columns is None else planned.select(columns)).toArrow()
        return {name: table[name].to_numpy() for name in table.column_names}


@pytest.fixture(scope="module", params=[Dask, Ray, Spark], ids=lambda kind: kind.__name__.lower())
def engine(request):
    cluster = request.param()
    yield cluster
    cluster.close()


@pytest.fixture(scope="module")
def paths(simulated):
    return [str(simulated(name)) for name in ("by_scan", "long", "run")]


def test_the_table_and_what_predicates_leave_of_it(engine, paths):
    table = plain_table(paths)
    assert_same(engine.read(engine.plan(paths)), table)
    assert_same(engine.read(engine.plan(paths, recalibrated=True), ["mz", "run"]), plain_table(paths, recalibrated=True))
    for number, (tree, rows) in enumerate(predicates(table, 8)):
        columns = list(table)[number % 9:][:1 + number % 4]
        found = engine.read(engine.plan(paths, tree), columns)
        assert list(found) == columns
        assert_same(found, table, rows)


def test_a_worker_that_is_killed_in_the_middle(engine, paths, tmp_path):
    found = engine.read(engine.plan(paths, dying=str(tmp_path)))
    assert (tmp_path / "killed").exists()
    assert_same(found, plain_table(paths))


def test_ten_runs_of_which_one_is_damaged(engine, paths, tmp_path):
    runs = copied(paths, tmp_path, 10)
    table = plain_table(runs)
    damage(runs[4], 2)
    with pytest.raises(Exception, match=r"CorruptFrameDataError for FrameId=2.*4\.d"):
        engine.read(engine.plan(runs))
    found = engine.read(engine.plan(runs, on_damage="skip", report=str(tmp_path / "report")))
    assert_same(found, table, (table["run"] != runs[4]) | (table["frame"] != 2))
    assert [one[:2] for one in read_report(tmp_path / "report")] == [(runs[4], 2)]


@pytest.mark.parametrize("layout", ["frame", "mz"])
def test_a_folder_of_exported_runs_is_one_dataset(engine, paths, tmp_path, layout):
    for number, path in enumerate(paths):
        kovadata.export(path, tmp_path / f"{number}.parquet", layout=layout)
    table = plain_table(paths)
    for name, values in engine.read(engine.dataset(str(tmp_path)), ["scan", "tof_index", "intensity", "mz"]).items():
        assert np.array_equal(np.sort(values), np.sort(table[name])), name


def test_a_stack_of_images_is_that_of_single_frames(paths):
    image_stack = pytest.importorskip("xarray") and pytest.importorskip("kovadata.engines.xarray").image_stack
    ranges = {"mz_range": (300, 1200), "mobility_range": (0.8, 1.3)}
    stack = image_stack(paths[0], bins=(50, 30), chunk=1, ms_level=None, normalized=False, **ranges)
    with kovadata.Analysis(paths[0]) as analysis:
        table = analysis.frame_table()
        for number, frame in enumerate(table["id"]):
            image = analysis.image(bins=(50, 30), frames=[frame], ms_level=None, normalized=False, **ranges)
            assert np.array_equal(stack.isel(time=number).values, image.values) and image.values.any()
    assert stack.frame.values.tolist() == table["id"].tolist() and stack.time.values.tolist() == table["time"].tolist()
    assert abs(stack.mz.values[0] - 309) < 1e-9 and abs(stack.one_over_k0.values[-1] - (1.3 - 0.5 / 60)) < 1e-9


PAGES = sorted((PROJECT / "docs" / "engines").glob("*.md"))


@pytest.mark.parametrize("page", PAGES, ids=lambda page: page.stem)
def test_programs_of_the_pages(simulated, tmp_path, page):
    (tmp_path / "study").mkdir()
    for name in ("run", "long"):
        (tmp_path / "study" / f"{name}.d").symlink_to(simulated(name))
    for program in re.findall(r"^```python\n(.*?)^```", page.read_text(), re.M | re.S):
        (tmp_path / "program.py").write_text(program)
        done = subprocess.run([sys.executable, "program.py"], cwd=tmp_path, text=True, capture_output=True,
                              env={**os.environ, "PYSPARK_PYTHON": sys.executable})
        assert done.returncode == 0, f"{program}\n{done.stderr}"
