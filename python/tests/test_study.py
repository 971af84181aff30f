"""Studies of several runs, and the engines that need no cluster."""

import collections
import ctypes
import os
import pathlib
import pickle
import shutil
import sqlite3
import sys

import numpy as np
import pytest

import kovadata
from kovadata import _library
from kovadata.engines import dask, duckdb, ray, spark, xarray
from kovadata.study import Bounds, Study, _open_runs, read_report
from peak_tables import as_expression, as_sql, assert_same, plain_table, predicates

DAMAGED = bytes([1, 0, 0, 0, 1, 0, 0, 0])  # a block shorter than its own header


@pytest.fixture(scope="module")
def folder(simulated, tmp_path_factory):
    folder = tmp_path_factory.mktemp("study")
    for name in ("run", "by_scan", "long"):
        shutil.copytree(simulated(name), folder / f"{name}.d")
    return folder


@pytest.fixture(scope="module")
def paths(folder):
    return sorted(map(str, folder.glob("*.d")))


def copied(paths, folder, count):
    return [shutil.copytree(paths[number % len(paths)], str(folder / f"{number}.d")) for number in range(count)]


def damage(path, frame):
    """Makes a frame unreadable."""
    with sqlite3.connect(f"{path}/analysis.kvd") as database:
        position, = database.execute("SELECT KovaId FROM Frames WHERE Id = ?", (frame,)).fetchone()
    database.close()
    with open(f"{path}/analysis.kvd_bin", "r+b") as file:
        file.seek(position)
        file.write(DAMAGED)


def arrays(table):
    return {name: table[name].to_numpy() for name in (table.columns if hasattr(table, "to_dicts") else table.column_names)}


def by_polars(paths, tree=None, columns=None, **options):
    polars = pytest.importorskip("polars")
    peaks = kovadata.scan(paths, **options)
    if tree is not None:
        peaks = peaks.filter(as_expression(tree, polars.col, "is_in"))
    return arrays((peaks if columns is None else peaks.select(columns)).collect())


def by_duckdb(paths, tree=None, columns=None, threads=None, **options):
    with pytest.importorskip("duckdb").connect() as connection:
        connection.execute("SET threads = 1")
        duckdb.register(connection, "peaks", paths, threads=threads, **options)
        where = "" if tree is None else f" WHERE {as_sql(tree)}"
        return arrays(connection.sql(f"SELECT {', '.join(columns or ['*'])} FROM peaks{where}").to_arrow_table())


def by_filters(paths, tree=None, columns=None, **options):
    """The table of DuckDB limited by what stands beside it, as Dask and Ray limit theirs too."""
    field = pytest.importorskip("pyarrow.compute").field
    return by_duckdb(paths, None, columns, filters=None if tree is None else as_expression(tree, field, "isin"), **options)


@pytest.mark.parametrize("read", [by_polars, by_duckdb, by_filters])
def test_the_table_and_what_any_predicate_leaves_of_it(folder, paths, read):
    table = plain_table(paths)
    assert_same(read(f"{folder}/*.d", threads=1), table)
    for number, (tree, rows) in enumerate(predicates(table, 60)):
        columns = list(np.random.default_rng(number).permutation(list(table))[:1 + number % 9])
        found = read(paths, tree, columns)
        assert list(found) == columns
        assert_same(found, table, rows)


class Counters(ctypes.Structure):
    _fields_ = [("size", ctypes.c_uint32), ("reserved", ctypes.c_uint32), ("bytes_read", ctypes.c_uint64), ("blocks", ctypes.c_uint64),
                ("nanoseconds", ctypes.c_uint64 * 5)]


@pytest.fixture
def work(monkeypatch):
    """What the library has read for partitions: blocks and bytes."""
    total = collections.Counter()
    count = _library.library().kvr_get_counters
    count.argtypes = [ctypes.c_void_p, ctypes.c_void_p]

    class Counted(kovadata.Analysis):
        def close(self):
            counters = Counters(size=ctypes.sizeof(Counters))
            with self._run as run:
                assert count(run, ctypes.byref(counters))
            total.update(bytes=counters.bytes_read, blocks=counters.blocks)
            super().close()

    _open_runs.close_idle()
    monkeypatch.setattr(_open_runs, "Analysis", Counted)
    yield total
    _open_runs.close_idle()


@pytest.mark.parametrize("read, tree, runs, frames", [
    (by_polars, ("and", ("=", "ms_level", 1), ("<", "mz", 700.0)), "run long", "ms_level == 1"),
    (by_polars, ("or", ("=", "frame", 3), ("and", ("=", "frame", 2), (">", "intensity", 20))), "run long", "(id == 2) | (id == 3)"),
    (by_polars, ("and", (">=", "time", 0.2), ("<", "time", 0.5)), "run long", "(time >= 0.2) & (time <= 0.5)"),
    (by_polars, ("and", ("in", "run", ["run"]), ("<>", "scan", 3)), "run", "id > 0"),
    (by_polars, ("and", (">", "mz", 700.0), ("<", "mz", 600.0)), "", ""),
    (by_duckdb, ("and", ("in", "frame", [1, 4]), ("=", "run", "run")), "run", "(id == 1) | (id == 4)"),
    (by_duckdb, ("and", ("=", "ms_level", 2), (">", "scan", 50)), "run long", "ms_level == 2"),
    (by_filters, ("and", ("<", "time", 0.3), ("in", "ms_level", [2])), "run long", "(time <= 0.3) & (ms_level == 2)")])
def test_frames_that_cannot_match_are_not_read(folder, monkeypatch, work, read, tree, runs, frames):
    monkeypatch.chdir(folder)
    for name in {"run", "long"} - set(os.listdir()):
        os.symlink(f"{name}.d", name)
    found = read(["run", "long"], tree)
    _open_runs.close_idle()
    done = dict(work)
    work.clear()
    for name in runs.split():
        with _open_runs.Analysis(name) as analysis:
            rows = analysis.frame_table()
            list(analysis.peaks(frames=rows["id"][eval(frames, {column: rows[column] for column in rows.dtype.names})], threads=1))
    assert done == dict(work) and set(found["run"]) <= set(runs.split())


def test_frames_without_calibration_have_no_peak_in_a_range(small):
    analysis = small().calibrate()
    for calibration in (1, None, 1):
        analysis.add_frame([[(10, 5), (400, 7)]], MzCalibration=calibration, KovaCalibration=1)
    path = analysis.write()
    table = plain_table([path])
    assert np.isnan(table["mz"]).any() and not np.isnan(table["mz"]).all()
    for tree in ((">", "mz", 0.0), ("and", (">", "mz", 0.0), (">", "one_over_k0", 0.0)), ("or", ("<", "mz", 1e9), ("=", "frame", 2))):
        expected = [frame for frame in (1, 1, 2, 2, 3, 3) if frame != 2 or tree[0] == "or"]
        for read in (by_polars, by_duckdb, by_filters):
            assert read([path], tree, ["frame"])["frame"].tolist() == expected


@pytest.mark.parametrize("read", [by_polars, by_duckdb])
def test_ten_runs_of_which_two_are_damaged(paths, tmp_path, read):
    runs = copied(paths, tmp_path, 10)
    table = plain_table(runs)
    damage(runs[4], 2)
    os.truncate(f"{runs[7]}/analysis.kvd", 100)
    for some, text in ((runs, "7.d"), (runs[:7], "Corrupt.*reading .*4.d")):
        with pytest.raises(Exception, match=text):
            read(some)
    with pytest.warns(kovadata.DamageWarning, match="left out"):
        found = read(runs, on_damage="skip", report=tmp_path / "report")
    assert_same(found, table, (table["run"] != runs[7]) & ((table["run"] != runs[4]) | (table["frame"] != 2)))
    assert [one[:2] for one in read_report(tmp_path / "report")] == [(runs[4], 2), (runs[7], None)]


def test_partitions_are_of_about_the_same_size_and_go_to_workers(paths):
    for settings in ({"size": 20_000}, {"n": 6}):
        parts = pickle.loads(pickle.dumps(Study(paths).partitions(**settings)))
        assert sum(part.rows for part in parts) == len(plain_table(paths)["mz"]) and 5 <= len(parts) <= 14
        for path in paths:
            sizes = [part.bytes for part in parts if part.run.name == path]
            assert sum(sizes) == os.path.getsize(f"{path}/analysis.kvd_bin") - 16 and max(sizes) < 4 * min(sizes)
    part = Study(paths).partitions(Bounds.all_of([("frame", "<=", 2), ("mz", ">", 600)]))[0]
    assert part.frames.tolist() == [1, 2] and part.rows is None and part.box.mz == (600, None)
    with part.open() as analysis:
        assert analysis.chromatograms(None, frames=part.frames).frame.tolist() == [1, 2]


@pytest.mark.parametrize("change, text", [
    (shutil.rmtree, "is not to be found on .*kovadata.stage"),
    (lambda path: os.truncate(f"{path}/analysis.kvd_bin", 99), "has changed .*kvd_bin was .* bytes"),
    (lambda path: os.remove(f"{path}/analysis.kvd_bin"), "kvd_bin was .* is gone"),
    (lambda path: open(f"{path}/calibration.sqlite", "a").close(), "calibration.sqlite was"),
    (lambda path: os.utime(f"{path}/analysis.kvd", (0, 0)), "analysis.kvd was .* is now")])
@pytest.mark.parametrize("when", ["before", "while"])
def test_runs_that_change_after_planning(paths, tmp_path, change, text, when):
    path, = copied(paths, tmp_path, 1)
    part, = Study(path).partitions()
    if when == "before":
        change(path)
    with pytest.raises(kovadata.KovaError, match=text), part.stream() as stream:
        assert when == "while" and len(stream.table()) == part.rows
        change(path)


@pytest.mark.parametrize("paths, text", [("nowhere/*.d", "No path matches nowhere"), ("nowhere.d", "nowhere.d is not to be found"),
                                         ("memory://run.d", "stage")])
def test_paths_that_lead_nowhere(paths, text):
    with pytest.raises(kovadata.KovaError, match=text):
        Study(paths).partitions()


@pytest.mark.parametrize("package, use", [
    ("polars", lambda: kovadata.scan("run.d")), ("duckdb", lambda: duckdb.register(None, "peaks", "run.d")),
    ("dask", lambda: dask.read_peaks("run.d")), ("ray", lambda: ray.read_peaks("run.d")), ("pyspark", lambda: spark.register(None)),
    ("xarray", lambda: xarray.image_stack("run.d")), ("fsspec", lambda: kovadata.stage("run.d", "cache"))])
def test_an_engine_that_is_not_installed(monkeypatch, package, use):
    for name in [package, *(name for name in sys.modules if name.startswith(f"{package}."))]:
        monkeypatch.setitem(sys.modules, name, None)
    with pytest.raises(ImportError, match=rf"{package} .*pip install 'kovadata\[\w+\]'"):
        use()


@pytest.mark.parametrize("storage", ["memory", "local"])
def test_staging(storage, simulated, tmp_path):
    fsspec, source = pytest.importorskip("fsspec"), simulated("run")
    url = "memory://study/run.d" if storage == "memory" else str(tmp_path / "run.d")
    (tmp_path / "run.d").mkdir()
    files, root = fsspec.core.url_to_fs(url)
    for file in source.iterdir():
        files.pipe_file(f"{root}/{file.name}", file.read_bytes())
    copy = kovadata.stage(url, tmp_path / "cache")
    assert os.path.basename(copy) == "run.d" and kovadata.stage(url, tmp_path / "cache") == copy
    assert {file.name: file.read_bytes() for file in source.iterdir()} == {
        file.name: file.read_bytes() for file in pathlib.Path(copy).iterdir()}
    files.pipe_file(f"{root}/analysis.kvd_bin", (source / "analysis.kvd_bin").read_bytes() + b"more")
    other = kovadata.stage(url, tmp_path / "cache")
    assert other != copy and open(f"{other}/analysis.kvd_bin", "rb").read().endswith(b"more")
    with pytest.raises(kovadata.KovaError, match="nothing.d is no analysis"):
        kovadata.stage(f"{url.rsplit('/', 1)[0]}/nothing.d", tmp_path / "cache")
