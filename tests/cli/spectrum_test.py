import json
import unittest

from kova_testing import KovaTest

LINES = [(1000.0, 1.5, 0.125), (1500.25, 16777217.0, 2.0), (2000.0, 100000.0, 0.1)]
PROFILE = [0, 7, 0, 4294967295]


class Spectrum(KovaTest):
    # Text and JSON of lines with everything, and text of a profile, are on the page of the command line.
    def test_numbers_are_exact(self):
        self.analysis(scheme=3).calibrate().add_spectrum(LINES, PROFILE, MzCalibration=1).write()
        # Widths and intensities are 32-bit numbers and shown as short as those allow.
        self.assertEqual(self.output("spectrum", "run.d", "--frame", "1", "--csv"),
                         "index,mz,intensity,width\n1000,1,1.5,0.125\n"
                         f"1500.25,{(1500.25 / 1000) ** 2!r},16777216,2\n2000,4,1e+05,0.1\n")
        profile = ["spectrum", "run.d", "--frame", "1", "--profile"]
        self.assertEqual(self.output(*profile, "--csv"),
                         "index,mz,intensity\n0,0,0\n1,1e-06,7\n2,4e-06,0\n3,9e-06,4294967295\n")
        self.assertEqual(json.loads(self.output(*profile, "--nonzero", "--json")), {
            "frame": 1, "kind": "profile", "index": [1, 3], "mz": [1e-6, 9e-6], "intensity": [7, 4294967295],
            "width": None})

    def test_what_a_spectrum_does_not_have_is_left_empty(self):
        narrow = [line[:2] for line in LINES[:1]]
        self.analysis(scheme=3, parts="l").add_spectrum(narrow).add_spectrum().write()
        self.assertEqual(self.output("spectrum", "run.d", "--frame", "1", "--csv"),
                         "index,mz,intensity,width\n1000,,1.5,\n")
        self.assertEqual(json.loads(self.output("spectrum", "run.d", "--frame", "1", "--json")), {
            "frame": 1, "kind": "lines", "index": [1000], "mz": None, "intensity": [1.5], "width": None})
        self.assertEqual(self.output("spectrum", "run.d", "--frame", "2", "--csv"), "index,mz,intensity,width\n")


if __name__ == "__main__":
    unittest.main()
