"""Reports hold the numbers of plain calls, whatever a run has or lacks, and open in a browser by themselves."""

import json
import pathlib
import re
import shutil

import numpy as np
import pytest

import kova_testing
import kovadata
from kovadata._report.command import main


@pytest.fixture
def call(tmp_path, monkeypatch, capsys):
    """Runs the command in this process; its files come into the test's folder."""
    monkeypatch.chdir(tmp_path)

    def run(*arguments):
        try:
            status = main([str(one) for one in arguments])
        except SystemExit as exit:
            status = exit.code
        return (status, *capsys.readouterr())

    return run


def numbers_of(call, *arguments):
    status, out, err = call(*arguments, "--json")
    assert status == 0, err
    return json.loads(out)["runs"]


def test_numbers_are_those_of_plain_calls(call, simulated):
    [found] = numbers_of(call, simulated("run"))
    with kovadata.Analysis(simulated("run")) as run:
        table, precursors = run.frame_table(), run.precursor_table()
        chromatogram = found["chromatogram"]
        for name, reduce in (("total", "sum"), ("base_peak", "max"), ("peaks", "count")):
            plain = run.chromatograms(None, ms_level=None, reduce=reduce)
            assert chromatogram[name] == plain.intensity[0].tolist() and chromatogram["frame"] == plain.frame.tolist()
        spectra = {one.precursor.id: one for one in run.msms()}
        assert found["msms"]["peaks"] == [len(spectra[one]) for one in precursors["id"].tolist()]
        assert sum(found["msms"]["charges"].values()) == len(precursors)
        assert found["msms"]["per_cycle"] == [(precursors["frame"] == one).sum() for one in table["id"][table["ms_level"] == 1]]
        for example in found["examples"]:
            np.testing.assert_array_equal(example["mz"], spectra[example["precursor"]].mz)
        assert len({round(one["precursor_mz"]) for one in found["examples"]}) == 6
        peaks = [frame.peaks() for frame in run.frames(ms_level=1)]  # few enough not to be a sample
        histograms = {one["over"]: one for one in found["distributions"]["histograms"] if one["of"] == "MS1"}
        for over, values in (("intensity", [one.intensity for one in peaks]), ("one_over_k0", [one.one_over_k0 for one in peaks])):
            one = histograms[over]
            assert one["counts"] == np.histogram(np.concatenate(values), one["edges"])[0].tolist()
        [state] = found["calibration"]["states"]
        with kovadata.Analysis(simulated("run"), recalibrated=True) as changed:
            index = np.linspace(0, run._run.info().num_bins - 1, len(state["mz"]))
            before, after = (one.index_to_mz(state["frame"], index) for one in (run, changed))
        np.testing.assert_allclose(state["ppm"], (after / before - 1) * 1e6, atol=1e-6)


@pytest.fixture
def runs(simulated, tmp_path):
    """Directories of runs that lack something, by what they are."""
    def begin(name, **settings):
        return kova_testing.Analysis(tmp_path / f"{name}.d", **settings)

    scans = [[(400, 7), (900, 20)], [(500, 9)]]
    calibrated = {"MzCalibration": 1, "KovaCalibration": 1}
    damaged = begin("damaged").calibrate()
    for block in (None, b"\1" * 40, None, None):
        damaged.add_frame(scans, block, **calibrated)
    damaged.execute("INSERT INTO MzCalibration VALUES (2, 77, 1, 0, 25, 25, 0, 0, 0, 1e6, 0, 0, 0)")
    damaged.add_frame(scans, MzCalibration=2, KovaCalibration=1)
    profile = begin("profile", scheme=3, schema=(3, 1), parts="p").calibrate()
    for _ in range(4):
        profile.add_spectrum(profile=(0, 5, 0, 9), MzCalibration=1)
    return {"empty": begin("empty").write(), "damaged": damaged.write(), "profile": profile.write(),
            "uncalibrated": begin("uncalibrated").add_frame(scans).add_frame(scans).write(),
            "no levels": simulated("by_scan"), "no fragments": simulated("dense"), "spectra": simulated("spectra"),
            "run": simulated("run")}


@pytest.mark.parametrize("name, sentence", [
    ("empty", "no frames that could be read"), ("damaged", "2 frames of 5 are damaged"), ("profile", "profile spectra"),
    ("uncalibrated", "no mass calibration"), ("no levels", "strongest signal"), ("no fragments", "nothing was fragmented"),
    ("spectra", "Without ion mobility"), ("run", "In one MS/MS frame")])
def test_pages_say_what_is_there_and_what_is_not(call, runs, name, sentence):
    status, _, err = call(runs[name], "-o", "report.html", "--threads", 2)
    assert status == 0, err
    page = pathlib.Path("report.html").read_text("utf-8")
    assert sentence in page and len(page.encode()) <= 5_000_000
    styles_and_markup = re.sub(r"<script.*?</script>", "", page, flags=re.DOTALL)
    assert not re.search(r'(src|href)="(?!#|data:,)|url\(|@import', styles_and_markup)
    assert not re.search(r"\bnan\b|\binf\b|None\b", re.sub(r"<[^>]*>", " ", styles_and_markup.split("<body>")[1]))


def test_damaged_frames_are_listed_and_the_rest_is_counted(call, runs):
    status, out, err = call(runs["damaged"], "--json")
    [found] = json.loads(out)["runs"]
    assert status == 0 and list(found["damaged"]) == ["2", "5"] and "damaged.d: frame 2 left out: Corrupt" in err
    assert found["chromatogram"]["frame"] == [1, 3, 4] and found["chromatogram"]["total"] == [36] * 3
    assert "model 77" in found["damaged"]["5"]
    with pytest.warns(kovadata.DamageWarning, match="frames of damaged.d were left out: 2"):
        kovadata.report(runs["damaged"], "damaged.html")


@pytest.fixture(scope="module")
def compared(simulated, tmp_path_factory):
    """A report of two runs."""
    path = tmp_path_factory.mktemp("compared") / "both.html"
    kovadata.report([simulated("run"), simulated("spectra")], path)
    return path


def test_runs_are_compared_under_names_that_differ(call, simulated, tmp_path, compared):
    other = tmp_path / "other" / "run.d"
    shutil.copytree(simulated("run"), other)
    found = numbers_of(call, simulated("run"), other, simulated("spectra"))
    assert len({one["name"] for one in found}) == 3 and found[1]["name"] == "other/run.d"
    page = compared.read_text("utf-8")
    assert "Comparison" in page and "times that of" in page


def test_files_appear_when_they_are_complete(call, simulated, tmp_path, monkeypatch):
    run = simulated("spectra")
    assert call(run)[0] == 2 and call(run, "-o", "a.html", "--threads", 0)[0] == 2
    assert call(run, "-o", "a.json", "--json")[0] == 0
    before = (tmp_path / "a.json").read_bytes()
    assert call(run, "-o", "a.json")[::2] == (1, "kova: a.json is there already; --force replaces it\n")
    assert call(tmp_path / "nowhere.d", "-o", "b.html")[0] == 1
    monkeypatch.setattr("kovadata._report._html", lambda runs: 1 / 0)
    assert call(run, "-o", "a.json", "--force")[::2] == (1, "kova: ZeroDivisionError: division by zero\n")
    assert [one.name for one in tmp_path.iterdir()] == ["a.json"] and (tmp_path / "a.json").read_bytes() == before


def test_in_a_browser(compared):
    sync_api = pytest.importorskip("playwright.sync_api")
    browser_path = shutil.which("chromium")
    if browser_path is None:
        pytest.skip("there is no browser")
    with sync_api.sync_playwright() as playwright:
        browser = playwright.chromium.launch(executable_path=browser_path, args=["--no-sandbox"])
        page = browser.new_page(viewport={"width": 390, "height": 800}, color_scheme="dark")
        seen = []
        page.on("console", lambda message: seen.append(message.text))
        page.on("pageerror", lambda error: seen.append(str(error)))
        page.on("request", lambda asked: seen.append(asked.url) if asked.url.startswith("http") else None)
        page.goto(compared.as_uri())
        page.wait_for_function("document.querySelectorAll('.plot').length == Bokeh.documents[0]?.roots().length && Bokeh.documents[0].is_idle")
        drawn = "kovaFigures.model('run1-total').renderers[0].glyph.line_color.value"
        colour = {theme: page.evaluate(f"kovaFigures.themes.{theme}.blue") for theme in ("light", "dark")}
        assert page.evaluate(drawn) == colour["dark"]
        page.click("#theme")
        assert page.evaluate(drawn) == colour["light"]
        assert page.evaluate("document.documentElement.scrollWidth") == 390
        printed = page.pdf(prefer_css_page_size=True)
        assert printed.startswith(b"%PDF") and not page.evaluate("document.querySelectorAll('.plot.printed').length")
        with page.expect_download() as download:
            page.click("[data-save=run1-total][data-kind=png]")
        assert download.value.suggested_filename == "run1-total.png"
        assert seen == []
        browser.close()
