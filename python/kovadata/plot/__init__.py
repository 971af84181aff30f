"""Plots of analyses. They need matplotlib: ``pip install matplotlib``.

From the command line: ``python3 -m kovadata.plot KIND ANALYSIS``.
"""

from ._chromatogram import tic
from ._heatmap import heatmap
from ._mobilogram import mobilogram
from ._msms_plot import msms

__all__ = ["heatmap", "mobilogram", "msms", "tic"]
