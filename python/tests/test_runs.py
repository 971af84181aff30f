"""Whole runs, held against numpy on the peaks of single frames; streams in the hands of other packages."""

import os
import signal
import sqlite3
import threading

import numpy as np
import pytest

import kovadata

ALL = ("frame", "time", "ms_level", "scan", "tof_index", "intensity", "mz", "one_over_k0")
DAMAGED = bytes([1, 0, 0, 0, 1, 0, 0, 0])  # a block shorter than its own header
REDUCTIONS = {"sum": np.sum, "max": np.max, "count": len}


def all_peaks(analysis, normalized=True):
    """Every peak of a run by way of single frames, and the frame that it is of."""
    parts = [(frame, frame.peaks(normalized=normalized)) for frame in analysis.frames()]
    of_frame = {"frame": "id", "time": "time", "ms_level": "ms_level"}
    return {name: np.concatenate([np.full(len(peaks), getattr(frame, of_frame[name])) if name in of_frame
                                  else getattr(peaks, name) for frame, peaks in parts]) for name in ALL}


def inside(values, limits):
    return (values >= limits[0]) & (values <= limits[1])


@pytest.mark.parametrize("name, options", [("run", {}), ("run", {"recalibrated": True}), ("by_scan", {})])
def test_boxes_are_what_numpy_finds_in_the_frames(simulated, name, options):
    with kovadata.Analysis(simulated(name), **options) as analysis:
        peaks = all_peaks(analysis)
        box = {limits: tuple(np.quantile(peaks[column], (0.1, 0.8))) for limits, column in
               (("mz_range", "mz"), ("mobility_range", "one_over_k0"), ("time_range", "time"))}
        begin, end = (int(scan) for scan in np.quantile(peaks["scan"], (0.3, 0.9)))
        chosen = (peaks["scan"] >= begin) & (peaks["scan"] < end)
        for limits, column in zip(box.values(), ("mz", "one_over_k0", "time")):
            chosen &= inside(peaks[column], limits)
        box["scan_range"] = (begin, end)
        part = {column: values[chosen] for column, values in peaks.items()}
        found = analysis.peaks(**box, columns=ALL, batch_size=997).table()
        for column in ALL:
            np.testing.assert_array_equal(found[column], part[column])
        total, box = part["intensity"].sum(), {**box, "ms_level": None}
        spectrum = analysis.summed_spectrum(**box)
        assert (spectrum.intensity.sum(), spectrum.count.sum()) == (total, len(part["mz"]))
        for axes in (("mz", "one_over_k0"), ("time", "mz")):
            image = analysis.image(*axes, bins=(31, 17), **box)
            assert (len(image.x_edges), len(image.y_edges), image.values.shape) == (32, 18, (17, 31))
            assert image.values.sum() == total
        assert analysis.image(bins=(1, 1), reduce="max", **box).values.item() == part["intensity"].max()
        mz_range, box["mobility_ranges"] = box.pop("mz_range"), box.pop("mobility_range")
        check_targets(analysis, box, mz_range, part)


def check_targets(analysis, settings, mz_range, part):
    middle = np.median(part["mz"])
    ranges = [mz_range, (middle, mz_range[1])]
    masks = [inside(part["mz"], limits) for limits in ranges]
    for reduce, values in REDUCTIONS.items():
        expected = [values(part["intensity"][mask]) for mask in masks]
        for found in (call(ranges, **{**settings, "reduce": reduce}) for call in (analysis.chromatograms, analysis.mobilograms)):
            combine = np.max if reduce == "max" else np.sum
            assert combine(found.intensity, axis=1).tolist() == expected
    chromatograms, mobilograms = (call(ranges, **settings) for call in (analysis.chromatograms, analysis.mobilograms))
    frames = np.unique(part["frame"])
    assert chromatograms.frame[chromatograms.intensity[0] > 0].tolist() == frames.tolist()
    assert len(chromatograms.table()) == 2 * len(chromatograms.frame)
    np.testing.assert_array_equal(mobilograms.one_over_k0, analysis.scan_to_one_over_k0(int(frames[0]), mobilograms.scan))


def test_choices_of_frames_and_intensities(run):
    peaks, raw = all_peaks(run), all_peaks(run, normalized=False)
    for source, normalized in ((peaks, True), (raw, False)):
        for level in (1, 2):
            total = source["intensity"][source["ms_level"] == level].sum()
            assert run.chromatograms([(None, None)], ms_level=level, normalized=normalized).intensity.sum() == total
            assert run.image(ms_level=level, normalized=normalized).values.sum() == total
        assert run.peaks(columns=["intensity"], normalized=normalized).table()["intensity"].sum() == source["intensity"].sum()
    part = run.partitions(3)[1]
    assert set(run.peaks(frames=part).table()["frame"]) == set(range(part.first, part.last + 1))
    assert run.peaks(frames=[5, 2]).table()["frame"].tolist() == [5] * len(run.frame(5).peaks()) + [2] * len(run.frame(2).peaks())
    assert len(run.peaks(frames=[]).table()) == len(run.chromatograms(np.empty((0, 2)))) == 0
    assert run.mobilograms(None, frames=[1, 2]).intensity.sum() == sum(  # those that are listed, whatever their level
        int(run.frame(number).peaks().intensity.sum()) for number in (1, 2))


@pytest.mark.parametrize("call, error, text", [
    (lambda run: run.peaks(columns=["mass"]), ValueError, "frame, time"), (lambda run: run.peaks(columns="mz"), ValueError, "list"),
    (lambda run: run.peaks(mz_range=5), TypeError, "pair"), (lambda run: run.image("mz", "mass"), ValueError, "mass"),
    (lambda run: run.image("mz", "mz"), kovadata.KovaError, "axes"), (lambda run: run.image(bins=(0, 4)), ValueError, "cell"),
    (lambda run: run.peaks(scan_range=(3, 3)), ValueError, "scan_range"), (lambda run: run.peaks(scan_range=(-1, 3)), ValueError, "scan_range"),
    (lambda run: run.chromatograms([1, 2, 3]), ValueError, "shape"), (lambda run: run.chromatograms(None, reduce="mean"), ValueError, "sum"),
    (lambda run: run.chromatograms([[1, 2]] * 3, mobility_ranges=[[1, 2]] * 2), ValueError, "lengths"),
    (lambda run: run.chromatograms(None, ms_level=3), ValueError, "ms_level"), (lambda run: run.peaks(frames=[99]), kovadata.KovaError, "99"),
    (lambda run: run.peaks(on_damage="ignore"), ValueError, "skip"), (lambda run: run.peaks(threads=0), ValueError, "threads")])
def test_what_makes_no_sense_is_refused(run, call, error, text):
    with pytest.raises(error, match=text):
        call(run)


def test_streams_in_the_hands_of_other_packages(run):
    pyarrow, polars = pytest.importorskip("pyarrow"), pytest.importorskip("polars")
    expected, stream = all_peaks(run), run.peaks(columns=ALL, batch_size=5000)
    for table in (pyarrow.RecordBatchReader.from_stream(stream).read_all(), polars.DataFrame(stream), stream.table("pandas"),
                  stream.table("polars"), stream.table("arrow")):
        assert list(table.column_names if isinstance(table, pyarrow.Table) else table.columns) == list(ALL)
        for name in ALL:
            np.testing.assert_array_equal(np.asarray(table[name]), expected[name])
    capsules = [run.peaks().__arrow_c_stream__() for _ in range(50)]  # that nobody takes the content of
    del capsules
    duckdb = pytest.importorskip("duckdb")
    assert duckdb.sql("SELECT sum(intensity), count(*) FROM stream").fetchall() == [
        (expected["intensity"].sum(), len(expected["mz"]))]


def test_arrays_outlive_their_stream_and_analysis(simulated):
    with kovadata.Analysis(simulated("run")) as analysis:
        batches = iter(analysis.peaks(batch_size=1000))
        first = next(batches)["mz"]
        part, expected = first[10:20], first[10:20].copy()
        frame_mz = analysis.frame(1).peaks().mz
        frame_expected = frame_mz.copy()
    assert sum(len(batch["mz"]) for batch in batches) > 1000, "an open stream goes on"
    del first, batches
    kovadata.Analysis(simulated("run")).peaks().table()  # would use freed memory again
    assert (part == expected).all() and (frame_mz == frame_expected).all()


def damaged_run(small):
    """Frame 2 is damaged; precursor 4 was measured in frame 1, precursor 5 in frames 2 and 3."""
    calibrated = {"MzCalibration": 1, "KovaCalibration": 1, "MsMsType": 8}
    analysis = small().calibrate().add_frame([[(300, 9)]], **calibrated)
    analysis.add_frame([[(300, 9)]], block=DAMAGED, **calibrated).add_frame([[(300, 8)]], **calibrated)
    return analysis.execute(
        "CREATE TABLE Precursors (Id INTEGER PRIMARY KEY, Parent INTEGER, ScanNumber REAL)",
        "INSERT INTO Precursors VALUES (4, 1, 0), (5, 1, NULL)",
        "CREATE TABLE ZorelFrameMsMsInfo (Frame, Precursor, ScanNumBegin, ScanNumEnd)",
        "INSERT INTO ZorelFrameMsMsInfo VALUES (1, 4, 0, 1), (2, 5, 0, 1), (3, 5, 0, 1)").write()


@pytest.mark.parametrize("read, good", [
    (lambda run, how: [frame.id for frame in run.frames(threads=2, on_damage=how)], [1, 3]),
    (lambda run, how: [frame.id for frame in run.frames([1, 2, 1, 3], threads=2, on_damage=how)], [1, 1, 3]),
    (lambda run, how: [spectrum.precursor.id for spectrum in run.msms(profile=True, on_damage=how)], [4]),
    (lambda run, how: run.peaks(on_damage=how).table()["frame"].tolist(), [1, 3]),
    (lambda run, how: run.chromatograms(None, ms_level=2, on_damage=how).frame.tolist(), [1, 3]),
    (lambda run, how: [run.summed_spectrum(ms_level=2, on_damage=how).intensity.sum()], [17])])
def test_damaged_frames_are_errors_or_left_out(small, read, good):
    with kovadata.Analysis(damaged_run(small)) as analysis:
        with pytest.raises(kovadata.KovaError, match="CorruptFrameDataError for FrameId=2"):
            read(analysis, "raise")
        with pytest.warns(kovadata.DamageWarning, match="2 .*CorruptFrameDataError for FrameId=2"):
            assert read(analysis, "skip") == good


def test_what_comes_before_damage_is_good(small):
    with kovadata.Analysis(damaged_run(small)) as analysis:
        for items, good in ((analysis.frames(threads=2), lambda frame: frame.peaks().tof_index.tolist() == [300]),
                            (analysis.msms(profile=True), lambda one: one.precursor.id == 4 and one.precursor.charge is None)):
            assert good(next(items))
            with pytest.raises(kovadata.KovaError, match="CorruptFrameDataError for FrameId=2"):
                next(items)


def test_unknown_levels_are_warned_of(small):
    analysis = small(columns=("Time", "NumScans", "AccumulationTime", "RampTime", "Polarity", "T1", "T2", "MzCalibration",
                              "KovaCalibration")).add_frame([[(5, 3)]])
    with kovadata.Analysis(analysis.write()) as read:
        for count in (lambda level: read.chromatograms(None, ms_level=level).intensity.size,
                      lambda level: len(list(read.frames(ms_level=level))), lambda level: len(read.peaks(ms_level=level).table())):
            with pytest.warns(RuntimeWarning, match="ms_level=None"):
                assert count(1) == 0
            assert count("auto") == 1


def test_every_calibration_can_be_chosen(simulated):
    path = simulated("run")
    [(key, source)] = sqlite3.connect(path / "calibration.sqlite").execute("SELECT Key, Source FROM CalibrationState").fetchall()
    mz = {}
    for choice in (None, "off", "first", "last", f"first:{source}", f"last:{source}", f"lastIncomplete:{source}", f"uuid:{key}"):
        with kovadata.Analysis(path, calibration=choice) as analysis:
            mz[choice] = float(analysis.index_to_mz(1, 1000.0))
            assert analysis.recalibrated == (choice not in (None, "off"))
    assert len(set(mz.values())) == 2 and mz[None] == mz["off"] != mz["last"]
    for choice in ("first:nobody", "lastIncomplete:nobody", "uuid:nothing"):
        with pytest.raises(kovadata.KovaError, match="nobody|nothing"):
            kovadata.open(path, calibration=choice)
    for choice in ("newest", "off:x", "uuid", "lastIncomplete:", "last:"):
        with pytest.raises(ValueError, match="none of"):
            kovadata.Analysis(path, calibration=choice)
    with pytest.raises(kovadata.KovaError):
        kovadata.Analysis(simulated("by_scan"), calibration="last")
    with kovadata.Analysis(simulated("by_scan"), recalibrated=True) as analysis:
        assert not analysis.recalibrated


@pytest.mark.parametrize("mode", ["DELETE", "TRUNCATE", "PERSIST", "WAL"])
def test_tables_follow_a_writer(small, mode):
    """Each table is of one moment, and a lock that this process has on the database survives what the package does."""
    path = small().add_frame([[(5, 3)]]).write()
    writer = sqlite3.connect(path / "analysis.kvd", isolation_level=None, check_same_thread=False, timeout=30)
    writer.execute(f"PRAGMA journal_mode={mode}").fetchall()
    is_done = threading.Event()

    def write():
        for number in range(2, 60):
            writer.execute("BEGIN IMMEDIATE")
            writer.execute("INSERT INTO Frames SELECT ?, KovaId, ?, Polarity, NumScans, NumPeaks, SummedIntensities, MsMsType, "
                           "AccumulationTime, RampTime, T1, T2, MzCalibration, KovaCalibration FROM Frames WHERE Id = 1",
                           (number, float(number)))
            writer.execute("UPDATE Frames SET Time = ?", (float(number),))
            writer.execute("COMMIT")
        is_done.set()

    thread = threading.Thread(target=write)
    with kovadata.Analysis(path) as analysis:
        thread.start()
        while not is_done.is_set():
            table = analysis.frame_table()
            assert len(set(table["time"])) == 1 and (len(table) == 1 or table["time"][0] == len(table))
            kovadata.Analysis(path).close()
        thread.join()
        assert len(analysis.frame_table()) == 59 and analysis.frame(59).time == 59
    writer.close()


def test_an_interrupt_ends_a_long_call(simulated):
    """The signal comes while the library works, in its progress callback's thread."""
    with kovadata.Analysis(simulated("dense")) as analysis:
        timer = threading.Timer(0.05, os.kill, (os.getpid(), signal.SIGINT))
        timer.start()
        with pytest.raises(KeyboardInterrupt):
            while True:
                analysis.chromatograms(np.tile([0.0, 1e4], (2000, 1)))
        assert analysis.chromatograms(None, ms_level=None).intensity.sum() > 0
