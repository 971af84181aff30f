"""Analyses without ion mobility."""

import numpy as np
import pytest

import kovadata


def test_spectra_are_those_of_the_tool(simulated, kova):
    with kovadata.open(simulated("spectra")) as analysis:
        assert isinstance(analysis, kovadata.SpectrumAnalysis)
        assert (analysis.has_lines, analysis.has_widths, analysis.has_profiles) == (True, True, True)
        for spectrum in analysis.spectra():
            lines, expected = spectrum.lines(), kova("spectrum", analysis.path, "--frame", spectrum.id)
            for mine, name in ((lines.position, "index"), (lines.intensity, "intensity"), (lines.width, "width"),
                               (lines.mz, "mz")):
                np.testing.assert_array_equal(mine, np.array(expected[name], mine.dtype))
            profile = kova("spectrum", analysis.path, "--frame", spectrum.id, "--profile")
            assert spectrum.profile().tolist() == profile["intensity"]
            np.testing.assert_allclose(spectrum.mz_to_index(lines.mz), lines.position, rtol=1e-9)
        assert [spectrum.id for part in analysis.partitions(2) for spectrum in analysis.spectra(part)] == [1, 2, 3]


def test_spectra_fill_buffers_in_place(simulated):
    with kovadata.open(simulated("spectra")) as analysis:
        spectrum = analysis.spectrum(2)
        own, n = spectrum.lines(), len(spectrum.lines())
        out = np.full(n, -1.0), np.full(n, -1, np.float32), np.full(n, -1, np.float32)
        lines = spectrum.lines(out)
        assert np.shares_memory(lines.position, out[0]) and (out[0] == own.position).all() and (out[2] == own.width).all()
        bins = len(spectrum.profile())
        profile = np.full(bins + 1, 0x99, np.uint32)
        assert (spectrum.profile(profile) == spectrum.profile()).all() and profile[-1] == 0x99
        for call in (lambda: spectrum.lines(tuple(array[:5] for array in out)), lambda: spectrum.profile(profile[:5])):
            with pytest.raises(kovadata.BufferTooSmall) as failure:
                call()
            assert failure.value.needed in (n, bins)
        with pytest.raises(ValueError):
            spectrum.lines((out[0], out[1][:5], out[2]))
        with pytest.raises(TypeError):
            spectrum.lines((out[0], out[1]))


def test_empty_spectra_and_failures_are_told_apart(small):
    analysis = small(scheme=3, parts="l").add_spectrum([(5.5, 2.0)]).add_spectrum().add_spectrum(block=b"\1\0\0\0")
    with kovadata.open(analysis.write()) as read:
        assert not read.has_widths
        first = read.spectrum(1).lines()
        assert (first.position.tolist(), first.intensity.tolist(), first.width) == ([5.5], [2.0], None)
        assert np.isnan(first.mz).all()
        assert len(read.spectrum(2).lines()) == 0 and len(read.spectrum(2).lines((np.empty(0), np.empty(0, "f4")))) == 0
        for call in (lambda: read.spectrum(3).lines(), lambda: read.spectrum(9)):
            with pytest.raises(kovadata.KovaError):
                call()
        for _ in range(2):
            with pytest.raises(kovadata.KovaError, match="No profile spectra supported in this analysis."):
                read.spectrum(1).profile()
