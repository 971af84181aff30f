"""What a frame needs of its analysis: reading its scans, and conversions of the mobility axis."""

from __future__ import annotations

import os
from typing import Optional, Union

from ._arrays import Converted, Out, Values
from ._base import BaseAnalysis
from ._scan_reader import ScanReader


class MobilityAnalysis(BaseAnalysis):
    """An open analysis with ion mobility, one frame at a time."""

    _blob_name = "analysis.kvd_bin"

    def _prepare(self, path: Union[str, os.PathLike[str]], recalibrated: bool, calibration: Optional[str]) -> None:
        super()._prepare(path, recalibrated, calibration)
        self._scan_reader = ScanReader(self._run)

    def scan_to_one_over_k0(self, frame: int, scan: Values, out: Out = None) -> Converted:
        """Converts scan numbers to 1/K0.

        Parameters
        ----------
        frame : int
            "Id" of the frame, whose calibration is used.
        scan : array_like of float64
            Scan numbers, fractional, counted from 0.
        out : ndarray of float64, optional
            Receives the result in place; contiguous, of the shape of `scan`. May be `scan` itself.

        Returns
        -------
        ndarray of float64
            1/K0 in V s / cm^2; `out` if that was passed.

        Raises
        ------
        KovaError
            There is no such frame, or it has no mobility calibration.
        """
        return self._convert("scannum_to_oneoverk0", frame, scan, out)

    def one_over_k0_to_scan(self, frame: int, one_over_k0: Values, out: Out = None) -> Converted:
        """Converts 1/K0 in V s / cm^2 to scan numbers; the inverse of `scan_to_one_over_k0`.

        Parameters
        ----------
        frame : int
            "Id" of the frame, whose calibration is used.
        one_over_k0 : array_like of float64
            1/K0 in V s / cm^2.
        out : ndarray of float64, optional
            Receives the result in place; contiguous, of the shape of `one_over_k0`.

        Returns
        -------
        ndarray of float64
            Fractional scan numbers, counted from 0; `out` if that was passed.
        """
        return self._convert("oneoverk0_to_scannum", frame, one_over_k0, out)

    def scan_to_voltage(self, frame: int, scan: Values, out: Out = None) -> Converted:
        """Converts scan numbers to voltages of the mobility ramp, which are negative in negative mode.

        Parameters
        ----------
        frame : int
            "Id" of the frame, whose calibration is used.
        scan : array_like of float64
            Scan numbers, fractional, counted from 0.
        out : ndarray of float64, optional
            Receives the result in place; contiguous, of the shape of `scan`.

        Returns
        -------
        ndarray of float64
            Voltages in V; `out` if that was passed.
        """
        return self._convert("scannum_to_voltage", frame, scan, out)

    def voltage_to_scan(self, frame: int, voltage: Values, out: Out = None) -> Converted:
        """Converts voltages of the mobility ramp in V to scan numbers; the inverse of `scan_to_voltage`.

        Parameters
        ----------
        frame : int
            "Id" of the frame, whose calibration is used.
        voltage : array_like of float64
            Voltages in V.
        out : ndarray of float64, optional
            Receives the result in place; contiguous, of the shape of `voltage`.

        Returns
        -------
        ndarray of float64
            Fractional scan numbers, counted from 0; `out` if that was passed.
        """
        return self._convert("voltage_to_scannum", frame, voltage, out)
