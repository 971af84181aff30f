"""Indexed mzML, compressed as a whole if its name ends in .gz.

The document around the spectra, the index and the checksum are made by psims. Spectra go past its elements into its stream, as
texts that threads have made, and are entered into its index.
"""

from __future__ import annotations

import contextlib
import pathlib
from typing import Any, Dict, IO, Iterator, List, Set, Tuple

import numpy as np

from .._errors import KovaError
from .._version import __version__
from .mzml_text import Encoder, Text
from .pipeline import in_order
from .provenance import checksum, describe
from .source import Source
from .spectra import Spectrum, spectra

_IDS, _SOFTWARE = "scan number only nativeID format", "kovadata"
_SIDE_FILE = {True: "analysis.kvd_bin", False: "analysis.kvs_bin"}


def vocabularies() -> Any:
    """Vocabularies that psims brings along; nothing is fetched or kept."""
    from psims.controlled_vocabulary.controlled_vocabulary import OBOCache

    return OBOCache(enabled=False, use_remote=False)


def check_spectra(source: Source) -> None:
    """Fails for what a document of spectra cannot hold."""
    if source.has_mobility:
        source.require_calibrations(source.surveys(), source.plan.mobility == "keep")
    else:
        source.require_calibrations(source.frames, False)
        if source.plan.mobility != "keep" or source.plan.mobility_range is not None:
            raise KovaError("this is an analysis without ion mobility")


def write_mzml(source: Source, path: pathlib.Path) -> int:
    """Writes a document; gives the number of spectra."""
    check_spectra(source)
    digest = checksum(source.analysis.path / _SIDE_FILE[source.has_mobility])
    while True:
        expected = spectrum_count(source)
        written, precursors = _write(source, path, digest, expected)
        if written == expected:
            return written
        # The number stands before the spectra: what is damaged is known now.
        source.leave_out_damaged(precursors)
        if written != spectrum_count(source):
            raise KovaError("the analysis changes while it is read")


def spectrum_count(source: Source) -> int:
    """How many spectra a document will have, if none is damaged."""
    return len(source.surveys()) + len(source.precursors()) if source.has_mobility else len(source.frames)


def _write(source: Source, path: pathlib.Path, digest: str, expected: int) -> Tuple[int, Set[int]]:
    from psims.mzml import MzMLWriter

    surveys: Dict[int, str] = {}
    precursors: Set[int] = set()
    told: List[Tuple[int, float, float, float]] = []
    source.progress.begin("spectra")

    def numbered() -> Iterator[Tuple[int, Spectrum]]:
        for number, spectrum in enumerate(spectra(source)):
            if spectrum.precursor is None:
                surveys[spectrum.number] = f"scan={number + 1}"
            else:
                precursors.add(spectrum.number)
            yield number, spectrum

    with _stream(path, source.plan.is_compressed_whole) as file:
        writer = MzMLWriter(file, close=False, vocabulary_resolver=vocabularies(), native_id_format=_IDS)
        with writer:
            begin_document(writer, source, digest)
            with writer.run(id="run", instrument_configuration="instrument", source_file="source"):
                with writer.spectrum_list(count=expected):
                    writer.flush()
                    for text in in_order(numbered(), Encoder(source.plan.compression, surveys), source.plan.threads):
                        _add(writer.index_builder, text)
                        told.append((text.level, text.time, text.total, text.base_peak))
                        source.progress.update(len(told), expected)
                write_chromatograms(writer, told)
            writer.flush()
    return len(told), precursors


def _add(stream: Any, text: Text) -> None:
    """Writes past the tokenizer of psims, which would look at every byte, and does its book-keeping."""
    from psims.mzml.index import Offset

    stream.indices[0].index[text.name.encode()] = Offset(stream.accumulator + text.text.index(b"<"), {})
    stream._raw_write(text.text)
    stream.accumulator += len(text.text)


@contextlib.contextmanager
def _stream(path: pathlib.Path, is_compressed: bool) -> Iterator[IO[bytes]]:
    with path.open("wb", buffering=1 << 20) as file:
        if not is_compressed:
            yield file
            return
        with _gzip_file()("", "wb", 1, file, 0) as compressed:
            yield compressed


def _gzip_file() -> Any:
    try:
        from isal.igzip import IGzipFile
    except ImportError:
        from gzip import GzipFile

        return GzipFile
    return IGzipFile


def begin_document(writer: Any, source: Source, digest: str) -> None:
    """Everything before the run. What is not known of the instrument is named by its general term."""
    writer.controlled_vocabularies()
    path = source.analysis.path
    levels = ["MS1 spectrum"] + ["MSn spectrum"] * bool(source.has_mobility and len(source.precursors()))
    writer.file_description(levels, [writer.SourceFile(
        location=path.as_uri(), name=_SIDE_FILE[source.has_mobility], id="source",
        params=[_IDS, "mass spectrometer file format", {"SHA-1": digest}])])
    writer.software_list([writer.Software(id=_SOFTWARE, version=__version__,
                                          params=[{"custom unreleased software tool": _SOFTWARE}])])
    parts = writer.ComponentList([writer.Source(1, ["ionization type"]), writer.Analyzer(2, ["time-of-flight"]),
                                  writer.Detector(3, ["detector type"])])
    writer.instrument_configuration_list([
        writer.InstrumentConfiguration("instrument", component_list=parts, params=["instrument model"])])
    about = [{"name": f"kovadata {name}", "value": str(value)} for name, value in describe(source).items() if value]
    writer.data_processing_list([writer.DataProcessing(
        [writer.ProcessingMethod(1, _SOFTWARE, ["Conversion to mzML", *about])], id="export")])


def write_chromatograms(writer: Any, told: List[Tuple[int, float, float, float]]) -> None:
    """Total ion current and base peaks of the survey spectra, or of all where there is no other."""
    rows = [row for row in told if row[0] == 1] or told
    values = np.array(rows, np.float64).reshape(-1, 4)
    values = values[~np.isnan(values[:, 1])]
    with writer.chromatogram_list(2):
        for name, kind, column in (("TIC", "total ion current chromatogram", 2), ("BPC", "basepeak chromatogram", 3)):
            writer.write_chromatogram(values[:, 1], values[:, column], id=name, chromatogram_type=kind, time_unit="second",
                                      encoding=64)
