"""The server of the explorer: where it listens, whom it answers, how it ends.

It listens on this computer's own address. The address of the page holds a token of 256 bits as its first part.
"""

from __future__ import annotations

import contextlib
import importlib.util
import logging
import secrets
import socket
import sys
import threading
import weakref
from typing import Any, Callable, List, Optional, Sequence

from .._errors import KovaError
from ._runs import named_runs
from ._signatures import no_signatures


class Viewer:
    """A running explorer. Made by `kovadata.view`.

    Attributes
    ----------
    url : str
        Address of the page, with the token that it needs.
    """

    def __init__(self, analyses: Sequence[Any], *, browser: bool = True, port: int = 0, address: str = "127.0.0.1",
                 recalibrated: bool = False, calibration: Optional[str] = None, is_alone: bool = False,
                 say: Callable[[str], None] = lambda text: None) -> None:
        if not analyses:
            raise KovaError("there is no run to show")
        if importlib.util.find_spec("bokeh") is None:
            raise KovaError("the explorer needs bokeh: pip install 'kovadata[view]'")
        self._runs = named_runs(analyses, recalibrated, calibration)
        # The browser starts, and gets the page, while bokeh is imported.
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
        self._server: Any = None
        self._streams: Any = weakref.WeakSet()
        self._failure: Optional[BaseException] = None
        self._ready = threading.Event()
        self._thread = threading.Thread(target=self._serve, args=(token, host), name="kovadata view", daemon=True)
        self._thread.start()
        self._await_ready()
        with no_signatures() if is_alone else contextlib.nullcontext():
            self._complete(token)

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

    def _await_ready(self) -> None:
        self._ready.wait()
        self._ready.clear()
        if self._failure is not None:
            raise self._failure

    def _complete(self, token: str) -> None:
        """Imports Bokeh, and has the server answer what needs it."""
        try:
            from bokeh.server.server import BaseServer

            from ._front import bokeh_application

            for name in ("bokeh", "tornado"):  # what users need to know is said by the page
                logging.getLogger(name).setLevel(logging.CRITICAL)
            application = bokeh_application(self._runs, token)
        except BaseException:
            self.close()
            raise

        def begin() -> None:
            try:
                self._server = BaseServer(self._loop, application, self._http)
                self._server.start()
                self._front.complete(application)
            except BaseException as error:
                self._failure = error
                self._loop.stop()
            finally:
                self._ready.set()

        self._loop.add_callback(begin)
        self._await_ready()

    def _serve(self, token: str, host: str) -> None:
        import asyncio

        try:
            asyncio.set_event_loop(asyncio.new_event_loop())
            self._begin_to_listen(token, host)
        except BaseException as error:
            self._failure = error
            return
        finally:
            self._ready.set()
        self._loop.start()
        (self._server or self._http).stop()
        for one in self._sockets:
            one.close()
        self._loop.close()

    def _begin_to_listen(self, token: str, host: str) -> None:
        """Has the event loop of this thread answer."""
        import asyncio

        from tornado.httpserver import HTTPServer
        from tornado.ioloop import IOLoop

        from ._front import Front, Guard

        names = {host, "127.0.0.1", "localhost"} | ({socket.gethostname().lower()} if self._is_anywhere else set())
        guard = Guard(token, {f"[{name}]:{self.port}" if ":" in name else f"{name}:{self.port}" for name in names}, self._is_anywhere)
        self._loop = IOLoop.current()
        self._front = Front(guard, self._streams, asyncio.get_event_loop())
        self._http = HTTPServer(self._front)
        self._http.add_sockets(self._sockets)


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
