import json
import unittest

from kova_testing import KovaTest, shuffled_block

SCANS = [[(0, 5), (999, 4294967295)], [], [(12, 1)], [(3, 8), (4, 0), (500, 70000)]]


class Scans(KovaTest):
    def peaks(self, *arguments):
        """The CSV rows as (scan, index, intensity)."""
        lines = self.output("scans", "run.d", "--frame", "1", "--csv", *arguments).splitlines()
        self.assertEqual(lines[0], "scan,index,intensity,mz,one_over_k0")
        return [tuple(map(int, line.removesuffix(",,").split(","))) for line in lines[1:]]

    def test_the_peaks_of_a_frame_in_every_format(self):
        for scheme in (1, 2):
            with self.subTest(scheme=scheme):
                # The largest intensity of scheme 1 is that of a signed word.
                scans = [[(index, min(intensity, 0x7FFFFFFF) if scheme == 1 else intensity)
                          for index, intensity in scan] for scan in SCANS]
                largest = scans[0][1][1]
                run = f"scheme{scheme}.d"
                self.analysis(run, scheme=scheme).add_frame(scans).write()
                self.assertEqual(self.output("scans", run, "--frame", "1"), f"""\
  scan      index   intensity           m/z      1/K0
     0          0           5             -         -
     0        999  {largest}             -         -
     2         12           1             -         -
     3          3           8             -         -
     3          4           0             -         -
     3        500       70000             -         -
""")
                self.assertEqual(self.output("scans", run, "--frame", "1", "--csv", "--scans", "2:"),
                                 "scan,index,intensity,mz,one_over_k0\n"
                                 "2,12,1,,\n3,3,8,,\n3,4,0,,\n3,500,70000,,\n")
                self.assertEqual(json.loads(self.output("scans", run, "--frame", "1", "--json", "--scans", "1:4")), {
                    "frame": 1, "scan_begin": 1, "scan_end": 4, "raw": False, "scans": [
                        {"scan": scan, "one_over_k0": None, "index": [peak[0] for peak in scans[scan]],
                         "intensity": [peak[1] for peak in scans[scan]], "mz": None} for scan in (1, 2, 3)]})

    def test_physical_units_where_the_frame_is_calibrated(self):
        analysis = self.analysis().calibrate()
        for calibrations in ({"MzCalibration": 1, "KovaCalibration": 1}, {"MzCalibration": 1}, {"KovaCalibration": 1}):
            analysis.add_frame(SCANS, **calibrations)
        analysis.write()
        self.assertEqual(self.output("scans", "run.d", "--frame", "1", "--scans", "2:4"), """\
  scan      index   intensity           m/z      1/K0
     2         12           1       0.00014   1.98000
     3          3           8       0.00001   1.97000
     3          4           0       0.00002   1.97000
     3        500       70000       0.25000   1.97000
""")
        for frame, has_mz, has_mobility in ((1, True, True), (2, True, False), (3, False, True)):
            mz = [[(index / 1000) * (index / 1000) if has_mz else None for index, _ in scan] for scan in SCANS]
            mobility = [1 / (100 / (200 - scan)) if has_mobility else None for scan in range(len(SCANS))]
            with self.subTest(frame):
                shown = json.loads(self.output("scans", "run.d", "--frame", frame, "--json"))["scans"]
                self.assertEqual([scan["mz"] for scan in shown], mz if has_mz else [None] * len(SCANS))
                self.assertEqual([scan["one_over_k0"] for scan in shown], mobility)
                rows = self.output("scans", "run.d", "--frame", frame, "--csv").splitlines()[1:]
                cells = [tuple(float(text) if text else None for text in row.split(",")[3:]) for row in rows]
                self.assertEqual(cells, [(mass, mobility[scan]) for scan in range(len(SCANS)) for mass in mz[scan]])

    def test_ranges(self):
        self.analysis().add_frame(SCANS).write()
        everything = [(scan, *peak) for scan, peaks in enumerate(SCANS) for peak in peaks]
        for text, begin, end in [(":", 0, 4), ("0:", 0, 4), (":4", 0, 4), ("0:1", 0, 1), (":3", 0, 3), ("2:4", 2, 4),
                                 ("3", 3, 4), ("3:", 3, 4), ("1", 1, 2)]:
            with self.subTest(text):
                self.assertEqual(self.peaks("--scans", text), [row for row in everything if begin <= row[0] < end])

    def test_the_intensities_are_normalised_unless_raw(self):
        self.analysis(schema=(2, 0)).add_frame([[(1, 10), (2, 11)]], AccumulationTime=200.0, RampTime=100.0).write()
        self.assertEqual(self.peaks(), [(0, 1, 5), (0, 2, 6)])
        self.assertEqual(self.peaks("--raw"), [(0, 1, 10), (0, 2, 11)])

    def test_a_frame_without_scans(self):
        self.analysis().add_frame([], KovaId=-5).write()
        self.assertEqual(self.peaks(), [])
        self.assertEqual(json.loads(self.output("scans", "run.d", "--frame", "1", "--json"))["scans"], [])

    def test_the_scans_around_a_damaged_one_are_readable(self):
        # Scan 1 has three words, which is no number of pairs.
        block = shuffled_block(3, [3, 2, 3] + [6, 50] + [7, 70, 1] + [9, 90])
        self.analysis().add_frame([], block, NumScans=None).write()
        self.assertEqual(self.peaks("--scans", "0"), [(0, 5, 50)])
        self.assertEqual(self.peaks("--scans", "2:"), [(2, 8, 90)])
        out, err = self.kova("scans", "run.d", "--frame", "1", status=1)
        self.assertEqual(out, "")
        self.assertTrue(err.startswith("kova: CorruptScanDataError for FrameId=1, Scan=1: "), err)

    def test_failures_of_the_library_are_printed_as_they_are(self):
        self.analysis().add_frame(SCANS).add_frame(SCANS, KovaId=1 << 40).write()
        for arguments, text in [
                (["--frame", "9"], "CorruptFrameDataError for FrameId=9: Frame doesn't exist"),
                (["--frame", "-9", "--scans", "0:1"], "CorruptFrameDataError for FrameId=-9: Frame doesn't exist"),
                (["--frame", "2"], "CorruptFrameDataError for FrameId=2: Error reading binary header."),
                (["--frame", "1", "--scans", "3:5"], "Scan number [4] out of range."),
                (["--frame", "1", "--scans", "77:"], "Scan number [77] out of range."),
                (["--frame", "1", "--scans", "0:4294967294"], "Maximum decompressed frame size exceeded.")]:
            with self.subTest(arguments):
                self.assertEqual(self.kova("scans", "run.d", *arguments, status=1), ("", f"kova: {text}\n"))

    def test_a_result_larger_than_the_first_buffer(self):
        scan = [(index, 3 * index + 1) for index in range(0, 1000, 2)]
        self.analysis().add_frame([scan] * 500).write()
        self.assertEqual(self.peaks(), [(number, *peak) for number in range(500) for peak in scan])


if __name__ == "__main__":
    unittest.main()
