"""One page: what is chosen, its panels, and the commands that it takes.

Commands come one at a time on the thread of the server. Whatever goes wrong in one is a message in the page; the others go on.
"""

from __future__ import annotations

import contextlib
import functools
import logging
import time
from typing import Any, Callable, Dict, Iterator, List, Optional, Type, TypeVar

import numpy as np

from .._errors import KovaError
from ._chromatograms import Chromatograms
from ._downloads import Download, Downloads, csv_pieces
from ._frame_traces import FrameTraces
from ._frame_view import FrameView
from ._link import Link
from ._panel import Panel
from ._runs import ACQUISITION, Named, OpenRun
from ._worker import Job, Worker

_MOST_TOLD = 5
_SOON = 20.0  # s

P = TypeVar("P", bound=Panel)

_log = logging.getLogger("kovadata.view")


class Session:
    """The state of one page. Its figures are drawn when they are shown: then the page has told their sizes."""

    def __init__(self, runs: List[Named], downloads: Downloads) -> None:
        self.runs, self.downloads = runs, downloads
        self.document: Any = None
        self.link = Link()
        self.worker = Worker(self._post, self._tell_progress, self._tell_failure)
        self.run = OpenRun(runs[0], runs[0].calibration)
        self.commands: Dict[str, Callable[..., None]] = {
            "hello": self.hello, "more": self._add_next, "run": self.choose_run, "cancel": self.worker.cancel, "csv": self.offer_csv,
            "code": self.tell_code}
        self.panels: List[Panel] = []
        self.figures: Dict[str, Panel] = {}
        self.frames, self.chromatograms = FrameView(self), Chromatograms(self)
        self._add(self.frames)
        self._add(self.chromatograms)
        if not self.run.has_mobility:
            self._add(FrameTraces(self))
        self._early: List[Dict[str, Any]] = []
        self.link.model.on_change("command", lambda _, __, command: self._obey(command))
        self.begin()
        self.link.send("runs", runs=[one.name for one in runs], chosen=0)

    def show(self, document: Any, sizes: Any) -> None:
        """Fills the document of a new page with the first figures, of which `sizes` has width and height in pixels by name."""
        self.document = document
        with document.models.freeze():
            self.resize(sizes)
            self._begin(self.frames.draw)
            document.title = f"{self.run.name} \u2013 kova view"
            document.template_variables["replies"] = self.link.take()
            document.config.update(notify_connection_status=False, reconnect_session=False)  # the page says so itself
            for root in self._roots():
                document.add_root(root)
        document.on_session_destroyed(lambda _: self.close())

    def _post(self, call: Callable[[], None]) -> None:
        """Has something called on the thread of the server, from any thread."""
        def changing() -> None:
            with self._changing():
                call()

        self.document.add_next_tick_callback(changing)

    def panel(self, kind: Type[P]) -> Optional[P]:
        """The panel of a kind, if it has been made."""
        return next((one for one in self.panels if isinstance(one, kind)), None)

    def _roots(self) -> List[Any]:
        return [self.link.model, *(panel.charts[name].figure for name, panel in self.figures.items())]

    def _add(self, panel: Panel) -> None:
        self.panels.append(panel)
        self.commands.update(panel.commands)
        self.figures.update(dict.fromkeys(panel.charts, panel))
        for chart in panel.charts.values():
            chart.figure.sizing_mode = "stretch_both"  # the page has places for them

    @contextlib.contextmanager
    def _changing(self) -> Iterator[None]:
        """Bokeh looks for models that came and went once, and only if there are any: that takes longer than most commands."""
        models = self.document.models
        if "invalidate" in vars(models):  # within another one
            yield
            return
        changed = []
        models.invalidate = lambda: changed.append(True)
        try:
            yield
        finally:
            del models.invalidate
            if changed:
                models.recompute()

    @functools.cached_property
    def _later(self) -> List[Type[Panel]]:
        """Panels that are still to be made."""
        from ._later_panels import SEEN

        return [kind for kind in SEEN if self.panel(kind) is None]

    def _add_next(self) -> None:
        """Makes one more panel, and goes on with the next one."""
        if not self._later:
            early, self._early = self._early, []
            for command in early:
                self._obey(command)
            return
        self._make(self._later.pop(0))
        self.document.add_next_tick_callback(self._add_next)

    def _make_of_tab(self, name: str) -> None:
        """Makes the panel of a tab that is opened for the first time."""
        from ._later_panels import OF_TABS

        kind = OF_TABS.get(name.partition(".")[0])
        if kind is not None and self.panel(kind) is None:
            self._make(kind)

    def _make(self, kind: Type[Panel]) -> None:
        """Makes a panel and shows its figures."""
        with self._changing():
            panel = kind(self)
            self._add(panel)
            for chart in panel.charts.values():
                self.document.add_root(chart.figure)
            self.link.send("placed", figures=list(panel.charts))
            self._begin(panel.begin)

    def do(self, command: str, **arguments: Any) -> None:
        """Obeys a command as if the page had sent it."""
        self._obey({"do": command, **arguments})

    def hello(self, sizes: Any = None) -> None:
        """The page is there: tells it what it shows. With "more" it asks for the rest."""
        self.resize(sizes)
        self.link.open()
        self.worker.open()

    def resize(self, sizes: Any) -> None:
        """Remembers the sizes of figures on the screen."""
        for name, size in (sizes if isinstance(sizes, dict) else {}).items():
            if name in self.figures:
                self.figures[name].size(name, *size)

    def choose_run(self, run: Any) -> None:
        """Shows another of the runs."""
        named = self.runs[int(run)]
        self._replace(OpenRun(named, named.calibration))

    def recalibrate(self, state: str) -> None:
        """Shows the run with another calibration."""
        known = {ACQUISITION, *(f"uuid:{one['key']}" for one in self.run.states())}
        if state not in known:
            raise KovaError("there is no such calibration state")
        self._replace(OpenRun(self.run.named, state))

    def _replace(self, run: OpenRun) -> None:
        before, self.run = self.run, run
        before.close()
        self.begin()

    def begin(self) -> None:
        """Draws everything for a run that has just been opened."""
        self.link.send("kind", mobility=self.run.has_mobility, name=self.run.name, frames=len(self.run.table),
                       forms=self.run.num_forms, levels=[int(level) for level in np.unique(self.run.table["ms_level"])],
                       mobility_calibration=self.run.has_mobility_calibration, label=self.run.time_label)
        for panel in self.panels:
            self._begin(panel.begin)
        self.link.send("ready")

    def _begin(self, call: Callable[[], None]) -> None:
        try:
            call()
        except Exception as error:
            self._tell_failure("begin", error)

    def frame_chosen(self, row: np.void) -> None:
        """Tells the page about the frame that is chosen."""
        self.link.send("frame", frame={name: row[name] for name in row.dtype.names or ()})
        for panel in self.panels:
            panel.mark()

    def message(self, text: str, key: str = "") -> None:
        """Says something in the page, in the place of an earlier message of the same key."""
        self.link.send("message", text=text, key=key)

    def clear_message(self, key: str) -> None:
        """Takes a message back."""
        self.link.send("message", text="", key=key)

    def tell_damage(self, job: Job) -> None:
        """Says which frames were left out."""
        if not job.damaged:
            self.clear_message(f"damage {job.name}")
            return
        listed = "; ".join(f"{frame} ({text})" for frame, text in job.damaged[:_MOST_TOLD])
        more = f" and {len(job.damaged) - _MOST_TOLD} more" if len(job.damaged) > _MOST_TOLD else ""
        self.message(f"Damaged frames were left out: {listed}{more}", key=f"damage {job.name}")

    def offer(self, download: Download) -> None:
        """Has the page fetch a file."""
        self.link.send("download", address=f"download/{self.downloads.offer(download)}", name=download.name)

    def offer_csv(self, figure: str) -> None:
        """The numbers of a figure as a file."""
        columns = self.figures[figure].numbers(figure)
        if not columns:
            raise KovaError("there are no numbers here yet")
        frame = f"-{self.frames.frame_id}" if figure.startswith("frame_") else ""
        self.offer(Download(f"{self.run.name}-{figure}{frame}.csv", lambda: csv_pieces(columns)))

    def tell_code(self, figure: str) -> None:
        """The program that makes the picture of a figure."""
        text = self.figures[figure].code(figure)
        if text is None:
            raise KovaError("there is no program for this view yet")
        self.link.send("code", figure=figure, text=text)

    def close(self) -> None:
        """The page has gone."""
        self.worker.close()
        self.run.close()

    def _obey(self, command: Dict[str, Any]) -> None:
        arguments = {name: value for name, value in command.items() if name not in ("do", "number")}
        name = str(command.get("do"))
        if name not in self.commands and self._later:
            self._early.append(command)
            return
        try:
            with self._changing():
                if name not in self.commands:
                    self._make_of_tab(name)
                self.commands[name](**arguments)
        except Exception as error:
            self._tell_failure(name, error)

    def _tell_progress(self, name: str, title: str, done: int, total: int) -> None:
        self.link.send("progress", name=name, title=title, done=done, total=total)

    def _tell_failure(self, name: str, error: BaseException) -> None:
        if not isinstance(error, (KovaError, OSError)):
            _log.error("%s failed", name, exc_info=error)
        text = " ".join(str(error).split()) or type(error).__name__
        self.message(text[:1].upper() + text[1:], key=f"failure {name}")


class Sessions:
    """Makes sessions: the one of the first page before it asks, while its browser still gets the script."""

    def __init__(self, runs: List[Named], downloads: Downloads) -> None:
        self._runs, self._downloads = runs, downloads
        self._made = time.monotonic()
        self._first: Optional[Session] = None
        with contextlib.suppress(Exception):  # the page will be told what is wrong
            self._first = Session(runs, downloads)

    def take(self) -> Session:
        """For a page that begins now. A run may have grown since the explorer began, so that only the browser which opened
        with it gets the first session."""
        first, self._first = self._first, None
        if first is not None and time.monotonic() - self._made > _SOON:
            first.close()
            first = None
        return first or Session(self._runs, self._downloads)
