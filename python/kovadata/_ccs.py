"""Collisional cross sections of whole arrays."""

from __future__ import annotations

from typing import overload

import numpy as np
import numpy.typing as npt

from ._arrays import Converted, Float64

# The values and the order of operations are those of the library, so that results are the same to the last bit.
_ELECTRON_MASS = 0.00054857990946
_GAS_MASS = 28.0134
_TEMPERATURE = 305.0
_FACTOR = 18509.863216340458


@overload
def one_over_k0_to_ccs(one_over_k0: float, charge: int, mz: float) -> np.float64: ...


@overload
def one_over_k0_to_ccs(one_over_k0: npt.ArrayLike, charge: npt.ArrayLike, mz: npt.ArrayLike) -> Float64: ...


def one_over_k0_to_ccs(one_over_k0: npt.ArrayLike, charge: npt.ArrayLike, mz: npt.ArrayLike) -> Converted:
    """Collisional cross sections in nitrogen of ions with given 1/K0, charge and m/z.

    The same numbers as ``kova_oneoverk0_to_ccs_for_mz`` gives one at a time. The arguments are broadcast against each
    other.

    Parameters
    ----------
    one_over_k0 : array_like of float64
        1/K0 in V s / cm^2.
    charge : array_like of int
        Charge numbers with their signs. 0 gives 0.
    mz : array_like of float64
        m/z in Th.

    Returns
    -------
    ndarray of float64 or float64
        CCS in square angstrom; NaN where the mass is negative.
    """
    with np.errstate(all="ignore"):
        k0 = 1.0 / np.asarray(one_over_k0, np.float64)
        return _scaled_charge(charge) / (k0 * _root_of_reduced_mass(charge, mz))


@overload
def ccs_to_one_over_k0(ccs: float, charge: int, mz: float) -> np.float64: ...


@overload
def ccs_to_one_over_k0(ccs: npt.ArrayLike, charge: npt.ArrayLike, mz: npt.ArrayLike) -> Float64: ...


def ccs_to_one_over_k0(ccs: npt.ArrayLike, charge: npt.ArrayLike, mz: npt.ArrayLike) -> Converted:
    """1/K0 of ions with given collisional cross section, charge and m/z; the inverse of `one_over_k0_to_ccs`.

    Parameters
    ----------
    ccs : array_like of float64
        Collisional cross sections in square angstrom.
    charge : array_like of int
        Charge numbers with their signs. 0 gives infinity.
    mz : array_like of float64
        m/z in Th.

    Returns
    -------
    ndarray of float64 or float64
        1/K0 in V s / cm^2.
    """
    with np.errstate(all="ignore"):
        area = np.asarray(ccs, np.float64)
        return 1.0 / (_scaled_charge(charge) / (area * _root_of_reduced_mass(charge, mz)))


def _whole(charge: npt.ArrayLike) -> np.ndarray:
    whole = np.asarray(charge)
    if whole.dtype.kind not in "iu":
        raise TypeError("charges must be integers")
    return whole.astype(np.float64)


def _scaled_charge(charge: npt.ArrayLike) -> np.ndarray:
    return np.abs(_whole(charge)) * _FACTOR


def _root_of_reduced_mass(charge: npt.ArrayLike, mz: npt.ArrayLike) -> np.ndarray:
    number = _whole(charge)
    ratio = np.asarray(mz, np.float64)
    mass = np.where(number == 0, ratio, ratio * np.abs(number) + number * _ELECTRON_MASS)
    return np.sqrt(mass * _GAS_MASS / (mass + _GAS_MASS) * _TEMPERATURE)
