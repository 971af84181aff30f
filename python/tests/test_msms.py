"""MS/MS spectra, held against what the command line tool prints."""

import sys

import numpy as np
import pytest

import kovadata


def described(spectrum):
    about = spectrum.precursor
    return {"precursor": about.id, "frame": about.frame, "mz": about.mz, "charge": about.charge,
            "intensity": about.intensity, "time": about.time, "one_over_k0": about.one_over_k0,
            "peak_mz": spectrum.mz.tolist(), "peak_intensity": spectrum.intensity.tolist()}


@pytest.mark.parametrize("threads", [None, 1, 3])
def test_spectra_are_those_of_the_tool(run, kova, threads):
    expected = [{key: value for key, value in row.items() if value is not None} for row in kova("msms", run.path)]
    assert len(expected) > 10
    assert [described(spectrum) for spectrum in run.msms(threads=threads)] == expected
    some = [row["precursor"] for row in expected[2:7]]
    assert [described(spectrum) for spectrum in run.msms(some + some + [12345], threads=threads)] == expected[2:7]
    assert [described(spectrum) for spectrum in run.msms(frame=1)] == [row for row in expected if row["frame"] == 1]
    assert list(run.msms([])) == list(run.msms(frame=2)) == []


def test_profiles_are_those_of_the_tool(run, kova):
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
        area = kovadata.one_over_k0_to_ccs(row["one_over_k0"], row["charge"], row["mz"])
        assert (mine["frame"], mine["mz"], mine["charge"], mine["one_over_k0"], mine["ccs"]) == (
            row["frame"], row["mz"], row["charge"], row["one_over_k0"], area)
    assert len(run.precursor_table("polars")) == len(table)


@pytest.mark.parametrize("package, convert, described", [
    ("spectrum_utils", "to_spectrum_utils", lambda one: (one.precursor_mz, one.precursor_charge, one.retention_time, one.mz, one.intensity)),
    ("matchms", "to_matchms", lambda one: (one.get("precursor_mz"), one.get("charge"), one.get("retention_time"), one.peaks.mz,
                                           one.peaks.intensities))])
def test_spectra_for_other_packages(run, monkeypatch, package, convert, described):
    spectrum = next(one for one in run.msms() if one.precursor.charge)
    with monkeypatch.context() as context:
        context.setitem(sys.modules, package, None)
        with pytest.raises(ImportError, match=f"pip install {package}"):
            getattr(spectrum, convert)()
    pytest.importorskip(package)
    *about, mz, intensity = described(getattr(spectrum, convert)())
    assert about == [spectrum.precursor.mz, spectrum.precursor.charge, spectrum.precursor.time]
    np.testing.assert_allclose(mz, spectrum.mz, rtol=1e-6)
    np.testing.assert_array_equal(intensity, spectrum.table()["intensity"])


def test_analyses_without_precursors(simulated, small):
    with kovadata.Analysis(small().add_frame([]).write()) as analysis:
        for selection in ({}, {"precursors": [1]}, {"frame": 1}):
            with pytest.raises(kovadata.KovaError, match="No Precursor table found|no such table: Precursors"):
                next(analysis.msms(**selection))
        assert len(analysis.precursor_table()) == 0
        with pytest.raises(TypeError):
            analysis.msms([1], frame=1)
