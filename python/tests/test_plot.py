"""Plots show the numbers that were read; the command writes them to files."""

import operator
import re
import subprocess
import sys

import numpy as np
import pytest
from matplotlib.figure import Figure

import kovadata
import kovadata.plot
import kovadata.plot._map
from kovadata.plot.__main__ import main

KINDS = ("tic", "bpc", "overview", "heatmap", "mobilogram", "spectrum", "msms")


@pytest.fixture
def ax():
    return Figure().add_subplot()


def run_module(folder, *arguments):
    done = subprocess.run([sys.executable, "-m", "kovadata.plot", *map(str, arguments)], cwd=folder, text=True,
                          capture_output=True)
    return done.returncode, done.stdout, done.stderr


@pytest.fixture
def command(tmp_path, monkeypatch, capsys):
    """Runs the command in this process, which spares starting it; its files come into the test's folder."""
    monkeypatch.chdir(tmp_path)

    def call(*arguments):
        try:
            status = main([str(one) for one in arguments])
        except SystemExit as exit:
            status = exit.code
        return (status, *capsys.readouterr())

    return call


def test_chromatogram(run, ax):
    kovadata.plot.tic(run, ax)
    table = run.frame_table()
    for line, level in zip(ax.get_lines(), (1, 2)):
        rows = table[table["ms_level"] == level]
        np.testing.assert_array_equal(line.get_data(), (rows["time"], rows["intensity_sum"]))
    assert re.fullmatch(r"summed intensity \(\w+ counts\)", ax.get_ylabel()) and ax.get_xlabel() == "retention time (s)"


def test_extracted_chromatogram(run, ax):
    limits = (500.0, 700.0), (0.8, 1.1)
    kovadata.plot.tic(run, ax, mz_range=limits[0], mobility_range=limits[1])
    [expected] = [peaks.intensity[(peaks.mz >= 500) & (peaks.mz <= 700) & (peaks.one_over_k0 >= 0.8)
                                  & (peaks.one_over_k0 <= 1.1)].sum() for peaks in [run.frame(1).peaks()]]
    assert 0 < expected == ax.get_lines()[0].get_ydata()[0]


@pytest.mark.parametrize("kind, reduce", [("tic", np.sum), ("bpc", np.max)])
def test_chromatograms_of_frames_and_spectra(run, simulated, kind, reduce):
    with kovadata.open(simulated("spectra")) as analysis:
        for source, values in ((run, [reduce(frame.peaks().intensity) for frame in run.frames(ms_level=1)]),
                               (analysis, [reduce(spectrum.profile()) for spectrum in analysis.spectra()])):
            ax = Figure().add_subplot()
            getattr(kovadata.plot, kind)(source, ax)
            np.testing.assert_array_equal(ax.get_lines()[0].get_ydata(), values)


@pytest.mark.parametrize("times, x, label", [
    ((10.0, 11.0, 13.0), (10, 11, 13), "retention time (s)"), ((0.0, 60.0, 600.0), (0, 1, 10), "retention time (min)"),
    ((5.0, 5.0, 5.0), (1, 2, 3), "frame"), ((1.0, None, 2.0), (1, 2, 3), "frame"), ((3.0, 2.0, 1.0), (1, 2, 3), "frame")])
def test_time_axis(times, x, label):
    found = kovadata.plot._style.time_axis(np.arange(1, 4), np.array(times, float))
    np.testing.assert_array_equal(found[0], x)
    assert found[1] == label


@pytest.mark.parametrize("view, values, intensity, low, high", [
    ("_style.view", range(1000), np.ones(1000), 0, 1000),                        # no edge: about everything
    ("_style.view", [100, 500, 900], [1e6, 5e7, 2e6], 100, 900),                 # strong ones are kept wherever they are
    ("_style.view", [12, 500, 520, 2600], [1, 1e6, 1e6, 1], 499, 521),           # weak ones are not
    ("_map.map_view", [400, 500, 520, 700], [100, 1e5, 1e5, 100], 400, 700),     # unless colours show them
    ("_map.map_view", [10, *[500] * 9999, 2600], np.ones(10001), 499, 501)])     # few of many are not
def test_a_stray_peak_stretches_no_axis(view, values, intensity, low, high):
    found = operator.attrgetter(view)(kovadata.plot)(np.array(values), np.array(intensity, float), None)
    assert max(abs(np.subtract(found, (low, high)))) <= 0.04 * (high - low) + 1


def meshes_of(ax):
    return [one for one in ax.collections if one.get_array() is not None]


@pytest.mark.parametrize("name, kind", [("dense", "QuadMesh"), ("run", "PathCollection")])
def test_heat_map_holds_all_intensity(simulated, ax, name, kind):
    with kovadata.Analysis(simulated(name)) as analysis:
        frame = analysis.frame(1)
        peaks = frame.peaks()
        kovadata.plot.heatmap(frame, ax, mz_range=(50, 2000), mobility_range=(0, 5))
    [drawn] = meshes_of(ax)
    assert type(drawn).__name__ == kind and drawn.get_array().sum() == peaks.intensity.sum()
    if kind == "PathCollection":
        at_dots = [abs(peaks.mz - x) + abs(peaks.one_over_k0 - y) * 300 < 4 for x, y in drawn.get_offsets()[::100]]
        assert all(near.any() for near in at_dots)
        return
    row, column = np.unravel_index(drawn.get_array().argmax(), drawn.get_array().shape)
    corners = drawn.get_coordinates()[row:row + 2, column:column + 2].reshape(4, 2)
    (left, low), (right, high) = corners.min(axis=0), corners.max(axis=0)
    inside = (peaks.mz >= left) & (peaks.mz < right) & (peaks.one_over_k0 > low) & (peaks.one_over_k0 < high)
    assert peaks.intensity[inside].sum() == drawn.get_array().max() > 100


def test_mobilogram(run, ax):
    frame = run.frame(1)
    kovadata.plot.mobilogram(frame, ax)
    x, y = ax.get_lines()[0].get_data()
    np.testing.assert_array_equal(y, [scan.intensity.sum() for scan in frame.scans()])
    np.testing.assert_allclose(x, frame.scan_to_one_over_k0(np.arange(200.0)), atol=1e-4)


@pytest.mark.parametrize("mobility_calibration", [1, None])
def test_overview_adds_up(small, mobility_calibration):
    times, levels, begun = (0.0, 1.0, 1.5, 3.0, 9.0), (0, 9, 0, 0, 0), small(bins=40000).calibrate()
    for number, (time, level) in enumerate(zip(times, levels)):
        scans = [[(20000 + 500 * step + number, number + step + 1) for step in range(36)], [], [(30000, 7)]]
        begun.add_frame(scans, Time=time, MsMsType=level, MzCalibration=1, KovaCalibration=mobility_calibration)
    with kovadata.Analysis(begun.write()) as analysis:
        panels = kovadata.plot.overview(analysis, Figure().add_subplot())
        sums = [frame.peaks().intensity.sum() for frame in analysis.frames(ms_level=1)]
    assert panels[1].get_ylabel().startswith("1/K" if mobility_calibration else "mobility scan")
    for [mesh] in map(meshes_of, panels):
        np.testing.assert_array_equal(mesh.get_array().sum(axis=0), sums)
        np.testing.assert_array_equal(mesh.get_coordinates()[0, :, 0], [-.75, .75, 2.25, 6, 12])


def points_of(ax):
    """What is drawn other than the line at 0: points of a profile without the zeros between, and ends of lines."""
    points = [np.column_stack(line.get_data()) for line in ax.get_lines() if len(line.get_xdata()) > 2]
    points += [np.array(one.get_segments())[:, 1] for one in ax.collections if hasattr(one, "get_segments")]
    return [array[array[:, 1] != 0] for array in points]


def test_spectra_hold_what_was_read(run, simulated, ax):
    box = {"mz_range": (600.0, 700.0), "mobility_range": (0.8, 1.1)}
    for source, time_range, frames in ((run.frame(1), None, [1]), (run, (0.5, 1.5), [10])):
        ax.clear()
        kovadata.plot.spectrum(source, ax, time_range=time_range, **box)
        peaks = [run.frame(number).peaks() for number in frames]
        chosen = [one[(one.mz >= 600) & (one.mz <= 700) & (one.one_over_k0 >= 0.8) & (one.one_over_k0 <= 1.1)] for one in peaks]
        expected = sum(np.bincount(one.tof_index, one.intensity, 400000) for one in chosen)
        index = np.flatnonzero(expected)
        [found] = points_of(ax)
        np.testing.assert_allclose(found, np.column_stack([run.index_to_mz(frames[0], index.astype(float)), expected[index]]))
    with kovadata.open(simulated("spectra")) as analysis:
        spectrum = analysis.spectrum(2)
        lines, profile = spectrum.lines(), spectrum.profile()
        for form in (None, "profile", "lines"):
            ax.clear()
            kovadata.plot.spectrum(spectrum, ax, form=form)
            drawn = points_of(ax)
            tops = [max(abs(points[:, 1])) * np.sign(points[0, 1]) for points in drawn]
            assert sorted(tops) == {None: [-lines.intensity.max(), profile.max()], "profile": [profile.max()],
                                    "lines": [lines.intensity.max()]}[form]


def test_msms_spectrum(run, ax):
    spectrum = max(run.msms(), key=lambda one: one.intensity.max())
    kovadata.plot.msms(spectrum, ax, mz_range=(0, 5000))
    order = np.argsort(spectrum.mz)
    np.testing.assert_allclose(points_of(ax)[0][:, 0], spectrum.mz[order])
    np.testing.assert_allclose(points_of(ax)[0][:, 1], 100 * spectrum.intensity[order] / spectrum.intensity.max())


@pytest.mark.parametrize("kind, size, options", [
    ("spectrum", (9, 4), {}), ("spectrum", (3, 2), {}), ("spectrum", (9, 4), {"mz_range": (600, 700)}), ("msms", (9, 4), {}),
    ("msms", (3, 2), {})])
def test_labels_that_no_line_crosses(run, kind, size, options):
    source = run.frame(1) if kind == "spectrum" else max(run.msms(), key=lambda one: one.intensity.max())
    ax = Figure(figsize=size, layout="constrained").add_subplot()
    getattr(kovadata.plot, kind)(source, ax, labels=8, **options)
    ax.figure.canvas.draw()
    labels = [text for text in ax.texts if re.fullmatch(r"[\d.]+", text.get_text())]
    boxes = [label.get_window_extent() for label in labels]
    assert 2 <= len(labels) <= 8
    assert not any(one.overlaps(other) for i, one in enumerate(boxes) for other in boxes[:i])
    tops = ax.transData.transform(np.concatenate(points_of(ax)))
    for box in boxes:
        across = (tops[:, 0] > box.x0) & (tops[:, 0] < box.x1) & (tops[:, 1] > box.y0 + 1)
        assert not across.any() and ax.get_window_extent().y1 >= box.y1 - 3
    [strongest] = [float(label.get_text()) for label, box in zip(labels, boxes) if box.y0 == max(box.y0 for box in boxes)]
    assert abs(strongest - ax.transData.inverted().transform(tops[tops[:, 1].argmax()])[0]) < 0.02


def test_module_as_the_tool_calls_it(run, tmp_path):
    assert run_module(tmp_path, "mobilogram", run.path) == (0, "mobilogram.png written\n", "")
    assert run_module(tmp_path, "tic", "none.d") == (
        1, "", f"kova: Specified analysis directory does not exist. (while opening {tmp_path}/none.d)\n")


def test_command_writes_files(run, simulated, command, tmp_path):
    for kind in KINDS:
        assert command(kind, run.path) == (0, f"{kind}.png written\n", "")
        assert (tmp_path / f"{kind}.png").read_bytes().startswith(b"\x89PNG")
    options = ("--mz-range", 300, 900, "--mobility-range", 0.7, 1.2, "--recalibrated", "--frame", 1)
    assert command("heatmap", run.path, "-o", "map.pdf", *options) == (0, "", "")
    assert (tmp_path / "map.pdf").read_bytes().startswith(b"%PDF")
    assert command("tic", simulated("spectra"), "-o", "tic.svg")[0] == 0
    assert command("spectrum", simulated("spectra"), "--form", "lines", "--labels", 3, "--size", 3, 2)[0] == 0
    assert command("spectrum", run.path, "--time-range", 0, 5, "-o", "map.pdf")[0] == 0
    assert sorted(path.name for path in tmp_path.iterdir()) == sorted([f"{kind}.png" for kind in KINDS] + ["map.pdf", "tic.svg"])


@pytest.mark.parametrize("arguments, text", [
    (("heatmap", "RUN", "--frame", 99), "CorruptFrameDataError for FrameId=99: Frame doesn't exist"),
    (("heatmap", "RUN", "--mz-range", 5000, 6000), "no peaks there"), (("msms", "RUN", "--precursor", 12345), "12345"),
    (("msms", "RUN", "--frame", 2), "no precursor was selected in frame 2"), (("tic", "RUN", "-o", "a.b"), "a.b: no format"),
    (("tic", "RUN", "-o", "none/a.png"), "No such file"), (("heatmap", "SPECTRA"), "without ion mobility"),
    (("overview", "SPECTRA"), "without ion mobility"), (("overview", "RUN", "--time-range", 900, 901), "no frames there"),
    (("spectrum", "RUN", "--mz-range", 5000, 6000), "no peaks there"),
    (("spectrum", "RUN", "--form", "lines"), "no line spectra"), (("mobilogram", "RUN", "--mz-range", 1, 2), "no peaks there"),
    (("spectrum", "RUN", "--time-range", 900, 901), "no frames there"),
    (("spectrum", "SPECTRA", "--mobility-range", 0, 1), "without ion mobility")])
def test_failures_are_one_line(simulated, command, tmp_path, arguments, text):
    paths = {"RUN": simulated("run"), "SPECTRA": simulated("spectra")}
    status, out, err = command(*(paths.get(one, one) for one in arguments))
    assert (status, out) == (1, "") and re.fullmatch("kova: [^\n]*\n", err) and text in err
    assert list(tmp_path.iterdir()) == []


@pytest.mark.parametrize("arguments", [
    (), ("tic",), ("pie", "x"), ("tic", "x", "--frame", "1"), ("tic", "x", "--mz-range", "5", "4"),
    ("heatmap", "x", "--frame", "one"), ("msms", "x", "--mobility-range", "1", "2"), ("tic", "x", "--what"),
    ("tic", "x", "--dpi", "0"), ("heatmap", "x", "--time-range", "1", "2"), ("overview", "x", "--frame", "1"),
    ("spectrum", "x", "--frame", "1", "--time-range", "1", "2"), ("tic", "x", "--labels", "1")])
def test_wrong_usage(command, arguments):
    status, out, err = command(*arguments)
    assert (status, out) == (2, "") and err.startswith("kova: ")


@pytest.mark.parametrize("text, status, error", [
    ("raise ImportError('not here')", 1, r"kova: plots need matplotlib \(pip install matplotlib\).*\n"),
    ("import os, signal, time\nos.kill(os.getpid(), signal.SIGINT)\ntime.sleep(60)", 130, "kova: interrupted\n")])
def test_while_matplotlib_is_imported(run, tmp_path, text, status, error):
    (tmp_path / "matplotlib.py").write_text(text)
    found, _, err = run_module(tmp_path, "tic", run.path)
    assert found == status and re.fullmatch(error, err)


def test_ctrl_c_while_a_file_is_written(tmp_path):
    program = ("import os, pathlib, signal\nfrom kovadata import _interruption\nfrom kovadata.plot import _output\n"
               "_interruption.end_when_interrupted()\n"
               "os.replace = lambda *names: (print(os.listdir('.'), flush=True), os.kill(os.getpid(), signal.SIGINT))\n"
               "_output.write_file(pathlib.Path('a.png'), b'new')")
    (tmp_path / "a.png").write_bytes(b"old")
    done = subprocess.run([sys.executable, "-c", program], cwd=tmp_path, text=True, capture_output=True)
    assert (done.returncode, done.stderr, ".part" in done.stdout) == (130, "kova: interrupted\n", True)
    assert [(path.name, path.read_bytes()) for path in tmp_path.iterdir()] == [("a.png", b"old")]
