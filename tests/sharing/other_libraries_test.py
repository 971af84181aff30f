"""Other copies of the libraries that this one uses, in the same process: their symbols must not be taken for the right ones.
Stubs export the same names and end the process when they are called."""

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

    def read(self, *stubs):
        result = subprocess.run([sys.executable, "-c", READ, LIBRARY, self.folder / "run.d", *stubs], capture_output=True,
                                text=True, timeout=120)
        self.assertEqual(result.returncode, 0, result.stderr)
        return int(result.stdout)

    def test_their_symbols_are_never_taken(self):
        names = symbols_that_the_library_takes()
        self.assertGreater(len(names), 20)
        stub = self.stub(names + SPDLOG)
        for order in ([stub], ["later", stub]):
            self.assertGreater(self.read(*order), 700 * 4)

    def test_logging_is_all_its_own(self):
        self.assertEqual([name for name in symbols_that_the_library_takes() if name.startswith("_Z")], [])


if __name__ == "__main__":
    unittest.main()
