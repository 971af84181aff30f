"""Usage, errors and the ends of output: what all verbs have in common."""

import subprocess
import unittest

from kova_testing import KOVA, KovaTest

VERBS = ("info", "frames", "scans", "check")


class Usage(KovaTest):
    def test_wrong_usage_is_told_with_status_2(self):
        cases = [
            ([], "a verb is required"),
            (["fly"], "unknown verb 'fly'"),
            (["--fast", "info"], "unknown option '--fast'"),
            (["info"], "DIR is required"),
            (["info", "a", "b"], "not expected: b"),
            (["scans", "run.d"], "--frame is required"),
            (["scans", "run.d", "--frame", "one"], "--frame = one"),
            (["frames", "run.d", "--csv", "--json"], "--csv excludes --json"),
            (["check", "run.d", "--csv"], "not expected: --csv"),
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

    def test_every_help_has_examples(self):
        for verb in ([], *([verb] for verb in VERBS)):
            with self.subTest(verb):
                out = self.output(*verb, "--help")
                self.assertIn("Examples:\n  kova " + "".join(verb), out)
                self.assertLessEqual(max(map(len, out.splitlines())), 120)

    def test_version(self):
        self.assertRegex(self.output("--version"), r"^kova \d+\.\d+\.\d+\n$")


class Failures(KovaTest):
    def test_what_is_no_analysis_is_told_by_the_library_with_a_hint(self):
        self.analysis("lab/run.d").write()
        (self.folder / "empty").mkdir()
        (self.folder / "spectra").mkdir()
        (self.folder / "spectra" / "analysis.kvs").touch()
        cases = {
            "nowhere": ("Specified analysis directory does not exist.", None),
            "lab/run.d/analysis.kvd": ("Specified path is not a directory.",
                                       "name the directory that holds it: lab/run.d"),
            "spectra/analysis.kvs": ("Specified path is not a directory.",
                                     "an analysis is a directory that holds analysis.kvd"),
            "lab": ("lab/analysis.kvd doesn't exist.", "there is an analysis in it: lab/run.d"),
            "empty": ("empty/analysis.kvd doesn't exist.",
                      "an analysis is a directory that holds analysis.kvd and analysis.kvd_bin"),
            "spectra": ("spectra/analysis.kvd doesn't exist.",
                        "this is an analysis without ion mobility; `kova info` tells what it holds"),
        }
        for path, (text, hint) in cases.items():
            with self.subTest(path):
                for verb in (["frames"], ["scans", "--frame", "1"], ["check", "--json"]):
                    out, err = self.kova(*verb, path, status=1)
                    self.assertEqual(out, "")
                    self.assertEqual(err, f"kova: {text}\n" + (f"hint: {hint}\n" if hint else ""))

    def test_damaged_metadata_are_an_error_and_no_crash(self):
        directory = self.analysis().add_frame([[(1, 1)]]).write()
        metadata = directory / "analysis.kvd"
        intact = metadata.read_bytes()
        for name, damaged in {"no database": b"x" * 5000, "cut": intact[:4096], "empty": b""}.items():
            metadata.write_bytes(damaged)
            for verb in (["info"], ["frames"], ["scans", "--frame", "1"], ["check"]):
                with self.subTest(name, verb=verb):
                    out, err = self.kova(*verb, directory, status=1)
                    self.assertEqual(out, "")
                    self.assertTrue(err.startswith("kova: "), err)


class EndOfOutput(KovaTest):
    def setUp(self):
        super().setUp()
        scan = [(index, 7) for index in range(400)]
        analysis = self.analysis()
        for _ in range(30):
            analysis.add_frame([scan] * 30)
        analysis.write()

    def test_a_reader_that_goes_away_is_no_failure(self):
        for verb in (["scans", "--frame", "1"], ["scans", "--frame", "1", "--csv"],
                     ["scans", "--frame", "1", "--json"], ["frames"], ["info"], ["check"], ["--help"]):
            with self.subTest(verb):
                command = [KOVA, *verb] + (["run.d"] if verb != ["--help"] else [])
                running = subprocess.Popen(command, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                                           stderr=subprocess.PIPE, cwd=self.folder)
                running.stdout.close()
                with running.stderr:
                    self.assertEqual(running.stderr.read(), b"")
                self.assertEqual(running.wait(timeout=60), 0)

    def test_output_that_cannot_be_written_is_a_failure(self):
        for verb in (["scans", "--frame", "1"], ["frames"], ["info", "--json"], ["check"]):
            with self.subTest(verb), open("/dev/full", "wb") as full:
                done = subprocess.run([KOVA, *verb, "run.d"], stdout=full, stderr=subprocess.PIPE, text=True,
                                      cwd=self.folder, timeout=60)
                self.assertEqual(done.stderr, "kova: cannot write the output: No space left on device\n")
                self.assertEqual(done.returncode, 1)


if __name__ == "__main__":
    unittest.main()
