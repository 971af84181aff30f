"""Plots show the numbers that were read; the command writes them to files."""

import re
import subprocess
import sys

import numpy as np
import pytest
from matplotlib.figure import Figure

import kovadata
import kovadata.plot
from kovadata.plot.__main__ import main

KINDS = ("tic", "heatmap", "mobilogram", "msms")


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


def test_chromatogram_of_spectra(simulated, ax):
    with kovadata.open(simulated("spectra")) as analysis:
        kovadata.plot.tic(analysis, ax)
        np.testing.assert_array_equal(ax.get_lines()[0].get_ydata(),
                                      [spectrum.profile().sum() for spectrum in analysis.spectra()])


def test_heat_map_holds_all_intensity(run, ax):
    frame = run.frame(1)
    kovadata.plot.heatmap(frame, ax)
    [mesh] = [one for one in ax.collections if one.get_array() is not None]
    peaks = frame.peaks()
    assert mesh.get_array().sum() == peaks.intensity.sum()
    row, column = np.unravel_index(mesh.get_array().argmax(), mesh.get_array().shape)
    corners = mesh.get_coordinates()[row:row + 2, column:column + 2].reshape(4, 2)
    (left, low), (right, high) = corners.min(axis=0), corners.max(axis=0)
    inside = (peaks.mz >= left) & (peaks.mz < right) & (peaks.one_over_k0 > low) & (peaks.one_over_k0 < high)
    assert peaks.intensity[inside].sum() == mesh.get_array().max() > 100


def test_mobilogram(run, ax):
    frame = run.frame(1)
    kovadata.plot.mobilogram(frame, ax)
    x, y = ax.get_lines()[0].get_data()
    np.testing.assert_array_equal(y, [scan.intensity.sum() for scan in frame.scans()])
    np.testing.assert_allclose(x, frame.scan_to_one_over_k0(np.arange(200.0)), atol=1e-4)


def test_spectrum_and_its_labels(run, ax):
    spectrum = max(run.msms(), key=lambda one: one.intensity.max())
    kovadata.plot.msms(spectrum, ax, labels=8)
    tops = np.array([segment[1] for segment in ax.collections[0].get_segments()])
    np.testing.assert_allclose(tops[:, 0], spectrum.mz)
    np.testing.assert_allclose(tops[:, 1], 100 * spectrum.intensity / spectrum.intensity.max())
    ax.figure.canvas.draw()
    labels = [text for text in ax.texts if re.fullmatch(r"[\d.]+", text.get_text())]
    assert 3 <= len(labels) <= 8
    assert f"{spectrum.mz[spectrum.intensity.argmax()]:.3f}" in [label.get_text() for label in labels]
    boxes = [label.get_window_extent() for label in labels]
    assert not any(one.overlaps(other) for i, one in enumerate(boxes) for other in boxes[:i])


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


@pytest.mark.parametrize("arguments, text", [
    (("heatmap", "RUN", "--frame", 99), "CorruptFrameDataError for FrameId=99: Frame doesn't exist"),
    (("heatmap", "RUN", "--mz-range", 5000, 6000), "no peaks there"), (("msms", "RUN", "--precursor", 12345), "12345"),
    (("msms", "RUN", "--frame", 2), "no precursor was selected in frame 2"), (("tic", "RUN", "-o", "a.b"), "a.b: no format"),
    (("tic", "RUN", "-o", "none/a.png"), "No such file"), (("heatmap", "SPECTRA"), "without ion mobility")])
def test_failures_are_one_line(simulated, command, tmp_path, arguments, text):
    paths = {"RUN": simulated("run"), "SPECTRA": simulated("spectra")}
    status, out, err = command(*(paths.get(one, one) for one in arguments))
    assert (status, out) == (1, "") and re.fullmatch("kova: [^\n]*\n", err) and text in err
    assert list(tmp_path.iterdir()) == []


@pytest.mark.parametrize("arguments", [
    (), ("tic",), ("pie", "x"), ("tic", "x", "--frame", "1"), ("tic", "x", "--mz-range", "5", "4"),
    ("heatmap", "x", "--frame", "one"), ("msms", "x", "--mobility-range", "1", "2"), ("tic", "x", "--what"),
    ("tic", "x", "--dpi", "0")])
def test_wrong_usage(command, arguments):
    status, out, err = command(*arguments)
    assert (status, out) == (2, "") and err.startswith("kova: ")


def test_without_matplotlib(run, tmp_path):
    (tmp_path / "matplotlib.py").write_text("raise ImportError('not here')")
    status, _, err = run_module(tmp_path, "tic", run.path)
    assert status == 1 and re.fullmatch(r"kova: plots need matplotlib \(pip install matplotlib\).*\n", err)
