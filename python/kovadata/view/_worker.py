"""Long calls of a session on threads of their own, with progress, until they end or are cancelled.

What a call gives comes back to the session's own thread. A call takes the place of an earlier one of the same name, which is
cancelled; what a cancelled call still gives is dropped.
"""

from __future__ import annotations

import concurrent.futures
import time
from typing import Any, Callable, Dict, List, Optional

from .._queries import Observer

_TOLD_EVERY = 0.1


class Job(Observer):
    """One call."""

    def __init__(self, worker: Worker, name: str, title: str) -> None:
        super().__init__()
        self.name, self.title = name, title
        self._worker = worker
        self._last_told = 0.0

    def told(self, done: int, total: int) -> None:
        now = time.monotonic()
        if now - self._last_told >= _TOLD_EVERY:
            self._last_told = now
            self._worker.post(lambda: self._worker.show_progress(self, done, total))


class Worker:
    """The calls of one session.

    Parameters
    ----------
    post : callable
        Has something called on the session's thread; may be called from any thread.
    progress : callable
        Told name, title, frames read and all frames of a call; with all frames 0 when it has ended.
    failed : callable
        Told what went wrong, and with it the name of the call.
    """

    def __init__(self, post: Callable[[Callable[[], None]], None], progress: Callable[[str, str, int, int], None],
                 failed: Callable[[str, BaseException], None]) -> None:
        self.post, self._progress, self._failed = post, progress, failed
        self._threads = concurrent.futures.ThreadPoolExecutor(4, "kovadata view")
        self._jobs: Dict[str, Job] = {}
        self._held: Optional[List[Callable[[], None]]] = []

    def open(self) -> None:
        """Begins with calls: until then, the session has no page that could be told what they gave."""
        held, self._held = self._held, None
        for one in held or ():
            one()

    def start(self, name: str, title: str, call: Callable[[Job], Any], then: Callable[[Any, Job], None]) -> Job:
        """Runs a call, and then gives what it gave to `then`."""
        self.cancel(name)
        job = self._jobs[name] = Job(self, name, title)
        self._progress(name, title, 0, 1)
        if self._held is None:
            self._submit(job, call, then)
        else:
            self._held.append(lambda: self._submit(job, call, then))
        return job

    def _submit(self, job: Job, call: Callable[[Job], Any], then: Callable[[Any, Job], None]) -> None:
        future = self._threads.submit(self._run, job, call)
        future.add_done_callback(lambda ended: self.post(lambda: self._end(job, ended, then)))

    def cancel(self, name: str) -> None:
        """Ends a call, if there is one of that name."""
        job = self._jobs.pop(name, None)
        if job is not None:
            job.is_cancelled = True
            self._progress(name, job.title, 0, 0)

    def close(self) -> None:
        """Cancels everything."""
        for name in tuple(self._jobs):
            self.cancel(name)
        self._threads.shutdown(wait=False, cancel_futures=True)

    def show_progress(self, job: Job, done: int, total: int) -> None:
        """Tells how far a call is that has not ended."""
        if self._jobs.get(job.name) is job:
            self._progress(job.name, job.title, done, max(total, 1))

    @staticmethod
    def _run(job: Job, call: Callable[[Job], Any]) -> Any:
        with job:
            return call(job)

    def _end(self, job: Job, ended: "concurrent.futures.Future[Any]", then: Callable[[Any, Job], None]) -> None:
        if self._jobs.get(job.name) is not job or ended.cancelled():
            return
        del self._jobs[job.name]
        self._progress(job.name, job.title, 0, 0)
        error = ended.exception()
        if error is not None:
            self._failed(job.name, error)
        else:
            then(ended.result(), job)
