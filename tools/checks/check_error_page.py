#!/usr/bin/env python3
"""Compares the errors that the library raises with docs/when-something-goes-wrong.md: each has to be on the page, and each
that is on the page has to be raised somewhere. On the page a text is the first cell of a table, "…" standing for what
varies."""

import argparse
import pathlib
import re
import sys

import error_texts

PROJECT = pathlib.Path(__file__).resolve().parents[2]
ENTRY = re.compile(r"^\| `([^`]+)` \|", re.M)

# Complaints about the logging configuration never reach a caller; docs/logging.md tells what becomes of them.
SKIPPED_FOLDERS = {"logging"}

# Texts that no caller of the exported functions can get, by file, with the reason.
UNREACHABLE = {
    "src/sqlite/connection.cpp": ("SQLite's own messages, which the page tells in prose", ["…"]),
    "src/sys/utf8_path.cpp": ("paths are checked before, by `Invalid UTF-8`", [
        "Invalid UTF-8 code unit at index …: …"]),
    "src/calibration-state/calibration_reader_sqlite_impl.cpp": (
        "the analysis has been located before, and a state that does not match is replaced by the acquisition's", [
            "Specified analysis directory does not exist", "Specified path is not a directory", "… doesn't exist",
            "No matching calibration state found, reason …"]),
    "src/calibration-state/calibration_state_mode.cpp": ("the C interface knows no modes", [
        "Unexpected calibration mode", "Invalid calibration mode …"]),
    "src/calibration-state/calibration_state_selector_factory.cpp": ("the C interface opens one analysis at a time", [
        "Invalid parameter list for recalib mode …, recalibParam must fit […] entries, got […], expected [1], or […]",
        "Invalid parameter list for recalib mode …, recalibParam must fit […] entries, got […], expected [0], [1], or […]"]),
    "src/calibration-state/calibration_state_selector.cpp": (
        "the C interface asks for the latest complete state only, and goes on without one", [
            "Calibration state […] does not exist", "Failed to set Analysis Info frame count before calling getUUID",
            "Failed to set Analysis Info polarity before calling getUUID",
            *(f"Found no {complete}{order} calibration state{source}" for complete in ("", "complete ")
              for order in ("latest", "first") for source in ("", " with source '…'"))]),
    "src/calibration-state/lock_mass_diagnostics.cpp": ("the C interface does not read them", [
        "Column … holds no series of numbers.", "Lock-mass diagnostics have series of different lengths."]),
    "src/calibration/linear_voltage_ramp_based_transformator.cpp": ("always given four coefficients", [
        "Only polynomials of degree 1 supported currently."]),
    "src/calibration/raw_index_linear.cpp": ("constants are made by the model that takes them", [
        "RILinear::UpdatePhysicalConstants: funConsts is not of type ICalibrationConstantsPhysicalLinearPtr."]),
    "src/calibration/raw_mass_cubic.cpp": ("constants are made by the model that takes them", [
        "RMShift::UpdateFunctionalConstants: funConsts is not of type ICalibrationConstantsFunctionalTOF2Ptr."]),
    "src/calibration/raw_mass_quadratic.cpp": ("constants are made by the model that takes them", [
        "RMQuadratic::UpdateFunctionalConstants: funConsts is not of type ICalibrationConstantsFunctionalTOF1Ptr."]),
    "src/calibration/scan_range.h": ("the C interface converts arrays, not ranges", ["end must be >= begin."]),
    "src/calibration/temperature_compensation.cpp": ("compensated only with constants that have just been given it", [
        "reference transformator lacks temperature-compensation functional constants",
        "reference transformator lacks temperature-compensation information"]),
    "src/math/linearly_continued_function.h": ("slopes are checked by the ramp's transformator", [
        "slopes must be non-zero and have same sign."]),
    "src/kova-data-reader/blob/kvd_reader_cache.cpp": ("failures of a single scan name it, failures of a range do not", [
        *(f"CorruptFrameDataError for FrameId=…: {text}" for text in (
            "Error seeking to scan data.", "Error reading scan data.")),
        *(f"CorruptScanDataError for FrameId=…, Scan=…: {text}" for text in (
            "Compressed scan-range size too large.", "Error seeking to scan-range data.",
            "Error reading scan-range data."))]),
    "src/kova-data-reader/blob/kvs_spectra_reader.cpp": ("spectra are read before they are handed out", [
        "Invalid call to getLineSpectrum(), line spectrum not read",
        "Invalid call to getProfileSpectrum(), profile spectrum not read"]),
    "src/kova-data-reader/blob/lzf.cpp": ("scans without data are not decompressed, and damage is told as a scan's", [
        "Must provide non-empty input stream.", "Input or output length exceeds maximum value of unsigned.",
        "Invalid input stream"]),
    "src/kova-data-reader/database/frame_info.cpp": ("the version is refused when the analysis is opened", [
        "Schema version not implemented in KvdReader::getFrameInfo()"]),
    "src/kova-data-reader/scan-reading/framewise_storage.cpp": ("stored scans are asked for by their own storage only", [
        "Unexpected call to getScanBlob for analysis with frame compression"]),
    "src/kova-data-reader/scan-reading/scanwise_storage.cpp": ("stored scans are asked for by their own storage only", [
        "Unexpected call to getDecompressedScanData for analysis with scan compression"]),
    "src/kova-data-reader/kvd_reader_impl.cpp": ("facades check the compression type, and a count has a row", [
        "Invalid configuration, no spectra reader supported", "Unexpectly missing frame information!"]),
    "src/kova-data-reader/scan-reading/normalization.cpp": ("the C interface passes known types only", [
        "decodeScanRange() : Unknown NormalizationType"]),
    "src/process-frames/full_profile_projector.cpp": ("capacities are not fixed here", ["Fixed capacity (…) exceeded."]),
    "src/process-frames/new_sumpeakfinder.cpp": ("the finder is given its own profile", [
        "there are less y values than specified"]),
    "src/zorel-msms-reader/zorel-msms-reader.cpp": ("the exported functions check their callbacks first", [
        "Missing callback for extract precursor"]),
}


def problems(raised: dict[str, str], page: list[str]):
    hidden = {text for _, texts in UNREACHABLE.values() for text in texts}
    for text in sorted({text for text in page if page.count(text) > 1}):
        yield f"twice on the page: {text}"
    for text, place in raised.items():
        if text in hidden and text not in UNREACHABLE.get(place, ("", []))[1]:
            yield f"{place}: said to be unreachable for another file: {text}"
        elif text not in hidden and text not in page:
            yield f"{place}: not on the page: {text}"
    for text in page:
        if text not in raised:
            yield f"on the page, but raised nowhere: {text}"
        elif text in hidden:
            yield f"on the page, but said to be unreachable: {text}"
    for text in sorted(hidden - raised.keys()):
        yield f"said to be unreachable, but raised nowhere: {text}"


def main() -> int:
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--source", type=pathlib.Path, default=PROJECT / "src")
    parser.add_argument("--page", type=pathlib.Path, default=PROJECT / "docs" / "when-something-goes-wrong.md")
    arguments = parser.parse_args()
    raised = error_texts.error_texts(arguments.source, SKIPPED_FOLDERS)
    page = ENTRY.findall(arguments.page.read_text(encoding="utf-8"))
    found = list(problems(raised, page))
    print("\n".join(found) if found else f"{len(page)} error texts are explained")
    return 1 if found or not page else 0


if __name__ == "__main__":
    sys.exit(main())
