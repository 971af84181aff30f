"""Runs the command line tool, and writes small analyses in which every peak is known.

The compressed streams are written in the simplest form that their formats allow, all bytes as literals, so that nothing
but the standard library is needed.
"""

import os
import pathlib
import shutil
import sqlite3
import struct
import subprocess
import tempfile
import unittest
import zlib

KOVA = os.environ["KOVA"]
KOVA_SIMULATE = os.environ["KOVA_SIMULATE"]
MEASURED_DATA = pathlib.Path(os.environ.get("KOVADATA_MEASURED_DATA", "no such folder"))

FRAME_COLUMNS = {
    "Time": "REAL", "Polarity": "CHAR(1)", "NumScans": "INTEGER", "NumPeaks": "INTEGER",
    "SummedIntensities": "INTEGER", "MsMsType": "INTEGER", "AccumulationTime": "REAL", "RampTime": "REAL",
    "T1": "REAL", "T2": "REAL", "MzCalibration": "INTEGER", "KovaCalibration": "INTEGER"}
# What a reader cannot do without.
FEWEST_COLUMNS = ("AccumulationTime", "RampTime", "Polarity", "T1", "T2", "MzCalibration", "KovaCalibration")


def words(values):
    return struct.pack(f"<{len(values)}I", *values)


def zstd_frame(data):
    """A zstd frame of raw blocks, 128 KiB each at most, with the content size in its header."""
    blocks = [data[i:i + (1 << 17)] for i in range(0, len(data), 1 << 17)] or [b""]
    stream = b"\x28\xb5\x2f\xfd\xa0" + words([len(data)])
    for number, block in enumerate(blocks):
        is_last = number + 1 == len(blocks)
        stream += words([is_last | len(block) << 3])[:3] + block
    return stream


def lzf_stream(data):
    """An LZF stream of literal runs, 32 bytes each at most."""
    runs = (data[i:i + 32] for i in range(0, len(data), 32))
    return b"".join(bytes([len(run) - 1]) + run for run in runs)


def shuffled(values):
    plain = words(values)
    return b"".join(plain[plane::4] for plane in range(4))


def shuffled_block(scan_count, values):
    payload = zstd_frame(shuffled(values))
    return words([8 + len(payload), scan_count]) + payload


def line_arrays(lines):
    """Positions, intensities and widths, if the lines have them, one array after the other."""
    return b"".join(struct.pack(f"<{len(lines)}{letter}", *values) for letter, values in zip("dff", zip(*lines)))


def spectrum_block(lines, profile):
    parts = [zstd_frame(line_arrays(lines)) if lines else b"", zstd_frame(shuffled(profile)) if profile else b""]
    return words([8 + sum(map(len, parts)), len(parts[0])]) + b"".join(parts)


def frame_compressed(scans):
    deltas = []
    for scan in scans:
        previous = -1
        pairs = []
        for index, intensity in scan:
            pairs += [index - previous, intensity]
            previous = index
        deltas.append(pairs)
    table = [len(scans)] + [len(pairs) for pairs in deltas[:-1]]
    return shuffled_block(len(scans), table + sum(deltas, []))


def scan_compressed(scans):
    streams = []
    for scan in scans:
        values, following = [], 0
        for index, intensity in scan:
            values += ([following - index] if index > following else []) + [intensity]
            following = index + 1
        streams.append(lzf_stream(struct.pack(f"<{len(values)}i", *values)))
    start = 8 + 4 * (len(scans) + 1)
    offsets = [start + sum(map(len, streams[:i])) for i in range(len(scans) + 1)]
    return words([0, len(scans)] + offsets) + b"".join(streams)


def read_result(scans):
    """The words that the library returns for all scans of a frame."""
    result = [len(scan) for scan in scans]
    for scan in scans:
        result += [index for index, _ in scan] + [intensity for _, intensity in scan]
    return words(result)


def crc_of(frames):
    crc = 0
    for scans in frames:
        crc = zlib.crc32(read_result(scans), crc)
    return crc


class Analysis:
    """An analysis under construction; write() makes its files.

    Frames are lists of scans, scans are lists of (index, intensity). With scheme 3 there are spectra instead: lines
    (position, intensity[, width]) and a profile.
    """

    def __init__(self, directory, scheme=2, schema=(2, 0), bins=1000, columns=tuple(FRAME_COLUMNS), parts="lwp"):
        self.directory = pathlib.Path(directory)
        self.scheme, self.columns = scheme, columns
        self.file_name = "analysis.kvs" if scheme == 3 else "analysis.kvd"
        self.metadata = {"SchemaType": self.file_name[-3:].upper(), "SchemaVersionMajor": schema[0],
                         "SchemaVersionMinor": schema[1], "KovaCompressionType": scheme, "DigitizerNumSamples": bins,
                         "PeakListIndexScaleFactor": 1}
        if scheme == 3:
            self.metadata |= {"HasLineSpectra": int("l" in parts), "HasLineSpectraPeakWidth": int("w" in parts),
                              "HasProfileSpectra": int("p" in parts)}
        self.rows, self.blob, self.statements = [], bytes(16), []

    def add_frame(self, scans, block=None, **row):
        """Adds a frame, stored as these bytes if given, and its row with what differs from the usual."""
        block = block or (scan_compressed(scans) if self.scheme == 1 else frame_compressed(scans))
        defaults = {
            "Id": len(self.rows) + 1, "KovaId": len(self.blob), "Time": 1.5 * len(self.rows), "Polarity": "+",
            "NumScans": len(scans), "NumPeaks": sum(map(len, scans)),
            "SummedIntensities": sum(peak[1] for scan in scans for peak in scan), "MsMsType": 0,
            "AccumulationTime": 100.0, "RampTime": 100.0, "T1": 25.0, "T2": 25.0}
        self.rows.append({**defaults, **row})
        self.blob += block
        return self

    def add_spectrum(self, lines=(), profile=(), block=None, **row):
        return self.add_frame([], block or spectrum_block(lines, profile), **{
            "NumScans": None, "NumPeaks": len(lines), "SummedIntensities": sum(profile), **row})

    def calibrate(self):
        """Gives frames that ask for calibration 1 the m/z (index / 1000)^2 and the 1/K0 (200 - scan) / 100."""
        return self.execute("INSERT INTO MzCalibration VALUES (1, 1, 1, 0, 25, 25, 0, 0, 0, 1e6, 0, 0, 0)",
                            "INSERT INTO KovaCalibration VALUES (1, 2, 0, 100, 200, 100, 0, 1, 0, 100, 50, 300)")

    def execute(self, *statements):
        self.statements += statements
        return self

    def write(self):
        self.directory.mkdir(parents=True)
        (self.directory / f"{self.file_name}_bin").write_bytes(self.blob)
        database = sqlite3.connect(self.directory / self.file_name)
        declared = "".join(f", {name} {FRAME_COLUMNS[name]}" for name in self.columns)
        database.execute(f"CREATE TABLE Frames (Id INTEGER PRIMARY KEY, KovaId INTEGER{declared})")
        database.execute("CREATE TABLE GlobalMetadata (Key TEXT, Value TEXT)")
        database.execute("CREATE TABLE CalibrationInfo (KeyPolarity TEXT, KeyName TEXT, Value TEXT)")
        database.execute("CREATE TABLE MzCalibration (Id, ModelType, DigitizerTimebase, DigitizerDelay, T1, T2, dC1, "
                         "dC2, C0, C1, C2, C3, C4)")
        database.execute("CREATE TABLE KovaCalibration (Id, ModelType, C0, C1, C2, C3, C4, C5, C6, C7, C8, C9)")
        database.executemany("INSERT INTO GlobalMetadata VALUES (?, ?)",
                             [(key, str(value)) for key, value in self.metadata.items()])
        for row in self.rows:
            names = [name for name in row if name in ("Id", "KovaId", *self.columns)]
            database.execute(f"INSERT INTO Frames ({','.join(names)}) VALUES ({','.join('?' * len(names))})",
                             [row[name] for name in names])
        for statement in self.statements:
            database.execute(statement)
        database.commit()
        database.close()
        return self.directory


class KovaTest(unittest.TestCase):
    maxDiff = None

    def setUp(self):
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="kova-cli-"))
        self.addCleanup(shutil.rmtree, self.folder)

    def analysis(self, name="run.d", **settings):
        return Analysis(self.folder / name, **settings)

    def database(self, path, *statements):
        connection = sqlite3.connect(path)
        for statement in statements:
            connection.execute(statement)
        connection.commit()
        connection.close()

    def simulate(self, name, **options):
        arguments = [f"--{option.replace('_', '-')}={value}" for option, value in options.items()]
        subprocess.run([KOVA_SIMULATE, self.folder / name, *arguments], check=True, capture_output=True, timeout=300)
        return self.folder / name

    def kova(self, *arguments, status=0, **settings):
        """Runs the tool in the test's folder, checks the exit status, returns its standard output and error."""
        done = subprocess.run([KOVA, *map(str, arguments)], capture_output=True, text=True, cwd=self.folder,
                              timeout=300, **settings)
        self.assertEqual(done.returncode, status, done.stdout + done.stderr)
        return done.stdout, done.stderr

    def output(self, *arguments):
        """The standard output of a run that is to succeed without a word on standard error."""
        out, err = self.kova(*arguments)
        self.assertEqual(err, "")
        return out
