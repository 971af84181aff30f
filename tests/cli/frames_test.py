import json
import unittest

from kova_testing import FEWEST_COLUMNS, KovaTest

HEADER = ("id,time,polarity,ms_level,scans,peaks,intensity_sum,lines,profile_points,mz_min,mz_max,one_over_k0_min,"
          "one_over_k0_max\n")


class Frames(KovaTest):
    def test_csv_and_json_give_numbers_back_exactly(self):
        self.analysis().add_frame([[(1, 4294967295)], [(5, 4294967295)]], Id=7, Time=1 / 3).add_frame(
            [[]], Id=-(2 ** 63), Time=1e300, Polarity='a,"b"').write()
        self.assertEqual(self.output("frames", "run.d", "--csv"), HEADER +
                         '-9223372036854775808,1e+300,"a,""b""",1,1,0,0,,,,,,\n'
                         "7,0.3333333333333333,+,1,2,2,8589934590,,,,,,\n")
        last = json.loads(self.output("frames", "run.d", "--json"))[1]
        self.assertEqual(last, {"id": 7, "time": 1 / 3, "polarity": "+", "ms_level": 1, "scans": 2, "peaks": 2,
                                "intensity_sum": 8589934590, "lines": None, "profile_points": None, "mz_min": None, "mz_max": None,
                                "one_over_k0_min": None, "one_over_k0_max": None})

    def test_a_bad_calibration_is_told_once_and_leaves_its_columns_empty(self):
        analysis = self.analysis().calibrate()
        analysis.execute("UPDATE KovaCalibration SET C5=2", "UPDATE MzCalibration SET ModelType=7")
        for _ in range(2):
            analysis.add_frame([[(5, 1)]], MzCalibration=1, KovaCalibration=1)
        analysis.write()
        out, err = self.kova("frames", "run.d", "--csv")
        self.assertEqual(out, HEADER + "1,0,+,1,1,1,1,,,,,,\n2,1.5,+,1,1,1,1,,,,,,\n")
        self.assertEqual(err, "kova: Unknown m/z calibration model 7\nkova: LVR: unsupported degree != 1.\n")

    def test_metadata_are_trusted_unless_told_to_read_or_make_no_sense(self):
        self.analysis().add_frame([[(1, 1)], [(2, 2)]], NumScans=9, NumPeaks=8, SummedIntensities=7).add_frame(
            [[(1, 1)]], NumPeaks=-1).add_frame([[(1, 2)]], NumScans=1 << 32).add_frame([[(1, 3)]], NumPeaks="many").write()
        for arguments, first in (([], ["9", "8", "7"]), (["--read"], ["2", "2", "3"])):
            rows = self.output("frames", "run.d", "--csv", *arguments).splitlines()[1:]
            self.assertEqual([row.split(",")[4:7] for row in rows], [first, *(["1", "1", total] for total in "123")])

    def test_a_damaged_frame_has_empty_columns_and_the_others_are_listed(self):
        analysis = self.analysis(columns=FEWEST_COLUMNS)
        analysis.add_frame([[(1, 1)]]).add_frame([[(1, 1)]], KovaId=1 << 40).add_frame([[(1, 1)]]).write()
        out, err = self.kova("frames", "run.d", "--csv", status=1)
        self.assertEqual(out, HEADER + "1,,+,,1,1,1,,,,,,\n2,,+,,,,,,,,,,\n3,,+,,1,1,1,,,,,,\n")
        self.assertEqual(err, "kova: frame 2: CorruptFrameDataError for FrameId=2: Error reading binary header.\n")

    def test_spectra(self):
        analysis = self.analysis(scheme=3, bins=2001).calibrate()
        analysis.add_spectrum([(1.5, 2.5, 0.5)] * 3, [4, 0, 6], MzCalibration=1)
        analysis.add_spectrum([(7, 8, 9)], Time=None, MsMsType=8).add_spectrum(KovaId=-1).write()
        self.assertEqual(self.output("frames", "run.d"), """\
    id        time  pol  ms     lines   profile   m/z from     m/z to
     1       0.000    +   1         3         3     0.0000     4.0000
     2           -    +   2         1         0          -          -
     3       3.000    +   1         0         0          -          -
""")
        self.assertEqual(self.output("frames", "run.d", "--csv").splitlines()[:2],
                         [HEADER.rstrip(), "1,0,+,1,,,,3,3,0,4,,"])

    def test_spectra_of_one_kind_and_damaged_ones(self):
        for parts, spectrum, columns in (("l", ([(1, 1)], []), "1,"), ("p", ([], [1, 2]), ",2")):
            with self.subTest(parts):
                name = f"parts{parts}.d"
                analysis = self.analysis(name, scheme=3, columns=("NumPeaks", *FEWEST_COLUMNS), parts=parts)
                analysis.add_spectrum(*spectrum).add_spectrum(*spectrum, KovaId=1 << 40).add_spectrum(*spectrum).write()
                out, err = self.kova("frames", name, "--csv", status=1)
                self.assertEqual(out.splitlines()[1:], [f"1,,+,,,,,{columns},,,,", "2,,+,,,,,,,,,,", f"3,,+,,,,,{columns},,,,"])
                self.assertRegex(err, "^kova: spectrum 2: CorruptFrameDataError for FrameId=2: .*\n$")


if __name__ == "__main__":
    unittest.main()
