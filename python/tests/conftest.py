"""Analyses to read: simulated ones, and small ones of which every peak is known."""

import json
import subprocess

import pytest

import kovadata
import kova_testing  # of the command line tool's tests

SIMULATED = {
    "run": ("--frames=14", "--peaks-per-frame=6000", "--scans=200", "--recalibrated=1"),
    "by_scan": ("--frames=3", "--peaks-per-frame=4000", "--scans=100", "--compression=1", "--schema=2.0"),
    "dense": ("--frames=3", "--peaks-per-frame=60000", "--scans=60", "--msms-per-ms1=0"),
    "long": ("--frames=4", "--peaks-per-frame=2000", "--scans=900", "--recalibrated=1"),
    "spectra": ("--frames=3", "--peaks-per-frame=6000", "--format=kvs"),
}


@pytest.fixture(scope="session")
def simulated(tmp_path_factory):
    """Path of a simulated analysis by name."""
    folder, made = tmp_path_factory.mktemp("simulated"), {}

    def path(name):
        if name not in made:
            made[name] = folder / f"{name}.d"
            subprocess.run([kova_testing.KOVA_SIMULATE, made[name], "--quiet", *SIMULATED[name]], check=True)
        return made[name]

    return path


@pytest.fixture
def run(simulated):
    with kovadata.Analysis(simulated("run")) as analysis:
        yield analysis


@pytest.fixture
def small(tmp_path):
    """Begins a small analysis; its write() gives the path."""

    def begin(**settings):
        return kova_testing.Analysis(tmp_path / "small.d", **settings)

    return begin


@pytest.fixture(scope="session")
def kova():
    """Runs the command line tool and gives the JSON that it prints."""

    def output(*arguments):
        done = subprocess.run([kova_testing.KOVA, *map(str, arguments), "--json"], check=True, capture_output=True)
        return json.loads(done.stdout)

    return output
