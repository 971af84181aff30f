import json
import unittest
import zlib

from kova_testing import FEWEST_COLUMNS, MEASURED_DATA, KovaTest, crc_of, line_arrays, lzf_stream, words

FRAMES = [[[(1, 10)], [(2, 20), (900, 30)]], [[], []], [[(7, 1)] * 1, [(8, 2)], [(9, 3)]]]

NUMBERS = {"kvd": ("scans", "peaks", "intensity_sum", "crc32_raw"),
           "kvs": ("lines", "profile_points", "profile_sum", "crc32_lines", "crc32_profiles")}


class CheckTest(KovaTest):
    def check(self, directory, status=0):
        """The JSON report without its name, what differs from run to run, and what only the other format has."""
        out, err = self.kova("check", directory, "--json", status=status)
        self.assertEqual(err, "")
        report = json.loads(out)
        self.assertEqual(report.pop("analysis"), str(directory))
        self.assertGreater(report.pop("seconds"), 0)
        self.assertGreaterEqual(report.pop("gigabytes_per_second"), 0)
        for key in NUMBERS["kvs" if report["format"] == "kvd" else "kvd"]:
            self.assertIsNone(report.pop(key))
        return report


class Check(CheckTest):
    def test_totals_and_checksum(self):
        for scheme in (1, 2):
            for columns in ({}, {"columns": FEWEST_COLUMNS}):
                with self.subTest(scheme=scheme, **columns):
                    name = f"{scheme}{len(columns)}.d"
                    analysis = self.analysis(name, scheme=scheme, **columns)
                    # Neither the order in the blob file nor the normalisation matters.
                    for number in (2, 0, 1):
                        analysis.add_frame(FRAMES[number], Id=number + 1, AccumulationTime=7.0)
                    # Nor do frames without data.
                    analysis.add_frame([], KovaId=-1).add_frame([], KovaId=None, NumScans=None).write()
                    self.assertEqual(self.check(name), {
                        "format": "kvd", "ok": True, "frames": 5, "bad_frames": [], "scans": 7, "peaks": 6,
                        "intensity_sum": 66, "result_bytes": 4 * (7 + 12), "crc32_raw": crc_of(FRAMES)})

    def test_each_damage_is_reported_with_its_text_and_the_other_frames_are_read(self):
        corrupt = "CorruptFrameDataError for FrameId=2: "
        cases = [
            (2, {"NumScans": 9}, "the data hold 2 scans, but table Frames states 9"),
            (1, {"NumScans": 9}, "the data hold 2 scans, but table Frames states 9"),
            (2, {"NumScans": 1}, "the data hold 2 scans, but table Frames states 1"),
            (2, {"KovaId": 1 << 40, "NumScans": None}, corrupt + "Error reading binary header."),
            (1, {"KovaId": 1 << 40}, corrupt + "Error reading 8-byte binary header."),
            (1, {"KovaId": None}, "the data hold 0 scans, but table Frames states 2"),
        ]
        for number, (scheme, damage, text) in enumerate(cases):
            with self.subTest(scheme=scheme, **damage):
                analysis = self.analysis(f"{number}.d", scheme=scheme)
                analysis.add_frame(FRAMES[0]).add_frame(FRAMES[0], **damage).add_frame(FRAMES[2]).write()
                report = self.check(f"{number}.d", status=1)
                good = {"scans": 2, "good_scans": 2} if scheme == 1 and "NumScans" in damage else {}
                self.assertEqual(report["bad_frames"], [{"id": 2, "error": text, **good}])
                self.assertEqual((report["ok"], report["frames"], report["scans"]), (False, 3, 5))
                self.assertEqual(report["crc32_raw"], crc_of([FRAMES[0], FRAMES[2]]))

    def test_equal_errors_share_a_line_and_good_scans_are_counted(self):
        # The stream of the third of four scans ends in the middle of a run.
        streams = [b"\x1f\x00" if scan == 2 else lzf_stream(words([5, 7])) for scan in range(4)]
        start = 8 + 4 * 5
        cut = words([0, 4] + [start + sum(map(len, streams[:i])) for i in range(5)]) + b"".join(streams)
        analysis = self.analysis(scheme=1)
        for number in range(14):
            analysis.add_frame([[(1, 1)]] * 4, **({"KovaId": 1 << 40} if number in (1, 3, 4, 5) else {}))
        analysis.write()
        self.assertEqual(self.kova("check", "run.d", status=1)[0].splitlines()[0],
                         "4 frames, 2, 4 to 6: CorruptFrameDataError: Error reading 8-byte binary header.")
        self.analysis("cut.d", scheme=1).add_frame([[(1, 1)]] * 4, cut).write()
        [bad] = json.loads(self.kova("check", "cut.d", "--json", status=1)[0])["bad_frames"]
        self.assertEqual((bad["scans"], bad["good_scans"]), (4, 3))
        self.assertTrue(self.kova("check", "cut.d", status=1)[0].splitlines()[0].endswith(" (3 of 4 scans are good)"))


LINES = [(0.25, 1.5, 0.125), (3.75, 2.0, 0.25)]
PROFILE = [0, 7, 4294967295, 0, 1]


def spectra_report(spectra, bad=(), parts="lwp"):
    """What check is to find in these spectra, (lines, profile) each."""
    lines = [[line[:3 if "w" in parts else 2] for line in lines] if "l" in parts else [] for lines, _ in spectra]
    profiles = [list(profile) if "p" in parts else [] for _, profile in spectra]
    stored = b"".join(map(line_arrays, lines)), b"".join(map(words, profiles))
    return {"format": "kvs", "ok": not bad, "frames": len(spectra) + len(bad), "bad_frames": list(bad),
            "lines": sum(map(len, lines)), "profile_points": sum(map(len, profiles)),
            "profile_sum": sum(map(sum, profiles)), "result_bytes": sum(map(len, stored)),
            "crc32_lines": zlib.crc32(stored[0]), "crc32_profiles": zlib.crc32(stored[1])}


class CheckSpectra(CheckTest):
    def test_totals_and_checksums(self):
        # Spectra without lines, without profile and without both do not disturb the sums of the others.
        spectra = [(LINES, PROFILE), ([], PROFILE), (LINES[:1], []), ([], []), (LINES, [5])]
        for parts in ("lwp", "lp", "lw", "p"):
            with self.subTest(parts):
                analysis = self.analysis(f"parts{parts}.d", scheme=3, parts=parts)
                for lines, profile in spectra:
                    analysis.add_spectrum([line[:3 if "w" in parts else 2] for line in lines], profile)
                analysis.write()
                self.assertEqual(self.check(f"parts{parts}.d"), spectra_report(spectra, parts=parts))

    def test_text(self):
        self.analysis(scheme=3).add_spectrum(LINES, PROFILE).add_spectrum(LINES, PROFILE, KovaId=1 << 40).write()
        expected = spectra_report([(LINES, PROFILE)])
        shown = self.kova("check", "run.d", status=1)[0].splitlines()
        self.assertRegex(shown.pop(-2), r"^Read                52 bytes in \d+\.\d+ s, \d+\.\d+ GB/s$")
        self.assertEqual(shown, [
            "spectrum 2: CorruptFrameDataError for FrameId=2: Error reading binary header.",
            "Spectra             2, 1 bad", "Lines               2", "Profile points      5", "Profile sum         4294967303",
            f"CRC-32 of lines     {expected['crc32_lines']}", f"CRC-32 of profiles  {expected['crc32_profiles']}",
            "Result              damaged"])

    def test_each_damage_is_reported_with_its_text_and_the_other_spectra_are_read(self):
        corrupt = "CorruptFrameDataError for FrameId=2: "
        for number, (damage, text) in enumerate([
                ({"KovaId": 1 << 40}, corrupt + "Error reading binary header."),
                ({"NumPeaks": 3}, corrupt + "Number of peaks [3] exceeds the line spectrum of 32 bytes."),
                ({"NumPeaks": None}, corrupt + "Number of peaks is missing for the line spectrum."),
                ({"block": words([12, 40, 0])}, corrupt + "Error decompressing frame data: "),
                ({"block": words([28, 0, 9, 9, 9, 9, 9])}, corrupt + "Error decompressing frame data: ")]):
            with self.subTest(**damage):
                # An empty spectrum after a bad one must not pass for bad itself.
                analysis = self.analysis(f"{number}.d", scheme=3).add_spectrum(LINES, PROFILE)
                if "block" in damage:
                    analysis.add_spectrum(**damage)
                else:
                    analysis.add_spectrum(LINES, PROFILE, **damage)
                analysis.add_spectrum().add_spectrum(KovaId=-1).add_spectrum(LINES[1:], PROFILE[1:]).write()
                report = self.check(f"{number}.d", status=1)
                bad = report["bad_frames"]
                self.assertEqual([spectrum["id"] for spectrum in bad], [2])
                self.assertTrue(bad[0]["error"].startswith(text), bad)
                good = [(LINES, PROFILE), ([], []), ([], []), (LINES[1:], PROFILE[1:])]
                self.assertEqual(report, spectra_report(good, bad))


@unittest.skipUnless((MEASURED_DATA / "analyses").is_dir(), "the measured data are absent")
class MeasuredData(KovaTest):
    def test_measured_analyses_give_their_stated_counts_and_checksums(self):
        analyses = MEASURED_DATA / "analyses"
        manifest = json.loads((analyses / "manifest.json").read_text())
        self.assertEqual({stated["format"] for stated in manifest.values()}, set(NUMBERS))
        for name, stated in manifest.items():
            with self.subTest(name):
                report = json.loads(self.output("check", analyses / name, "--json"))
                self.assertEqual(report["frames"], len(stated["frames"]))
                frames = json.loads(self.output("frames", analyses / name, "--json", "--read"))
                for key in NUMBERS[stated["format"]]:
                    expected = stated.get(key, sum(frame.get(key, 0) for frame in stated["frames"]))
                    self.assertEqual(report[key], expected, key)
                    for frame, row in zip(stated["frames"], frames, strict=True):
                        if key in row:
                            self.assertEqual((row["id"], row[key]), (frame["id"], frame[key]), key)


if __name__ == "__main__":
    unittest.main()
