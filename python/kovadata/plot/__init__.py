"""Plots of analyses. They need matplotlib: ``pip install matplotlib``.

From the command line: ``python3 -m kovadata.plot KIND ANALYSIS``.
"""

from typing import TYPE_CHECKING

from .._later import later

if TYPE_CHECKING:
    from ._chromatogram import bpc, tic
    from ._heatmap import heatmap
    from ._mobilogram import mobilogram
    from ._msms_plot import msms
    from ._overview import overview
    from ._spectrum import spectrum
else:
    __getattr__, __dir__ = later(__name__, {
        "bpc": "._chromatogram", "heatmap": "._heatmap", "mobilogram": "._mobilogram", "msms": "._msms_plot",
        "overview": "._overview", "spectrum": "._spectrum", "tic": "._chromatogram"})

__all__ = ["bpc", "heatmap", "mobilogram", "msms", "overview", "spectrum", "tic"]
