import json
import shutil
import subprocess
import unittest

from kova_testing import FEWEST_COLUMNS, KOVA, KovaTest

class Info(KovaTest):
    def test_text_of_several_of_everything(self):
        # The name is no URI.
        analysis = self.analysis("50% #1?.d", schema=(3, 1), bins=5000)
        analysis.add_frame([[(1, 1)]] * 4, Time=9.5, MzCalibration=1)
        analysis.add_frame([[(1, 1)]], Time=0.25, Polarity="-", MsMsType=8)
        analysis.add_frame([[(1, 1)]] * 2, Time=None, MsMsType=8)
        directory = analysis.execute("INSERT INTO MzCalibration (Id) VALUES (1)").write()
        # States without calibrators are not complete, so none of them can be in use.
        self.database(directory / "calibration.sqlite",
                      "CREATE TABLE CalibrationState (Id INTEGER PRIMARY KEY, Key TEXT)",
                      "INSERT INTO CalibrationState VALUES (1, 'a'), (2, 'b')")
        before = sorted(directory.iterdir())
        self.assertIn("""\
Frames              3 (1 MS1, 2 MS/MS)
Retention time      0.250 to 9.500 s
Polarity            +, -
Scans               1 to 4 per frame, 7 in all
Index bins          5000
Calibrations        1 mass, 0 mobility
Re-calibrated       2 states, not in use
  state 1           a, mass unknown, mobility for 0 frames
  state 2           b, mass unknown, mobility for 0 frames
""", self.output("info", directory.name))
        self.assertEqual(sorted(directory.iterdir()), before)

    def test_metadata_that_say_little(self):
        analysis = self.analysis(scheme=1, schema=(2, 0), columns=FEWEST_COLUMNS)
        analysis.add_frame([[(5, 1)], [], [(6, 2)]]).add_frame([[]] * 9).write()
        info = json.loads(self.output("info", "run.d", "--json"))
        self.assertEqual([info[key] for key in ("frames", "time", "scans_per_frame", "recalibrated")], [
            {"count": 2, "ms1": None, "msms": None}, {"first": None, "last": None},
            {"min": 3, "max": 3, "total": None, "of": "first frame"}, {"file": False, "states": None, "in_use": None}])
        text = self.output("info", "run.d")
        for line in ("Frames              2\n", "Retention time      unknown\n",
                     "Scans               3 in the first frame\n", "Re-calibrated       none\n"):
            self.assertIn(line, text)

    def test_what_cannot_be_read_is_left_open(self):
        directory = self.analysis(columns=FEWEST_COLUMNS).add_frame([[(1, 1)]], KovaId=1 << 40).write()
        (directory / "calibration.sqlite").write_text("not a database")
        shown = self.output("info", "run.d")
        self.assertIn("Scans               unknown\n", shown)
        self.assertIn("Re-calibrated       calibration.sqlite cannot be read\n", shown)

    def test_fragment_frames_are_also_known_from_their_own_table(self):
        analysis = self.analysis(columns=FEWEST_COLUMNS).add_frame([[]]).add_frame([[]]).add_frame([[]])
        analysis.execute("CREATE TABLE ZorelFrameMsMsInfo (Frame, Precursor, ScanNumBegin, ScanNumEnd)",
                         "INSERT INTO ZorelFrameMsMsInfo VALUES (2, 1, 0, 1), (2, 2, 0, 1)").write()
        self.assertIn("Frames              3 (2 MS1, 1 MS/MS)\n", self.output("info", "run.d"))

    def test_an_analysis_without_mobility(self):
        for parts, text in {"lwp": "lines with widths, profiles", "l": "lines", "p": "profiles", "": "none"}.items():
            with self.subTest(parts):
                name = f"parts{parts}.d"
                directory = self.analysis(name, scheme=3, bins=700, parts=parts).add_spectrum().execute(
                    "DROP TABLE KovaCalibration").write()
                (directory / "calibration.sqlite").write_text("not a database")
                info = json.loads(self.output("info", name, "--json"))
                self.assertEqual((info["format"], info["scans_per_frame"], info["index_bins"]), ("kvs", None, 700))
                self.assertEqual(info["calibrations"], {"mass": 0, "mobility": 0})
                self.assertEqual(sorted(info["file_bytes"]), ["analysis.kvs", "analysis.kvs_bin", "calibration.sqlite"])
                self.assertIn(f"Spectra             {text}\n", self.output("info", name))

    def test_choice_of_a_recalibrated_state(self):
        # Every third state, unless it is the newest, is not complete; every second is of another source.
        key = "{:08x}-5a1e-4c00-8000-0000c0ffee00".format
        lock_mass, standards = "simulated lock mass", "simulated standards"
        chosen = {"off": None, "first": 1, "last": 5, f"first:{lock_mass}": 2, f"last:{lock_mass}": 4,
                  f"last:{standards}": 5, f"lastIncomplete:{standards}": 5, f"uuid:{key(3)}": 3}
        for file_format in ("kvd", "kvs"):
            run = self.simulate(f"{file_format}.d", format=file_format, frames=2, peaks_per_frame=500, scans=60,
                                recalibrated=5, quiet="true")
            for arguments, number in ([((), None), (("--recalibrated",), 5)] +
                                      [(("--calibration", mode), number) for mode, number in chosen.items()]):
                with self.subTest(file_format=file_format, arguments=arguments):
                    in_use = json.loads(self.output("info", run, "--json", *arguments))["recalibrated"]["in_use"]
                    self.assertEqual(in_use, number and key(number))
            shown = self.output("info", run, "--calibration=first")
            self.assertIn(f"Re-calibrated       5 states, {key(1)} in use\n"
                          f"  state 1           {key(1)} by {standards}, mass by polarity, mobility for 2 frames, in use\n"
                          f"  state 2           {key(2)} by {lock_mass}, mass for 2 frames, mobility for 2 frames\n"
                          f"  state 3           {key(3)} by {standards}, mass by polarity, mobility for 1 frames\n", shown)

    def test_a_choice_that_cannot_be_met(self):
        run = self.simulate("run.d", frames=2, peaks_per_frame=500, scans=60, recalibrated=1, quiet="true")
        for mode, status, text in (("uuid:x", 1, "Requested uuid x not found in calibration.sqlite"),
                                   ("last:nobody", 1, "no such calibration state: "),
                                   ("newest", 2, "'newest' is none of off, first"), ("uuid", 2, "'uuid' is none of off, first")):
            with self.subTest(mode):
                self.assertIn(text, self.kova("info", run, "--calibration", mode, status=status)[1])

    def test_every_verb_converts_with_the_chosen_state(self):
        run = self.simulate("run.d", frames=4, peaks_per_frame=500, scans=60, recalibrated=3, quiet="true")
        spectra = self.simulate("spectra.d", format="kvs", frames=2, peaks_per_frame=500, recalibrated=3, quiet="true")
        for arguments in (["frames", run], ["scans", run, "--frame", 1], ["spectrum", spectra, "--frame", 1]):
            with self.subTest(arguments[0]):
                shown = {mode: self.output(*arguments, "--csv", "--calibration", mode) for mode in ("off", "first", "last")}
                self.assertEqual(len(set(shown.values())), 3)
                self.assertEqual(shown["off"], self.output(*arguments, "--csv"))
                self.assertEqual(shown["last"], self.output(*arguments, "--csv", "--recalibrated"))


if __name__ == "__main__":
    unittest.main()
