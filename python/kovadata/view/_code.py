"""Programs that make the pictures of the page, for people to run and to change.

They use kovadata and bokeh, which whoever sees the page has, and write the picture to a page of its own that needs no network.
"""

from __future__ import annotations

import math
import re
from typing import Any, List, Optional, Sequence, Tuple

from ._box import Box

Limits = Tuple[Optional[Tuple[float, float]], Optional[Tuple[float, float]]]

_HEAD = """import kovadata
import numpy as np
from bokeh.plotting import figure, output_file, save{imports}

with kovadata.open({path!r}{calibration}) as analysis:
{reading}

plot = figure(title={title!r}, x_axis_label={x!r}, y_axis_label={y!r}, width=1000, height={height}{limits})
{drawing}
output_file({file!r}, mode="inline")
save(plot)
"""
_MZ, _MOBILITY, _COUNTS = "m/z (Th)", "1/K\u2080 (V s cm\u207b\u00b2)", "intensity (counts)"
_COLOURS = """colours = LogColorMapper("Inferno256", low=max(values[values > 0].min(initial=1), 1), high=max(values.max(), 2),
                         nan_color="white")
"""
_IMAGE = _COLOURS + """shown = np.where(values > 0, values, np.nan)
plot.image([shown], x=x_edges[0], y=y_edges[0], dw=np.ptp(x_edges), dh=np.ptp(y_edges), color_mapper=colours)
plot.add_layout(ColorBar(color_mapper=colours), "right")"""
_STEMS = "plot.segment(mz, 0, mz, intensity)"


def program(run: Any, name: str, title: str, labels: Tuple[str, str], reading: str, drawing: str, *, limits: Limits = (None, None),
            imports: str = "", height: int = 400) -> str:
    """A program; `reading` is indented here."""
    ranges = "".join(f", {axis}_range=({ends[0]!r}, {ends[1]!r})" for axis, ends in zip("xy", limits) if ends is not None)
    calibration = "" if run.calibration == "off" else f", calibration={run.calibration!r}"
    text = _HEAD.format(path=run.named.path, calibration=calibration, title=f"{run.name}: {title}", x=labels[0], y=labels[1],
                        reading="\n".join("    " + line if line else "" for line in reading.splitlines()), drawing=drawing,
                        limits=ranges, imports=imports, height=height, file=f"{name}.html")
    return text if "np." in text else text.replace("import numpy as np\n", "")


def chromatogram(run: Any, kind: str) -> str:
    """Total ion or base peak chromatogram."""
    what = "total ion chromatogram" if kind == "tic" else "base peak chromatogram"
    divided = {60.0: " / 60", 1.0: ""}.get(run.seconds_per_unit)
    x = '["id"]' if divided is None else f'["time"]{divided}'
    if not run.has_mobility:
        form = "profile()" if run.analysis.has_profiles else "lines().intensity"
        reduced = "sum(dtype=float)" if kind == "tic" else "max(initial=0)"
        reading = (f"table = analysis.spectrum_table()\n"
                   f"intensity = np.array([spectrum.{form}.{reduced} for spectrum in analysis.spectra()], float)")
        return program(run, kind, what, (run.time_label, _COUNTS), reading, f"plot.line(table{x}, intensity)")
    if kind == "tic":
        reading = 'table = analysis.frame_table(complete=True)\nintensity = table["intensity_sum"]'
    else:
        reading = ("table = analysis.frame_table()\n"
                   'intensity = analysis.chromatograms(None, ms_level=None, reduce="max").intensity[0]')
    drawing = ('for level, name, colour in ((1, "MS1", "#0072B2"), (2, "MS/MS", "#D55E00"), (-1, "all", "#0072B2")):\n'
               '    chosen = table["ms_level"] == level\n    if chosen.any():\n'
               f"        plot.line(table{x}[chosen], intensity[chosen], color=colour, legend_label=name)")
    return program(run, kind, what, (run.time_label, _COUNTS), reading, drawing)


def frame(run: Any, figure: str, loaded: Any, limits: Limits) -> str:
    """The map of a frame, its spectrum or its mobilogram."""
    number, (x, y) = loaded.frame.id, limits
    x_label, y_label = loaded.labels
    mask = _mask((("peaks.mz" if loaded.has_mz else "peaks.tof_index", x),
                  ("peaks.one_over_k0" if loaded.has_mobility else "peaks.scan", None if figure == "frame_mobilogram" else y)))
    reading = f"frame = analysis.frame({number})\npeaks = frame.peaks()\npeaks = peaks[{mask}]"
    if figure == "frame_map":
        return _map(run, loaded, limits, reading)
    if figure == "frame_spectrum":
        position = "mz" if loaded.has_mz else "tof_index"
        reading += (f"\nindex, first, place = np.unique(peaks.tof_index, return_index=True, return_inverse=True)\n"
                    f"mz, intensity = peaks.{position}[first], np.bincount(place, peaks.intensity)")
        return program(run, f"spectrum-{number}", f"spectrum of frame {number}", (x_label, _COUNTS), reading, _STEMS,
                       limits=(x, None))
    reading += "\nscan = np.arange(frame.num_scans)\nintensity = np.bincount(peaks.scan, peaks.intensity, len(scan))"
    if loaded.has_mobility:
        reading += "\nmobility = frame.scan_to_one_over_k0(scan)"
    drawing = f"plot.line(intensity, {'mobility' if loaded.has_mobility else 'scan'})"
    return program(run, f"mobilogram-{number}", f"mobilogram of frame {number}", (_COUNTS, y_label), reading, drawing,
                   limits=(None, y))


def _map(run: Any, loaded: Any, limits: Limits, reading: str) -> str:
    number, (x, y) = loaded.frame.id, limits
    if loaded.has_mz and loaded.has_mobility:
        reading = (f"image = analysis.image(\"mz\", \"one_over_k0\", frames=[{number}], ms_level=None, bins=(900, 420),\n"
                   f"                       mz_range={x!r}, mobility_range={y!r})\n"
                   "values, x_edges, y_edges = image.values, image.x_edges, image.y_edges")
    else:
        columns = ("mz" if loaded.has_mz else "tof_index", "one_over_k0" if loaded.has_mobility else "scan")
        reading += (f"\nvalues, y_edges, x_edges = np.histogram2d(peaks.{columns[1]}, peaks.{columns[0]}, (300, 900),\n"
                    f"                                         ({y!r}, {x!r}), weights=peaks.intensity)")
    return program(run, f"frame-{number}", f"frame {number}", loaded.labels, reading, _IMAGE, limits=limits, height=520,
                   imports="\nfrom bokeh.models import ColorBar, LogColorMapper")


def _mask(ranges: Sequence[Tuple[str, Any]]) -> str:
    parts = [f"({name} >= {ends[0]!r}) & ({name} <= {ends[1]!r})" for name, ends in ranges if ends is not None]
    return " & ".join(parts) or "slice(None)"


def spectrum(run: Any, number: int, limits: Any, has_profiles: bool) -> str:
    """A spectrum without mobility."""
    reading = f"spectrum = analysis.spectrum({number})\n"
    if has_profiles:
        reading += ("profile = spectrum.profile()\nmz = spectrum.index_to_mz(np.arange(len(profile)))\n")
        drawing = "plot.line(mz, profile)"
        if run.analysis.has_lines:
            reading += "lines = spectrum.lines()"
            drawing += '\nplot.segment(lines.mz, 0, lines.mz, -lines.intensity.astype(float), color="#D55E00")'
    else:
        reading += "lines = spectrum.lines()\nmz, intensity = lines.mz, lines.intensity"
        drawing = _STEMS
    return program(run, f"spectrum-{number}", f"spectrum {number}", (_MZ, _COUNTS), reading, drawing, limits=(limits, None))


def run_map(run: Any, axis: str, cells: Any) -> str:
    """The run over time and another axis."""
    unit = run.seconds_per_unit
    x, y = ((float(edges[0]), float(edges[-1])) for edges in (cells.x_edges, cells.y_edges))
    seconds = x[0] * unit, x[1] * unit
    limit = "mz_range" if axis == "mz" else "mobility_range"
    reading = (f"image = analysis.image(\"time\", {axis!r}, bins={(cells.values.shape[1], cells.values.shape[0])!r}, "
               f"ms_level={run.default_level!r},\n                       time_range={seconds!r}, {limit}={y!r})\n"
               f"values, x_edges, y_edges = image.values, image.x_edges / {unit!r}, image.y_edges")
    label = _MZ if axis == "mz" else _MOBILITY
    return program(run, f"run-{axis}", f"time and {axis}", (run.time_label, label), reading, _IMAGE, limits=(x, y), height=520,
                   imports="\nfrom bokeh.models import ColorBar, LogColorMapper")


def boxes(run: Any, figure: str, shown: List[Box]) -> str:
    """What boxes hold, in one figure."""
    what = {"box_chromatogram": "chromatograms", "box_mobilogram": "mobilograms", "box_spectrum": "summed_spectrum"}[figure]
    if figure == "box_spectrum":
        box = shown[0]
        reading = (f"found = analysis.summed_spectrum(mz_range={_ends(box.mz)}, mobility_range={_ends(box.mobility)},\n"
                   f"                                 time_range={_ends(box.time)}, ms_level={box.level or run.default_level!r})\n"
                   "mz, intensity = found.mz, found.intensity")
        return program(run, _file_name(box.name), box.name, (_MZ, _COUNTS), reading, _STEMS)
    listed = "".join(f"    ({box.name!r}, {_ends(box.mz)}, {_ends(box.mobility)}, {_ends(box.time)}, {box.level or run.default_level!r}),\n" for box in shown)
    divided = {60.0: " / 60", 1.0: ""}.get(run.seconds_per_unit)
    if figure == "box_chromatogram":
        x, label = ("one.frame" if divided is None else f"one.time{divided}"), run.time_label
    else:
        x, label = ("one.one_over_k0", _MOBILITY) if run.has_mobility_calibration else ("one.scan", "mobility scan")
    reading = (f"boxes = [  # name, m/z, 1/K0, time in s, MS level\n{listed}]\nfound = [\n"
               f"    (name, analysis.{what}(mz and [mz], mobility_ranges=mobility and [mobility], time_range=time,\n"
               f"     {' ' * len(what)}                ms_level=level))\n    for name, mz, mobility, time, level in boxes]")
    drawing = ("colours = ['#0072B2', '#D55E00', '#009E73', '#AA4499', '#3A9BD9', '#B07D00', '#8C8200', '#666666']\n"
               f"for (name, one), colour in zip(found, colours):\n    plot.line({x}, one.intensity[0], color=colour, legend_label=name)")
    return program(run, figure, what, (label, _COUNTS), reading, drawing)


def _ends(limits: Optional[Tuple[float, float]]) -> str:
    """A range as an argument, in which an open end is None."""
    return repr(limits and tuple(end if math.isfinite(end) else None for end in limits))


def msms(run: Any, precursor: int) -> str:
    """The MS/MS spectrum of a precursor."""
    reading = f"[found] = analysis.msms([{precursor}])\nmz, intensity = found.mz, found.intensity"
    return program(run, f"msms-{precursor}", f"MS/MS of precursor {precursor}", (_MZ, _COUNTS), reading, _STEMS)


def isotopes(run: Any, number: int, scans: Tuple[int, int], limits: Tuple[float, float]) -> str:
    """A precursor in its survey frame."""
    mask = _mask((("peaks.mz", limits),)) + f" & (peaks.scan >= {scans[0]}) & (peaks.scan < {scans[1]})"
    reading = (f"peaks = analysis.frame({number}).peaks()\npeaks = peaks[{mask}]\n"
               "index, first, place = np.unique(peaks.tof_index, return_index=True, return_inverse=True)\n"
               "mz, intensity = peaks.mz[first], np.bincount(place, peaks.intensity)")
    return program(run, f"isotopes-{number}", f"isotope pattern in frame {number}", (_MZ, _COUNTS), reading, _STEMS,
                   limits=(limits, None))


def difference(run: Any, number: int, first: str, second: str) -> str:
    """The difference of two calibration states."""
    reading = (f"index = np.linspace(0, {run.num_bins - 1}, 1000)\n"
               f"with kovadata.open({run.named.path!r}, calibration={first!r}) as one:\n"
               f"    mz = one.index_to_mz({number}, index)\n"
               f"with kovadata.open({run.named.path!r}, calibration={second!r}) as other:\n"
               f"    others = other.index_to_mz({number}, index)")
    return program(run, "difference", f"{second} less {first}", (_MZ, "difference (ppm)"), reading,
                   "plot.line(mz, 1e6 * (others - mz) / mz)")


def _file_name(text: str) -> str:
    return re.sub(r"[^\w-]+", "-", text).strip("-") or "box"
