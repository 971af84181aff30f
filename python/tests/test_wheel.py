"""The package as users get it: as a wheel with the library inside, and built for an installed library."""

import os
import pathlib
import re
import subprocess
import sys

import pytest

PACKAGE = pathlib.Path(__file__).resolve().parents[1]
LIBRARY = pathlib.Path(os.environ["KOVADATA_LIBRARY"])
USE = """
import sys, kovadata, kovadata._library
from multiprocessing import Pool

def peaks(argument):
    analysis, part = argument
    return sum(len(frame.peaks()) for frame in analysis.frames(part))

if __name__ == "__main__":
    with kovadata.Analysis(sys.argv[1]) as analysis:
        assert analysis.frame_table()["peaks"].sum() == peaks((analysis, None))
        with Pool(2) as pool:
            assert sum(pool.map(peaks, [(analysis, part) for part in analysis.partitions(2)])) == peaks((analysis, None))
        print(len(list(analysis.msms())), kovadata.__file__, kovadata._library.library()._name)
"""


def output(*command, **settings):
    """Runs a command as a user would, who has none of the variables of these tests."""
    hidden = {"PYTHONPATH", "PYTHONPYCACHEPREFIX", "KOVADATA_LIBRARY", "LD_LIBRARY_PATH"}
    environment = {name: value for name, value in os.environ.items() if name not in hidden}
    done = subprocess.run([str(part) for part in command], text=True, stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                          env={**environment, **settings.pop("env", {})}, **settings)
    assert done.returncode == 0, done.stdout
    return done.stdout


@pytest.fixture(scope="module")
def empty(tmp_path_factory):
    """An environment with nothing in it but numpy, whose wheel ./dev has put aside. Gives its interpreter."""
    folder, wheels = tmp_path_factory.mktemp("empty"), os.environ.get("KOVADATA_WHEELS", "")
    output(sys.executable, "-m", "venv", folder)
    where = ["--no-index", "--find-links", wheels] if os.path.isdir(wheels) else []
    output(folder / "bin" / "python", "-m", "pip", "install", "numpy", *where)
    return folder / "bin" / "python"


def install(python, wheel):
    output(python, "-m", "pip", "install", "--no-index", "--no-deps", "--force-reinstall", wheel)


def use(python, run, folder):
    (folder / "use.py").write_text(USE)
    spectra, package, library = output(python, "use.py", run.path, cwd=folder).split()
    assert spectra == str(len(list(run.msms())))
    return pathlib.Path(package).parent, pathlib.Path(library)


def test_wheel(run, empty, tmp_path):
    built = output(sys.executable, PACKAGE / "build_wheel.py", "--library", LIBRARY, "--output", tmp_path).split()
    wheel = pathlib.Path(built[-1])
    assert re.fullmatch(r"kovadata-[\d.]+-py3-none-manylinux_2_\d+_\w+\.whl", wheel.name)
    install(empty, wheel)
    package, library = use(empty, run, tmp_path)
    assert library.parent == package and package.is_relative_to(empty.parents[1])
    assert (package / "py.typed").exists()
    loaded = output(empty, "-c", "import kovadata._library as l; l.library(); print(open('/proc/self/maps').read())",
                    cwd=tmp_path)
    for name in ("libzstd", "liblzf", "libgomp"):
        assert re.search(rf"kovadata\.libs/{name}-", loaded), name


def test_source_install_with_the_library_of_the_system(run, empty, tmp_path):
    """From a source distribution, which does not hold the library's sources."""
    prefix, build = tmp_path / "prefix", LIBRARY.parents[1]
    output("cmake", "--install", build, "--prefix", prefix)
    output(sys.executable, "-c", "from scikit_build_core.build import build_sdist; import sys; build_sdist(sys.argv[1])",
           tmp_path, cwd=PACKAGE)
    [source] = tmp_path.glob("kovadata-*.tar.gz")
    output(sys.executable, "-m", "pip", "wheel", source, "--no-deps", "--no-build-isolation", "--wheel-dir", tmp_path,
           env={"CMAKE_PREFIX_PATH": str(prefix)}, cwd=tmp_path)
    install(empty, *tmp_path.glob("kovadata-*.whl"))
    assert prefix in use(empty, run, tmp_path)[1].parents


def test_a_library_that_is_not_there(tmp_path):
    done = subprocess.run([sys.executable, "-c", "import kovadata; kovadata.set_num_threads(1)"], text=True,
                          env={**os.environ, "KOVADATA_LIBRARY": str(tmp_path / "none.so")}, capture_output=True)
    assert "ImportError: libkovarun cannot be loaded" in done.stderr and "none.so" in done.stderr
