"""Read access to the raw data of ion-mobility time-of-flight mass spectrometers.

`Analysis` is an analysis with ion mobility, `SpectrumAnalysis` one without; `open` finds out which it is. `scan` reads many as
one table; `kovadata.study` and `kovadata.engines` are for other engines.
"""

from __future__ import annotations

import os
from typing import TYPE_CHECKING, Optional, Union

from ._analysis import Analysis
from ._ccs import ccs_to_one_over_k0, one_over_k0_to_ccs
from ._errors import BufferTooSmall, DamageWarning, KovaError
from ._frame import Frame
from ._later import later
from ._library import set_num_threads
from ._msms import MsmsProfile, MsmsSpectrum
from ._opening import kind_of_analysis
from ._partitions import Partition
from ._peaks import PeakBuffer, Peaks, Scan, Scans
from ._precursors import Precursor
from ._reductions import Chromatograms, Image, Mobilograms, SummedSpectrum
from ._spectra import Lines, Spectrum, SpectrumAnalysis
from ._stream import Stream
from ._version import __version__
from .view import view

if TYPE_CHECKING:
    from ._export import Exported, export
    from ._report import Reported, report
    from ._stage import stage
    from .engines.polars import scan
else:
    __getattr__, __dir__ = later(__name__, {
        "Exported": "._export", "export": "._export", "Reported": "._report", "report": "._report", "stage": "._stage",
        "scan": ".engines.polars", "engines": ".engines", "study": ".study"})

__all__ = [
    "Analysis", "BufferTooSmall", "Chromatograms", "DamageWarning", "Exported", "Frame", "Image", "KovaError",
    "Lines", "Mobilograms", "MsmsProfile", "MsmsSpectrum", "Partition", "PeakBuffer", "Peaks",
    "Precursor", "Reported", "Scan", "Scans", "Spectrum", "SpectrumAnalysis", "Stream", "SummedSpectrum",
    "__version__", "ccs_to_one_over_k0", "export", "one_over_k0_to_ccs", "open", "report", "scan", "set_num_threads", "stage",
    "view"]


def open(path: Union[str, os.PathLike[str]], recalibrated: bool = False, *,
         calibration: Optional[str] = None) -> Union[Analysis, SpectrumAnalysis]:
    """Opens an analysis of either kind.

    Parameters
    ----------
    path : str or path-like
        Directory of the analysis.
    recalibrated : bool
        Whether to convert with the newest complete re-calibrated state, if there is one.
    calibration : str, optional
        Which calibration must be there, see `Analysis`.

    Returns
    -------
    Analysis or SpectrumAnalysis
        The latter if the directory holds ``analysis.kvs`` and no ``analysis.kvd``.
    """
    return kind_of_analysis(path)(path, recalibrated, calibration=calibration)
