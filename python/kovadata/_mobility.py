"""What a frame needs of its analysis: reading its scans, and conversions of the mobility axis."""

from __future__ import annotations

import os
from typing import Optional, Union

import numpy as np

from ._arrays import Converted, Out, Values, conversion
from ._base import BaseAnalysis, nan_without_calibration
from ._description import Facts, range_fact
from ._scan_reader import ScanReader


class MobilityAnalysis(BaseAnalysis):
    """An open analysis with ion mobility, one frame at a time."""

    _blob_name = "analysis.kvd_bin"

    def _prepare(self, path: Union[str, os.PathLike[str]], recalibrated: bool, calibration: Optional[str]) -> None:
        super()._prepare(path, recalibrated, calibration)
        self._scan_reader = ScanReader(self._run)

    def _ranges(self, frame: int, scans: int) -> Facts:
        """By the calibration of the frame."""
        ends = np.array([0.0, self._run.info().num_bins - 1.0]), np.arange(0.0, max(scans, 0), max(scans - 1, 1))
        mz, one_over_k0 = (nan_without_calibration(convert, frame, values)
                           for convert, values in zip((self.index_to_mz, self.scan_to_one_over_k0), ends))
        return range_fact("m/z", mz, 1, "") + range_fact("1/K0", one_over_k0, 3, "")

    @conversion
    def scan_to_one_over_k0(self, frame: int, scan: Values, out: Out = None) -> Converted:
        """Converts scan numbers, fractional and counted from 0, to 1/K0 in V s / cm^2, as `index_to_mz` does to m/z."""
        return self._convert("scannum_to_oneoverk0", frame, scan, out)

    @conversion
    def one_over_k0_to_scan(self, frame: int, one_over_k0: Values, out: Out = None) -> Converted:
        """The inverse of `scan_to_one_over_k0`, called in the same way."""
        return self._convert("oneoverk0_to_scannum", frame, one_over_k0, out)

    @conversion
    def scan_to_voltage(self, frame: int, scan: Values, out: Out = None) -> Converted:
        """Converts scan numbers to voltages of the mobility ramp in V, which are negative in negative mode; called as
        `scan_to_one_over_k0` is."""
        return self._convert("scannum_to_voltage", frame, scan, out)

    @conversion
    def voltage_to_scan(self, frame: int, voltage: Values, out: Out = None) -> Converted:
        """The inverse of `scan_to_voltage`, called in the same way."""
        return self._convert("voltage_to_scannum", frame, voltage, out)
