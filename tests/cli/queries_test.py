"""Peaks, chromatograms and summed spectra, against the peaks that the frames were made of."""

import csv
import io
import json
import unittest

from kova_testing import KovaTest

CALIBRATED = {"MzCalibration": 1, "KovaCalibration": 1}
# By calibrate(), m/z is (index / 1000)^2 and 1/K0 (200 - scan) / 100.
FRAMES = [[[(700, 5), (800, 10)], [(800, 1)], [(900, 3)]], [[(800, 99)], [], []], [[], [(700, 2)], [(800, 7), (950, 4)]]]
PEAKS = [(number + 1, 1.5 * number, scan, *peak) for number, scans in enumerate(FRAMES)
         for scan, peaks in enumerate(scans) for peak in peaks]


def mz(index):
    return (index / 1000) ** 2


class Queries(KovaTest):
    def setUp(self):
        super().setUp()
        analysis = self.analysis().calibrate()
        for scans, ms_type in zip(FRAMES, (0, 8, 0)):
            analysis.add_frame(scans, MsMsType=ms_type, **CALIBRATED)
        analysis.write()
        self.analysis("unstated.d", columns=("Time", "AccumulationTime", "RampTime", "Polarity", "T1", "T2", "MzCalibration",
                                             "KovaCalibration")).calibrate().add_frame(FRAMES[0], **CALIBRATED).write()

    def rows(self, *arguments):
        return list(csv.DictReader(io.StringIO(self.output(*arguments, "--csv"))))

    SELECTIONS = [
        ([], lambda frame, time, scan, index, intensity: True),
        (["--mz", "0.64:0.641"], lambda frame, time, scan, index, intensity: index == 800),
        (["--mz", "0.64:"], lambda frame, time, scan, index, intensity: index >= 800),
        (["--k0", "1.985:1.995"], lambda frame, time, scan, index, intensity: scan == 1),
        (["--time", ":1.5", "--mz", ":0.7"], lambda frame, time, scan, index, intensity: frame < 3 and index <= 800),
        (["--frame", "3", "1", "--scans", "1:"], lambda frame, time, scan, index, intensity: frame != 2 and scan >= 1),
        (["--ms-level", "2"], lambda frame, time, scan, index, intensity: frame == 2),
        (["--mz", "5:6"], lambda frame, time, scan, index, intensity: False)]

    def test_peaks_and_sums_of_selections(self):
        for arguments, wanted in self.SELECTIONS:
            with self.subTest(arguments):
                peaks = [peak for peak in PEAKS if wanted(*peak)]
                if "--frame" in arguments:
                    peaks.sort(key=lambda peak: -peak[0])
                for threads in ("1", "2"):
                    shown = self.rows("peaks", "run.d", *arguments, "--threads", threads)
                    self.assertEqual([(int(row["frame"]), float(row["time"]), int(row["scan"]), int(row["index"]),
                                       int(row["intensity"])) for row in shown], peaks)
                level = [] if "--ms-level" in arguments else ["--ms-level", "all"]
                sums = {}
                for *_, index, intensity in peaks:
                    sums[index] = sums.get(index, 0) + intensity
                shown = json.loads(self.output("sum", "run.d", *arguments, *level, "--json"))
                self.assertEqual({row["index"]: row["intensity"] for row in shown}, sums)
                for row in shown:
                    self.assertAlmostEqual(row["mz"], mz(row["index"]))

    def test_chromatograms(self):
        (self.folder / "ranges.csv").write_text("mz_low,mz_high,mobility_low,time_high\n0.63,0.65,,\n0,1,1.995,2\n")
        (self.folder / "ppm.csv").write_text("\ufeff\"mz\", ppm ,name\r\n0.64,30000,ion\r\n\r\n0.81,1,\r\n")
        for arguments, expected in [
                (["--mz", "0.64:0.65"], [["1", "0", "11"], ["3", "3", "7"]]),
                (["--mz", ":", "--k0", "1.99:", "--reduce", "max"], [["1", "0", "10"], ["3", "3", "2"]]),
                (["--mz", "0.64:1", "--ms-level", "all", "--reduce", "count"],
                 [["1", "0", "3"], ["2", "1.5", "1"], ["3", "3", "2"]]),
                (["--targets", "ranges.csv"], [["1", "0", "11", "15"], ["3", "3", "7", "0"]]),
                (["--targets", "ppm.csv", "--frame", "1"], [["1", "0", "11", "3"]])]:
            with self.subTest(arguments):
                self.assertEqual([list(row.values()) for row in self.rows("xic", "run.d", *arguments)], expected)
                shown = json.loads(self.output("xic", "run.d", *arguments, "--json"))
                self.assertEqual([[row["frame"], row["time"], *row["intensity"]] for row in shown],
                                 [list(map(float, row)) for row in expected])
        # Without stated levels all frames are taken.
        self.assertEqual(self.rows("xic", "unstated.d", "--mz", "0.64:0.65")[0]["intensity"], "11")
        self.assertIn("do not state the MS levels", self.kova("sum", "unstated.d", "--ms-level", "1", status=1)[1])

    def test_target_files_that_make_no_sense(self):
        for text, told in [("", "Invalid argument"), ("mz,low\n1,2\n", "the first line names neither"),
                           ("mz_low,mz_high\n1,2\n2,1\n", "line 3: the range from mz_low to mz_high ends before it begins"),
                           ("mz,ppm\n1,\n", "line 2: mz and ppm must be there"),
                           ("mz,ppm\n1,-1\n", "line 2: mz and ppm must be there"), ("mz,ppm\n1,x\n", "line 2: ppm is 'x'")]:
            with self.subTest(text):
                (self.folder / "bad.csv").write_text(text)
                self.assertIn(f"bad.csv{', ' if told.startswith('line') else ': '}{told}",
                              self.kova("xic", "run.d", "--targets", "bad.csv", status=1)[1])

    def test_damaged_frames_are_a_failure_or_left_out_and_told(self):
        analysis = self.analysis("cut.d").calibrate()
        for place in ({}, {"KovaId": 1 << 40}, {"KovaId": 1 << 41}, {}):
            analysis.add_frame([[(800, 3)]], **place, **CALIBRATED)
        analysis.write()
        for verb in (["peaks"], ["sum"], ["xic", "--mz", "0:1"]):
            with self.subTest(verb):
                self.assertIn("FrameId=2: Error reading", self.kova(*verb, "cut.d", status=1)[1])
                out, err = self.kova(*verb, "cut.d", "--skip-damaged", "--csv")
                self.assertEqual(err, "kova: left out: 2 frames, 2, 3: CorruptFrameDataError: Error reading binary header.\n")
                self.assertEqual(len(out.splitlines()), 2 if verb == ["sum"] else 3)


if __name__ == "__main__":
    unittest.main()
