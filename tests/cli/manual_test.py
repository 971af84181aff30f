"""The page of the command line, the manual pages and the completion scripts hold what the tool does."""

import os
import pathlib
import re
import subprocess
import unittest

from kova_testing import KOVA, KOVA_SIMULATE, KovaTest

PAGE = pathlib.Path(__file__).parents[2] / "docs" / "command-line.md"
VARYING = [(r"\d+\.\d+ s, \d+\.\d+ GB/s", "TIME"), (r"\d+(\.\d+)? (bytes|KiB|MiB)$", "SIZE"),
           (r'"(seconds|gigabytes_per_second)": [^,\n]+', r"\1"), (r'(_bin|kvd|sqlite)": \d+', r"\1")]


def verbs():
    script = subprocess.run([KOVA, "completions", "bash"], capture_output=True, text=True, check=True).stdout
    return re.search(r"_kova_verbs\(\) { echo '(.*)'", script)[1].split()


class Page(KovaTest):
    def stand_ins(self):
        """Programs of the page in the folder bin, and modules that plots need."""
        for name, program in {"kova": KOVA, "kova-simulate": KOVA_SIMULATE}.items():
            (self.folder / "bin" / name).parent.mkdir(exist_ok=True)
            (self.folder / "bin" / name).symlink_to(program)
        (self.folder / "site" / "kovadata").mkdir(parents=True)
        for name in ("_export", "_report"):
            (self.folder / "site" / "kovadata" / name).mkdir()
        (self.folder / "site" / "bokeh.py").write_text("")
        for name in ("plot", "view", "_export/__init__", "_report/__init__", "__init__", "__main__"):
            (self.folder / "site" / "kovadata" / f"{name}.py").write_text("")
        (self.folder / "site" / "matplotlib.py").write_text("")
        return {**os.environ, "PATH": f"{self.folder / 'bin'}:{os.environ['PATH']}", "PYTHONPATH": str(self.folder / "site")}

    @staticmethod
    def comparable(text):
        for pattern, name in VARYING:
            text = re.sub(pattern, name, text, flags=re.MULTILINE)
        # Processors differ in the last digits of what the simulator computes.
        return re.sub(r"\d+\.\d{5,}", lambda number: f"{float(number[0]):.9g}", text)

    def test_every_example_prints_what_the_page_says(self):
        environment = self.stand_ins()
        text = PAGE.read_text()
        blocks = re.findall(r"```console\n(.*?)```", text, flags=re.DOTALL)
        self.assertEqual([verb for verb in verbs() if f"$ kova {verb} " not in "".join(blocks)], [], "verbs without example")
        for block in blocks:
            for command, expected in re.findall(r"^\$ (.*)\n((?:(?!\$ ).*\n)*)", block, flags=re.MULTILINE):
                with self.subTest(command):
                    done = subprocess.run(["bash", "-c", command], stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True,
                                          cwd=self.folder, env=environment, timeout=120)
                    self.assertEqual(self.comparable(done.stdout), self.comparable(expected))

    def test_every_option_is_on_the_page(self):
        text = PAGE.read_text()
        for verb in verbs():
            for option in re.findall(r"^  .*?(--[a-z-]+)", self.output(verb, "--help"), flags=re.MULTILINE):
                self.assertIn(f"`{option}", text)


class ManualPages(KovaTest):
    def test_there_is_a_page_for_each_verb_without_complaints(self):
        self.output("--man-pages", ".")
        subprocess.run([KOVA_SIMULATE, "--man-pages", self.folder], check=True)
        pages = list(self.folder.glob("*.1"))
        self.assertEqual({page.stem for page in pages}, {"kova", "kova-simulate", *(f"kova-{verb}" for verb in verbs())})
        for page in pages:
            with self.subTest(page.name):
                shown = subprocess.run(["man", "--warnings", "-E", "UTF-8", "-l", page], capture_output=True, text=True,
                                       env={**os.environ, "MANWIDTH": "100", "LC_ALL": "C.UTF-8"}, check=True)
                self.assertEqual(shown.stderr, "")
                words = page.stem.split("-", 1) if page.stem != "kova-simulate" else []
                help_text = self.output(*words[1:], "--help") if words else ""
                for option in re.findall(r"(--[a-z-]+)", help_text):
                    self.assertIn(option, shown.stdout)
                if words:
                    self.assertIn("EXIT STATUS", shown.stdout)

    def test_a_folder_that_is_not_there(self):
        self.assertIn("nowhere", self.kova("--man-pages", "nowhere", status=2)[1])


BASH = """\
source <(kova completions bash)
compopt() { :; }
COMP_WORDS=("$@") COMP_CWORD=$(($# - 1))
_kova
printf '%s\\n' "${COMPREPLY[@]}"
"""


class Completions(KovaTest):
    def setUp(self):
        super().setUp()
        (self.folder / "a run.d").mkdir()
        (self.folder / "out.mgf").touch()
        self.environment = {**os.environ, "PATH": f"{pathlib.Path(KOVA).parent}:{os.environ['PATH']}", "HOME": str(self.folder)}

    def shell(self, *command):
        done = subprocess.run(command, capture_output=True, text=True, cwd=self.folder, env=self.environment, timeout=60)
        self.assertEqual((done.stderr, done.returncode), ("", 0))
        return done.stdout.split("\n")[:-1]

    CASES = [
        ("sp", ["spectrum"]), ("plot he", ["heatmap"]), ("completions ", ["bash", "fish", "zsh"]),
        ("convert run.d --from m", ["mobility", "mz"]), ("convert run.d --frame 3 --to v", ["voltage"]),
        ("msms run.d --mg", ["--mgf"]), ("msms --mgf o", ["out.mgf"]), ("info a", ["a run.d"]), ("plot tic a", ["a run.d"]),
        ("plot --mz-range 1 2 h", ["heatmap"]), ("--vers", ["--version"]), ("check --q", ["--quiet"])]

    def test_bash(self):
        for line, expected in self.CASES + [("convert run.d --from = mz --to = c", ["ccs"]), ("convert --to =", None)]:
            with self.subTest(line):
                shown = self.shell("bash", "-c", BASH, "bash", "kova", *line.split(" "))
                self.assertEqual(sorted(shown), expected if expected is not None else sorted(
                    ["index", "mz", "voltage", "scan", "one_over_k0", "ccs", "mobility"]))

    def test_fish(self):
        self.shell("fish", "-c", "kova completions fish | source")
        for line, expected in self.CASES:
            with self.subTest(line):
                shown = self.shell("fish", "-c", f'kova completions fish | source; complete -C "kova {line}"')
                names = [word.split("\t")[0].rstrip("/") for word in shown]
                self.assertEqual(sorted(names), expected)

    def test_zsh_understands_its_script(self):
        self.shell("zsh", "-fnc", "kova completions zsh")
        out = self.shell("zsh", "-fc", "compdef() { print $@ }; source <(kova completions zsh); print ${+functions[_kova]}")
        self.assertEqual(out, ["_kova kova", "1"])


if __name__ == "__main__":
    unittest.main()
