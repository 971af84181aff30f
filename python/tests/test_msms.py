"""MS/MS spectra, held against what the command line tool prints."""

import math

import numpy as np
import pytest

import kovadata
from kovadata import _msms


def described(spectrum):
    about = spectrum.precursor
    return {"precursor": about.id, "frame": about.frame, "mz": about.mz, "charge": about.charge,
            "intensity": about.intensity, "time": about.time, "one_over_k0": about.one_over_k0,
            "peak_mz": spectrum.mz.tolist(), "peak_intensity": spectrum.intensity.tolist()}


@pytest.mark.parametrize("batch", [1000, 3])
def test_spectra_are_those_of_the_tool(run, kova, monkeypatch, batch):
    monkeypatch.setattr(_msms, "_BATCH", batch)
    expected = [{key: value for key, value in row.items() if value is not None} for row in kova("msms", run.path)]
    assert len(expected) > 10
    assert [described(spectrum) for spectrum in run.msms()] == expected
    some = [row["precursor"] for row in expected[2:7]]
    assert [described(spectrum) for spectrum in run.msms(some + some + [12345])] == expected[2:7]
    assert [described(spectrum) for spectrum in run.msms(frame=1)] == [row for row in expected if row["frame"] == 1]
    assert list(run.msms([])) == list(run.msms(frame=2)) == []


@pytest.mark.parametrize("batch", [1000, 3])
def test_profiles_are_those_of_the_tool(run, kova, monkeypatch, batch):
    monkeypatch.setattr(_msms, "_BATCH", batch)
    profiles, expected = list(run.msms(profile=True)), kova("msms", run.path, "--profile")
    for profile, row in zip(profiles, expected):
        assert {**described(profile), "bins": profile.bins, "peak_index": profile.tof_index.tolist()} == row
    assert len(profiles) == len(expected)
    dense = profiles[0].dense()
    assert len(dense) == profiles[0].bins and (np.flatnonzero(dense) == profiles[0].tof_index).all()
    out = np.full(profiles[0].bins + 2, -1, np.int32)
    assert (profiles[0].dense(out) == dense).all() and out[-2:].tolist() == [-1, -1]
    with pytest.raises(kovadata.BufferTooSmall):
        profiles[0].dense(out[:5])


def test_precursor_table(run, kova):
    table = {row["id"]: row for row in run.precursor_table()}
    for row in kova("msms", run.path):
        mine = table[row["precursor"]]
        assert (mine["frame"], mine["mz"], mine["charge"]) == (row["frame"], row["mz"], row["charge"])
    assert len(run.precursor_table("polars")) == len(table)


def test_what_fails_inside_a_callback_comes_out(run, monkeypatch):
    calls = []

    def interrupt(*arguments):
        calls.append(arguments)
        raise KeyboardInterrupt

    monkeypatch.setattr(_msms, "_copy_lines", interrupt)
    with pytest.raises(KeyboardInterrupt):
        list(run.msms())
    assert len(calls) == 1


def test_good_spectra_come_before_a_failure(small):
    """Precursor 4 is in frame 1, precursor 5 in frame 2, which is damaged."""
    analysis = small().calibrate()
    calibrated = {"MzCalibration": 1, "KovaCalibration": 1}
    analysis.add_frame([[(300, 9)]], **calibrated).add_frame([[(300, 9)]], block=bytes(8), **calibrated).execute(
        "CREATE TABLE Precursors (Id INTEGER PRIMARY KEY, Parent INTEGER, ScanNumber REAL)",
        "INSERT INTO Precursors VALUES (4, 1, 0), (5, 1, NULL)",
        "CREATE TABLE ZorelFrameMsMsInfo (Frame, Precursor, ScanNumBegin, ScanNumEnd)",
        "INSERT INTO ZorelFrameMsMsInfo VALUES (1, 4, 0, 1), (2, 5, 0, 1)")
    with kovadata.Analysis(analysis.write()) as read:
        spectra = read.msms(profile=True)
        profile = next(spectra)
        assert (profile.precursor.id, profile.tof_index.tolist()) == (4, [300])
        assert profile.precursor.charge is None and math.isnan(profile.precursor.mz)
        with pytest.raises(kovadata.KovaError, match="CorruptFrameDataError"):
            next(spectra)


def test_analyses_without_precursors(simulated, small):
    with kovadata.Analysis(small().add_frame([]).write()) as analysis:
        for selection in ({}, {"precursors": [1]}, {"frame": 1}):
            with pytest.raises(kovadata.KovaError, match="No Precursor table found|no such table: Precursors"):
                next(analysis.msms(**selection))
        assert len(analysis.precursor_table()) == 0
        with pytest.raises(TypeError):
            analysis.msms([1], frame=1)
