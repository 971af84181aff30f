"""Other copies of the libraries that this one uses, in the same process: their symbols must not be taken for the right ones
(stubs export the same names and end the process when they are called), and their locks must not be dropped."""

import os
import pathlib
import subprocess
import sys
import tempfile
import unittest

LIBRARY = os.environ["KOVADATA_LIBRARY"]
CC = os.environ["CC"]
SIMULATE = os.environ["KOVA_SIMULATE"]
FOREIGN = ("sqlite3_", "ZSTD_", "lzf_", "_ZN6spdlog", "_ZN3fmt")
# What another version of the logging back end exports.
SPDLOG = ["_ZN6spdlog7details8registry8instanceEv", "_ZN6spdlog6logger4log_ENS_10source_locENS_5level10level_enumE",
          "_ZN3fmt3v96detail9vformat_toIcEEvRNS1_6bufferIT_EE", "_ZN3fmt3v912format_errorD1Ev"]

READ = """
import ctypes, sys
library, analysis, *stubs = sys.argv[1:]
order = stubs + [library] if stubs[0] != "later" else [library] + stubs[1:]
loaded = {path: ctypes.CDLL(path, mode=ctypes.RTLD_LOCAL) for path in order}
kova = loaded[library]
kova.kova_open.restype = ctypes.c_uint64
kova.kova_read_scans_v2.argtypes = [ctypes.c_uint64, ctypes.c_int64] + 2 * [ctypes.c_uint32] + [ctypes.c_void_p, ctypes.c_uint32]
kova.kova_close.argtypes = [ctypes.c_uint64]
handle = kova.kova_open(analysis.encode(), 0)
print(kova.kova_read_scans_v2(handle, 1, 0, 700, None, 0) if handle else 0)
kova.kova_close(handle)
"""


def symbols_that_the_library_takes():
    output = subprocess.run(["nm", "--dynamic", "--undefined-only", "--format=posix", LIBRARY], check=True,
                            capture_output=True, text=True).stdout
    return [line.split()[0].split("@")[0] for line in output.splitlines() if line.startswith(FOREIGN)]


# A transaction of another copy of SQLite in the process, and what a second process can do meanwhile.
TWO_COPIES = """
import ctypes, os, shutil, subprocess, sys
library, analysis, mode, copy = sys.argv[1:]
kova = ctypes.CDLL(library)
kova.kova_open.restype = ctypes.c_uint64
kova.kova_close.argtypes = [ctypes.c_uint64]
shutil.copy(next(line.split()[-1] for line in open("/proc/self/maps") if "libsqlite3" in line), copy)
other = ctypes.CDLL(copy, mode=os.RTLD_LOCAL | os.RTLD_DEEPBIND)
database = analysis + "/analysis.kvd"
connection = ctypes.c_void_p()
def execute(sql): return other.sqlite3_exec(connection, sql.encode(), None, None, None)
def write_elsewhere():
    return subprocess.run([sys.executable, "-c", "import sqlite3, sys; sqlite3.connect(sys.argv[1], timeout=0, "
        "isolation_level=None).execute('UPDATE Frames SET NumPeaks=2')", database], capture_output=True).returncode
def open_and_close():
    handle = kova.kova_open(analysis.encode(), 0)
    kova.kova_close(handle)
    return handle != 0
assert other.sqlite3_open(database.encode(), ctypes.byref(connection)) == 0
assert execute("PRAGMA journal_mode=" + mode) == 0 and open_and_close()
assert execute("BEGIN IMMEDIATE; UPDATE Frames SET NumPeaks=1") == 0
for _ in range(3):
    assert open_and_close() and write_elsewhere() != 0
assert execute("COMMIT") == 0 and write_elsewhere() == 0 and open_and_close()
"""


class OtherLibrariesTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)
        subprocess.run([SIMULATE, self.folder / "run.d", "--frames", "1", "--peaks-per-frame", "100", "--quiet"], check=True)

    def stub(self, names):
        source = self.folder / "stub.c"
        source.write_text("#include <stdlib.h>\n" + "".join(f"void {name}(void) {{ abort(); }}\n" for name in names))
        result = self.folder / "libother.so"
        subprocess.run([CC, "-shared", "-fPIC", "-o", result, source], check=True)
        return result

    def run_with_library(self, program, *arguments):
        result = subprocess.run([sys.executable, "-c", program, LIBRARY, self.folder / "run.d", *arguments],
                                capture_output=True, text=True, timeout=120)
        self.assertEqual(result.returncode, 0, result.stderr)
        return result.stdout

    def test_their_symbols_are_never_taken(self):
        names = symbols_that_the_library_takes()
        self.assertGreater(len(names), 20)
        stub = self.stub(names + SPDLOG)
        for order in ([stub], ["later", stub]):
            self.assertGreater(int(self.run_with_library(READ, *order)), 700 * 4)

    def test_locks_of_another_sqlite_are_left_alone(self):
        for mode in ("DELETE", "TRUNCATE", "PERSIST", "WAL"):
            with self.subTest(mode):
                self.run_with_library(TWO_COPIES, mode, self.folder / f"libsqlite3-{mode}.so")

    def test_logging_is_all_its_own(self):
        self.assertEqual([name for name in symbols_that_the_library_takes() if name.startswith("_Z")], [])


if __name__ == "__main__":
    unittest.main()
