"""Frames, scans and peaks, held against what the command line tool prints."""

import itertools

import numpy as np
import pytest

import kovadata
import kova_testing


def flat(frame, key):
    return list(itertools.chain.from_iterable(scan[key] for scan in frame["scans"]))


@pytest.mark.parametrize("name, options", [
    ("run", {}), ("run", {"recalibrated": True}), ("run", {"raw": True}), ("by_scan", {}), ("by_scan", {"raw": True}),
    ("dense", {})])
def test_peaks_are_those_of_the_tool(simulated, kova, name, options):
    path, flags = simulated(name), [f"--{option}" for option in options]
    with kovadata.Analysis(path, recalibrated="recalibrated" in options) as analysis:
        assert analysis.recalibrated == ("recalibrated" in options)
        for frame in analysis.frames([1, 3]):
            expected = kova("scans", path, "--frame", frame.id, *flags)
            peaks = frame.peaks(normalized="raw" not in options)
            assert peaks.tof_index.tolist() == flat(expected, "index")
            assert peaks.intensity.tolist() == flat(expected, "intensity")
            assert peaks.mz.tolist() == flat(expected, "mz")
            counts = [len(scan["index"]) for scan in expected["scans"]]
            assert np.diff(peaks.offsets).tolist() == counts
            assert peaks.scan.tolist() == np.repeat([scan["scan"] for scan in expected["scans"]], counts).tolist()
            assert peaks.one_over_k0.tolist() == np.repeat([scan["one_over_k0"] for scan in expected["scans"]],
                                                           counts).tolist()
            for scan, other in zip(frame.scans(normalized="raw" not in options), expected["scans"]):
                assert (scan.scan, scan.tof_index.tolist(), scan.intensity.tolist()) == (
                    other["scan"], other["index"], other["intensity"])


def test_ranges_of_scans(run):
    frame = run.frame(1)
    whole, part = frame.peaks(), frame.peaks(50, 60)
    assert part.scan.min() >= 50 and part.scan.max() < 60
    for cut in (part, whole.between(50, 60), frame.peaks(50, 60, mz=False)):
        chosen = (whole.scan >= 50) & (whole.scan < 60)
        for name in ("scan", "tof_index", "intensity", "mz", "one_over_k0"):
            if getattr(cut, name) is not None:
                np.testing.assert_array_equal(getattr(cut, name), getattr(whole, name)[chosen])
        assert [len(scan.tof_index) for scan in cut.scans()] == frame.scans(50, 60).counts.tolist()
    chosen = whole[whole.mz > 800]
    assert chosen.mz.tolist() == whole.mz[whole.mz > 800].tolist() and whole[:9].table()["scan"].tolist() == whole.scan[:9].tolist()
    assert frame.scans(50, 60)[-1].scan == 59
    with pytest.raises(IndexError):
        frame.scans(50, 60)[10]


def test_scans_fill_a_buffer_in_place(run):
    frame = run.frame(1)
    own = frame.scans(10, 30)
    needed = 20 + 2 * own.num_peaks
    exact = np.full(needed + 4, 0x99, np.uint32)
    scans = frame.scans(10, 30, out=exact[:needed])
    assert all(np.shares_memory(scan.tof_index, exact) for scan in scans if len(scan.tof_index))
    assert [scan.intensity.tolist() for scan in scans] == [scan.intensity.tolist() for scan in own]
    assert exact[needed:].tolist() == [0x99] * 4
    short = np.full(needed - 1, 0x99, np.uint32)
    with pytest.raises(kovadata.BufferTooSmall) as failure:
        frame.scans(10, 30, out=short)
    assert failure.value.needed == needed and (short == 0x99).all()
    for refused, error in ((np.zeros(9), TypeError), (np.zeros(2 * needed, np.uint32)[::2], ValueError),
                           ([0] * needed, TypeError), (np.frombuffer(bytes(4 * needed), np.uint32), ValueError)):
        with pytest.raises(error):
            frame.scans(10, 30, out=refused)


def test_peaks_in_a_buffer_that_is_used_again(simulated):
    with kovadata.Analysis(simulated("dense")) as analysis:
        buffer, memory = kovadata.PeakBuffer(), set()
        for frame in list(analysis.frames()) + [analysis.frame(1)]:
            peaks, expected = frame.peaks(out=buffer), frame.peaks()
            for name in ("scan", "tof_index", "intensity", "mz", "one_over_k0"):
                np.testing.assert_array_equal(getattr(peaks, name), getattr(expected, name))
            memory.add(peaks.mz.ctypes.data)
        assert len(memory) == 1


@pytest.mark.parametrize("call, text", [
    (lambda run: run.frame(99), "CorruptFrameDataError for FrameId=99: Frame doesn't exist"),
    (lambda run: list(run.frames([1, 99])), "CorruptFrameDataError for FrameId=99: Frame doesn't exist"),
    (lambda run: run.frame(1).peaks(5, 5), "scan_end must be > scan_begin"),
    (lambda run: run.frame(1).scans(5, 4), "scan_end must be > scan_begin"),
    (lambda run: run.frame(1).peaks(0, 201), "Scan number [200] out of range. (frame 1 of {} has scans 0 to 199)"),
    (lambda run: run.frame(1).scans(300), "Scan number [300] out of range."),
    (lambda run: next(run.frames(threads=1)).peaks(0, 201), "Scan number [200] out of range."),
    (lambda run: run.index_to_mz(99, [1.0]), "Frame 99 does not exists or is missing MzCalibration/Polarity"),
    (lambda run: kovadata.Analysis(run.path / "none"), "Specified analysis directory does not exist. (while opening {}/none)"),
    (lambda run: kovadata.SpectrumAnalysis(run.path), "analysis.kvs doesn't exist. (kovadata.Analysis or kovadata.open opens {})")])
def test_failures_have_the_text_of_the_library(run, call, text):
    with pytest.raises(kovadata.KovaError) as failure:
        call(run)
    assert text.replace("{}", str(run.path)) in str(failure.value)
    assert len(run.frame(1).peaks()) > 0, "the analysis stays usable"


@pytest.mark.parametrize("call", [lambda run: run.frame(1).peaks(-1), lambda run: run.frame(1).scans(0, 2 ** 32),
                                  lambda run: run.frame(2 ** 63), lambda run: run.partitions(0),
                                  lambda run: run.frames(threads=-1), lambda run: run.frame_table("excel"),
                                  lambda run: kovadata.Analysis(f"{run.path}\0.d")])
def test_what_would_be_cut_on_the_way_is_refused(run, call):
    with pytest.raises(ValueError):
        call(run)


@pytest.mark.parametrize("call, text", [
    (lambda run: run.frames(1), r"such as \[1\]"), (lambda run: next(run.msms(precursors=1)), r"such as \[1\]"),
    (lambda run: run.frame(1).peaks(out=np.empty(3)), "PeakBuffer")])
def test_wrong_types_are_told_in_words(run, call, text):
    with pytest.raises(TypeError, match=text):
        call(run)


def test_closed_analyses(simulated):
    with kovadata.Analysis(simulated("run")) as analysis:
        frame = analysis.frame(1)
    analysis.close()
    assert analysis.closed
    for call in (frame.peaks, analysis.frame_table, lambda: analysis.frame(1),
                 lambda: analysis.index_to_mz(1, [1.0]), lambda: next(analysis.msms()), lambda: next(analysis.frames(threads=2)),
                 lambda: analysis.chromatograms(None), analysis.peaks):
        with pytest.raises(ValueError, match="closed"):
            call()


def test_frame_table_is_that_of_the_tool(simulated, kova):
    for name in ("run", "by_scan"):
        with kovadata.Analysis(simulated(name)) as analysis:
            table, expected = analysis.frame_table(), kova("frames", analysis.path)
            for column in ("id", "time", "polarity", "ms_level", "scans", "peaks", "intensity_sum"):
                assert table[column].tolist() == [row[column] for row in expected]
            for row, frame in zip(expected, analysis.frames()):
                assert (frame.id, frame.time, frame.polarity, frame.ms_level, frame.num_scans, frame.num_peaks,
                        frame.intensity_sum) == tuple(row.values())[:7]
            assert [frame.id for frame in analysis.frames(ms_level=2)] == [
                row["id"] for row in expected if row["ms_level"] == 2]


def test_what_the_metadata_do_not_state(small):
    analysis = small(columns=("Time", *kova_testing.FEWEST_COLUMNS))
    analysis.add_frame([[(5, 3)], [], [(7, 1), (9, 2)]]).add_frame([], Time="text", Polarity=None)
    with kovadata.Analysis(analysis.write()) as read:
        table = read.frame_table()
        assert table["scans"].tolist() == [-1, -1] and np.isnan(table["time"]).tolist() == [False, True]
        assert table["polarity"].tolist() == ["+", ""]
        complete = read.frame_table(complete=True)
        assert [complete[name].tolist() for name in ("scans", "peaks", "intensity_sum")] == [[3, 0], [3, 0], [6, 0]]
        assert [frame.num_scans for frame in read.frames()] == [3, 0]
        peaks = read.frame(1).peaks()
        assert peaks.tof_index.tolist() == [5, 7, 9] and np.isnan(peaks.mz).all() and np.isnan(peaks.one_over_k0).all()
        assert len(read.frame(2).peaks()) == len(read.frame(2).scans()) == 0
        assert [len(frame.peaks()) for frame in read.frames(threads=2)] == [3, 0]

        arrow, polars, pandas = (read.frame_table(kind) for kind in ("arrow", "polars", "pandas"))
        assert arrow["scans"].null_count == 2 and arrow["polarity"].to_pylist() == ["+", None]
        assert polars["scans"].null_count() == 2 and polars["polarity"].to_list() == ["+", None]
        assert pandas["scans"].isna().all() and pandas["polarity"].isna().tolist() == [False, True]
        for table in (arrow, polars, pandas):
            assert list(table["id"].tolist() if table is pandas else table["id"].to_pylist()
                        if table is arrow else table["id"]) == [1, 2]


def test_peaks_as_data_frames(run):
    peaks = run.frame(2).peaks()
    for kind in ("pandas", "polars", "arrow"):
        table = peaks.table(kind)
        for name in ("scan", "tof_index", "intensity", "mz", "one_over_k0"):
            np.testing.assert_array_equal(np.asarray(table[name]), getattr(peaks, name))


def test_what_analyses_and_frames_say_of_themselves(simulated, small):
    odd = small(columns=kova_testing.FEWEST_COLUMNS).add_frame([[(5, 3)]]).write()
    said = {}
    for name, path in (("run", simulated("run")), ("spectra", simulated("spectra")), ("<odd>", odd.rename(odd.with_name("<odd>.d")))):
        with kovadata.open(path) as analysis:
            first = next(analysis.frames() if name != "spectra" else analysis.spectra())
            for one in (analysis, first):
                said[name, type(one).__name__] = repr(one)
                assert "<odd>" not in one._repr_html_() and one._repr_html_().count("<tr>") >= 4 * (name == "run")
        assert repr(analysis).endswith("closed>")
    assert "14 (2 MS1, 12 MS/MS), time 0.0 to 1.4 s, m/z 89.9 to 1720.3, 1/K0 0.778 to 1.767>" in said["run", "Analysis"]
    assert "MS level 1, scans 200, " in said["run", "Frame"] and "m/z 89.9" in said["run", "Frame"]
    assert "spectra 3 (" in said["spectra", "SpectrumAnalysis"] and said["<odd>", "Analysis"].endswith(": frames 1>")


def test_partitions_cover_all_frames_once(run):
    table = run.frame_table()
    for n in (1, 3, 5, 100):
        parts = run.partitions(n)
        assert len(parts) <= n
        assert [frame.id for part in parts for frame in run.frames(part)] == table["id"].tolist()
        assert sum(part.frames for part in parts) == len(table)
        assert sum(part.peaks for part in parts) == table["peaks"].sum()
        assert sum(part.bytes for part in parts) == (run.path / "analysis.kvd_bin").stat().st_size - 16
    assert all(part.frames == 1 for part in run.partitions(100))
    shares = [part.bytes for part in run.partitions(2)]
    assert max(shares) < 0.75 * sum(shares)
