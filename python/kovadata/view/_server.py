"""The server of the explorer: where it listens, whom it answers, how it ends.

It listens on this computer's own address. The address of the page holds a token of 256 bits as its first part; whoever does
not know it gets nothing, not even a script. Requests that name another host, as a page of another site can have a browser
send them, and requests from pages of other origins are refused as well, connections of scripts among them.
"""

from __future__ import annotations

import hmac
import importlib.util
import ipaddress
import logging
import secrets
import socket
import sys
import threading
import weakref
from typing import Any, Callable, List, NamedTuple, Optional, Sequence, Set

from .._errors import KovaError
from ._runs import Named, named_runs

_LARGEST_MESSAGE = 64 << 20


class Viewer:
    """A running explorer. Made by `kovadata.view`.

    Attributes
    ----------
    url : str
        Address of the page, with the token that it needs.
    """

    def __init__(self, analyses: Sequence[Any], *, browser: bool = True, port: int = 0, address: str = "127.0.0.1",
                 recalibrated: bool = False, calibration: Optional[str] = None,
                 say: Callable[[str], None] = lambda text: None) -> None:
        if not analyses:
            raise KovaError("there is no run to show")
        if importlib.util.find_spec("bokeh") is None:
            raise KovaError("the explorer needs bokeh: pip install 'kovadata[view]'")
        self._runs = named_runs(analyses, recalibrated, calibration)
        # The browser starts while bokeh is imported: its connection waits in the socket.
        self._sockets, token = _listening(address, port), secrets.token_urlsafe(32)
        self.port: int = self._sockets[0].getsockname()[1]
        self._is_anywhere = address in ("", "0.0.0.0", "::")
        host = "127.0.0.1" if self._is_anywhere else address
        self.url = f"http://{f'[{host}]' if ':' in host else host}:{self.port}/{token}/"
        say(f"{self.url}\nCtrl-C ends the explorer.")
        sys.stdout.flush()
        if browser:
            threading.Thread(target=_open_browser, args=(self.url,), daemon=True).start()
        self._loop: Any = None
        self._streams: Any = weakref.WeakSet()
        self._failure: Optional[BaseException] = None
        ready = threading.Event()
        self._thread = threading.Thread(target=self._serve, args=(token, host, ready), name="kovadata view", daemon=True)
        self._thread.start()
        ready.wait()
        if self._failure is not None:
            raise self._failure

    def __repr__(self) -> str:
        return f"<kovadata.view of {', '.join(one.name for one in self._runs)} at {self.url}>"

    def __enter__(self) -> Viewer:
        return self

    def __exit__(self, *exception: object) -> None:
        self.close()

    def wait(self) -> None:
        """Waits until the server ends, or Ctrl-C ends it."""
        try:
            while self._thread.is_alive():
                self._thread.join(0.5)
        except KeyboardInterrupt:
            self.close()

    def close(self) -> None:
        """Ends the server. Pages say that it has gone. Closing again does nothing."""
        if self._thread.is_alive():
            self._loop.add_callback(self._end)
            self._thread.join()

    def _end(self) -> None:
        # Pages hear that the server has gone when their connections end, which stopping the loop alone does not do.
        for stream in list(self._streams):
            stream.close()
        self._loop.add_callback(self._loop.stop)

    def _serve(self, token: str, host: str, ready: threading.Event) -> None:
        try:
            server = self._make_server(token, host)
            self._loop = server.io_loop
        except BaseException as error:
            self._failure = error
            return
        finally:
            ready.set()
        server.start()
        self._loop.start()
        server.stop()
        for one in self._sockets:
            one.close()
        self._loop.close()

    def _make_server(self, token: str, host: str) -> Any:
        """The server in an event loop of this thread."""
        import asyncio

        from bokeh.server.server import BaseServer
        from tornado.httpserver import HTTPServer
        from tornado.ioloop import IOLoop

        for name in ("bokeh", "tornado"):  # what users need to know is said by the page
            logging.getLogger(name).setLevel(logging.CRITICAL)
        asyncio.set_event_loop(asyncio.new_event_loop())
        names = {host, "127.0.0.1", "localhost"} | ({socket.gethostname().lower()} if self._is_anywhere else set())
        guard = Guard(token, {f"[{name}]:{self.port}" if ":" in name else f"{name}:{self.port}" for name in names}, self._is_anywhere)
        application = _guarded_application(self._runs, guard, self._streams)
        http = HTTPServer(application)
        http.add_sockets(self._sockets)
        return BaseServer(IOLoop.current(), application, http)


def _listening(address: str, port: int) -> List[socket.socket]:
    try:
        family = socket.AF_INET6 if ":" in address else socket.AF_INET
        made = socket.socket(family, socket.SOCK_STREAM)
        made.setsockopt(socket.SOL_SOCKET, socket.SO_REUSEADDR, 1)
        made.bind((address, port))
        made.listen(64)
        made.setblocking(False)
    except OSError as error:
        raise KovaError(f"cannot listen on {address}, port {port}: {error.strerror or error}") from None
    return [made]


def _open_browser(url: str) -> None:
    import webbrowser

    webbrowser.open(url)


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


def _guarded_application(runs: List[Named], guard: Guard, streams: Any) -> Any:
    """What answers the requests that are allowed; `streams` gets their connections.

    Connections of scripts pass the guard as well, so that the server's own list of origins has nothing to add.
    """
    from bokeh.application import Application
    from bokeh.application.handlers import FunctionHandler
    from bokeh.server.tornado import BokehTornado
    from tornado.web import RequestHandler

    from ._downloads import Downloads, download_handler
    from ._session import begin_session

    class Refused(RequestHandler):
        def prepare(self) -> None:
            self.set_status(403)
            self.finish("Refused. The address of the explorer is the one that it printed, with its token.\n")

    class Guarded(BokehTornado):
        def find_handler(self, request: Any, **more: Any) -> Any:
            if guard.allows(request):
                streams.add(request.connection.stream)
                return super().find_handler(request, **more)
            return self.get_handler_delegate(request, Refused)

    downloads = Downloads()
    made = Application(FunctionHandler(lambda document: begin_session(document, runs, downloads)))
    return Guarded({"/": made}, prefix=guard.token, extra_websocket_origins=["*"], use_index=False,
                   extra_patterns=[(r"/download/([\w-]+)", download_handler(downloads))],
                   websocket_max_message_size_bytes=_LARGEST_MESSAGE, include_headers=[], include_cookies=[],
                   keep_alive_milliseconds=10000)
