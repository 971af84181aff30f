"""Usage, errors and the ends of output: what all verbs have in common."""

import subprocess
import unittest

from kova_testing import KOVA, KovaTest

VERBS = ("info", "frames", "scans", "spectrum", "peaks", "sum", "xic", "msms", "convert", "check", "export", "plot", "report", "view",
         "completions")


class Usage(KovaTest):
    def test_wrong_usage_is_told_with_status_2(self):
        cases = [
            ([], "a verb is required"),
            (["fly"], "unknown verb 'fly'"),
            (["--fast", "info"], "unknown option '--fast'"),
            (["info"], "ANALYSIS is required"),
            (["info", "a", "b"], "not expected: b"),
            (["scans", "run.d"], "--frame is required"),
            (["scans", "run.d", "--frame", "one"], "--frame = one"),
            (["frames", "run.d", "--csv", "--json"], "--csv excludes --json"),
            (["check", "run.d", "--csv"], "unknown option '--csv'"),
            (["spectrum", "run.d", "--frame", "1", "--nonzero"], "--nonzero requires --profile"),
            (["msms", "run.d", "--frame", "1", "--precursor", "2"], "--precursor excludes --frame"),
            (["msms", "run.d", "--mgf", "out.mgf", "--json"], "--mgf excludes --json"),
            (["convert", "run.d", "--from", "mz"], "--to is required"),
            (["export", "run.d"], "--output is required"),
            (["export", "run.d", "-o", "a.mgf", "--k0", "1"], "--k0: '1' is not a range such as"),
            (["report", "run.d"], "--output is required, unless --json prints the numbers"),
            (["plot", "pie", "run.d"], "KIND: pie not in {"),
            (["plot", "tic", "run.d", "--mz-range", "4", "x"], "'x' is not a number"),
            (["scans", "run.d", "--fram", "1"], "unknown option '--fram'; is it --frame?"),
            (["msms", "run.d", "--top", "0"], "--top: '0' is not a whole number from 1"),
            (["msms", "run.d", "--top", "-1"], "--top: '-1' is not a whole number from 1"),
            (["xic", "run.d"], "--mz or --targets is required"),
            (["xic", "run.d", "--mz", "5"], "--mz: '5' is not a range such as 400.5:401"),
            (["sum", "run.d", "--k0", "2:1"], "--k0: '2:1' ends before it begins"),
            (["peaks", "run.d", "--time", "nan:"], "--time: 'nan:' is not a range"),
            (["completions", "csh"], "SHELL: csh not in {"),
        ] + [(["scans", "run.d", "--frame", "1", "--scans", scans], f"--scans: '{scans}'")
             for scans in ("", "x", "5:5", "7:3", "1:2:3", "-1:2", "0:4294967295", "1.5", "+1")]
        for arguments, text in cases:
            with self.subTest(arguments):
                out, err = self.kova(*arguments, status=2)
                self.assertEqual(out, "")
                self.assertTrue(err.startswith("kova: "), err)
                self.assertIn(text, err.splitlines()[0])
                verb = [word for word in arguments[:1] if word in VERBS]
                self.assertEqual(err.splitlines()[-1], " ".join(["try: kova", *verb, "--help"]))

    def test_every_help_has_examples_and_tells_the_exit_status(self):
        for verb in ([], *([verb] for verb in VERBS)):
            with self.subTest(verb):
                out = self.output(*verb, "--help")
                self.assertRegex(out, r"(?s)\nExamples:\n  .*\bkova " + "".join(verb))
                self.assertRegex(out, r"\nExit status:\n  0  success\n  1  \w.*\n  2  wrong usage\n")
                self.assertLessEqual(max(map(len, out.splitlines())), 120)

    def test_version(self):
        self.assertRegex(self.output("--version"), r"^kova \d+\.\d+\.\d+\n$")


class Failures(KovaTest):
    def test_what_is_no_analysis_is_told_by_the_library_with_a_hint(self):
        self.analysis("lab/run.d").write()
        (self.folder / "empty").mkdir()
        self.analysis("spectra", scheme=3).write()
        cases = {
            "nowhere": ("nowhere: Specified analysis directory does not exist.", None),
            "lab/run.d/analysis.kvd": ("lab/run.d/analysis.kvd: Specified path is not a directory.",
                                       "name the directory that holds it: lab/run.d"),
            "spectra/analysis.kvs": ("spectra/analysis.kvs: Specified path is not a directory.",
                                     "name the directory that holds it: spectra"),
            "lab": ("lab/analysis.kvd doesn't exist.", "there is an analysis in it: lab/run.d"),
            "empty": ("empty/analysis.kvd doesn't exist.",
                      "an analysis is a directory that holds analysis.kvd and analysis.kvd_bin, or analysis.kvs and "
                      "analysis.kvs_bin"),
        }
        for path, (text, hint) in cases.items():
            with self.subTest(path):
                for verb in (["info"], ["frames"], ["scans", "--frame", "1"], ["msms"], ["check", "--json"],
                             ["convert", "--frame", "1", "--from", "mz", "--to", "index"]):
                    self.check_refused([*verb, path], text, hint)

    def check_refused(self, arguments, text, hint):
        out, err = self.kova(*arguments, status=1)
        self.assertEqual(out, "")
        self.assertEqual(err, f"kova: {text}\n" + (f"hint: {hint}\n" if hint else ""))

    def test_a_verb_for_the_other_format_is_told_with_a_hint(self):
        self.analysis("mobility").write()
        self.analysis("spectra", scheme=3).write()
        for verb in (["scans", "--frame", "1"], ["msms"], ["peaks"], ["sum"], ["xic", "--mz", "1:"]):
            self.check_refused([*verb, "spectra"], "spectra is an analysis without ion mobility",
                               "`kova spectrum` prints its spectra")
        self.check_refused(["spectrum", "--frame", "1", "mobility"], "mobility is an analysis with ion mobility",
                           "`kova scans` prints its peaks")


class EndOfOutput(KovaTest):
    def setUp(self):
        super().setUp()
        scan = [(index, 7) for index in range(400)]
        analysis = self.analysis()
        for _ in range(30):
            analysis.add_frame([scan] * 30, MzCalibration=1, KovaCalibration=1)
        analysis.calibrate().execute(
            "CREATE TABLE Precursors (Id, Parent, ScanNumber)", "INSERT INTO Precursors SELECT Id, 1, 1 FROM Frames",
            "CREATE TABLE ZorelFrameMsMsInfo (Frame, Precursor, ScanNumBegin, ScanNumEnd)",
            "INSERT INTO ZorelFrameMsMsInfo SELECT Id, Id, 0, 30 FROM Frames").write()
        self.analysis("spectra.d", scheme=3).add_spectrum(
            [(index, 7, 1) for index in range(9000)], range(9000)).write()

    def test_a_reader_that_goes_away_is_no_failure(self):
        spectrum = ["spectrum", "spectra.d", "--frame", "1"]
        msms = ["msms", "run.d", "--profile"]
        for verb in (["scans", "run.d", "--frame", "1"], ["scans", "run.d", "--frame", "1", "--json"], ["frames", "run.d"],
                     ["info", "run.d"], ["check", "run.d"], [*spectrum, "--json"], [*spectrum, "--profile", "--csv"],
                     ["frames", "spectra.d"], [*msms, "--peaks"], [*msms, "--mgf", "-"], [*msms, "--json"], ["--help"]):
            with self.subTest(verb):
                running = subprocess.Popen([KOVA, *verb], stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                                           stderr=subprocess.PIPE, cwd=self.folder)
                running.stdout.close()
                with running.stderr:
                    self.assertEqual(running.stderr.read(), b"")
                self.assertEqual(running.wait(timeout=60), 0)

    def test_output_that_cannot_be_written_is_a_failure(self):
        for verb in (["scans", "run.d", "--frame", "1"], ["frames", "run.d"], ["info", "run.d", "--json"],
                     ["check", "run.d"], ["spectrum", "spectra.d", "--frame", "1"], ["check", "spectra.d"],
                     ["msms", "run.d", "--profile", "--peaks"], ["msms", "run.d", "--profile", "--mgf", "-"]):
            with self.subTest(verb), open("/dev/full", "wb") as full:
                done = subprocess.run([KOVA, *verb], stdout=full, stderr=subprocess.PIPE, text=True,
                                      cwd=self.folder, timeout=60)
                self.assertEqual(done.stderr, "kova: cannot write the output: No space left on device\n")
                self.assertEqual(done.returncode, 1)


if __name__ == "__main__":
    unittest.main()
