"""Draws the pictures of the explorer: `draw_view.py RUN`, a run of 400 frames with 100,000 peaks, in Debian's Chromium.

It needs playwright and pillow; the browser is the one that is installed.
"""

import io
import pathlib
import shutil
import sys

from PIL import Image
from playwright.sync_api import Page, sync_playwright

import kovadata

FOLDER = pathlib.Path(__file__).parent
SIZE = {"width": 1440, "height": 960}


def show(page: Page, name: str, **clip: float) -> None:
    """Saves what is on the screen in 256 colours, which is enough and small."""
    page.wait_for_timeout(1500)
    picture = Image.open(io.BytesIO(page.screenshot(clip=clip or None)))
    picture.convert("RGB").quantize(256, dither=Image.Dither.NONE).save(FOLDER / f"view-{name}.png", optimize=True)


def zoom(page: Page, mz: tuple[float, float], mobility: tuple[float, float]) -> None:
    for axis, (low, high) in (("x", mz), ("y", mobility)):
        page.evaluate(f"kovaFigures.model('frame_map').{axis}_range.setv({{start: {low}, end: {high}}})")


def main(run: str) -> None:
    with kovadata.view(run, browser=False, wait=False) as viewer, sync_playwright() as driver:
        browser = driver.chromium.launch(executable_path=shutil.which("chromium"))
        page = browser.new_page(viewport=SIZE, color_scheme="light")
        page.goto(viewer.url)
        page.wait_for_function("() => kovaFigures.model('run_mobility')", timeout=60000)
        for place, value in (("mz0", 590), ("mz1", 640), ("mobility0", 0.75), ("mobility1", 0.95)):
            page.fill(f"#box-form [name={place}]", str(value))
        page.click("text=Add box")
        page.wait_for_selector("#peak-table:not([hidden])", timeout=60000)
        show(page, "frame")
        page.click("#tab-precursors")
        page.click("[data-sort=intensity] button")
        page.wait_for_timeout(500)
        page.click("#precursor-table tbody tr:first-child button")
        page.wait_for_timeout(1000)
        page.click("#precursor-facts button:first-of-type")
        show(page, "precursor")
        dark = browser.new_page(viewport=SIZE, color_scheme="dark")
        dark.goto(viewer.url)
        dark.wait_for_function("() => kovaFigures.model('run_mobility')", timeout=60000)
        dark.click("#tab-view-run")
        dark.wait_for_function("() => kovaFigures.model('run_mz').renderers[0].data_source.get('image').length", timeout=60000)
        dark.click("#tab-states")
        dark.click("text=Show difference")
        show(dark, "run")
        browser.close()


if __name__ == "__main__":
    main(sys.argv[1])
