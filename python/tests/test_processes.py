"""Threads, forks, and workers in other processes."""

import concurrent.futures
import ctypes
import gc
import multiprocessing
import os
import pickle
import re
import signal
import threading

import numpy as np
import pytest

import kovadata
from kovadata import _library


def open_files(path):
    """How often this process has the blob file of an analysis open; the library may keep databases."""
    count = 0
    for descriptor in os.listdir("/proc/self/fd"):
        try:
            count += os.readlink(f"/proc/self/fd/{descriptor}") == f"{path}/analysis.kvd_bin"
        except OSError:
            pass
    return count


def in_child(body):
    """Runs a function in a forked child; what it raises there fails here."""
    reading, writing = os.pipe()
    child = os.fork()
    if child == 0:
        try:
            os.write(writing, pickle.dumps(body()))
        except BaseException as error:
            os.write(writing, pickle.dumps(error))
        os._exit(0)
    os.close(writing)
    with os.fdopen(reading, "rb") as pipe:
        result = pickle.loads(pipe.read())
    os.waitpid(child, 0)
    if isinstance(result, BaseException):
        raise result
    return result


def sums(argument):
    analysis, part = argument
    return [(frame.id, int(frame.peaks().intensity.sum())) for frame in analysis.frames(part)]


def all_sums(analysis):
    return sums((analysis, None))


def test_functions_and_version_are_those_of_the_headers(pytestconfig):
    headers = pytestconfig.rootpath.parent / "include" / "kovadata"
    declared = {name: set(re.findall(r"^KOVADATA_API .*?\b(k\w+)\(", (headers / name).read_text(), re.M))
                for name in ("kova.h", "kvs.h", "kvr.h")}
    assert set(_library._PROTOTYPES) < set.union(*declared.values())
    assert declared["kvr.h"] - set(_library._PROTOTYPES) == {"kvr_get_counters"}
    assert f'KOVADATA_VERSION_STRING "{kovadata.__version__}"' in (headers / "version.h").read_text()


def test_objects_are_pickled_as_path_and_options(simulated):
    with kovadata.Analysis(simulated("run"), recalibrated=True) as analysis:
        expected = analysis.frame(1).peaks()
        copy, frame, peaks = pickle.loads(pickle.dumps((analysis, analysis.frame(1), expected)))
        before = open_files(analysis.path)
        assert copy.path == analysis.path and not copy.closed
        assert open_files(analysis.path) == before, "opened lazily"
        assert copy.recalibrated
        assert open_files(analysis.path) > before
        for other in (copy.frame(1).peaks(), frame.peaks(), peaks):
            assert (other.mz == expected.mz).all() and (other.tof_index == expected.tof_index).all()
        copy.close()
    with kovadata.open(simulated("spectra")) as spectra:
        spectrum = pickle.loads(pickle.dumps(spectra.spectrum(2)))
        assert (spectrum.lines().mz == spectra.spectrum(2).lines().mz).all()
        spectrum._analysis.close()


def test_a_child_opens_what_it_inherited_anew(run):
    expected, frame = all_sums(run), run.frame(2)
    spectra = len(list(run.msms()))

    def child():
        before = open_files(run.path)
        assert all_sums(run) == expected
        reopened = open_files(run.path) - before
        assert len(list(run.msms())) == spectra and len(frame.peaks()) == frame.num_peaks
        run.close()
        return reopened, open_files(run.path) == before

    for _ in range(2):
        assert in_child(child) == (1, True), "what was inherited stays untouched"
        assert all_sums(run) == expected


def test_a_fork_while_another_thread_reads(run):
    """The lock that the other thread holds at that moment does not exist in the child."""
    with run._run:
        forked = concurrent.futures.ThreadPoolExecutor(1).submit(in_child, lambda: all_sums(run)).result(60)
    assert forked == all_sums(run)


def test_dropping_an_inherited_analysis_closes_nothing(simulated):
    analyses = [kovadata.Analysis(simulated("run"))]
    before = open_files(analyses[0].path)

    def child():
        analyses.clear()
        gc.collect()
        return open_files(simulated("run"))

    assert in_child(child) == before
    analyses.clear()
    gc.collect()
    assert open_files(simulated("run")) < before


@pytest.mark.parametrize("method", ["fork", "spawn", "forkserver"])
def test_worker_processes(run, method):
    with multiprocessing.get_context(method).Pool(2) as pool:
        results = pool.map(sums, [(run, part) for part in run.partitions(3)])
        with pytest.raises(kovadata.KovaError, match="FrameId=99"):
            pool.apply(sums, ((run, [99]),))
    assert [one for result in results for one in result] == all_sums(run)


def test_threads_take_turns_on_one_analysis(run):
    expected = {frame.id: frame.peaks() for frame in run.frames()}
    failures = []

    def read(first):
        for step in range(60):
            number = 1 + (first + step) % 14
            peaks = run.frame(number).peaks()
            try:
                run.frame(99)
            except kovadata.KovaError as error:
                if "FrameId=99" not in str(error):
                    failures.append(error)
            if not (np.array_equal(peaks.tof_index, expected[number].tof_index)
                    and np.array_equal(peaks.mz, expected[number].mz)):
                failures.append(number)

    threads = [threading.Thread(target=read, args=(first,)) for first in range(4)]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join()
    assert failures == []


def test_a_signal_handler_may_read_what_the_thread_is_reading(run):
    """The thread has the run to itself, and its frame is chosen, when the handler reads another one."""
    expected, other = run.frame(1).peaks(), run.frame(2)
    read = []

    def interrupted(*_):
        read.append(len(other.peaks()))

    before = signal.signal(signal.SIGALRM, interrupted)
    try:
        for microseconds in range(0, 600, 3):
            signal.setitimer(signal.ITIMER_REAL, max(microseconds, 1) * 1e-6)
            assert (run.frame(1).peaks().mz == expected.mz).all()
    finally:
        signal.setitimer(signal.ITIMER_REAL, 0)
        signal.signal(signal.SIGALRM, before)
    assert set(read) == {other.num_peaks}


def test_frames_read_ahead_are_the_same_in_the_same_order(run):
    plain = list(run.frames())
    for threads in (1, 3, 50):
        for frame, other in zip(run.frames(threads=threads), plain):
            peaks, expected = frame.peaks(), other.peaks()
            assert frame.id == other.id and frame.peaks() is peaks
            assert np.shares_memory(frame.peaks(mz=False, one_over_k0=False).intensity, peaks.intensity), "read once"
            for name in ("scan", "tof_index", "intensity", "mz", "one_over_k0", "offsets"):
                np.testing.assert_array_equal(getattr(peaks, name), getattr(expected, name))
            assert [scan.intensity.tolist() for scan in frame.scans(3, 9)] == [
                scan.intensity.tolist() for scan in other.scans(3, 9)]
            assert frame.peaks(normalized=False).intensity.sum() == other.intensity_sum
    assert [frame.id for frame in run.frames([5, 2, 5], threads=2)] == [5, 2, 5]


def test_reading_ahead_ends_with_its_caller(run):
    run.frame_table()
    before = open_files(run.path), threading.active_count()
    stream = iter(run.peaks(batch_size=1000))
    next(stream)
    with pytest.raises(kovadata.KovaError, match="another process"):
        in_child(lambda: list(stream))
    assert sum(len(batch["mz"]) for batch in stream) > 1000
    ahead = run.frames(threads=3)
    assert next(ahead).id == 1
    ahead.close()
    assert threading.active_count() == before[1] and open_files(run.path) <= before[0] + 2 * 3


def test_closing_while_a_call_is_under_way(simulated):
    analysis = kovadata.Analysis(simulated("run"))
    with analysis._run:
        before = open_files(analysis.path)
        analysis.close()
        assert analysis.closed and open_files(analysis.path) == before > 0
    with pytest.raises(ValueError, match="closed"):
        analysis.frame(1)
    assert open_files(analysis.path) == 0
