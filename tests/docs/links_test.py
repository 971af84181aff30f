"""The check of links has to notice files and anchors that are not there, and nothing else."""

import pathlib
import subprocess
import sys
import tempfile
import unittest

CHECKER = pathlib.Path(__file__).resolve().parents[2] / "tools" / "checks" / "check_links.py"
HTML = {"index.html": '<h1 id="top-of-it">x</h1><a href="a/b.html#good">1</a><a href="a/b.html#bad">2</a>'
                      '<a href="#top-of-it">3</a><img src="gone.svg"><a href="https://host.invalid/gone">4</a>',
        "a/b.html": '<a name="good"></a><a href="../index.html#">5</a><a href="../gone%20too.html">6</a>'}
MARKDOWN = {"README.md": "# A `code`, and 1/K0\n[1](#a-code-and-1k0) [2](a/b.md#bad) ![3](gone.svg) `[4](not/a/link)`\n"
                         "```\n[5](no/link/either)\n# no heading\n```\n[6](#no-heading) [7](a) [8](https://host.invalid)\n",
            "a/b.md": "## Good\n[9](../README.md) [10](#good) [11](../gone.md#x)\n"}


class Links(unittest.TestCase):
    def dead_links(self, files):
        with tempfile.TemporaryDirectory() as temporary:
            for name, text in files.items():
                path = pathlib.Path(temporary, name)
                path.parent.mkdir(exist_ok=True)
                path.write_text(text, encoding="utf-8")
            done = subprocess.run([sys.executable, "-B", CHECKER, temporary], capture_output=True, text=True, check=False)
            lines = done.stdout.splitlines()[:-1]
            self.assertEqual((done.returncode, done.stderr), (1 if lines else 0, ""))
            return sorted(line.split(": ")[1] for line in lines)

    def test_dead_links_are_found(self):
        self.assertEqual(self.dead_links(HTML), ["../gone%20too.html", "a/b.html#bad", "gone.svg"])
        self.assertEqual(self.dead_links(MARKDOWN), ["#no-heading", "../gone.md#x", "a/b.md#bad", "gone.svg"])

    def test_live_links_pass(self):
        self.assertEqual(self.dead_links({"README.md": "# A\n[1](#a)\n"}), [])


if __name__ == "__main__":
    unittest.main()
