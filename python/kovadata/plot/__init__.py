"""Plots of analyses. They need matplotlib: ``pip install matplotlib``.

From the command line: ``python3 -m kovadata.plot KIND ANALYSIS``.
"""

from ._chromatogram import bpc, tic
from ._heatmap import heatmap
from ._mobilogram import mobilogram
from ._msms_plot import msms
from ._overview import overview
from ._spectrum import spectrum

__all__ = ["bpc", "heatmap", "mobilogram", "msms", "overview", "spectrum", "tic"]
