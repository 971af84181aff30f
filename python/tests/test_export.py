"""Exports, read back by programs that nobody here wrote. What --check compares is every value, so most cases only ask for it."""

import hashlib
import pathlib
import re
import resource
import signal
import subprocess
import sys

import duckdb
import numpy as np
import polars
import pyarrow.dataset
import pyarrow.parquet
import pytest
from pyteomics import mzml

import kovadata
import kovadata._export as exporting
from kovadata._export import command, mz_sort, plan as plans


@pytest.fixture
def call(tmp_path, monkeypatch, capsys):
    """Runs the command in this process, in the test's folder."""
    monkeypatch.chdir(tmp_path)

    def run(*arguments):
        try:
            status = command.main([str(one) for one in arguments])
        except SystemExit as end:
            status = end.code
        return (status, *capsys.readouterr())

    return run


@pytest.fixture
def defective(small):
    """Four frames of 60 peaks, of which the third is damaged; precursor 1 was fragmented in frame 2, and 2 in frame 3."""
    analysis = small()
    for number in range(1, 5):
        scans = [[(100 * scan + number + 3 * peak, 5 + peak) for peak in range(6)] for scan in range(10)]
        analysis.add_frame(scans, block=b"\7" * 30 if number == 3 else None, MzCalibration=1, KovaCalibration=1,
                           MsMsType=0 if number in (1, 4) else 8, NumPeaks=60)
    return analysis.calibrate().execute(
        "CREATE TABLE Precursors (Id, Parent, ScanNumber)", "INSERT INTO Precursors VALUES (1, 1, 3), (2, 1, 4)",
        "CREATE TABLE ZorelFrameMsMsInfo (Frame, Precursor, ScanNumBegin, ScanNumEnd)",
        "INSERT INTO ZorelFrameMsMsInfo VALUES (2, 1, 0, 5), (3, 2, 0, 5)").write()


@pytest.mark.parametrize(("name", "options", "analysis"), [(*one, "run") for one in (
    ("a b.parquet", {}), ("ü.parquet", {"layout": "mz"}), ("a.parquet", {"compression": "lz4", "min_intensity": 9.5, "threads": 1}),
    ("a.parquet", {"columns": ["mz", "scan", "ms_level", "time"], "ms_level": 2}),
    ("a.parquet", {"layout": "mz", "mz_range": (400, 900), "mobility_range": (0.8, None), "normalized": False}),
    ("a.parquet", {"columns": ["frame", "mz"], "mobility": "drop"}), ("a.parquet", {"content": "frames", "time_range": (0.2, None)}),
    ("a.parquet", {"content": "precursors", "mobility_range": (0.9, 1.1)}), ("a.parquet", {"content": "msms", "top": 7}),
    ("a.arrow", {"frames": [1, (3, 5)]}), ("a.feather", {"content": "msms", "min_intensity": 20}),
    ("a.mzML", {"recalibrated": True}), ("a.mzML", {"mobility": "sum", "threads": 1}), ("ä b.mzML.gz", {"ms_level": 2, "top": 5}),
    ("a.mzML", {"mz_range": (None, 700), "mobility_range": (0.8, 1.1), "min_intensity": 8, "compression": "none"}),
    ("a.mzML", {"compression": "numpress"}), ("a.mzML", {"compression": "zstd"}), ("a.mzMLb", {"top": 30}), ("a.mgf", {"top": 20, "mz_range": (200, 900)}), ("a.ms2", {"frames": [1]}))] + [
    ("a.parquet", {"layout": "mz"}, "by_scan"), ("a.mzML", {}, "by_scan"), ("a.parquet", {"mz_range": (300, None)}, "spectra"),
    ("a.arrow", {}, "spectra"), ("a.mzML", {"min_intensity": 9}, "spectra"), ("a.mzMLb", {}, "spectra")])
def test_every_value_reads_back(simulated, tmp_path, name, options, analysis):
    path = simulated(analysis)
    if options.get("compression") in ("numpress", "zstd"):
        pytest.importorskip({"numpress": "pynumpress", "zstd": "zstandard"}[options["compression"]])
    done = kovadata.export(path, tmp_path / name, check=True, **options)
    assert done.checked.startswith("checked: ") and done.bytes == (tmp_path / name).stat().st_size
    again = kovadata.export(path, tmp_path / f"again {name}", **options)
    # The fast zlib may compress equal arrays in different ways.
    assert "mzML" in name or (tmp_path / f"again {name}").read_bytes() == (tmp_path / name).read_bytes()
    assert done.rows == again.rows > 0 and len(list(tmp_path.iterdir())) == 2


@pytest.mark.parametrize(("name", "options", "change", "text"), [
    ("a.parquet", {}, ("intensity", 1), r"frame 3, peak 17: intensity is \d+ in the file, \d+ in the analysis"),
    ("a.parquet", {"layout": "mz"}, ("mz", 1e-9), r"frame \d+, peak \d+: mz is "),
    ("a.parquet", {"content": "msms"}, ("charge", 1), "row 0: charge is "), ("a.parquet", {}, None, r"frame 3: \d+ peaks in the file, "),
    ("a.parquet", {"content": "frames"}, ("time", 1.0), "row 0: time is "),
    ("a.mgf", {}, (r"(CHARGE=)\d", r"\g<1>9"), r"spectrum 1, precursor \d+: charge is 9.0 in the file"),
    ("a.mgf", {}, (r"\n(\d+)\.(\d+) ", r"\n\g<1>.0\2 "), "spectrum 1, precursor .*, peak 0: m/z is "),
    ("a.ms2", {}, (r"IonMobility\t\d", r"IonMobility\t7"), "1/K0 is 7"),
    ("a.mzML", {}, ("<scan>", "<scam>"), "not valid by the XML schema"),
    ("a.mzML", {}, (r'(MS:1000744" name="selected ion m/z" value=")\d', r"\g<1>7"), "spectrum .*: precursor m/z is 7"),
    ("a.mzML", {"compression": "none"}, (r"(?<=<binary>).{6}", "AAAAAA"), "spectrum .*, peak 0: m/z is "),
    ("a.mzML", {}, (r"(?s)<spectrum ((?!<spectrum ).)*</spectrum>\s*</spectrumList", "</spectrumList"), "is not in the file, which has ")])
def test_a_check_tells_the_place_of_the_first_difference(simulated, tmp_path, monkeypatch, name, options, change, text):
    usual = exporting._writer

    def spoiled(plan):
        def write(source, path):
            rows = usual(plan)(source, path)
            if name != "a.parquet":
                changed = re.sub(*change, path.read_text(), count=1)
                assert changed != path.read_text()
                path.write_text(changed)
                return rows
            table = pyarrow.parquet.read_table(path)
            place = table["frame"].to_pylist().index(3) + 17 if name == "a.parquet" and not options else 0
            if change is None:
                table = pyarrow.concat_tables([table[:place], table[place + 1:]])
            else:
                values = table[change[0]].to_pylist()
                values[place] += change[1]
                number = table.schema.get_field_index(change[0])
                table = table.set_column(number, table.schema[number], pyarrow.array(values, table.schema[number].type))
            pyarrow.parquet.write_table(table, path)
            return rows
        return write

    monkeypatch.setattr(exporting, "_writer", spoiled)
    with pytest.raises(kovadata.KovaError, match=text):
        kovadata.export(simulated("run"), tmp_path / name, check=True, **options)
    assert list(tmp_path.iterdir()) == []


def test_sorted_by_mz_it_answers_questions_about_an_ion(run, tmp_path, monkeypatch):
    monkeypatch.setattr(mz_sort, "ROWS", 4096)
    monkeypatch.setattr(plans, "LEAST_MEMORY", 1)
    files = [tmp_path / "one.parquet", tmp_path / "two.parquet"]
    for path, memory in zip(files, (None, 1 << 20)):  # the second is dealt out into ranges on disk
        kovadata.export(run, path, layout="mz", memory=memory)
    assert files[0].read_bytes() == files[1].read_bytes()
    table = pyarrow.parquet.read_table(files[0]).to_pandas()
    ion = table["mz"].mode()[0]
    monkeypatch.setattr(mz_sort, "_COPIES", 4000)  # so that the peaks of one m/z, which cannot be divided, are more than fit
    kovadata.export(run, tmp_path / "ion.parquet", layout="mz", memory=1 << 20, mz_range=(ion, ion))
    found = pyarrow.parquet.read_table(tmp_path / "ion.parquet").to_pandas()
    assert len(found) > 8 and found.equals(table[table["mz"] == ion].reset_index(drop=True))
    order = table.sort_values(["mz", "frame", "scan", "tof_index"], kind="stable").index
    np.testing.assert_array_equal(order, np.arange(len(table)))
    groups = pyarrow.parquet.ParquetFile(files[0]).metadata
    assert groups.num_row_groups == -(-len(table) // 4096) > 3 and groups.row_group(0).sorting_columns[0].column_index == 4
    low, high = 600.0, 640.0
    expected = run.chromatograms([(low, high)], ms_level=None)
    expected = {frame: total for frame, total in zip(expected.frame.tolist(), expected.intensity[0].tolist()) if total}
    sql = f"SELECT frame, sum(intensity)::BIGINT FROM '{files[0]}' WHERE mz BETWEEN {low} AND {high} GROUP BY frame"
    assert dict(duckdb.sql(sql).fetchall()) == expected
    column = polars.col("mz").is_between(low, high)
    found = polars.scan_parquet(files[0]).filter(column).group_by("frame").agg(polars.col("intensity").cast(polars.Int64).sum())
    assert dict(found.collect().rows()) == expected


def test_several_runs_in_a_folder_are_one_dataset(simulated, tmp_path):
    rows = [kovadata.export(simulated(name), tmp_path / f"{name}.parquet").rows for name in ("run", "by_scan", "long")]
    assert pyarrow.dataset.dataset(tmp_path).count_rows() == sum(rows)
    assert polars.scan_parquet(tmp_path).select(polars.len()).collect().item() == sum(rows)
    per_file = duckdb.sql(f"SELECT count(*) FROM read_parquet('{tmp_path}/*.parquet', filename=true) GROUP BY filename")
    assert sorted(per_file.fetchall()) == sorted((one,) for one in rows)
    about = pyarrow.parquet.read_schema(tmp_path / "run.parquet").metadata[b"kovadata"].decode()
    assert '"run": "run.d"' in about and '"calibration": "acquisition"' in about


def test_index_and_checksum_of_a_document(simulated, tmp_path):
    path = tmp_path / "a.mzML"
    kovadata.export(simulated("run"), path)
    text = path.read_bytes()
    begin = text.index(b"<fileChecksum>") + len(b"<fileChecksum>")
    assert text[begin:begin + 40].decode() == hashlib.sha1(text[:begin]).hexdigest()
    offsets = re.findall(rb'<offset idRef="([^"]+)">(\d+)<', text)
    assert len(offsets) == text.count(b"<spectrum ") + 2
    for name, offset in offsets:
        assert re.match(rb'<(spectrum|chromatogram) [^>]*id="%s"' % name, text[int(offset):int(offset) + 100])
    with mzml.MzML(str(path), use_index=True) as document:
        last = document[offsets[-3][0].decode()]
        [ion] = last["precursorList"]["precursor"]
        assert document[ion["spectrumRef"]]["ms level"] == 1 and last["ms level"] == 2
        [found] = ion["selectedIonList"]["selectedIon"]
        assert found["inverse reduced ion mobility"] == last["scanList"]["scan"][0]["inverse reduced ion mobility"]
        levels = [one["total ion current"] for one in document if one["ms level"] == 1]
        np.testing.assert_array_equal(document["TIC"]["intensity array"], levels)


@pytest.mark.parametrize(("name", "rows"), [("a.parquet", 180), ("b.parquet", 180), ("a.mzML", 3), ("a.mzMLb", 3), ("a.mgf", 1)])
def test_damaged_frames_stop_an_export_or_are_left_out(defective, call, name, rows):
    options = ["-o", name, *(["--layout", "mz"] if name == "b.parquet" else [])]
    status, out, err = call(defective, *options)
    assert (status, out) == (1, "") and re.fullmatch("kova: .*FrameId=3.*\n", err) and not list(pathlib.Path().glob("*.*[!d]"))
    status, out, err = call(defective, *options, "--skip-damaged", "--check")
    assert status == 0 and f": {rows} " in out and re.match("kova: frame 3 left out: .*FrameId=3", err)
    if name == "a.mzML":
        assert '<spectrumList count="3"' in pathlib.Path(name).read_text()


@pytest.mark.parametrize(("analysis", "arguments", "text"), [
    ("run", ("-o", "there.mgf"), "there.mgf is there already; --force replaces it"), ("run", ("-o", "no/a.mgf"), "No such file or directory"),
    ("run", ("-o", "folder.mgf", "--force"), "folder.mgf is there and is not a file"), ("none.d", ("-o", "a.mgf"), "directory does not exist"),
    ("run", ("-o", "a.mgf", "--frames", "99"), "there is no frame 99"), ("spectra", ("-o", "a.mgf"), "without ion mobility"),
    ("spectra", ("-o", "a.parquet", "--layout", "mz"), "neither layouts nor"), ("dense", ("-o", "a.mgf"), "has no MS/MS spectra"),
    ("bare", ("-o", "a.mzML"), "frame 1 has no mass calibration"), ("bare", ("-o", "a.parquet", "--layout", "mz"), "no mass calibration"),
    ("half", ("-o", "a.mzML"), "frame 1 has no mobility calibration; --mobility sum"), ("run", ("-o", "full.parquet"), "File too large"),
    ("run", ("-o", "full.mzMLb"), "File too large"), ("dense", ("-o", "full.parquet", "--layout", "mz"), "File too large")])
def test_failures_are_one_line_and_leave_nothing(simulated, small, call, tmp_path, analysis, arguments, text):
    (tmp_path / "there.mgf").write_text("mine")
    (tmp_path / "folder.mgf").mkdir()
    if analysis in ("bare", "half"):
        calibration = {"MzCalibration": 1} if analysis == "half" else {}
        path = small().add_frame([[(3, 4)]], **calibration).calibrate().write()
    else:
        path = "none.d" if analysis == "none.d" else simulated(analysis)
    before = resource.getrlimit(resource.RLIMIT_FSIZE)
    try:
        if "full" in arguments[1]:  # as on a full disk
            resource.setrlimit(resource.RLIMIT_FSIZE, (20000, before[1]))
        status, out, err = call(path, *arguments)
    finally:
        resource.setrlimit(resource.RLIMIT_FSIZE, before)
    assert (status, out) == (1, "") and re.fullmatch("kova: [^\n]*\n", err) and text in err
    assert {one.name for one in tmp_path.iterdir()} - {"small.d"} == {"there.mgf", "folder.mgf"}
    assert (tmp_path / "there.mgf").read_text() == "mine"


@pytest.mark.parametrize(("arguments", "text"), [
    ((), "required"), (("-o", "a.what"), "the ending names no format"), (("-o", "a.mgf", "--layout", "mz"), "--layout does not go with mgf"),
    (("-o", "a.arrow", "--layout", "mz"), "--layout mz is for Parquet"), (("-o", "a.mgf", "--mz", "5"), "range such as"),
    (("-o", "a.parquet", "--columns", "frame,mz"), "the mobility is lost"), (("-o", "a.parquet", "--columns", "x"), "some of frame"),
    (("-o", "a.parquet", "--top", "3"), "--top does not go with --content peaks"), (("-o", "a.mgf", "--time", "5:4"), "is no range"),
    (("-o", "a.parquet", "--mobility", "sum"), "does not go with parquet"), (("-o", "a.mgf", "--frames", "x"), "list of frames"),
    (("-o", "a.parquet", "--content", "frames", "--mz", "5:6"), "--mz does not go with --content frames"),
    (("-o", "a.mgf", "--compression", "zstd"), "'zstd' is none of none"), (("-o", "a.mgf", "--memory", "-1"), "size such as")])
def test_wrong_usage(call, arguments, text):
    status, out, err = call("run.d", *arguments)
    assert (status, out) == (2, "") and err.startswith("kova: ") and text in err.splitlines()[0]


@pytest.mark.parametrize(("name", "place"), [("a.mzML", "mzml_text.Encoder.__call__"), ("a.parquet", "columnar.ParquetSink.write"),
                                             ("b.parquet", "mz_sort._in_order")])
def test_interruption_leaves_nothing(simulated, tmp_path, name, place):
    module = place.split(".")[0]
    program = (f"import signal\nfrom kovadata import _interruption\nfrom kovadata._export import {module}, command\n"
               "_interruption.end_when_interrupted()\n"
               f"{place} = lambda *_: signal.raise_signal(signal.SIGINT)\ncommand.main()\n")
    options = ["--layout", "mz"] if name == "b.parquet" else []
    done = subprocess.run([sys.executable, "-c", program, simulated("run"), "-o", name, *options], cwd=tmp_path,
                          capture_output=True, text=True)
    assert (done.returncode, done.stdout, done.stderr) == (130, "", "kova: interrupted\n")
    assert list(tmp_path.iterdir()) == []


def test_a_package_that_is_missing_is_named(simulated, call, monkeypatch):
    monkeypatch.setitem(sys.modules, "psims", None)
    assert call(simulated("run"), "-o", "a.mzML") == (1, "", "kova: this export needs psims (pip install psims)\n")


def test_an_empty_run_and_one_of_empty_frames(small, call, tmp_path):
    path = small().add_frame([[], []], MzCalibration=1, KovaCalibration=1).calibrate().write()
    for options in ([], ["--frames", "7:9"]):
        for name, count in (("a.parquet", 0), ("b.parquet", 0), ("a.arrow", 0), ("a.mzML", not options), ("a.mzMLb", not options)):
            layout = ["--layout", "mz"] if name == "b.parquet" else []
            status, out, err = call(path, "-o", name, "--check", "--force", *options, *layout)
            assert (status, err) == (0, "") and f": {int(count)} " in out


def test_the_module_as_the_tool_calls_it(simulated, tmp_path):
    done = subprocess.run([sys.executable, "-m", "kovadata", "export", "-oa b.mgf", "--", simulated("run")], cwd=tmp_path,
                          capture_output=True, text=True)
    assert done.returncode == 0 and re.fullmatch(r"a b.mgf: \d+ spectra, \d+ bytes\n", done.stdout) and done.stderr == ""


def test_other_programs_take_ms_ms_spectra(run, tmp_path):
    spectrum_utils, matchms = pytest.importorskip("spectrum_utils.spectrum"), pytest.importorskip("matchms.importing")
    kovadata.export(run, tmp_path / "a.mgf")
    spectra = list(matchms.load_from_mgf(str(tmp_path / "a.mgf")))
    expected = [one for one in run.msms() if len(one.mz)]
    assert len(spectra) == len(expected) > 1
    for found, one in zip(spectra, expected):
        assert (found.get("precursor_mz"), found.get("charge") or 0, found.get("retention_time")) == pytest.approx(
            (one.precursor.mz, one.precursor.charge or 0, one.precursor.time))
        assert np.array_equal(found.peaks.mz, one.mz) and np.array_equal(found.peaks.intensities, one.intensity)
    about = spectra[0]
    spectrum = spectrum_utils.MsmsSpectrum(about.get("title"), about.get("precursor_mz"), about.get("charge"), about.peaks.mz,
                                           about.peaks.intensities, about.get("retention_time"))
    assert len(spectrum.scale_intensity(max_intensity=1).mz) == len(about.peaks.mz)
