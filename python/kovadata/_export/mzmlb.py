"""mzMLb, a document of mzML in an HDF5 file, written by psims alone."""

from __future__ import annotations

import contextlib
import io
import pathlib
from typing import Any, Dict, Iterator, List, Optional, Set, Tuple

import numpy as np

from .mzml import begin_document, check_spectra, spectrum_count, vocabularies, write_chromatograms, _IDS, _SIDE_FILE
from .mzml_text import exact_floats, number_name
from .pipeline import in_order
from .provenance import checksum
from .source import Source
from .spectra import Spectrum, spectra

_COUNTS = "number of detector counts"
_MOBILITY_UNIT = "volt-second per square centimeter"
_ARRAY = {"name": "raw inverse reduced ion mobility array", "unit_name": _MOBILITY_UNIT}
_POLARITIES = {"+": 1, "-": -1}


def write_mzmlb(source: Source, path: pathlib.Path) -> int:
    """Writes a document; gives the number of spectra."""
    check_spectra(source)
    digest = checksum(source.analysis.path / _SIDE_FILE[source.has_mobility])
    expected = spectrum_count(source)
    written, precursors = _write(source, path, digest, expected)
    if written != expected:
        source.leave_out_damaged(precursors)
        written, _ = _write(source, path, digest, spectrum_count(source))
    return written


def _write(source: Source, path: pathlib.Path, digest: str, expected: int) -> Tuple[int, Set[int]]:
    from psims.mzmlb import MzMLbWriter

    surveys: Dict[int, str] = {}
    precursors: Set[int] = set()
    told: List[Tuple[int, float, float, float]] = []
    source.progress.begin("spectra")
    compression = None if source.plan.compression == "none" else "gzip"
    with _open(path) as (file, store), MzMLbWriter(store, vocabulary_resolver=vocabularies(), native_id_format=_IDS,
                                                   h5_compression=compression) as writer:
        begin_document(writer, source, digest)
        with writer.run(id="run", instrument_configuration="instrument", source_file="source"):
            with writer.spectrum_list(count=expected):
                for spectrum, peaks in in_order(spectra(source), lambda one: (one, one.peaks()), source.plan.threads):
                    name = f"scan={len(told) + 1}"
                    if spectrum.precursor is None:
                        surveys[spectrum.number] = name
                    else:
                        precursors.add(spectrum.number)
                    told.append((spectrum.level, spectrum.time, *_write_spectrum(writer, name, spectrum, peaks, surveys)))
                    source.progress.update(len(told), expected)
                    if file.error is not None:
                        raise file.error
            write_chromatograms(writer, told)
    return len(told), precursors


class _PatientFile(io.FileIO):
    """A file that keeps its first error and takes the rest for nothing: HDF5 ends the process if it cannot write at its end."""

    error: Optional[OSError] = None

    def write(self, data: Any) -> int:
        left = memoryview(data).cast("B")
        size = len(left)
        while len(left) and self.error is None:
            try:
                left = left[super().write(left):]
            except OSError as error:
                self.error = error
        return size


@contextlib.contextmanager
def _open(path: pathlib.Path) -> Iterator[Tuple[_PatientFile, Any]]:
    import h5py

    with _PatientFile(path, "w+b") as file:
        try:
            with h5py.File(file, "w") as store:
                yield file, store
        finally:
            if file.error is not None:
                raise file.error


def _write_spectrum(writer: Any, name: str, spectrum: Spectrum, peaks: Tuple[Any, Any, Any],
                    surveys: Dict[int, str]) -> Tuple[float, float]:
    mz, intensity, mobility = peaks
    values = exact_floats(intensity)
    total, base = float(intensity.sum(dtype=np.float64)), float(intensity.max()) if len(mz) else 0.0
    about = spectrum.precursor
    own_mobility = ([] if about is None or np.isnan(about.one_over_k0) else
                    [{"name": "inverse reduced ion mobility", "value": about.one_over_k0, "unit_name": _MOBILITY_UNIT}])
    ion = None if about is None else {
        "mz": None if np.isnan(about.mz) else about.mz, "charge": about.charge, "activation": ["dissociation method"],
        "intensity": None if np.isnan(about.intensity) else about.intensity, "params": own_mobility,
        "spectrum_reference": surveys.get(-1 if about.frame is None else about.frame),
        "isolation_window_args": None if np.isnan(about.mz) else {"target": about.mz, "lower": None, "upper": None}}
    time = None if np.isnan(spectrum.time) else {"name": "scan start time", "value": spectrum.time, "unit_name": "second"}
    writer.write_spectrum(
        mz, values, id=name, polarity=_POLARITIES.get(spectrum.polarity, 0), centroided=not spectrum.is_profile,
        params=["MS1 spectrum" if spectrum.level == 1 else "MSn spectrum", {"ms level": spectrum.level},
                {"name": "total ion current", "value": total, "unit_name": _COUNTS},
                {"name": "base peak intensity", "value": base, "unit_name": _COUNTS},
                {"name": number_name(spectrum), "value": spectrum.number}],
        scan_start_time=time, scan_params=own_mobility, precursor_information=ion,
        other_arrays=[] if mobility is None else [(_ARRAY, mobility)],
        encoding={"m/z array": np.float64, "intensity array": values.dtype.type, _ARRAY["name"]: np.float64})
    return total, base
