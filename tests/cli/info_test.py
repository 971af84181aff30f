import json
import unittest

from kova_testing import FEWEST_COLUMNS, KovaTest

FULL_TEXT = """\
Analysis            run.d
Format              ion mobility (analysis.kvd)
Schema version      3.1
Storage scheme      2 (frames compressed as a whole)
Frames              3 (1 MS1, 2 MS/MS)
Retention time      0.250 to 9.500 s
Polarity            +, -
Scans               1 to 4 per frame, 7 in all
Index bins          5000
Calibrations        1 mass, 0 mobility
Re-calibrated       2 states, not in use
"""


class Info(KovaTest):
    def full_analysis(self):
        analysis = self.analysis(schema=(3, 1), bins=5000)
        analysis.add_frame([[(1, 1)]] * 4, Time=9.5)
        analysis.add_frame([[(1, 1)]], Time=0.25, Polarity="-", MsMsType=8)
        analysis.add_frame([[(1, 1)]] * 2, Time=None, MsMsType=8)
        analysis.execute("INSERT INTO MzCalibration (Id) VALUES (1)")
        directory = analysis.write()
        # States without calibrators are not complete, so none of them can be in use.
        self.database(directory / "calibration.sqlite",
                      "CREATE TABLE CalibrationState (Id INTEGER PRIMARY KEY, Key TEXT)",
                      "INSERT INTO CalibrationState VALUES (1, 'a'), (2, 'b')")
        return directory

    def test_text_of_an_analysis_with_everything(self):
        self.full_analysis()
        out = self.output("info", "run.d")
        head, files = out[:len(FULL_TEXT)], out[len(FULL_TEXT):]
        self.assertEqual(head, FULL_TEXT)
        self.assertRegex(files, r"^analysis\.kvd        \d+\.\d KiB\n"
                                r"analysis\.kvd_bin    \d+ bytes\ncalibration\.sqlite  \d+\.\d KiB\n$")

    def test_json_of_an_analysis_with_everything(self):
        directory = self.full_analysis()
        self.assertEqual(json.loads(self.output("info", "run.d", "--json")), {
            "analysis": "run.d", "format": "kvd", "schema_version": {"major": 3, "minor": 1}, "storage_scheme": 2,
            "frames": {"count": 3, "ms1": 1, "msms": 2}, "time": {"first": 0.25, "last": 9.5},
            "polarities": ["+", "-"], "scans_per_frame": {"min": 1, "max": 4, "total": 7, "of": "all frames"},
            "spectra": None,
            "index_bins": 5000, "calibrations": {"mass": 1, "mobility": 0},
            "recalibrated": {"file": True, "states": 2, "in_use": False},
            "file_bytes": {name: (directory / name).stat().st_size
                           for name in ("analysis.kvd", "analysis.kvd_bin", "calibration.sqlite")}})

    def test_metadata_that_say_little(self):
        analysis = self.analysis(scheme=1, schema=(2, 0), columns=FEWEST_COLUMNS)
        analysis.add_frame([[(5, 1)], [], [(6, 2)]]).add_frame([[]] * 9).write()
        info = json.loads(self.output("info", "run.d", "--json"))
        self.assertEqual(info["frames"], {"count": 2, "ms1": None, "msms": None})
        self.assertEqual(info["time"], {"first": None, "last": None})
        self.assertEqual(info["scans_per_frame"], {"min": 3, "max": 3, "total": None, "of": "first frame"})
        self.assertEqual(info["recalibrated"], {"file": False, "states": None, "in_use": False})
        text = self.output("info", "run.d")
        for line in ("Frames              2\n", "Retention time      unknown\n",
                     "Scans               3 in the first frame\n", "Re-calibrated       none\n"):
            self.assertIn(line, text)

    def test_a_first_frame_that_is_damaged_leaves_the_scans_open(self):
        self.analysis(columns=FEWEST_COLUMNS).add_frame([[(1, 1)]], KovaId=1 << 40).write()
        self.assertIn("Scans               unknown\n", self.output("info", "run.d"))

    def test_a_calibration_file_that_cannot_be_read_does_not_matter(self):
        directory = self.analysis().add_frame([[]]).write()
        (directory / "calibration.sqlite").write_text("not a database")
        self.assertIn("Re-calibrated       calibration.sqlite cannot be read\n", self.output("info", "run.d"))

    def test_fragment_frames_are_also_known_from_their_own_table(self):
        analysis = self.analysis(columns=FEWEST_COLUMNS).add_frame([[]]).add_frame([[]]).add_frame([[]])
        analysis.execute("CREATE TABLE ZorelFrameMsMsInfo (Frame, Precursor, ScanNumBegin, ScanNumEnd)",
                         "INSERT INTO ZorelFrameMsMsInfo VALUES (2, 1, 0, 1), (2, 2, 0, 1)").write()
        self.assertIn("Frames              3 (2 MS1, 1 MS/MS)\n", self.output("info", "run.d"))

    def test_an_analysis_without_mobility(self):
        for parts, text in {"lwp": "lines with widths, profiles", "l": "lines", "lw": "lines with widths",
                            "p": "profiles", "": "none"}.items():
            with self.subTest(parts):
                name = f"parts{parts}.d"
                directory = self.analysis(name, scheme=3, schema=(3, 1), bins=700, parts=parts).add_spectrum().execute(
                    "DROP TABLE KovaCalibration").write()
                (directory / "calibration.sqlite").write_text("not a database")
                info = json.loads(self.output("info", name, "--json"))
                self.assertEqual((info["format"], info["storage_scheme"], info["frames"]["count"]), ("kvs", 3, 1))
                self.assertEqual((info["scans_per_frame"], info["index_bins"]), (None, 700))
                self.assertEqual(info["spectra"], {"lines": "l" in parts, "widths": "w" in parts,
                                                   "profiles": "p" in parts})
                self.assertEqual(info["calibrations"], {"mass": 0, "mobility": 0})
                self.assertEqual(sorted(info["file_bytes"]), ["analysis.kvs", "analysis.kvs_bin", "calibration.sqlite"])
                shown = self.output("info", name)
                self.assertIn("Format              spectra without ion mobility (analysis.kvs)\n", shown)
                self.assertIn(f"Spectra             {text}\n", shown)

    def test_use_of_a_recalibrated_state(self):
        # The functions for spectra do not tell whether there was a complete state.
        for file_format, in_use in (("kvd", True), ("kvs", None)):
            with self.subTest(file_format):
                run = self.simulate(f"{file_format}.d", format=file_format, frames=2, peaks_per_frame=500, scans=60,
                                    recalibrated=1, quiet="true")
                for arguments, expected in ([], False), (["--recalibrated"], in_use):
                    info = json.loads(self.output("info", run, "--json", *arguments))
                    self.assertEqual(info["recalibrated"], {"file": True, "states": 1, "in_use": expected})

    def test_an_analysis_without_frames(self):
        self.analysis().write()
        self.assertIn("Frames              0\n", self.output("info", "run.d"))


if __name__ == "__main__":
    unittest.main()
