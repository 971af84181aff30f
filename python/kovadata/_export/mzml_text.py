"""The text of a spectrum in mzML, and its arrays as base64 of compressed numbers.

A writer of the standard spends most of its time in building elements and in a slow zlib; what a spectrum needs is little and
always the same, so that it is put together here, in any thread.
"""

from __future__ import annotations

import binascii
from typing import Callable, Dict, List, NamedTuple, Optional, Tuple
from xml.sax.saxutils import quoteattr

import numpy as np

from .._precursors import Precursor
from .spectra import Spectrum

_MOBILITY_UNIT = ("MS:1002814", "volt-second per square centimeter")
_MZ_UNIT, _COUNTS = ("MS:1000040", "m/z"), ("MS:1000131", "number of detector counts")
_SECONDS = ("UO:0000010", "second")
COMPRESSION_TERMS = {"zlib": ("MS:1000574", "zlib compression"), "zstd": ("MS:1003780", "zstd compression"),
                     "none": ("MS:1000576", "no compression")}
# Numpress keeps m/z and 1/K0 as integers of this unit, so that they are wrong by half of it at most, and whole intensities
# as they are. What it cannot keep so well stays exact.
NUMPRESS_UNIT = 1e-6
_LINEAR = ("MS:1002746", "MS-Numpress linear prediction compression followed by zlib compression")
_WHOLE_NUMBERS = ("MS:1002747", "MS-Numpress positive integer compression followed by zlib compression")
_MOST_OF_NUMPRESS = 1 << 31
_POLARITIES = {"+": ("MS:1000130", "positive scan"), "-": ("MS:1000129", "negative scan")}
# Integers up to here are the same number in 32 bits of floating point.
_EXACT_IN_32_BITS = 1 << 24


class Text(NamedTuple):
    """A spectrum as it is in the file, with what chromatograms say about it."""

    name: str
    text: bytes
    level: int
    time: float
    total: float
    base_peak: float


def zlib_compressor() -> Callable[[bytes], bytes]:
    """The fastest zlib there is: that of isal, of libdeflate, or Python's own."""
    try:
        from isal import isal_zlib
    except ImportError:
        pass
    else:
        return lambda data: isal_zlib.compress(data, 1)
    try:
        import deflate
    except ImportError:
        import zlib

        return lambda data: zlib.compress(data, 6)
    return lambda data: bytes(deflate.zlib_compress(data, 1))


def compressor(kind: str) -> Callable[[bytes], bytes]:
    """What compresses arrays."""
    if kind == "zlib":
        return zlib_compressor()
    if kind == "zstd":
        import pyarrow

        return lambda data: pyarrow.compress(data, "zstd", asbytes=True)
    return lambda data: data


def term(accession: str, name: str, value: object = "", unit: Optional[Tuple[str, str]] = None) -> str:
    """A parameter of the controlled vocabulary."""
    vocabulary = "UO" if accession.startswith("UO") else "PSI-MS"
    units = ""
    if unit is not None:
        units = f' unitCvRef="{"UO" if unit[0].startswith("UO") else "PSI-MS"}" unitAccession="{unit[0]}" unitName="{unit[1]}"'
    shown = repr(float(value)) if isinstance(value, float) else value
    return f'<cvParam cvRef="{vocabulary}" accession="{accession}" name="{name}" value="{shown}"{units}/>'


def own(name: str, value: object) -> str:
    """A parameter outside of the vocabulary."""
    return f'<userParam name={quoteattr(name)} value={quoteattr(str(value))}/>'


def number_name(spectrum: Spectrum) -> str:
    """What the id of the frame or precursor is called; no word that the vocabulary has another meaning for."""
    return "kovadata precursor" if spectrum.precursor else "kovadata frame"


def exact_floats(values: np.ndarray) -> np.ndarray:
    """Floating-point numbers that are the same numbers, in 32 bits if that suffices."""
    if values.dtype == np.float32 or (values.dtype.kind in "iu" and (not len(values) or values.max() < _EXACT_IN_32_BITS)):
        return values.astype(np.float32)
    return values.astype(np.float64)


def packer(kind: str) -> Callable[[np.ndarray], Tuple[str, bytes]]:
    """What turns an array into bytes, and says how."""
    compress = compressor("zlib" if kind == "numpress" else kind)
    usual = term(*COMPRESSION_TERMS["zlib" if kind == "numpress" else kind])

    def exactly(values: np.ndarray) -> Tuple[str, bytes]:
        return usual, compress(np.ascontiguousarray(values).tobytes())

    if kind != "numpress":
        return exactly
    import pynumpress

    def by_numpress(values: np.ndarray) -> Tuple[str, bytes]:
        wide = np.ascontiguousarray(values, np.float64)
        most = wide.max(initial=0)
        if len(wide) and 0 <= wide.min() and most < _MOST_OF_NUMPRESS and (wide == np.rint(wide)).all():
            return term(*_WHOLE_NUMBERS), compress(pynumpress.encode_pic(wide).tobytes())
        if len(wide) and values.dtype == np.float64 and pynumpress.optimal_linear_fixed_point(wide) >= 1 / NUMPRESS_UNIT:
            return term(*_LINEAR), compress(pynumpress.encode_linear(wide, 1 / NUMPRESS_UNIT).tobytes())
        return exactly(values)

    return by_numpress


class Encoder:
    """Makes texts of spectra. Frames tell under which names the spectra of survey frames are in the file."""

    def __init__(self, compression: str, surveys: Dict[int, str]) -> None:
        self._pack, self._surveys = packer(compression), surveys

    def __call__(self, numbered: Tuple[int, Spectrum]) -> Text:
        number, spectrum = numbered
        mz, intensity, mobility = spectrum.peaks()
        name = f"scan={number + 1}"
        total, base = (float(intensity.sum(dtype=np.float64)), int(intensity.argmax())) if len(mz) else (0.0, -1)
        parts = [f'\n        <spectrum index="{number}" id="{name}" defaultArrayLength="{len(mz)}">',
                 *self._about(spectrum, mz, intensity, total, base), *self._scan(spectrum), *self._precursor(spectrum.precursor)]
        arrays = [("MS:1000514", "m/z array", _MZ_UNIT, mz), ("MS:1000515", "intensity array", _COUNTS, exact_floats(intensity))]
        if mobility is not None:
            arrays.append(("MS:1003008", "raw inverse reduced ion mobility array", _MOBILITY_UNIT, mobility))
        parts.append(f'<binaryDataArrayList count="{len(arrays)}">')
        text = ["\n          ".join(parts).encode()]
        for array in arrays:
            text += self._array(*array)
        text.append(b"\n          </binaryDataArrayList>\n        </spectrum>")
        return Text(name, b"".join(text), spectrum.level, spectrum.time, total, float(intensity[base]) if len(mz) else 0.0)

    def _about(self, spectrum: Spectrum, mz: np.ndarray, intensity: np.ndarray, total: float, base: int) -> List[str]:
        level = spectrum.level
        lines = [term("MS:1000579", "MS1 spectrum") if level == 1 else term("MS:1000580", "MSn spectrum"),
                 term("MS:1000511", "ms level", level)]
        if spectrum.polarity in _POLARITIES:
            lines.append(term(*_POLARITIES[spectrum.polarity]))
        lines.append(term("MS:1000128", "profile spectrum") if spectrum.is_profile else term("MS:1000127", "centroid spectrum"))
        lines.append(term("MS:1000285", "total ion current", total, _COUNTS))
        if len(mz):
            lines += [term("MS:1000504", "base peak m/z", float(mz[base]), _MZ_UNIT),
                      term("MS:1000505", "base peak intensity", float(intensity[base]), _COUNTS),
                      term("MS:1000528", "lowest observed m/z", float(mz[0]), _MZ_UNIT),
                      term("MS:1000527", "highest observed m/z", float(mz[-1]), _MZ_UNIT)]
        return lines + [own(number_name(spectrum), spectrum.number)]

    def _scan(self, spectrum: Spectrum) -> List[str]:
        about = spectrum.precursor
        lines = [] if np.isnan(spectrum.time) else [term("MS:1000016", "scan start time", spectrum.time, _SECONDS)]
        if about is not None:
            lines += _mobility(about)
        return ['<scanList count="1">', term("MS:1000795", "no combination"), "<scan>", *lines, "</scan>", "</scanList>"]

    def _precursor(self, about: Optional[Precursor]) -> List[str]:
        if about is None:
            return []
        survey = self._surveys.get(-1 if about.frame is None else about.frame)
        reference = f' spectrumRef="{survey}"' if survey else ""
        ion = [] if np.isnan(about.mz) else [term("MS:1000744", "selected ion m/z", about.mz, _MZ_UNIT)]
        window = [] if np.isnan(about.mz) else [
            "<isolationWindow>", term("MS:1000827", "isolation window target m/z", about.mz, _MZ_UNIT), "</isolationWindow>"]
        if about.charge:
            ion.append(term("MS:1000041", "charge state", about.charge))
        if not np.isnan(about.intensity):
            ion.append(term("MS:1000042", "peak intensity", about.intensity, _COUNTS))
        ion += _mobility(about)
        return ['<precursorList count="1">', f"<precursor{reference}>", *window, '<selectedIonList count="1">', "<selectedIon>",
                *ion, "</selectedIon>", "</selectedIonList>", "<activation>", term("MS:1000044", "dissociation method"),
                "</activation>", "</precursor>", "</precursorList>"]

    def _array(self, accession: str, name: str, unit: Tuple[str, str], values: np.ndarray) -> List[bytes]:
        width = ("MS:1000521", "32-bit float") if values.dtype == np.float32 else ("MS:1000523", "64-bit float")
        compression, packed = self._pack(values)
        data = binascii.b2a_base64(packed, newline=False)
        head = (f'\n            <binaryDataArray encodedLength="{len(data)}">{term(accession, name, unit=unit)}'
                f'{compression}{term(*width)}<binary>')
        return [head.encode(), data, b"</binary></binaryDataArray>"]


def _mobility(about: Precursor) -> List[str]:
    if np.isnan(about.one_over_k0):
        return []
    return [term("MS:1002815", "inverse reduced ion mobility", about.one_over_k0, _MOBILITY_UNIT)]
