"""Progress bars, seen from within a pseudo terminal."""

import os
import pty
import subprocess
import unittest

from kova_testing import KOVA, KovaTest


class Progress(KovaTest):
    def standard_error(self, *arguments):
        """What a terminal gets as standard error while standard output goes elsewhere."""
        terminal, end = pty.openpty()
        with open(self.folder / "out", "wb") as out:
            running = subprocess.Popen([KOVA, *arguments], stdout=out, stderr=end, cwd=self.folder)
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
                self.assertEqual(self.standard_error(*verb, "run.d", "--quiet"), "")
                self.assertEqual(self.kova(*verb, "run.d")[1], "")


if __name__ == "__main__":
    unittest.main()
