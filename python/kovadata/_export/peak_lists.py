"""MS/MS spectra as lists of peaks: MGF and MS2. Numbers have the digits that read back as the same number."""

from __future__ import annotations

import pathlib
from typing import Callable, List, Optional, Tuple

import numpy as np

from .._errors import KovaError
from .._version import __version__
from .pipeline import in_order
from .source import Source
from .spectra import Spectrum, msms

_PROTON_MASS = 1.00727646688


def write_list(source: Source, path: pathlib.Path) -> int:
    """Writes the MS/MS spectra of a run; gives how many. Those without peaks are left out, which search programs refuse."""
    if not source.has_mobility:
        raise KovaError("this is an analysis without ion mobility, which has no MS/MS spectra of precursors")
    rows = source.precursors()
    if not source.last_frames and source.plan.ms_level != 1:
        raise KovaError("the analysis has no MS/MS spectra of precursors")
    write = {"mgf": _mgf, "ms2": _ms2}[source.plan.format]
    name = "".join(one if one.isprintable() else "_" for one in source.analysis.path.name)
    written = 0
    with path.open("w", encoding="utf-8", newline="\n", buffering=1 << 20) as file:
        if source.plan.format == "ms2":
            file.write(f"H\tExtractor\tkovadata {__version__}\nH\tSource\t{name}\n")
        for number, text in enumerate(in_order(msms(source), _texts(name, write), source.plan.threads)):
            if text is not None:
                file.write(text)
                written += 1
            source.progress.update(number + 1, len(rows))
    return written


def _texts(name: str, write: Callable[[str, Spectrum, List[str]], List[str]]) -> Callable[[Spectrum], Optional[str]]:
    def text(spectrum: Spectrum) -> Optional[str]:
        mz, intensity, _ = spectrum.peaks()
        if not len(mz):
            return None
        peaks = [f"{one!r} {_short(two)}" for one, two in zip(mz.tolist(), intensity.tolist())]
        return "\n".join(write(name, spectrum, peaks)) + "\n"

    return text


def _short(value: float) -> str:
    """Most intensities are whole numbers."""
    return str(int(value)) if value.is_integer() else repr(value)


def _mgf(name: str, spectrum: Spectrum, peaks: List[str]) -> List[str]:
    about = spectrum.precursor
    assert about is not None
    mobility = None if np.isnan(about.one_over_k0) else about.one_over_k0
    lines = ["BEGIN IONS", f"TITLE={name} precursor {about.id} frame {about.frame}" + (f" 1/K0 {mobility!r}" if mobility else "")]
    if not np.isnan(about.mz):
        lines.append(f"PEPMASS={about.mz!r}" + ("" if np.isnan(about.intensity) else f" {_short(about.intensity)}"))
    if about.charge:
        lines.append(f"CHARGE={abs(about.charge)}{_sign(spectrum)}")
    if not np.isnan(about.time):
        lines.append(f"RTINSECONDS={about.time!r}")
    if mobility:
        lines.append(f"ION_MOBILITY={mobility!r}")
    return [*lines, *peaks, "END IONS", ""]


def _sign(spectrum: Spectrum) -> str:
    return "-" if spectrum.polarity == "-" else "+"


def _ms2(name: str, spectrum: Spectrum, peaks: List[str]) -> List[str]:
    about = spectrum.precursor
    assert about is not None
    mz = 0.0 if np.isnan(about.mz) else about.mz
    lines = [f"S\t{about.id}\t{about.id}\t{mz!r}"]
    if not np.isnan(about.time):
        lines.append(f"I\tRTime\t{about.time / 60!r}")
    for key, value in _information(spectrum):
        lines.append(f"I\t{key}\t{value}")
    if about.charge:
        charge = abs(about.charge)
        mass = mz * charge - (charge - 1) * _PROTON_MASS
        lines.append(f"Z\t{charge}\t{mass!r}")
    return lines + peaks


def _information(spectrum: Spectrum) -> List[Tuple[str, object]]:
    about = spectrum.precursor
    assert about is not None
    found: List[Tuple[str, float]] = [("RetentionTimeSeconds", about.time), ("PrecursorInt", about.intensity),
                                       ("IonMobility", about.one_over_k0)]
    known: List[Tuple[str, object]] = [(key, repr(value)) for key, value in found if not np.isnan(value)]
    return [*known, ("PrecursorFrame", about.frame)]
