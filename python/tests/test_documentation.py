"""The Python programs of the documentation run as they stand."""

import operator
import os
import pathlib
import re
import shutil
import subprocess
import sys
import textwrap

import pytest

import kova_testing  # of the command line tool's tests
import kovadata
import kovadata.plot

PROJECT = pathlib.Path(__file__).resolve().parents[2]
PROGRAM = re.compile(r"^```python\n(.*?)^```", re.M | re.S)
PAGES = [path for path in (PROJECT / "README.md", PROJECT / "python" / "README.md", *sorted((PROJECT / "docs").glob("*.md")))
         if PROGRAM.search(path.read_text())]
ANALYSES = {"run.d": "long", "scanwise.d": "by_scan", "spectra.d": "spectra"}
MEASURED = PROJECT.parent / "shared" / "data" / "analyses"
# Pages whose programs say something about any run, and which they read.
ANY_RUN = ("README.md", "start.md", "recipes.md")
READ = {"kovadata.Analysis(": "analysis.kvd", "kovadata.SpectrumAnalysis(": "analysis.kvs", "kovadata.open(": "analysis.kv?"}
# One interpreter for all folders: most of what a program takes is its imports.
IN_EACH = """import os, runpy, sys
folders, sys.argv[1:] = sys.argv[1:], []
for folder in folders:
    os.chdir(folder)
    runpy.run_path(folder + "/program.py", run_name="__main__")
    print(end="\\0", flush=True)
"""


def run_program(program, simulated, folder, *others):
    """What a program prints, and the folder it ran in: beside the analyses that pages name, and beside others in their place."""
    folders = [folder / str(place) for place in range(1 + len(others))]
    for one, run in zip(folders, (None, *others)):
        one.mkdir()
        (one / "program.py").write_text(program)
        for name, analysis in ANALYSES.items():
            (one / name).symlink_to(run if run and name in ("run.d", "spectra.d") else simulated(analysis))
    done = subprocess.run([sys.executable, "-W", "error", "-c", IN_EACH, *folders], text=True, capture_output=True)
    assert done.returncode == 0, f"{program}\n{done.stderr}"
    return zip(done.stdout.split("\0"), folders)


@pytest.mark.parametrize(("page", "number"), [
    pytest.param(page, number, id=f"{page.relative_to(PROJECT)}-{number}")
    for page in PAGES for number in range(len(PROGRAM.findall(page.read_text())))])
def test_programs(simulated, tmp_path, page, number):
    program, others = PROGRAM.findall(page.read_text())[number], []
    if page.name in ANY_RUN:
        read = next(files for opened, files in READ.items() if opened in program)
        others = [path.parent for path in sorted(MEASURED.glob(f"*/{read}"))]
        others += [simulated(name) for name in ("run", "spectra") if list(simulated(name).glob(read))]
    for printed, folder in list(run_program(program, simulated, tmp_path, *others))[1:]:
        assert (0 < printed.count("\n") <= 200) or list(folder.glob("*.parquet")), f"{folder} {printed[:300]}"


@pytest.mark.parametrize("name", [name for name in kovadata.__all__ if ">>>" in str(getattr(kovadata, name).__doc__)])
def test_examples_of_docstrings(simulated, tmp_path, name):
    lines = re.findall(r"^ *(?:>>>|\.\.\.) ?(.*)$", getattr(kovadata, name).__doc__, re.M)
    run_program("import kovadata\n" + textwrap.dedent("\n".join(lines)), simulated, tmp_path)


def test_the_program_in_r(simulated, tmp_path):
    if not shutil.which("Rscript") or subprocess.run(["Rscript", "-e", "library(arrow); library(dplyr)"], capture_output=True).returncode:
        pytest.skip("R or its packages arrow and dplyr are not there")
    kovadata.export(simulated("long"), tmp_path / "ions.parquet", layout="mz")
    [program] = re.findall(r"^```r\n(.*?)^```", (PROJECT / "docs" / "into-other-programs.md").read_text(), re.M | re.S)
    done = subprocess.run(["Rscript", "-e", program], cwd=tmp_path, text=True, capture_output=True)
    assert done.returncode == 0 and "intensity" in done.stdout, done.stderr


def test_lines_of_recipes_are_typed(tmp_path):
    """In a typed function; functions that a program defines for itself, and other packages, need no types."""
    for page in PAGES:
        for number, program in enumerate(PROGRAM.findall(page.read_text())):
            text = "def program() -> None:\n" + textwrap.indent(program, "    ")
            (tmp_path / f"{page.parent.name}_{page.stem}_{number}.py".replace("-", "_")).write_text(text)
    (tmp_path / "mypy.ini").write_text("[mypy]\n[mypy-matplotlib.*]\nfollow_imports = skip\nfollow_imports_for_stubs = True\n")
    options = ["--strict", "--ignore-missing-imports", "--follow-imports=silent", "--allow-untyped-defs", "--allow-untyped-calls"]
    done = subprocess.run([sys.executable, "-m", "mypy", *options, "--config-file=mypy.ini", *sorted(file.name for file in tmp_path.glob("*.py"))],
                          cwd=tmp_path, text=True, capture_output=True, env={**os.environ, "MYPYPATH": str(PROJECT / "python")})
    assert done.returncode == 0, done.stdout + done.stderr


def test_the_reference_has_every_name():
    listed = set(re.findall(r"^\.\. auto\w+:: (?:kovadata\.)?(\S+)$", (PROJECT / "docs" / "api" / "python.md").read_text(), re.M))
    names = {*kovadata.__all__, *(f"plot.{name}" for name in kovadata.plot.__all__)} - {"__version__"}
    assert {name for name in listed if not name.startswith(("study.", "engines."))} == names


def is_there(name, headers):
    """Whether a verb with options, a name of Python, or one of a header exists."""
    if name.startswith("kova "):
        verb, *words = name.split()[1:]
        done = subprocess.run([kova_testing.KOVA, verb, "--help"], text=True, capture_output=True)
        return done.returncode == 0 and all(word in done.stdout for word in words)
    if re.fullmatch(r"(kova|kvs|kvr)_\w+", name):
        return re.search(rf"\b{name}\b", headers)
    return not re.fullmatch(r"\w+\.\w+", name) or operator.attrgetter(name.removeprefix("kovadata."))(kovadata)


def test_what_the_page_of_questions_names_is_there():
    headers = "".join(path.read_text() for path in (PROJECT / "include" / "kovadata").glob("*.h"))
    names = re.findall(r"^\|.*", (PROJECT / "docs" / "which.md").read_text(), re.M)
    names = [name for name in re.findall(r"`([^`]+)`", "".join(names)) if not is_there(name, headers)]
    assert not names
