"""What kova-simulate writes: complete or not at all, the same from any number of threads, within the detector's range."""

import signal
import sqlite3
import subprocess
import unittest

from kova_testing import KOVA_SIMULATE, KovaTest

SATURATION = 4095


class Simulate(KovaTest):
    def test_threads_change_nothing(self):
        options = {"frames": 40, "peaks_per_frame": 2000, "scans": 100, "recalibrated": 1}
        made = []
        for threads in (1, 3):
            run = self.simulate(f"{threads}.d", threads=threads, fragments=self.folder / "list", force="true", **options)
            made.append([file.read_bytes() for file in (*sorted(run.iterdir()), self.folder / "list")])
        self.assertEqual(*made)

    def test_intensities_and_numbers_of_peaks_keep_to_their_limits(self):
        for frames, peaks, scans in ((2, 400_000, 60), (1500, 300, 60), (60, 0, 60), (27, 30000, 900)):
            with self.subTest(frames=frames, peaks=peaks):
                run = self.simulate("run.d", frames=frames, peaks_per_frame=peaks, scans=scans, force="true")
                with sqlite3.connect(run / "analysis.kvd") as database:
                    mean, largest = database.execute("SELECT avg(NumPeaks), max(MaxIntensity) FROM Frames WHERE MsMsType=0"
                                                     ).fetchone()
                self.assertLessEqual(largest, SATURATION)
                self.assertTrue(0.6 * peaks <= mean <= 1.4 * peaks, mean)

    def test_an_interruption_leaves_nothing(self):
        for number in (signal.SIGINT, signal.SIGTERM):
            command = [KOVA_SIMULATE, "run.d", "--frames=1000000", "--peaks-per-frame=20000", "--fragments=/dev/stdout"]
            with subprocess.Popen(command, cwd=self.folder, stdout=subprocess.PIPE, stderr=subprocess.PIPE) as running:
                running.stdout.readline()
                self.assertNotEqual(list(self.folder.iterdir()), [])
                running.send_signal(number)
                self.assertEqual(running.communicate(timeout=60)[1], b"kova-simulate: interrupted\n")
            self.assertEqual((running.returncode, list(self.folder.iterdir())), (128 + number, []))


if __name__ == "__main__":
    unittest.main()
