"""Which kind of analysis a directory holds."""

from __future__ import annotations

import os
from typing import Type, Union

from ._analysis import Analysis
from ._spectra import SpectrumAnalysis

AnyAnalysis = Union[Analysis, SpectrumAnalysis]


def kind_of_analysis(path: Union[str, os.PathLike[str]]) -> Type[AnyAnalysis]:
    """That without mobility where there is ``analysis.kvs`` and no ``analysis.kvd``."""

    def holds(name: str) -> bool:
        return os.path.exists(os.path.join(os.fsdecode(path), name))

    return SpectrumAnalysis if holds("analysis.kvs") and not holds("analysis.kvd") else Analysis
