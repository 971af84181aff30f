"""The verbs that run the Python package; a stand-in for it says what it was given."""

import json
import os
import shutil
import sys
import unittest

from kova_testing import KovaTest

MODULE = """\
import json, sys
if __name__ == "__main__":
    json.dump(sys.argv[1:], sys.stdout)
    sys.exit(3 if "fail.d" in sys.argv else 0)
"""


class Plot(KovaTest):
    def setUp(self):
        super().setUp()
        for name, text in {"kovadata/__init__.py": "", "kovadata/plot.py": MODULE, "kovadata/__main__.py": MODULE,
                           "kovadata/_export/__init__.py": "", "kovadata/_report/__init__.py": "", "bokeh.py": "",
                           "kovadata/view.py": MODULE, "matplotlib.py": ""}.items():
            path = self.folder / "site" / name
            path.parent.mkdir(parents=True, exist_ok=True)
            path.write_text(text)

    def plot(self, *arguments, status=0, verb="plot", **variables):
        # -S: nothing that is installed for the interpreter counts.
        python = self.folder / "python"
        python.write_text(f'#!/bin/sh\nexec {sys.executable} -B -S "$@"\n')
        python.chmod(0o755)
        environment = {**os.environ, "PYTHONPATH": str(self.folder / "site"), "KOVADATA_PYTHON": str(python), **variables}
        return self.kova(verb, *arguments, status=status, env=environment)

    def test_the_command_line_is_passed_on_as_it_is(self):
        options = ["--frame=3", "--precursor=7", "--mz-range", "400", "1e3", "--mobility-range", "-0.60", "1.4",
                   "--time-range", "1", "2.50", "--labels=4", "--size", "3", "2", "--dpi=99", "--recalibrated"]
        for given, passed in [(["tic", "run.d"], ["tic", "--", "run.d"]),
                              (["heatmap", "a run.d", *options, "--output=-a b.png"],
                               ["heatmap", "--output=-a b.png", *options, "--", "a run.d"]),
                              (["spectrum", "run.d", "--form", "lines"], ["spectrum", "--form=lines", "--", "run.d"])]:
            self.assertEqual(json.loads(self.plot(*given)[0]), passed)

    def test_exports_are_passed_on_as_they_are(self):
        options = ["--mz=-5:6.0", "--frames=1,3:4", "--compression=zstd", "--memory=64M", "--calibration=last:a b", "--threads=2"]
        for given, passed in [(["run.d", "-o", "a.mgf"], ["export", "--output=a.mgf", "--", "run.d"]),
                              (["a run.d", *options, "--raw", "--check", "--output=-b ü.parquet", "--skip-damaged", "--force", "--quiet"],
                               ["export", "--output=-b ü.parquet", "--compression=zstd", "--frames=1,3:4", "--mz=-5:6.0", "--raw",
                                "--memory=64M", "--force", "--check", *options[4:], "--skip-damaged", "--quiet", "--", "a run.d"])]:
            self.assertEqual(json.loads(self.plot(*given, verb="export")[0]), passed)

    def test_reports_are_passed_on_as_they_are(self):
        options = ["--threads=2", "--force", "--recalibrated", "--quiet"]
        for given, passed in [([*options, "--output=-b ü.html", "--", "a run.d", "b.d"], ["--output=-b ü.html", *options, "--", "a run.d", "b.d"]),
                              (["run.d", "--json", "--calibration", "last:a b"], ["--json", "--calibration=last:a b", "--", "run.d"])]:
            self.assertEqual(json.loads(self.plot(*given, verb="report")[0]), ["report", *passed])

    def test_views_are_passed_on_as_they_are(self):
        options = ["--no-browser", "--port=81", "--listen=::1", "--calibration=last:a b"]
        for given, passed in [(["run.d"], ["--", "run.d"]), ([*options, "a run.d", "b.d"], [*options, "--", "a run.d", "b.d"])]:
            self.assertEqual(json.loads(self.plot(*given, verb="view")[0]), passed)

    def test_the_exit_status_is_that_of_the_module(self):
        self.plot("msms", "fail.d", status=3)
        self.plot("fail.d", "-o", "a.mgf", status=3, verb="export")

    def test_ctrl_c_while_the_interpreter_starts(self):
        (self.folder / "site" / "kovadata" / "plot.py").write_text(
            "import signal, sys\nsys.exit(5 if signal.SIGINT in signal.pthread_sigmask(signal.SIG_BLOCK, []) else 6)")
        self.plot("tic", "run.d", status=5)
        (self.folder / "site" / "kovadata" / "__init__.py").write_text(
            "import os, signal\nos.kill(os.getpid(), signal.SIGINT)\nraise SystemExit(7)")
        self.assertEqual(self.plot("tic", "run.d", status=130), ("", "kova: interrupted\n"))

    def test_what_is_missing_is_told(self):
        for remove, text in (("matplotlib.py", "has no module matplotlib\n"), ("kovadata/plot.py", "no module kovadata.plot\n"),
                             ("kovadata/__init__.py", "has no module kovadata.plot\n")):
            (self.folder / "site" / remove).unlink()
            out, err = self.plot("tic", "run.d", status=1)
            self.assertEqual(out, "")
            self.assertIn(text, err)
            self.assertIn("hint: install the Python packages kovadata and matplotlib", err)
        shutil.rmtree(self.folder / "site" / "kovadata" / "_export")
        out, err = self.plot("run.d", "-o", "a.mgf", status=1, verb="export")
        self.assertIn("hint: install the Python package kovadata with its extra `export`", err)
        (self.folder / "site" / "bokeh.py").unlink()
        self.plot("run.d", "--json", verb="report")
        out, err = self.plot("run.d", "-o", "a.html", status=1, verb="report")
        self.assertIn("hint: install the Python package kovadata with its extra `view`", err)
        out, err = self.plot("tic", "run.d", status=1, KOVADATA_PYTHON="/no/python")
        self.assertEqual(err, "kova: /no/python cannot be run: No such file or directory\n"
                              "hint: plots need Python 3: install it, or name an interpreter in KOVADATA_PYTHON\n")

    def test_a_package_that_fails_to_load_speaks_for_itself(self):
        (self.folder / "site" / "kovadata" / "__init__.py").write_text("raise OSError('no libkovadata.so')")
        _, err = self.plot("tic", "run.d", status=1)
        self.assertIn("OSError: no libkovadata.so", err)
        self.assertNotIn("kova: ", err)


if __name__ == "__main__":
    unittest.main()
