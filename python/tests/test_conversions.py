"""Conversions of arrays, held against calls of the library with one value at a time."""

import ctypes

import numpy as np
import pytest

import kovadata
from kovadata._library import library

PAIRS = [("index_to_mz", "mz_to_index", "index_to_mz"), ("scan_to_one_over_k0", "one_over_k0_to_scan", "scannum_to_oneoverk0"),
         ("scan_to_voltage", "voltage_to_scan", "scannum_to_voltage")]


@pytest.mark.parametrize("there, back, function", PAIRS)
def test_arrays_are_converted_as_single_values_are(run, there, back, function):
    values = np.linspace(3.25, 190.5, 300).reshape(3, 100)
    converted = getattr(run, there)(1, values)
    assert converted.shape == (3, 100)
    one, result = ctypes.c_double(), ctypes.c_double()
    for value, expected in zip(values.flat, converted.flat):
        one.value = value
        run._run.call_lent(function, 1, ctypes.addressof(one), ctypes.addressof(result), 1)
        assert result.value == expected
    np.testing.assert_allclose(getattr(run, back)(1, converted), values, rtol=1e-9)
    single = getattr(run.frame(1), there)(values[0, 0])
    assert isinstance(single, np.float64) and single == converted[0, 0]
    assert getattr(run, there)(1, []).shape == (0,)


def test_results_in_place(run):
    values = np.arange(1000.0, 2000.0)
    expected = run.index_to_mz(1, values)
    out = np.zeros(1000)
    assert run.index_to_mz(1, values, out) is out and (out == expected).all()
    assert run.index_to_mz(1, values.astype(np.uint32), out) is out and (out == expected).all()
    run.index_to_mz(1, values, values)
    assert (values == expected).all()
    for refused, error in ((np.zeros(999), ValueError), (np.zeros(1000, np.float32), TypeError),
                           (np.zeros(2000)[::2], ValueError)):
        with pytest.raises(error):
            run.index_to_mz(1, values, refused)


def test_cross_sections_are_those_of_the_library_to_the_last_bit():
    random = np.random.default_rng(1)
    mobility, mz = random.uniform(0.4, 2, 3000), random.uniform(-10, 3000, 3000)
    charge = random.integers(-4, 5, 3000)
    area = kovadata.one_over_k0_to_ccs(mobility, charge, mz)
    back = kovadata.ccs_to_one_over_k0(mobility * 300, charge, mz)
    calls = library().kova_oneoverk0_to_ccs_for_mz, library().kova_ccs_to_oneoverk0_for_mz
    np.testing.assert_array_equal(area, [calls[0](k, int(z), m) for k, z, m in zip(mobility, charge, mz)])
    np.testing.assert_array_equal(back, [calls[1](c, int(z), m) for c, z, m in zip(mobility * 300, charge, mz)])
    assert kovadata.one_over_k0_to_ccs(1.0, 2, [600.0, 700.0]).shape == (2,)
    for call, error in ((lambda: kovadata.one_over_k0_to_ccs(1.0, 2.5, 600.0), TypeError), (lambda: kovadata.set_num_threads(0), ValueError)):
        with pytest.raises(error):
            call()
