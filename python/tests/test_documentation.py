"""The Python programs of the documentation run as they stand."""

import pathlib
import re
import subprocess
import sys
import textwrap

import pytest

import kovadata
import kovadata.plot

PROJECT = pathlib.Path(__file__).resolve().parents[2]
PROGRAM = re.compile(r"^```python\n(.*?)^```", re.M | re.S)
PAGES = [path for path in (PROJECT / "README.md", PROJECT / "python" / "README.md", *sorted((PROJECT / "docs").glob("*.md")))
         if PROGRAM.search(path.read_text())]
ANALYSES = {"run.d": "long", "scanwise.d": "by_scan", "spectra.d": "spectra"}


def run_program(folder, simulated, program):
    for name, analysis in ANALYSES.items():
        (folder / name).symlink_to(simulated(analysis))
    (folder / "program.py").write_text(program)
    done = subprocess.run([sys.executable, "-W", "error", "program.py"], cwd=folder, text=True, capture_output=True)
    assert done.returncode == 0, f"{program}\n{done.stderr}"


@pytest.mark.parametrize(("page", "number"), [
    pytest.param(page, number, id=f"{page.relative_to(PROJECT)}-{number}")
    for page in PAGES for number in range(len(PROGRAM.findall(page.read_text())))])
def test_programs(simulated, tmp_path, page, number):
    run_program(tmp_path, simulated, PROGRAM.findall(page.read_text())[number])


@pytest.mark.parametrize("name", [name for name in kovadata.__all__ if ">>>" in str(getattr(kovadata, name).__doc__)])
def test_examples_of_docstrings(simulated, tmp_path, name):
    lines = re.findall(r"^ *(?:>>>|\.\.\.) ?(.*)$", getattr(kovadata, name).__doc__, re.M)
    run_program(tmp_path, simulated, "import kovadata\n" + textwrap.dedent("\n".join(lines)))


def test_the_reference_has_every_name():
    listed = set(re.findall(r"^\.\. auto\w+:: (?:kovadata\.)?(\S+)$", (PROJECT / "docs" / "api" / "python.md").read_text(), re.M))
    names = {*kovadata.__all__, *(f"plot.{name}" for name in kovadata.plot.__all__)} - {"__version__"}
    assert listed == names
