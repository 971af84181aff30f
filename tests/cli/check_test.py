import json
import unittest

from kova_testing import FEWEST_COLUMNS, MEASURED_DATA, KovaTest, crc_of

FRAMES = [[[(1, 10)], [(2, 20), (900, 30)]], [[], []], [[(7, 1)] * 1, [(8, 2)], [(9, 3)]]]


class Check(KovaTest):
    def check(self, directory, status=0):
        """The JSON report without what differs from run to run."""
        out, err = self.kova("check", directory, "--json", status=status)
        self.assertEqual(err, "")
        report = json.loads(out)
        self.assertGreater(report.pop("seconds"), 0)
        self.assertGreaterEqual(report.pop("gigabytes_per_second"), 0)
        return report

    def test_totals_and_checksum(self):
        for scheme in (1, 2):
            for columns in ({}, {"columns": FEWEST_COLUMNS}):
                with self.subTest(scheme=scheme, **columns):
                    name = f"{scheme}{len(columns)}.d"
                    analysis = self.analysis(name, scheme=scheme, **columns)
                    # Neither the order in the blob file nor the normalisation matters.
                    for number in (2, 0, 1):
                        analysis.add_frame(FRAMES[number], Id=number + 1, AccumulationTime=7.0)
                    analysis.write()
                    self.assertEqual(self.check(name), {
                        "analysis": name, "ok": True, "frames": 3, "bad_frames": [], "scans": 7, "peaks": 6,
                        "intensity_sum": 66, "result_bytes": 4 * (7 + 12), "crc32_raw": crc_of(FRAMES)})

    def test_text(self):
        analysis = self.analysis()
        for scans in FRAMES:
            analysis.add_frame(scans)
        analysis.add_frame(FRAMES[0], KovaId=1 << 40).write()
        out, err = self.kova("check", "run.d", status=1)
        self.assertEqual(err, "")
        lines = out.splitlines()
        self.assertRegex(lines.pop(-2), r"^Read                76 bytes in \d+\.\d+ s, \d+\.\d+ GB/s$")
        self.assertEqual(lines, ["frame 4: CorruptFrameDataError for FrameId=4: Error reading binary header.",
                                 "Frames              4, 1 bad", "Scans               7", "Peaks               6",
                                 "Intensity sum       66", f"CRC-32              {crc_of(FRAMES)}",
                                 "Result              damaged"])

    def test_each_damage_is_reported_with_its_text_and_the_other_frames_are_read(self):
        corrupt = "CorruptFrameDataError for FrameId=2: "
        cases = [
            (2, {"NumScans": 9}, "Scan number [2] out of range."),
            (1, {"NumScans": 9}, "Scan number out of range."),
            (2, {"NumScans": 1}, "the data hold more scans than the 1 that table Frames states"),
            (2, {"NumScans": 0}, "the data hold more scans than the 0 that table Frames states"),
            (2, {"KovaId": 1 << 40}, corrupt + "Error reading binary header."),
            (2, {"KovaId": 1 << 40, "NumScans": None}, corrupt + "Error reading binary header."),
            (2, {"KovaId": 1 << 40, "NumScans": 0}, corrupt + "Error reading binary header."),
            (1, {"KovaId": 1 << 40}, corrupt + "Error reading 8-byte binary header."),
            (1, {"KovaId": None}, "Scan number out of range."),
        ]
        for number, (scheme, damage, text) in enumerate(cases):
            with self.subTest(scheme=scheme, **damage):
                analysis = self.analysis(f"{number}.d", scheme=scheme)
                analysis.add_frame(FRAMES[0]).add_frame(FRAMES[0], **damage).add_frame(FRAMES[2]).write()
                report = self.check(f"{number}.d", status=1)
                self.assertEqual(report["bad_frames"], [{"id": 2, "error": text}])
                self.assertEqual((report["ok"], report["frames"], report["scans"]), (False, 3, 5))
                self.assertEqual(report["crc32_raw"], crc_of([FRAMES[0], FRAMES[2]]))

    def test_a_frame_without_data_is_well(self):
        self.analysis().add_frame([], KovaId=-1).add_frame([], KovaId=None, NumScans=None).write()
        self.assertEqual(self.check("run.d")["scans"], 0)

    def test_a_cut_blob_file_loses_only_the_frames_behind_the_cut(self):
        for scheme in (1, 2):
            for columns in ({}, {"columns": FEWEST_COLUMNS}):
                analysis = self.analysis(f"{scheme}{len(columns)}.d", scheme=scheme, **columns)
                for scans in FRAMES:
                    analysis.add_frame(scans)
                blob = analysis.write() / "analysis.kvd_bin"
                whole = blob.read_bytes()
                last = analysis.rows[2]["KovaId"]
                for length in range(last, len(whole)):
                    with self.subTest(scheme=scheme, length=length, **columns):
                        blob.write_bytes(whole[:length])
                        report = self.check(blob.parent, status=1)
                        self.assertEqual([frame["id"] for frame in report["bad_frames"]], [3])
                        self.assertEqual(report["crc32_raw"], crc_of(FRAMES[:2]))

    def test_simulated_runs_are_equal_in_both_schemes(self):
        reports = [self.check(self.simulate(f"{scheme}.d", frames=6, peaks_per_frame=5000, seed=11, scans=120,
                                            compression=scheme, schema="3.1", quiet="true")) for scheme in (1, 2)]
        for report in reports:
            del report["analysis"]
        self.assertEqual(reports[0], reports[1])
        self.assertEqual((reports[0]["frames"], reports[0]["scans"]), (6, 720))
        self.assertGreater(reports[0]["peaks"], 6 * 1000)


@unittest.skipUnless((MEASURED_DATA / "analyses").is_dir(), "the measured data are absent")
class MeasuredData(KovaTest):
    def test_measured_analyses_give_their_stated_counts_and_checksums(self):
        analyses = MEASURED_DATA / "analyses"
        manifest = json.loads((analyses / "manifest.json").read_text())
        mobility = {name: stated for name, stated in manifest.items() if stated["format"] == "kvd"}
        self.assertTrue(mobility)
        for name, stated in mobility.items():
            with self.subTest(name):
                report = json.loads(self.output("check", analyses / name, "--json"))
                for key in ("scans", "peaks", "intensity_sum", "crc32_raw"):
                    self.assertEqual(report[key], stated[key], key)
                self.assertEqual(report["frames"], stated["frame_count"])
                frames = json.loads(self.output("frames", analyses / name, "--json", "--read"))
                for frame, expected in zip(frames, stated["frames"], strict=True):
                    for key in ("id", "scans", "peaks", "intensity_sum"):
                        self.assertEqual(frame[key], expected[key], key)


if __name__ == "__main__":
    unittest.main()
