"""The explorer in a real browser: what it shows are the numbers of the library, and only its own page gets them."""

import csv
import io
import pathlib
import re
import shutil
import subprocess
import sys
import urllib.error
import urllib.request

import numpy as np
import pytest

import kovadata
from kovadata._queries import Observer

playwright = pytest.importorskip("playwright.sync_api")
pytest.importorskip("bokeh")
CHROMIUM = shutil.which("chromium")
pytestmark = pytest.mark.skipif(CHROMIUM is None, reason="needs chromium")

MODEL = "kovaFigures.model"


@pytest.fixture(scope="module")
def browser():
    with playwright.sync_playwright() as driver:
        opened = driver.chromium.launch(executable_path=CHROMIUM, args=["--no-sandbox"])
        yield opened
        opened.close()


@pytest.fixture(scope="module")
def viewer(simulated, tmp_path_factory):
    """Of a run with a damaged frame beside one that is whole, and of spectra without mobility."""
    damaged = tmp_path_factory.mktemp("damaged") / "damaged.d"
    shutil.copytree(simulated("run"), damaged)
    with kovadata.Analysis(damaged) as analysis:
        at = int(analysis.frame_table()["position"][4])
    with open(damaged / "analysis.kvd_bin", "r+b") as file:
        file.seek(at)
        file.write(b"\xff" * 16)
    with kovadata.view(simulated("run"), damaged, simulated("spectra"), browser=False, wait=False) as made:
        yield made


class Page:
    """The explorer's page, with shorthands for what tests do with it."""

    def __init__(self, browser, url, width=1300, **options):
        self.said = []
        self.page = browser.new_page(viewport={"width": width, "height": 800}, **options)
        self.page.on("console", lambda one: one.type in ("error", "warning") and self.said.append(one.text))
        self.page.on("pageerror", lambda error: self.said.append(str(error)))
        self.page.goto(url)
        self.page.wait_for_function("() => kovaFigures.model('ppm')", timeout=60000)
        self.page.set_default_timeout(30000)

    def until(self, expression):
        return self.page.wait_for_function(f"() => ({expression})", timeout=30000).json_value()

    def tells(self, expression):
        return self.page.evaluate(f"() => ({expression})")

    def source(self, figure, *columns):
        """Arrays of the first line of a figure, once there are any."""
        line = f"{MODEL}('{figure}').renderers.find((one) => one.visible && one.data_source.get_length() > 0)"
        self.until(f"{line} != null")
        return [np.array(self.tells(f"Array.from({line}.data_source.get('{name}'))")) for name in columns]

    def commands(self, command):
        self.page.evaluate(f"(command) => {{ {MODEL}('link').command = {{...command, number: Math.random()}} }}", command)

    def settle(self):
        """Waits until the session has obeyed all commands: it replies in their order."""
        self.tells("document.getElementById('readout').textContent = ''")
        self.commands({"do": "frame.peak", "x": 0, "y": 0, "dx": 0, "dy": 0})
        self.until("document.getElementById('readout').textContent != ''")

    def choose_frame(self, number):
        self.page.fill("#frame", str(number))
        self.page.press("#frame", "Enter")

    def add_box(self, **ends):
        for name, pair in ends.items():
            for end in (0, 1):
                self.page.fill(f"#box-form [name={name}{end}]", repr(pair[end]))
        self.page.click("text=Add box")

    def saved(self, figure, kind):
        self.page.click(f"#chart-{figure} summary")
        with self.page.expect_download() as coming:
            self.page.click(f"#chart-{figure} [data-save={kind}]")
        return pathlib.Path(coming.value.path()).read_bytes()

    def table(self, figure):
        rows = list(csv.DictReader(io.StringIO(self.saved(figure, "csv").decode())))
        return {name: np.array([row[name] for row in rows]) for name in rows[0]}


@pytest.fixture(scope="module")
def opened(browser, viewer):
    made = Page(browser, viewer.url)
    yield made
    viewer.close()
    made.until("!document.getElementById('gone').hidden")
    made.page.close()


@pytest.fixture
def page(opened):
    """The same page for most tests, which opening takes seconds: with the first run as it was opened, and without boxes."""
    is_first = "document.getElementById('facts').textContent.startsWith('run.d') && document.getElementById('calibration').value == 'off'"
    if not opened.tells(is_first):
        opened.commands({"do": "run", "run": 0})
        opened.until(is_first)
    opened.page.click("#tab-view-frame")
    opened.page.click("#tab-boxes")
    while left := opened.tells("document.querySelectorAll('#box-table tbody tr').length"):
        opened.page.click("#box-table [aria-label^=Remove]")
        opened.until(f"document.querySelectorAll('#box-table tbody tr').length == {left - 1}")
    opened.choose_frame(1)
    opened.commands({"do": "frame.whole"})
    opened.settle()
    yield opened
    assert opened.said == []


def test_a_click_and_keys_choose_frames(page, run):
    table = run.frame_table()
    x, y, frame = page.source("chromatogram", "x", "y", "frame")
    of_level = table[table["ms_level"] == 1]
    np.testing.assert_array_equal((x, y, frame), (of_level["time"], of_level["intensity_sum"], of_level["id"]))
    place = page.tells(f"""(() => {{ const view = kovaFigures.view('chromatogram'), at = view.el.getBoundingClientRect()
        return [at.left + view.frame.x_scale.compute({x[-1]}), at.top + view.frame.y_scale.compute({y[-1]})] }})()""")
    page.page.mouse.click(*place)
    page.until(f"document.getElementById('frame').value == {frame[-1]}")
    page.page.keyboard.press("ArrowLeft")
    page.until(f"document.getElementById('frame').value == {frame[-1] - 1}")


def test_a_zoom_shows_another_image(page, run):
    before = page.until(f"{MODEL}('frame_map').renderers[0].data_source.get('image')[0]?.length")
    limits = run.frame(1).peaks().mz.min(), 600.0
    page.tells(f"{MODEL}('frame_map').x_range.setv({{start: {limits[0]}, end: {limits[1]}}})")
    shown = f"{MODEL}('frame_map').renderers[1].data_source.get('intensity')"
    page.until(f"{shown}.length > 0 || {MODEL}('frame_map').renderers[0].data_source.get('image')[0].length != {before}"
               f" || Math.abs({MODEL}('frame_map').renderers[0].data_source.get('x')[0] - {limits[0]}) < 1e-6")
    numbers = page.table("frame_map")
    peaks = run.frame(1).peaks()
    inside = (peaks.mz >= limits[0]) & (peaks.mz <= limits[1])
    for name in ("scan", "tof_index", "intensity", "mz", "one_over_k0"):
        np.testing.assert_array_equal(numbers[name].astype(getattr(peaks, name).dtype), getattr(peaks, name)[inside])


def test_a_box_holds_what_the_library_finds(page, run):
    mz, mobility = (500.0, 700.0), (0.8, 1.1)
    page.add_box(mz=mz, mobility=mobility)
    [expected] = [run.chromatograms([mz], mobility_ranges=[mobility])]
    time, intensity, frame = page.source("box_chromatogram", "x", "y", "frame")
    np.testing.assert_array_equal((time, intensity, frame), (expected.time, expected.intensity[0], expected.frame))
    page.until("!document.getElementById('peak-table').hidden")
    summed, mobilogram = run.summed_spectrum(mz_range=mz, mobility_range=mobility), run.mobilograms([mz], mobility_ranges=[mobility])
    found = page.table("box_spectrum")
    np.testing.assert_array_equal(found["tof_index"].astype(np.uint32), summed.tof_index)
    np.testing.assert_array_equal(found["intensity"].astype(np.uint64), summed.intensity)
    np.testing.assert_array_equal(page.table("box_mobilogram")["intensity"].astype(np.uint64), mobilogram.intensity[0])


def test_boxes_are_saved_for_the_command_line_and_loaded_again(page, run, kova, tmp_path):
    text = "name,mz,ppm,mobility_low,mobility_high\nfirst,500,20,,\nsecond,600.3,1000,0.7,1.4\n"
    page.page.set_input_files("#box-file", {"name": "boxes.csv", "mimeType": "text/csv", "buffer": text.encode()})
    page.until("document.querySelectorAll('#box-table tbody tr').length == 2")
    with page.page.expect_download() as coming:
        page.page.click("#box-save")
    (tmp_path / "targets.csv").write_bytes(pathlib.Path(coming.value.path()).read_bytes())
    rows = kova("xic", run.path, "--targets", tmp_path / "targets.csv", "--ms-level", "1")
    limits = [[500 * (1 - 2e-5), 500 * (1 + 2e-5)], [600.3 * (1 - 1e-3), 600.3 * (1 + 1e-3)]]
    expected = run.chromatograms(limits, mobility_ranges=[[None, None], [0.7, 1.4]])
    assert [row["intensity"] for row in rows] == expected.intensity.T.tolist()
    page.page.set_input_files("#box-file", {"name": "b.csv", "mimeType": "text/csv", "buffer": b"mz_low,mz_high\n4,x\n"})
    page.until("document.getElementById('messages').textContent.includes('not a number')")


def test_a_precursor_shows_its_spectrum(page, run):
    page.page.click("#tab-precursors")
    page.page.click("[data-sort=intensity] button")
    page.page.fill("#filter-form [name=charge0]", "2")
    table = run.precursor_table()
    strongest = max(table[table["charge"] >= 2].tolist(), key=lambda row: row[5])
    page.until(f"document.querySelector('#precursor-table tbody tr')?.dataset.id == '{strongest[0]}'")
    page.page.click("#precursor-table tbody tr:first-child button")
    [expected] = run.msms([strongest[0]])
    page.until(f"document.getElementById('precursor-facts').textContent.includes('Precursor {strongest[0]} ')")
    found, order = page.table("msms"), np.argsort(expected.mz, kind="stable")
    np.testing.assert_array_equal(found["mz"].astype(float), expected.mz[order])
    np.testing.assert_array_equal(found["intensity"].astype(np.float32), expected.intensity[order])
    page.page.click("#precursor-facts button:first-of-type")
    page.until(f"document.getElementById('frame').value == {strongest[1]} && {MODEL}('frame_map').x_range.start > 100")


def test_calibration_states_redraw_and_differ(page, run):
    with kovadata.Analysis(run.path, calibration="last") as other:
        expected = other.index_to_mz(1, 1000.0), run.index_to_mz(1, 1000.0)
        key = other._run.info().calibration_state.decode()
    page.page.click("#tab-states")
    page.page.click("text=Show difference")
    page.until("!document.getElementById('chart-ppm').hidden")
    numbers = page.table("ppm")
    assert np.interp(expected[1], numbers["mz"].astype(float), numbers["ppm"].astype(float)) == pytest.approx(
        1e6 * (expected[0] / expected[1] - 1), rel=1e-3)
    page.page.select_option("#calibration", f"uuid:{key}")
    page.until(f"document.querySelector('#state-table button[disabled]')?.textContent == 'In use' && "
               f"document.getElementById('calibration').value == 'uuid:{key}'")
    page.choose_frame(1)
    found = page.table("frame_map")
    with kovadata.Analysis(run.path, calibration="last") as other:
        peaks = other.frame(1).peaks()
    assert set(found["mz"].astype(float)) <= set(peaks.mz)


def test_whole_run(page, run):
    page.page.click("#tab-view-run")
    page.until(f"{MODEL}('run_mz')?.renderers[0].data_source.get('image').length > 0")
    numbers = page.table("run_mz")
    table = run.frame_table()
    surveys = table[table["ms_level"] == 1]
    ends = numbers["mz_low"].astype(float).min(), numbers["mz_high"].astype(float).max()
    image = run.image("time", "mz", bins=(len(surveys), 50), mz_range=ends).values
    columns = numbers["time_low"].astype(float) <= surveys["time"][0]
    first = numbers["intensity_per_frame"].astype(float)[columns & (numbers["time_high"].astype(float) > surveys["time"][0])]
    assert first.sum() == image[:, 0].sum()


def test_pictures_and_programs(page, tmp_path):
    for figure in ("chromatogram", "frame_map", "frame_spectrum", "frame_mobilogram"):
        assert page.saved(figure, "png").startswith(b"\x89PNG")
        assert b"<svg" in page.saved(figure, "svg")
        page.page.click(f"#chart-{figure} summary")
        page.page.click(f"#chart-{figure} [data-save=code]")
        page.until("document.getElementById('code').open")
        (tmp_path / f"{figure}.py").write_text(page.page.inner_text("#code pre"), "utf-8")
        page.page.click("#code [data-close]")
    run_all = "import pathlib, runpy; [runpy.run_path(str(one)) for one in pathlib.Path().glob('*.py')]"
    subprocess.run([sys.executable, "-W", "error::FutureWarning", "-c", run_all], cwd=tmp_path, check=True)
    assert ["Bokeh" in one.read_text("utf-8") for one in tmp_path.glob("*.html")] == [True] * 4


def test_a_damaged_frame_is_a_message(page):
    page.page.select_option("#run", label="damaged.d")
    page.until("document.getElementById('facts').textContent.startsWith('damaged.d')")
    page.choose_frame(5)
    page.until("document.getElementById('messages').textContent.includes('Frame 5 cannot be shown')")
    page.page.click("text=Base peak")
    page.until("document.getElementById('messages').textContent.includes('Damaged frames were left out: 5 (')")
    page.choose_frame(1)
    page.until("!document.getElementById('messages').textContent.includes('cannot be shown')")


def test_spectra_without_mobility(page, simulated):
    page.page.select_option("#run", label="spectra.d")
    page.until("document.body.dataset.kind == 'spectra'")
    with kovadata.open(simulated("spectra")) as analysis:
        one, lines = analysis.spectrum(2).profile(), analysis.spectrum(2).lines()
    page.choose_frame(2)
    page.until("document.getElementById('frame-facts').textContent.length > 0")
    page.commands({"do": "frame.zoom", "x": [0, 5000], "figure": "frame_spectrum"})
    found = page.table("frame_spectrum")
    for name, expected in (("profile", one[one > 0]), ("lines", lines.intensity)):
        assert sorted(found["intensity"][found["form"] == name].astype(float)) == sorted(expected.astype(float))
    assert not page.page.is_visible("#chart-frame_map")


def test_keyboard_alone_on_a_phone(browser, viewer, opened):
    frame = "document.getElementById('frame').value"
    page = Page(browser, viewer.url, width=390, color_scheme="dark")
    first, beside = page.tells(frame), opened.tells(frame)
    page.page.keyboard.press("ArrowRight")
    page.until(f"{frame} != {first}")
    assert opened.tells(frame) == beside
    assert page.tells("document.documentElement.scrollWidth <= innerWidth && document.documentElement.dataset.theme == 'dark'")
    seen = []
    for _ in range(60):
        page.page.keyboard.press("Tab")
        seen.append(page.tells("document.activeElement.id || document.activeElement.closest('.chart')?.id || document.activeElement.name"))
    assert {"calibration", "theme", "frame", "chart-chromatogram", "tab-view-frame", "chart-frame_map", "tab-boxes", "mz0"} <= set(seen)
    assert seen[:seen.index("tab-boxes")].count("chart-frame_map") == 8, "its menu, itself, and six tools"
    page.page.focus("#tab-boxes")
    page.page.keyboard.press("ArrowRight")
    assert page.page.is_visible("#precursor-table")
    before = page.tells(f"{MODEL}('frame_map').x_range.end - {MODEL}('frame_map').x_range.start")
    page.page.focus("#chart-frame_map .canvas")
    page.page.keyboard.press("+")
    page.until(f"{MODEL}('frame_map').x_range.end - {MODEL}('frame_map').x_range.start < 0.8 * {before}")
    page.page.keyboard.press("b")
    page.until("document.querySelectorAll('#box-table tbody tr').length == 1")
    page.page.close()
    assert page.said == []


def test_a_long_call_tells_how_far_it_is_and_ends_when_asked(run):
    class Impatient(Observer):
        def told(self, done, total):
            self.seen = done, total
            self.is_cancelled = True

    with Impatient() as observer, pytest.raises(kovadata.KovaError, match="Cancelled"):
        run.chromatograms(None, ms_level=None)
    assert 0 < observer.seen[0] <= observer.seen[1] == 14
    assert len(run.chromatograms(None, ms_level=None).frame) == 14


def test_only_the_page_is_answered(viewer, browser):
    def status(url, **headers):
        try:
            return urllib.request.urlopen(urllib.request.Request(url, headers=headers)).status
        except urllib.error.HTTPError as error:
            return error.code

    base, token = re.fullmatch(r"(http://127\.0\.0\.1:\d+)/([\w-]{43})/", viewer.url).groups()
    assert status(viewer.url) == 200
    for path in ("/", "/" + token[:-1] + "x/", "/static/js/bokeh.min.js", f"/{token[::-1]}/ws", "/" + token.upper() + "/"):
        assert status(base + path) == 403, path
    assert status(viewer.url, Host="evil.example") == status(viewer.url, Origin="http://evil.example") == 403
    assert status(viewer.url + "download/nothing") == 404
    foreign = browser.new_page()
    foreign.goto("data:text/html,<p>another site")
    opened = foreign.evaluate("""(url) => new Promise((done) => { const socket = new WebSocket(url, ["bokeh", "token"])
        socket.onopen = () => done(true); socket.onerror = () => done(false) })""", viewer.url.replace("http", "ws") + "ws")
    foreign.close()
    assert opened is False
