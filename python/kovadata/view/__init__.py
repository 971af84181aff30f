"""The explorer: runs in the browser, served by this process to this computer alone.

From the command line: ``kova view RUN...`` or ``python3 -m kovadata.view RUN...``. It needs bokeh: ``pip install
kovadata[view]``, which is imported when the explorer starts.
"""

from __future__ import annotations

import os
from typing import TYPE_CHECKING, Optional, Union

if TYPE_CHECKING:
    from .._analysis import Analysis
    from .._spectra import SpectrumAnalysis
    from ._server import Viewer

__all__ = ["view"]


def view(*analyses: Union[Analysis, SpectrumAnalysis, str, os.PathLike[str]], browser: bool = True,
         wait: Optional[bool] = None) -> Viewer:
    """Shows analyses in the browser.

    Parameters
    ----------
    *analyses : Analysis, SpectrumAnalysis, str or path-like
        What to show: open analyses, which are shown with the calibration that they were opened with, or directories.
    browser : bool
        Whether to open the browser; otherwise, `Viewer.url` is where to look.
    wait : bool, optional
        Whether to wait until Ctrl-C. By default a program waits, which would end otherwise, and an interactive interpreter
        does not.

    Returns
    -------
    Viewer
        Its ``url`` holds a token without which nothing is shown; its ``close()`` ends the server.

    Raises
    ------
    KovaError
        There is no such analysis, or bokeh is not installed.

    Examples
    --------
    >>> viewer = kovadata.view("run.d", wait=False)
    >>> viewer.close()
    """
    from ._server import Viewer

    viewer = Viewer(analyses, browser=browser)
    if wait if wait is not None else not _is_interactive():
        viewer.wait()
    return viewer


def _is_interactive() -> bool:
    import sys

    return hasattr(sys, "ps1") or "IPython" in sys.modules or bool(sys.flags.interactive)
