"""Reads spectra back and compares each with the analysis.

mzML is read by pymzML and held against its XML schema; what pymzML has no decoder for, mzMLb, MGF and MS2 are read by pyteomics.
"""

from __future__ import annotations

import contextlib
import gzip
import logging
import os
import pathlib
import zlib
from typing import Any, Callable, Dict, Iterator, List

import numpy as np

from .expected import Difference, Read, expected_spectra
from .source import Source

_MOBILITY_ARRAY = "raw inverse reduced ion mobility array"
_NAMESPACE = "{http://psi.hupo.org/ms/mzml}"


def check_spectra(source: Source, path: pathlib.Path) -> str:
    """Compares a file with the analysis; gives what was compared."""
    format = source.plan.format
    schema = ""
    if format == "mzml":
        _validate(path, source.plan.is_compressed_whole)
        schema = ", valid by the XML schema"
    tally = _Tally()
    skipped = {frame for frame, _ in source.damaged}
    expected = expected_spectra(source, skipped)
    is_rounded = source.plan.compression == "numpress"
    for read in (_by_pyteomics if source.plan.compression in ("numpress", "zstd") else _READERS[format])(path):
        wanted = next(expected, None)
        while wanted is not None and format in ("mgf", "ms2") and not len(wanted.mz):
            wanted = next(expected, None)
        if wanted is None:
            raise Difference(f"spectrum {tally.spectra + 1} of the file is not in the analysis")
        _compare(read, wanted, tally.spectra + 1, _ROUNDING if is_rounded else {})
        tally.add(wanted)
        source.progress.update(tally.spectra, tally.spectra)
    for wanted in expected:
        if len(wanted.mz) or format not in ("mgf", "ms2"):
            raise Difference(f"{_name(wanted)} is not in the file, which has {tally.spectra} spectra")
    return f"{tally}{schema}" + (", m/z and 1/K0 within half a millionth" if is_rounded else "")


class _Tally:
    def __init__(self) -> None:
        self.spectra = self.peaks = self.hash = 0
        self.total = 0.0

    def add(self, spectrum: Read) -> None:
        self.spectra += 1
        self.peaks += len(spectrum.mz)
        self.total += float(spectrum.intensity.sum(dtype=np.float64))
        for values in (spectrum.mz, spectrum.intensity):
            self.hash = zlib.crc32(np.ascontiguousarray(values, np.float64).tobytes(), self.hash)

    def __str__(self) -> str:
        return (f"checked: {self.spectra} spectra, {self.peaks} peaks, sum of intensities {self.total:.0f}, hash of all "
                f"{self.hash:08x}")


def _name(spectrum: Read) -> str:
    return f"{'precursor' if spectrum.is_msms else 'frame'} {spectrum.number}"


def _compare(read: Read, wanted: Read, place: int, rounding: Dict[str, float]) -> None:
    where = f"spectrum {place}, {_name(wanted)}"
    if (read.number, read.is_msms) != (wanted.number, wanted.is_msms):
        raise Difference(f"spectrum {place} is {_name(read)} in the file, and should be {_name(wanted)}")
    for name, left, right in (("m/z", read.mz, wanted.mz), ("intensity", read.intensity, wanted.intensity),
                              ("1/K0", read.mobility, wanted.mobility)):
        if (left is None) != (right is None) or (left is not None and len(left) != len(right)):  # type: ignore[arg-type]
            counts = [0 if one is None else len(one) for one in (left, right)]
            raise Difference(f"{where}: {counts[0]} values of {name} in the file, {counts[1]} in the analysis")
        if left is not None and right is not None:
            differs = np.flatnonzero(np.abs(left - right) > rounding[name] if name in rounding else left != right)
            if len(differs):
                peak = int(differs[0])
                raise Difference(f"{where}, peak {peak}: {name} is {left[peak]!r} in the file, {right[peak]!r} in the analysis")
    for name, value in wanted.values.items():
        if name in read.values and not read.values[name] == value:
            raise Difference(f"{where}: {name} is {read.values[name]!r} in the file, {value!r} in the analysis")
        if name not in read.values and name in _ALWAYS:
            raise Difference(f"{where}: the file has no {name}")


# Numpress rounds to millionths; the last digits of numbers of 64 bits add a little.
_ROUNDING = {"m/z": 0.5001e-6, "1/K0": 0.5001e-6}
_ALWAYS = ("time", "charge", "precursor m/z", "1/K0")


# What other programs read.


def _validate(path: pathlib.Path, is_compressed: bool) -> None:
    import gzip

    import psims.validation
    from lxml import etree

    folder = os.path.join(os.path.dirname(psims.validation.__file__), "xsd")
    schema = etree.XMLSchema(etree.parse(os.path.join(folder, "mzML1.1.2_idx.xsd")))
    with gzip.open(path) if is_compressed else path.open("rb") as file:
        try:
            for _, element in etree.iterparse(file, schema=schema, huge_tree=True, tag=f"{_NAMESPACE}spectrum"):
                element.clear()
                while element.getprevious() is not None:
                    del element.getparent()[0]
        except etree.XMLSyntaxError as error:
            raise Difference(f"the file is not valid by the XML schema: {error}") from error


def _mzml(path: pathlib.Path) -> Iterator[Read]:
    import pymzml

    logging.getLogger("pymzml").setLevel(logging.ERROR)  # it warns of general terms that its vocabulary lacks
    for spectrum in pymzml.run.Reader(str(path)):
        owned = {one.get("name"): one.get("value") for one in spectrum.element.iter(f"{_NAMESPACE}userParam")}
        is_msms = "kovadata precursor" in owned
        values = {"time": 60 * spectrum.scan_time_in_minutes()} if spectrum.scan_time is not None else {}
        values = {"time": spectrum.scan_time[0]} if isinstance(spectrum.scan_time, tuple) else values
        for name, key in (("1/K0", "scan"), ("1/K0 of the ion", "selectedIon")):
            found = [float(term.get("value")) for part in spectrum.element.iter(_NAMESPACE + key)
                     for term in part.iter(f"{_NAMESPACE}cvParam") if term.get("accession") == "MS:1002815"]
            values.update({name: found[0]} if found else {})
        for ion in spectrum.selected_precursors or ():
            values["precursor m/z"] = ion["mz"]
            values.update({"charge": float(ion["charge"])} if ion.get("charge") else {})
        arrays = {term.get("name") for term in spectrum.element.iter(f"{_NAMESPACE}cvParam")}
        mobility = _array(spectrum.get_array(_MOBILITY_ARRAY)) if _MOBILITY_ARRAY in arrays else None
        yield Read(int(owned["kovadata precursor" if is_msms else "kovadata frame"]), is_msms, _array(spectrum.mz),
                   _array(spectrum.i), mobility, values)


def _array(values: Any) -> np.ndarray:
    """An array without values comes as None, or without a size."""
    return np.asarray(values, np.float64) if np.ndim(values) else np.empty(0)


def _by_pyteomics(path: pathlib.Path) -> Iterator[Read]:
    from pyteomics import mzml, mzmlb

    with contextlib.ExitStack() as opened:
        if path.suffix.lower() == ".mzmlb":
            spectra = opened.enter_context(mzmlb.MzMLb(str(path)))
        else:
            file = opened.enter_context((gzip.open if path.suffix.lower() == ".gz" else open)(path, "rb"))
            spectra = opened.enter_context(mzml.MzML(file, use_index=False))
            spectra.compression_type_map = {**spectra.compression_type_map, "zstd compression": _unpack_zstd}
        for spectrum in spectra:
            is_msms = "kovadata precursor" in spectrum
            scan = spectrum["scanList"]["scan"][0]
            values = {name: float(scan[key]) for name, key in (("time", "scan start time"), ("1/K0", "inverse reduced ion mobility"))
                      if key in scan}
            for precursor in spectrum.get("precursorList", {}).get("precursor", ()):
                ion = precursor.get("selectedIonList", {"selectedIon": [{}]})["selectedIon"][0]
                keys = (("precursor m/z", "selected ion m/z"), ("charge", "charge state"),
                        ("1/K0 of the ion", "inverse reduced ion mobility"))
                values.update({name: float(ion[key]) for name, key in keys if key in ion})
            arrays = [_array(spectrum[name]) for name in ("m/z array", "intensity array", _MOBILITY_ARRAY) if name in spectrum]
            yield Read(int(spectrum["kovadata precursor" if is_msms else "kovadata frame"]), is_msms, arrays[0], arrays[1],
                       arrays[2] if len(arrays) > 2 else None, _in_seconds(values, scan))


def _unpack_zstd(data: bytes) -> bytes:
    import zstandard

    return zstandard.decompress(data)


def _in_seconds(values: Dict[str, float], scan: Dict[str, Any]) -> Dict[str, float]:
    unit = getattr(scan.get("scan start time"), "unit_info", "second")
    return {**values, "time": values["time"] * 60} if unit == "minute" and "time" in values else values


def _mgf(path: pathlib.Path) -> Iterator[Read]:
    from pyteomics import mgf

    with mgf.read(str(path), use_index=False) as spectra:
        for spectrum in spectra:
            about = spectrum["params"]
            values = {"precursor m/z": float(about["pepmass"][0])} if "pepmass" in about else {}
            values.update({"time": float(about["rtinseconds"])} if "rtinseconds" in about else {})
            values.update({"charge": float(abs(about["charge"][0]))} if "charge" in about else {})
            values.update({"1/K0": float(about["ion_mobility"])} if "ion_mobility" in about else {})
            number = int(about["title"].rsplit(" precursor ", 1)[1].split()[0])
            yield Read(number, True, spectrum["m/z array"], spectrum["intensity array"], None, values)


def _ms2(path: pathlib.Path) -> Iterator[Read]:
    from pyteomics import ms2

    with ms2.read(str(path), use_index=False) as spectra:
        for spectrum in spectra:
            about = spectrum["params"]
            values = {"precursor m/z": float(about["precursor m/z"])}
            values.update({"time": float(about["RetentionTimeSeconds"])} if "RetentionTimeSeconds" in about else {})
            values.update({"charge": float(about["charge"][0])} if "charge" in about else {})
            values.update({"1/K0": float(about["IonMobility"])} if "IonMobility" in about else {})
            yield Read(int(about["scan"][0]), True, spectrum["m/z array"], spectrum["intensity array"], None, values)


_READERS: Dict[str, Callable[[pathlib.Path], Iterator[Read]]] = {"mzml": _mzml, "mzmlb": _by_pyteomics, "mgf": _mgf, "ms2": _ms2}
