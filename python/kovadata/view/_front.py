"""What answers requests: the page and its script at once, and figures as soon as Bokeh, whose import takes long, is there.

The page asks for its figures with `begin`, which waits until then. So the browser gets and compiles its script in the
meantime. Whoever does not know the token gets nothing, not even a script. Requests that name another host, as a page of another
site can have a browser send them, and requests from pages of other origins are refused as well, connections of scripts
among them.
"""

from __future__ import annotations

import asyncio
import hmac
import importlib.util
import ipaddress
import json
import pathlib
from typing import Any, List, NamedTuple, Optional, Set

from tornado.web import Application, RequestHandler, StaticFileHandler

from .._theme import page_script, page_style
from ._runs import Named
from ._script import joined_script

_PAGE = pathlib.Path(__file__).parent / "page"
_SCRIPT = "static/js/bokeh.min.js"
_OWN = ("", "begin", _SCRIPT)
_LARGEST_MESSAGE = 64 << 20


class Guard(NamedTuple):
    """Which requests are answered: those that know the token, name this server as their host and come from its own page."""

    token: str
    hosts: Set[str]
    is_anywhere: bool

    def allows(self, request: Any) -> bool:
        given = request.path.lstrip("/").partition("/")[0]
        host, origin = request.host.lower(), request.headers.get("Origin")
        return (hmac.compare_digest(given.encode(), self.token.encode()) and self._is_here(host)
                and (origin is None or origin.lower() == f"http://{host}"))

    def _is_here(self, host: str) -> bool:
        """An address in digits cannot be another site's name for this one."""
        if host in self.hosts:
            return True
        try:
            ipaddress.ip_address(host.rpartition(":")[0].strip("[]"))
        except ValueError:
            return False
        return self.is_anywhere


class Front(Application):
    """Guards all requests and answers those that need no Bokeh; `complete` gives it the rest.

    Parameters
    ----------
    streams : set-like
        Gets the connections of requests that are allowed.
    """

    def __init__(self, guard: Guard, streams: Any, loop: asyncio.AbstractEventLoop) -> None:
        spec = importlib.util.find_spec("bokeh")
        assert spec is not None and spec.origin is not None
        self._figures: "asyncio.Future[Any]" = asyncio.Future(loop=loop)
        prefix = f"/{guard.token}/"
        super().__init__([
            (prefix, _Shell, {"page": _page()}),
            (f"{prefix}begin", _Begin, {"figures": self._figures}),
            (f"{prefix}static/js/(bokeh\\.min\\.js)", StaticFileHandler,
             {"path": str(pathlib.Path(spec.origin).parent / "server" / "static" / "js")})])
        self._guard, self._streams = guard, streams
        self._others: Any = None

    def complete(self, others: Any) -> None:
        """Takes the application of Bokeh."""
        self._others = others
        self._figures.set_result(others.applications["/"])

    def find_handler(self, request: Any, **more: Any) -> Any:
        if not self._guard.allows(request):
            return self.get_handler_delegate(request, _Refused)
        self._streams.add(request.connection.stream)
        if self._others is None or request.path.lstrip("/").partition("/")[2] in _OWN:
            return super().find_handler(request, **more)
        return self._others.find_handler(request, **more)


class _Refused(RequestHandler):
    def prepare(self) -> None:
        self.set_status(403)
        self.finish("Refused. The address of the explorer is the one that it printed, with its token.\n")


def _page() -> str:
    """The page without its figures, put together before a browser asks for it."""
    shell, style = ((_PAGE / name).read_text("utf-8") for name in ("page.html", "page.css"))
    return shell.replace("__STYLE__", page_style() + style).replace("__SCRIPT__", page_script() + joined_script())


class _Shell(RequestHandler):
    def initialize(self, page: str) -> None:
        self._page = page

    def get(self) -> None:
        self.write(self._page)


class _Begin(RequestHandler):
    """Begins a session, whose figures are drawn for the sizes that they have in the page."""

    def initialize(self, figures: "asyncio.Future[Any]") -> None:
        self._figures = figures

    async def get(self) -> None:
        context = await self._figures
        from bokeh.util.token import generate_jwt_token, generate_session_id

        number = generate_session_id()
        token = generate_jwt_token(number, extra_payload={"arguments": {"sizes": self.get_query_argument("sizes", "{}")}})
        try:
            session = await context.create_session_if_needed(number, self.request, token)
        except Exception as error:
            self.write({"failure": " ".join(str(error).split()) or type(error).__name__})
            return
        document = session.document
        self.write({"token": token, "title": document.title, **document.template_variables, "roots": [[root.id, root.name] for root in document.roots]})


def bokeh_application(runs: List[Named], token: str) -> Any:
    """The application of Bokeh, whose requests a `Front` has guarded: its own list of origins has nothing to add."""
    from bokeh.application import Application as Figures
    from bokeh.application.handlers import FunctionHandler
    from bokeh.server.tornado import BokehTornado

    from ._downloads import Downloads, download_handler
    from ._session import Sessions

    downloads = Downloads()
    sessions = Sessions(runs, downloads)

    def fill(document: Any) -> None:
        sessions.take().show(document, _sizes(document.session_context))

    return BokehTornado({"/": Figures(FunctionHandler(fill))}, prefix=token, extra_websocket_origins=["*"], use_index=False,
                        extra_patterns=[(r"/download/([\w-]+)", download_handler(downloads))],
                        websocket_max_message_size_bytes=_LARGEST_MESSAGE, include_headers=[], include_cookies=[],
                        keep_alive_milliseconds=10000)


def _sizes(context: Any) -> Optional[Any]:
    try:
        return json.loads(context.request.arguments["sizes"])
    except (AttributeError, KeyError, TypeError, ValueError):
        return None
