import json
import unittest

from kova_testing import KovaTest


class Convert(KovaTest):
    """In the analysis of calibrate(), m/z is (index / 1000)^2, 1/K0 is (200 - scan) / 100, the ramp has 200 - scan volts."""

    def setUp(self):
        super().setUp()
        self.analysis().calibrate().add_frame([[]] * 3, MzCalibration=1, KovaCalibration=1).add_frame([[]]).write()
        self.analysis("spectra.d", scheme=3).calibrate().add_spectrum(MzCalibration=1).write()

    def convert(self, start, end, values, *arguments, run="run.d", frame=1):
        shown = json.loads(self.output("convert", run, "--frame", frame, "--from", start, "--to", end, "--json", *arguments,
                                       *values))
        self.assertEqual(shown["input"], values)
        return shown["output"]

    def test_every_unit_of_a_chain_converts_into_every_other_and_back(self):
        # Cross sections are about proportional to 1/K0: the chain begins at that of 1/K0 = 1.5.
        [ccs] = self.convert("one_over_k0", "ccs", [1.5], "--charge", "-2", "--mz", "622.5")
        for chain in ({"index": 1500.25, "mz": 1500.25 ** 2 / 1e6},
                      {"voltage": 150.0, "scan": 50.0, "one_over_k0": 1.5, "mobility": 1.5, "ccs": ccs}):
            for start, value in chain.items():
                for end, expected in chain.items():
                    if start != end and {start, end} != {"one_over_k0", "mobility"}:
                        with self.subTest(start=start, end=end):
                            ion = ["--charge=-2", "--mz=622.5"] if "ccs" in (start, end) else []
                            [shown] = self.convert(start, end, [value], *ion)
                            self.assertAlmostEqual(shown, expected, delta=1e-9 * expected)
        self.assertEqual(self.convert("mz", "index", [2.25], run="spectra.d"), [1500])

    def test_values_from_standard_input(self):
        arguments = ["convert", "run.d", "--frame", "1", "--from", "index", "--to", "mz", "--csv"]
        self.assertEqual(self.kova(*arguments, input="1000 +2000\n\n3e3\t")[0], "index,mz\n1000,1\n2000,4\n3000,9\n")
        self.assertEqual(self.kova(*arguments, input="")[0], "index,mz\n")
        # As many as the library converts with several threads.
        numbers = range(0, 35000, 7)
        rows = self.kova(*arguments, input="\n".join(map(str, numbers)))[0].splitlines()[1:]
        self.assertEqual([float(row.split(",")[1]) for row in rows], [(n / 1000) * (n / 1000) for n in numbers])

    def test_what_cannot_be_converted(self):
        for status, text, run, *arguments in [
                (2, "there is no conversion from index to scan", "run.d", "--frame=1", "--from=index", "--to=scan", "1"),
                (2, "there is no conversion from mz to mz", "run.d", "--frame=1", "--from=mz", "--to=mz", "1"),
                (2, "--frame is required for this conversion", "run.d", "--from=mz", "--to=index", "1"),
                (2, "--charge is required for this conversion", "run.d", "--from=ccs", "--to=mobility", "--mz=5", "1"),
                (2, "--mz is required for this conversion", "run.d", "--from=ccs", "--to=mobility", "--charge=1", "1"),
                (2, "'1,5' is not a number", "run.d", "--frame=1", "--from=mz", "--to=index", "1,5"),
                (2, "--to: feet not in {", "run.d", "--frame=1", "--from=mz", "--to=feet", "1"),
                (1, "standard input: value 2 is 'x', which is not a number", "run.d", "--frame=1", "--from=mz", "--to=index"),
                (1, "Frame 2 does not exists or is missing MzCalibration/Polarity", "run.d", "--frame=2", "--from=mz", "--to=index",
                 "1"),
                (1, "an analysis without ion mobility has no scan and no voltage", "spectra.d", "--frame=1", "--from=scan",
                 "--to=voltage", "1")]:
            with self.subTest(text):
                out, err = self.kova("convert", run, *arguments, status=status, input="1 x")
                self.assertEqual(out, "")
                self.assertTrue(err.startswith(f"kova: {text}"), err)


if __name__ == "__main__":
    unittest.main()
