"""Where an exported file comes from: the same words for every format."""

from __future__ import annotations

import hashlib
import json
import pathlib
from typing import Any, Dict

from .._version import __version__
from .source import Source


def describe(source: Source) -> Dict[str, Any]:
    """What was read, and how, as JSON can hold it. It has no date, so that equal exports are equal files."""
    plan, info = source.plan, source.analysis._run.info()
    state = info.calibration_state.decode("utf-8", "replace") if info.calibration_state else None
    filters = {"frames": plan.frames, "ms_level": plan.ms_level, "time": plan.time_range, "mz": plan.mz_range,
               "one_over_k0": plan.mobility_range, "min_intensity": plan.min_intensity or None, "top": plan.top}
    return {
        "writer": f"kovadata {__version__}", "run": source.analysis.path.name, "content": plan.content,
        "schema_version": f"{info.schema_major}.{info.schema_minor}",
        "calibration": f"re-calibrated state {state}" if state else "acquisition",
        "intensities": "normalised as the analysis asks for" if plan.normalized else "as measured",
        "filters": {name: value for name, value in filters.items() if value is not None},
        "units": {"time": "s", "mz": "Th", "one_over_k0": "V s / cm^2", "intensity": "counts"},
        "left_out": [{"frame": frame, "reason": text} for frame, text in sorted(source.damaged)],
    }


def metadata(source: Source) -> Dict[str, str]:
    """The same for files that have keys and values."""
    return {"kovadata": json.dumps(describe(source), ensure_ascii=False)}


def checksum(path: pathlib.Path) -> str:
    """SHA-1 of a file, which mzML asks for."""
    digest = hashlib.sha1()
    with path.open("rb") as file:
        while block := file.read(1 << 20):
            digest.update(block)
    return digest.hexdigest()
