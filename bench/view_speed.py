"""How fast the explorer is, as its user sees it: drives Chromium and waits until pictures are drawn.

`view_speed.py RUN` prints JSON: seconds from the command to a page that answers, milliseconds of zooms of one frame (median and
95th percentile) and seconds of box queries, until the chromatogram is drawn and until everything is. It needs playwright.
"""

import argparse
import json
import random
import shutil
import statistics
import subprocess
import sys
import time

from playwright.sync_api import Page, sync_playwright

MODEL = "kovaFigures.model"
# Resolves when the map has been drawn with other data, after two frames of the screen.
ZOOM = f"""([x, y]) => new Promise((done) => {{
  const figure = {MODEL}('frame_map'), sources = figure.renderers.slice(0, 2).map((one) => one.data_source), begin = performance.now()
  let ended = false
  const drawn = () => {{ if (!ended) {{ ended = true
    requestAnimationFrame(() => requestAnimationFrame(() => done(performance.now() - begin))) }} }}
  for (const one of sources) one.properties.data.change.connect(drawn)
  figure.x_range.setv({{start: x[0], end: x[1]}}); figure.y_range.setv({{start: y[0], end: y[1]}})
}})"""


def begin(run: str, browser: object) -> tuple[Page, "subprocess.Popen[str]", float]:
    started = time.perf_counter()
    server = subprocess.Popen([sys.executable, "-m", "kovadata.view", run, "--no-browser"], stdout=subprocess.PIPE, text=True)
    page = browser.new_page(viewport={"width": 1600, "height": 1000})  # type: ignore[attr-defined]
    page.goto(server.stdout.readline().strip())  # type: ignore[union-attr]
    page.wait_for_function("() => document.getElementById('facts')?.textContent && "
                           f"{MODEL}('frame_map').renderers[0].data_source.get('image').length > 0", timeout=60000)
    page.evaluate("() => new Promise((done) => requestAnimationFrame(() => requestAnimationFrame(done)))")  # the screen shows it
    return page, server, time.perf_counter() - started


def zooms(page: Page, count: int, chance: random.Random) -> list[float]:
    times = []
    whole = page.evaluate(f"[{MODEL}('frame_map').x_range, {MODEL}('frame_map').y_range].map((one) => [one.start, one.end])")
    for _ in range(count):
        ends = []
        for low, high in whole:
            width = (high - low) * 10 ** chance.uniform(-1.5, -0.05)
            begin = chance.uniform(low, high - width)
            ends.append([begin, begin + width])
        times.append(page.evaluate(ZOOM, ends))
        page.wait_for_timeout(100)
    return times


def box(page: Page, chance: random.Random) -> tuple[float, float]:
    mz, mobility = chance.uniform(400, 1000), chance.uniform(0.8, 1.2)
    for name, value in (("mz0", mz), ("mz1", mz + 2), ("mobility0", mobility), ("mobility1", mobility + 0.05)):
        page.fill(f"#box-form [name={name}]", f"{value:.4f}")
    started = time.perf_counter()
    page.click("text=Add box")
    name = page.evaluate("document.querySelectorAll('#box-table tbody tr').length")
    page.wait_for_function(f"() => {MODEL}('box_chromatogram').renderers.some((one) => one.visible)", timeout=60000)
    chromatogram = time.perf_counter() - started
    page.wait_for_function("() => document.querySelectorAll('.job').length == 0 && "
                           f"document.querySelectorAll('#box-table tbody tr').length > {name - 1}", timeout=60000)
    everything = time.perf_counter() - started
    page.click("#box-table tr:last-child [aria-label^=Remove]")
    page.wait_for_timeout(300)
    return chromatogram, everything


def main() -> None:
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("run")
    parser.add_argument("--zooms", type=int, default=60)
    parser.add_argument("--boxes", type=int, default=5)
    options = parser.parse_args()
    chance = random.Random(1)
    with sync_playwright() as driver:
        browser = driver.chromium.launch(executable_path=shutil.which("chromium"))
        begin(options.run, browser)[1].kill()  # what is cold the first time, files above all
        page, server, usable = begin(options.run, browser)
        try:
            page.wait_for_function(f"() => {MODEL}('ppm')", timeout=60000)
            page.wait_for_timeout(1500)
            drawn = sorted(zooms(page, options.zooms, chance))
            boxes = [box(page, chance) for _ in range(options.boxes)]
        finally:
            server.kill()
            browser.close()
    print(json.dumps({
        "usable_s": round(usable, 2), "zoom_median_ms": round(statistics.median(drawn)),
        "zoom_95_ms": round(drawn[int(0.95 * (len(drawn) - 1))]), "zooms_within_200_ms": sum(one <= 200 for one in drawn) / len(drawn),
        "box_chromatogram_s": [round(one[0], 2) for one in boxes], "box_all_s": [round(one[1], 2) for one in boxes]}))


if __name__ == "__main__":
    main()
