"""Progress bars, seen from within a pseudo terminal."""

import fcntl
import os
import pty
import struct
import subprocess
import termios
import unittest

from kova_testing import KOVA, KovaTest


class Progress(KovaTest):
    def standard_error(self, *arguments, columns=0, output_too=False):
        """What a terminal of this width, 0 if it does not tell, gets as standard error while standard output goes elsewhere."""
        terminal, end = pty.openpty()
        fcntl.ioctl(end, termios.TIOCSWINSZ, struct.pack("4H", 24, columns, 0, 0))
        with open(self.folder / "out", "wb") as out:
            running = subprocess.Popen([KOVA, *arguments], stdout=end if output_too else out, stderr=end, cwd=self.folder)
        os.close(end)
        shown = b""
        try:
            while part := os.read(terminal, 4096):
                shown += part
        except OSError:
            # The other end is closed.
            pass
        os.close(terminal)
        self.assertEqual(running.wait(timeout=60), 0)
        return shown.decode()

    def test_a_bar_is_drawn_and_taken_away(self):
        self.simulate("run.d", frames=12, peaks_per_frame=120000, msms_per_ms1=3, quiet="true")
        for verb, unit in ((["check"], "frames"), (["frames", "--read"], "frames"), (["msms", "--json"], "precursors")):
            with self.subTest(verb):
                shown = self.standard_error(*verb, "run.d")
                self.assertRegex(shown, rf"\r\[[#.]+\] +\d+ %  \d+/\d+ {unit} ")
                self.assertTrue(shown.endswith("\r\x1b[K"), shown)
                narrow = self.standard_error(*verb, "run.d", columns=40)
                self.assertEqual({len(line) for line in narrow.replace("\x1b[K", "").split("\r")}, {0, 39})
                self.assertEqual(self.standard_error(*verb, "run.d", "--quiet"), "")
                self.assertEqual(self.kova(*verb, "run.d")[1], "")

    def test_tables_are_cut_to_the_width(self):
        self.analysis().add_frame([[(1, 1)]]).write()
        shown = self.standard_error("frames", "run.d", columns=30, output_too=True)
        self.assertEqual(shown.splitlines(), ["    id        time  pol  ms  …", "     1       0.000    +   1  …"])


if __name__ == "__main__":
    unittest.main()
