"""The page: one file of HTML with all of its scripts, styles and data, which asks for nothing outside of itself."""

from __future__ import annotations

import html
import pathlib
from typing import Any, Dict, List, Sequence, Tuple

from bokeh.document import Document
from bokeh.embed import components
from bokeh.resources import Resources

from .._errors import KovaError
from .._figures import short_count
from .._theme import page_script, page_style
from .._version import __version__
from ._numbers import Run
from ._sections import DETAILS, Detail, Picture, Section, Table, Text, comparison, sections_of

MOST_BYTES = 5_000_000
_ASSETS = pathlib.Path(__file__).parent / "assets"
# The page needs no other part of Bokeh's script than the one that draws.
_PARTS = ["bokeh"]


def page(runs: Sequence[Run]) -> bytes:
    """The report of some runs, with as much detail as the size of a report has room for."""
    size = 0
    for detail in (one for one in DETAILS if len(runs) <= one.runs):
        made = _page(runs, detail).encode()
        size = len(made)
        if size <= MOST_BYTES:
            return made
    raise KovaError(f"a report of so much would have {size / 1e6:.1f} MB; choose fewer runs")


def _page(runs: Sequence[Run], detail: Detail) -> str:
    figures: Dict[str, Any] = {}
    links: List[Tuple[str, str]] = []
    body: List[str] = []

    def add(section: Section, anchor: str, follows: bool) -> None:
        body.append(f'<section id="{anchor}"{" class=follows" * follows}><h2>{_text(section.title)}</h2>'
                    f"{_blocks(section, figures)}</section>")

    if len(runs) > 1:
        add(comparison(runs, detail), "comparison", True)
        links.append(("comparison", "Comparison"))
    for number, run in enumerate(runs, 1):
        prefix = f"run{number}-" if len(runs) > 1 else "run-"
        if len(runs) > 1:
            links.append((f"{prefix}top", run.name))
            body.append(f'<section id="{prefix}top"><h2 class="run">{_text(run.name)}</h2>{_tiles(run)}</section>')
        for place, section in enumerate(sections_of(run, detail, prefix)):
            anchor = f"{prefix}{section.title.lower().replace(' ', '-').replace('/', '')}"
            add(section, anchor, place == 0 or section.title in ("Damage",))
            if len(runs) == 1:
                links.append((anchor, section.title))
    title = runs[0].name if len(runs) == 1 else f"{len(runs)} runs"
    return _shell(title, runs, links, "".join(body), figures)


def _shell(title: str, runs: Sequence[Run], links: Sequence[Tuple[str, str]], body: str, figures: Dict[str, Any]) -> str:
    script, divs = _embedded(figures) if figures else ("", {})
    for name, div in divs.items():
        body = body.replace(f"<!--{name}-->", div)
    library = f"<script>{_library()}</script>" if figures else ""
    styles = page_style() + (_ASSETS / "report.css").read_text("utf-8")
    anchors = "".join(f'<a href="#{anchor}">{_text(name)}</a>' for anchor, name in links)
    tiles = _tiles(runs[0]) if len(runs) == 1 else ""
    return (f'<!DOCTYPE html>\n<html lang="en"><head><meta charset="utf-8"><title>{_text(title)}: report</title>'
            '<meta name="viewport" content="width=device-width, initial-scale=1">'
            '<link rel="icon" href="data:,">'
            f"<style>{styles}</style>{library}<script>{page_script()}</script></head><body>"
            f'<header><h1>{_text(title)}</h1><button id="theme" class="screen">Light or dark</button>'
            f'<p class="made">Report of kovadata {__version__}</p></header><nav><div>{anchors}</div></nav>'
            f"<main>{tiles}{body}</main>{script}<script>{(_ASSETS / 'report.js').read_text('utf-8')}</script></body></html>\n")


def _embedded(figures: Dict[str, Any]) -> Tuple[str, Dict[str, str]]:
    """The script of all figures and the place of each. Looking for models once, not for each figure, spares most of the time."""
    document = Document()
    with document.models.freeze():
        for one in figures.values():
            document.add_root(one)
    made: Tuple[str, Dict[str, str]] = components(figures)
    return made


def _library() -> str:
    """Bokeh's own script, which logs warnings to the console and nothing else."""
    parts: Sequence[str] = Resources(mode="inline", components=_PARTS, minified=True).js_raw
    return "\n".join([*(part for part in parts if not part.startswith("Bokeh.set_log_level")), 'Bokeh.logger.set_level("warn")'])


def _blocks(section: Section, figures: Dict[str, Any]) -> str:
    """Pictures that follow each other share a grid."""
    made: List[str] = []
    is_open = False
    for block in section.blocks:
        if isinstance(block, Picture) != is_open:
            made.append("</div>" if is_open else '<div class="figures">')
            is_open = not is_open
        made.append(_picture(block, figures) if isinstance(block, Picture) else _table(block) if isinstance(block, Table)
                    else f"<p>{_text(block.text)}</p>" if isinstance(block, Text) else "")
    return "".join(made) + "</div>" * is_open


def _picture(block: Picture, figures: Dict[str, Any]) -> str:
    name = block.figure.name
    figures[name] = block.figure
    saves = "".join(f'<button data-save="{_text(name)}" data-kind="{kind}">{kind.upper()}</button>' for kind in ("png", "svg"))
    return (f'<figure{" class=narrow" * block.is_narrow}><div class="plot" data-name="{_text(name)}"><!--{name}--></div>'
            f'<figcaption>{_text(block.sentence)} <span class="screen">{saves}</span></figcaption></figure>')


def _table(block: Table) -> str:
    kind = "wide" if block.head and not block.summary else "facts"
    head = f"<tr>{''.join(f'<th>{_text(one)}</th>' for one in block.head)}</tr>" if block.head else ""
    rows = "".join("<tr>" + "".join(
        f"<{'th' if not (block.head or place) else 'td'}>{_text(cell)}</{'th' if not (block.head or place) else 'td'}>"
        for place, cell in enumerate(row)) + "</tr>" for row in block.rows)
    table = f'<div class="scroll"><table class="{kind}">{head}{rows}</table></div>'
    return f"<details><summary>{_text(block.summary)}</summary>{table}</details>" if block.summary else table


def _tiles(run: Run) -> str:
    """The numbers that are looked for first."""
    facts, found = run.measured, run.chromatogram
    length = facts.time[1] - facts.time[0] if facts.time else 0.0
    tiles = [(f"{facts.frames:,}", "frames" if facts.has_mobility else "spectra", False),
             *([(f"{length / 60:.1f} min" if length > 300 else f"{length:.1f} s", "measured", False)] if length > 0 else []),
             (short_count(float(found.peaks.sum())), "peaks", False),
             (short_count(float(found.total.sum())), "counts in all", False)]
    if run.msms:
        tiles.append((f"{run.msms.precursors:,}", "precursors", False))
    tiles.append((f"{len(run.damaged):,}", "damaged frames" if facts.has_mobility else "damaged spectra", bool(run.damaged)))
    cells = "".join(f'<li{" class=warn" * is_bad}><b>{_text(value)}</b><span>{_text(name)}</span></li>' for value, name, is_bad in tiles)
    return f'<ul class="tiles">{cells}</ul>'


def _text(value: str) -> str:
    return html.escape(value)
