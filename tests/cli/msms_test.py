import csv
import io
import json
import signal
import subprocess
import unittest

from kova_testing import KOVA, KovaTest

CALIBRATED = {"MzCalibration": 1, "KovaCalibration": 1}
PRECURSOR_COLUMNS = "LargestPeakMz REAL, AverageMz REAL, MonoisotopicMz REAL, Charge INTEGER, Intensity REAL"


def parse_mgf(text):
    """The spectra of a file in Mascot Generic Format: fields by name, and (m/z, intensity) of the peaks."""
    spectra = []
    for block in text.split("BEGIN IONS\n")[1:]:
        body, end, rest = block.partition("END IONS\n")
        assert end and not rest.strip(), block
        fields = dict(line.split("=", 1) for line in body.splitlines() if "=" in line)
        peaks = [tuple(map(float, line.split())) for line in body.splitlines() if "=" not in line]
        spectra.append((fields, peaks))
    return spectra


class Msms(KovaTest):
    def run_of_two_precursors(self, name="run.d", **settings):
        """Precursor 4 is in scans 1 and 2 of frames 2 and 4, precursor 9 in scan 4 of frame 3."""
        analysis = self.analysis(name, bins=2000, **settings).calibrate()
        peak = [(800, 10), (801, 30), (802, 10)]
        analysis.add_frame([[]] * 5, Time=2.5, **CALIBRATED).add_frame([[(5, 99)], peak, [(1500, 8)], [(6, 99)], []])
        analysis.add_frame([[], [], [], [], [(1200, 7)]]).add_frame([[], peak, [], [(800, 5)], []])
        return analysis.execute(
            f"CREATE TABLE Precursors (Id INTEGER PRIMARY KEY, Parent INTEGER, ScanNumber REAL, {PRECURSOR_COLUMNS})",
            "INSERT INTO Precursors VALUES (4, 1, 1.5, 640.5, 640.75, 640.25, 2, 123456789.5), "
            "(9, 1, 4, 700.5, NULL, NULL, NULL, NULL), (11, 1, 3, NULL, NULL, NULL, NULL, NULL)",
            "CREATE TABLE ZorelFrameMsMsInfo (Frame, Precursor, ScanNumBegin, ScanNumEnd)",
            "INSERT INTO ZorelFrameMsMsInfo VALUES (2, 4, 1, 3), (4, 4, 1, 3), (3, 9, 4, 5)")

    def test_profiles_are_the_sums_of_all_scans_of_a_precursor(self):
        self.run_of_two_precursors().write()
        spectra = {spectrum["precursor"]: spectrum
                   for spectrum in json.loads(self.output("msms", "run.d", "--profile", "--json"))}
        self.assertEqual(list(spectra), [9, 4], "in the order in which they are completed")
        self.assertAlmostEqual(spectra[4].pop("one_over_k0"), 1.985)
        for value, index in zip(spectra[4].pop("peak_mz"), (800, 801, 802, 1500), strict=True):
            self.assertAlmostEqual(value, (index / 1000) ** 2)
        self.assertEqual(spectra[4], {
            "precursor": 4, "frame": 1, "mz": 640.25, "charge": 2, "intensity": 123456789.5, "time": 2.5, "bins": 1600,
            "peak_index": [800, 801, 802, 1500], "peak_intensity": [20, 60, 20, 8]})
        self.assertEqual((spectra[9]["mz"], spectra[9]["charge"], spectra[9]["intensity"]), (700.5, None, None))
        self.assertEqual((spectra[9]["bins"], spectra[9]["peak_index"], spectra[9]["peak_intensity"]),
                         (1300, [1200], [7]))
        self.assertEqual(self.output("msms", "run.d", "--profile", "--precursor", "4", "--peaks", "--top", "2"), """\
 precursor      index          m/z    intensity
        4        800      0.64000           20
        4        801      0.64160           60
""")

    def test_mgf(self):
        self.run_of_two_precursors("two words/run.d").write()
        told = self.output("msms", "two words/run.d/", "--mgf", "out.mgf")
        (second, [(mz, intensity)]), (first, peaks) = parse_mgf((self.folder / "out.mgf").read_text())
        self.assertEqual(told, f"out.mgf: 2 spectra, {1 + len(peaks)} peaks\n")
        self.assertEqual(first, {"TITLE": "run.d precursor 4 frame 1", "PEPMASS": "640.250000 123456789.5",
                                 "CHARGE": "2+", "RTINSECONDS": "2.5", "ION_MOBILITY": "1.985000"})
        self.assertEqual(second, {"TITLE": "run.d precursor 9 frame 1", "PEPMASS": "700.500000", "RTINSECONDS": "2.5",
                                  "ION_MOBILITY": "1.960000"})
        self.assertAlmostEqual(mz, 1.44, delta=0.003)
        self.assertEqual(intensity, 7)

    def test_mgf_of_negative_ions_missing_m_z_and_empty_spectra(self):
        analysis = self.run_of_two_precursors()
        analysis.execute("UPDATE Frames SET Polarity = '-'", "UPDATE Precursors SET MonoisotopicMz = 0, Charge = 3",
                         "UPDATE Precursors SET LargestPeakMz = NULL WHERE Id = 9",
                         "INSERT INTO ZorelFrameMsMsInfo VALUES (2, 11, 4, 5)").write()
        out = self.output("msms", "run.d", "--profile", "--mgf", "out.mgf")
        self.assertEqual(out, "out.mgf: 2 spectra, 5 peaks; 1 without peaks left out\n")
        spectra = parse_mgf((self.folder / "out.mgf").read_text())
        self.assertEqual(spectra, parse_mgf(self.output("msms", "run.d", "--profile", "--mgf", "-")))
        self.assertEqual([fields["CHARGE"] for fields, _ in spectra], ["3-", "3-"])
        self.assertEqual([fields.get("PEPMASS") for fields, _ in spectra], [None, "640.500000 123456789.5"])
        # Intensities have no exponent, which not every program reads.
        self.assertEqual(spectra[1][1], [(0.64, 20), (0.641601, 60), (0.643204, 20), (2.25, 8)])

    def test_tables_with_nothing_but_what_reading_needs(self):
        analysis = self.run_of_two_precursors()
        columns = [column.split()[0] for column in PRECURSOR_COLUMNS.split(", ")]
        analysis.execute(*(f"ALTER TABLE Precursors DROP COLUMN {column}" for column in columns),
                         "ALTER TABLE Frames DROP COLUMN Time", "UPDATE Frames SET KovaCalibration = NULL").write()
        rows = list(csv.DictReader(io.StringIO(self.output("msms", "run.d", "--profile", "--csv"))))
        self.assertEqual([tuple(row.values())[:8] for row in rows],
                         [("9", "1", "", "", "", "", "1", "7"), ("4", "1", "", "", "", "", "4", "108")])
        fields, _ = parse_mgf(self.output("msms", "run.d", "--mgf", "-"))[0]
        self.assertEqual(fields, {"TITLE": "run.d precursor 9 frame 1"})

    def test_selection(self):
        self.run_of_two_precursors().write()
        for arguments, status, ids, err in [
                (["--precursor", "4", "9", "4"], 0, [9, 4], ""), (["--precursor", "9"], 0, [9], ""),
                (["--frame", "1"], 0, [9, 4], ""),
                (["--frame", "2"], 1, [], "kova: no precursor was selected in frame 2\n"),
                (["--frame", "999"], 1, [], "kova: there is no frame 999\n"),
                (["--precursor", "77", "9", "11"], 1, [9],
                 "kova: precursor 11 has no MS/MS spectrum\nkova: precursor 77 has no MS/MS spectrum\n")]:
            for kind in ([], ["--profile"]):
                with self.subTest(arguments, kind=kind):
                    out, told = self.kova("msms", "run.d", *arguments, *kind, "--json", status=status)
                    self.assertEqual([spectrum["precursor"] for spectrum in json.loads(out or "[]")], ids)
                    self.assertEqual(told, err)

    def test_a_failure_leaves_no_file_and_damaged_frames_can_be_skipped(self):
        self.analysis("plain.d").add_frame([[]]).write()
        self.run_of_two_precursors("cut.d").execute("UPDATE Frames SET KovaId = 1 << 40 WHERE Id = 4").write()
        damage = "CorruptFrameDataError for FrameId=4: Error reading binary header."
        for name, text in [("plain.d", "No Precursor table found. This is not a ZOREL analysis"), ("cut.d", damage)]:
            with self.subTest(name):
                self.assertEqual(self.kova("msms", name, "--mgf", "out.mgf", status=1), ("", f"kova: {text}\n"))
        self.assertEqual([path.name for path in self.folder.glob("*mgf*")], [])
        # Precursor 9 needs frame 3 only.
        out, err = self.kova("msms", "cut.d", "--mgf", "out.mgf", "--skip-damaged")
        self.assertEqual((out, err), ("out.mgf: 1 spectra, 1 peaks\n", f"kova: left out: frame 4: {damage}\n"))
        self.assertEqual(len(parse_mgf((self.folder / "out.mgf").read_text())), 1)

    def test_an_interruption_leaves_no_file(self):
        """Ctrl-C once the export has begun to write beside the place of its file."""
        run = self.simulate("run.d", frames=600, peaks_per_frame=60000, quiet="true")
        with subprocess.Popen([KOVA, "msms", run, "--mgf", "out.mgf"], cwd=self.folder, stdout=subprocess.PIPE,
                              stderr=subprocess.PIPE, text=True) as running:
            while not list(self.folder.glob("out.mgf*")):
                self.assertIsNone(running.poll())
            running.send_signal(signal.SIGINT)
            self.assertEqual(running.communicate(timeout=60), ("", "kova: interrupted\n"))
        self.assertEqual((running.returncode, list(self.folder.glob("out.mgf*"))), (130, []))

    def test_a_file_that_cannot_be_written(self):
        self.run_of_two_precursors().write()
        for path, text in [("no/such/file", "no/such/file: No such file or directory"),
                           ("/dev/full", "cannot write the output: No space left on device")]:
            self.assertEqual(self.kova("msms", "run.d", "--mgf", path, status=1), ("", f"kova: {text}\n"))


if __name__ == "__main__":
    unittest.main()
