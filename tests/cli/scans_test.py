import json
import unittest

from kova_testing import KovaTest

SCANS = [[(0, 5), (999, 4294967295)], [], [(12, 1)], [(3, 8), (4, 0), (500, 70000)]]


class Scans(KovaTest):
    def peaks(self, *arguments):
        """The CSV rows as (scan, index, intensity)."""
        lines = self.output("scans", "run.d", "--frame", "1", "--csv", *arguments).splitlines()
        self.assertEqual(lines[0], "scan,index,intensity,mz,one_over_k0")
        return [tuple(map(int, line.removesuffix(",,").split(","))) for line in lines[1:]]

    # Text and JSON of a calibrated frame are on the page of the command line.
    def test_the_peaks_of_a_frame_without_calibration(self):
        for scheme in (1, 2):
            with self.subTest(scheme=scheme):
                run = f"scheme{scheme}.d"
                # The largest intensity of scheme 1 is that of a signed word.
                largest = 0x7FFFFFFF if scheme == 1 else 0xFFFFFFFF
                self.analysis(run, scheme=scheme).add_frame([[(0, 5), (999, largest)], *SCANS[1:]]).write()
                self.assertEqual(self.output("scans", run, "--frame", "1", "--scans", "0:3").splitlines()[2:],
                                 [f"     0        999  {largest}             -         -",
                                  "     2         12           1             -         -"])
                shown = json.loads(self.output("scans", run, "--frame", "1", "--json", "--scans", "1:3"))
                self.assertEqual((shown["scan_begin"], shown["scan_end"], shown["scans"]), (1, 3, [
                    {"scan": 1, "one_over_k0": None, "index": [], "intensity": [], "mz": None},
                    {"scan": 2, "one_over_k0": None, "index": [12], "intensity": [1], "mz": None}]))

    def test_physical_units_where_the_frame_is_calibrated(self):
        analysis = self.analysis().calibrate()
        for calibrations in ({"MzCalibration": 1, "KovaCalibration": 1}, {"MzCalibration": 1}, {"KovaCalibration": 1}):
            analysis.add_frame(SCANS[2:], **calibrations)
        analysis.write()
        for frame, has_mz, has_mobility in ((1, True, True), (2, True, False), (3, False, True)):
            with self.subTest(frame):
                rows = self.output("scans", "run.d", "--frame", frame, "--csv").splitlines()[1:]
                cells = [tuple(float(text) if text else None for text in row.split(",")[3:]) for row in rows]
                self.assertEqual(cells, [((index / 1000) * (index / 1000) if has_mz else None,
                                          1 / (100 / (200 - scan)) if has_mobility else None)
                                         for scan, index in ((0, 12), (1, 3), (1, 4), (1, 500))])

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

    def test_failures_of_the_library_are_printed_as_they_are(self):
        self.analysis().add_frame(SCANS).add_frame(SCANS, KovaId=1 << 40).add_frame([], KovaId=-5).write()
        self.assertEqual(json.loads(self.output("scans", "run.d", "--frame", "3", "--json"))["scans"], [])
        for arguments, text in [
                (["--frame", "-9", "--scans", "0:1"], "CorruptFrameDataError for FrameId=-9: Frame doesn't exist"),
                (["--frame", "2"], "CorruptFrameDataError for FrameId=2: Error reading binary header."),
                (["--frame", "1", "--scans", "77:"], "frame 1 has scans 0 to 3"),
                (["--frame", "1", "--scans", "0:4294967294"], "frame 1 has scans 0 to 3")]:
            with self.subTest(arguments):
                self.assertEqual(self.kova("scans", "run.d", *arguments, status=1), ("", f"kova: {text}\n"))


if __name__ == "__main__":
    unittest.main()
