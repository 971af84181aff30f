"""What is known of the run: metadata, files, calibrations and which frames have them."""

from __future__ import annotations

import os
from typing import Any, Dict, List

import numpy as np

from .._base import nan_without_calibration
from .._figures import bytes_text, count_text
from ._panel import READING_ERRORS, Columns, Panel


class About(Panel):
    """Tables for the page; no figure."""

    def begin(self) -> None:
        metadata = self.run.analysis.metadata
        self.session.link.send("about", facts=self._facts(), metadata=list(metadata.items()),
                               calibrations=self._calibrations())

    def _facts(self) -> List[Any]:
        run, table = self.run, self.run.table
        facts = [("Directory", run.named.path), ("Kind", "with ion mobility" if run.has_mobility else "spectra without mobility")]
        facts += [(name.replace("1/K0", "1/K\u2080"), value) for name, value in run.analysis._known_facts()]
        peaks = table["peaks"]
        if len(table) and (peaks >= 0).all():
            facts.append(("peaks", count_text(int(peaks.sum()))))
        for name in sorted(os.listdir(run.named.path)):
            size = os.path.join(run.named.path, name)
            if os.path.isfile(size):
                facts.append((name, bytes_text(os.path.getsize(size))))
        return facts

    def _calibrations(self) -> List[Dict[str, Any]]:
        """Pairs of calibrations that frames have, and what the axes of the first such frame reach over."""
        table, found = self.run.table, []
        if not len(table):
            return []
        pairs = np.unique(np.column_stack([table["mz_calibration"], table["mobility_calibration"]]), axis=0)
        for mass, mobility in pairs[:50]:
            chosen = table[(table["mz_calibration"] == mass) & (table["mobility_calibration"] == mobility)]
            found.append({"mz": int(mass), "mobility": int(mobility), "frames": len(chosen),
                          "first": int(chosen["id"][0]), **self._ends(int(chosen["id"][0]), int(chosen["scans"][0]))})
        return found

    def _ends(self, frame: int, scans: int) -> Dict[str, Any]:
        analysis = self.run.analysis
        ends: Dict[str, Any] = {}
        try:
            ends["mz_ends"] = nan_without_calibration(analysis.index_to_mz, frame, np.array([0.0, self.run.num_bins - 1.0]))
            if self.run.has_mobility and scans > 0:
                ends["mobility_ends"] = nan_without_calibration(analysis.scan_to_one_over_k0, frame, np.array([0.0, scans - 1.0]))
        except READING_ERRORS as error:
            ends["error"] = str(error)
        return ends

    def numbers(self, figure: str) -> Columns:
        return {}

    def code(self, figure: str) -> None:
        return None
