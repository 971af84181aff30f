"""The Python programs of the documentation run as they stand."""

import re
import subprocess
import sys

import pytest

PAGES = ("README.md", "docs/python.md", "python/README.md")


@pytest.mark.parametrize("page", PAGES)
def test_programs(simulated, tmp_path, pytestconfig, page):
    text = (pytestconfig.rootpath.parent / page).read_text()
    programs = re.findall(r"^```python\n(.*?)^```", text, re.M | re.S)
    assert programs
    (tmp_path / "run.d").symlink_to(simulated("long"))
    for program in programs:
        (tmp_path / "program.py").write_text(program)
        done = subprocess.run([sys.executable, "-W", "error", "program.py"], cwd=tmp_path, text=True, capture_output=True)
        assert done.returncode == 0, f"{program}\n{done.stderr}"
