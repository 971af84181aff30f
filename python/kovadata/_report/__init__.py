"""Reports of runs: one HTML file to pass on, or the numbers in it.

`_numbers` reads a run once for all that is said of it, `_sections` turn numbers into figures and sentences, `_page` puts them
into one file. They are imported by the first report: who imports the package mostly makes none.
"""

from __future__ import annotations

import contextlib
import dataclasses
import importlib
import json as json_module
import os
import pathlib
import warnings
from typing import TYPE_CHECKING, Any, Dict, Iterable, List, Optional, Union

from .._errors import DamageWarning, KovaError
from .._export.progress import Progress
from .._export.staging import Staged
from .._opening import AnyAnalysis, kind_of_analysis
from .._version import __version__

if TYPE_CHECKING:
    from ._numbers import Run

PathLike = Union[str, "os.PathLike[str]"]


@dataclasses.dataclass(frozen=True)
class Reported:
    """What `kovadata.report` wrote.

    Attributes
    ----------
    path : pathlib.Path
        The file.
    bytes : int
        Size of the file.
    numbers : dict
        The numbers of the report, as its JSON has them.
    damaged : dict of dict
        By the name of each run, ids of damaged frames and what is wrong with them.
    """

    path: pathlib.Path
    bytes: int
    numbers: Dict[str, Any]
    damaged: Dict[str, Dict[str, str]]


def report(paths: Union[PathLike, Iterable[PathLike]], output: PathLike, *, recalibrated: bool = False,
           calibration: Optional[str] = None, threads: Optional[int] = None, json: bool = False, force: bool = False,
           progress: bool = False) -> Reported:
    """Writes a report of one run, or of several beside each other: one HTML file that needs nothing else.

    The file appears under its name when it is complete. Damaged frames are listed in it, and the rest is reported.

    Parameters
    ----------
    paths : path-like, or iterable of path-like
        Directories of analyses, with ion mobility or without.
    output : path-like
        The file.
    recalibrated, calibration
        As for `Analysis`.
    threads : int, optional
        How many threads work; the processors that the process may use by default.
    json : bool
        Whether to write the numbers as JSON rather than the page.
    force : bool
        Whether to replace a file of that name.
    progress : bool
        Whether to show a progress bar where standard error is a terminal.

    Returns
    -------
    Reported

    Raises
    ------
    KovaError
        A run cannot be opened, the file cannot be written, or Bokeh is missing.

    Examples
    --------
    >>> kovadata.report("run.d", "run.html")
    >>> kovadata.report(["run.d", "scanwise.d"], "both.html")
    """
    staged = Staged(pathlib.Path(os.fsdecode(output)), force)
    if not json:
        require_bokeh()
    runs = read_runs(paths, recalibrated, calibration, threads, progress)
    numbers = document(runs)
    with staged as stage:
        stage.write_bytes(json_text(numbers).encode() if json else _html(runs))
        size = stage.stat().st_size
        staged.publish()
    damaged = {run.name: run.damaged for run in runs if run.damaged}
    for name, frames in damaged.items():
        listed = "; ".join(f"{frame} ({text})" for frame, text in list(frames.items())[:20])
        warnings.warn(f"damaged frames of {name} were left out: {listed}", DamageWarning, stacklevel=2)
    return Reported(pathlib.Path(os.fsdecode(output)), size, numbers, damaged)


def require_bokeh() -> None:
    """Figures need it, numbers do not."""
    try:
        importlib.import_module("bokeh")
    except ImportError as error:
        raise KovaError("a report needs bokeh (pip install bokeh), or kovadata with its extra view") from error


def read_runs(paths: Union[PathLike, Iterable[PathLike]], recalibrated: bool, calibration: Optional[str], threads: Optional[int],
              progress: bool) -> List[Run]:
    """The numbers of all runs, which are opened before the first is read."""
    from ._numbers import Reading, gather

    listed = [paths] if isinstance(paths, (str, os.PathLike)) else list(paths)
    if not listed:
        raise ValueError("there is no run to report")
    folders = [pathlib.Path(os.path.abspath(os.fsdecode(one))) for one in listed]
    with contextlib.ExitStack() as stack:
        opened: List[AnyAnalysis] = []
        for folder in folders:
            opened.append(kind_of_analysis(folder)(folder, recalibrated, calibration=calibration))
            stack.callback(opened[-1].close)
        bar = stack.enter_context(contextlib.closing(Progress("frames", progress)))
        return [gather(Reading(one, threads or _processors(), bar), name) for one, name in zip(opened, _names(folders))]


def _processors() -> int:
    return len(os.sched_getaffinity(0))


def _names(folders: List[pathlib.Path]) -> List[str]:
    """Names of directories, with as many of those above as tell them apart."""
    depth = 1
    while depth < max(len(folder.parts) for folder in folders):
        names = ["/".join(folder.parts[-depth:]) for folder in folders]
        if len(set(names)) == len(set(folders)):
            return names
        depth += 1
    return [str(folder) for folder in folders]


def document(runs: List[Run]) -> Dict[str, Any]:
    """The numbers of all runs."""
    from ._numbers import as_json

    return {"kovadata": __version__, "runs": [as_json(run) for run in runs]}


def json_text(numbers: Dict[str, Any]) -> str:
    """As a file has it."""
    return json_module.dumps(numbers, ensure_ascii=False, allow_nan=False) + "\n"


def _html(runs: List[Run]) -> bytes:
    from ._page import page

    return page(runs)
