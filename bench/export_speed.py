#!/usr/bin/env python3
"""How fast runs are exported, how large the files are, and how soon a file sorted by m/z answers.

    ./dev bench exports [RUN]

Parquet stands beside pyarrow alone, which writes the same tables in the same way, and mzML beside a plain loop over the same spectra
with psims and the zlib of Python. Processor time is that of one thread on one processor; with two threads it is the time on the clock.
"""

import argparse
import contextlib
import json
import os
import pathlib
import statistics
import tempfile
import time
import zlib

import kovadata
from kovadata._export import columnar, mz_sort, tables

TARGETS = json.loads(pathlib.Path(__file__).with_name("targets.json").read_text(encoding="utf-8"))
EXPORTS = {"Parquet": ("a.parquet", {}), "Parquet by m/z": ("mz.parquet", {"layout": "mz"}), "Arrow": ("a.arrow", {}),
           "mzML": ("a.mzML", {}), "mzML.gz": ("a.mzML.gz", {}), "MGF": ("a.mgf", {})}
ROUNDS = 3  # of Parquet and of pyarrow alone, of which the best counts: they are held against each other
TERMS = {"name": "raw inverse reduced ion mobility array", "unit_name": "volt-second per square centimeter"}


def plain_loop(run, path):
    """Survey and MS/MS spectra by the writer's own functions alone."""
    import numpy
    import psims.mzml.binary_encoding as encoding
    from kovadata._export.mzml import vocabularies
    from psims.mzml import MzMLWriter

    encoding.zlib = zlib
    with kovadata.Analysis(run) as analysis, open(path, "wb") as file:
        writer = MzMLWriter(file, close=False, vocabulary_resolver=vocabularies())
        with writer:
            writer.controlled_vocabularies()
            writer.file_description(["MS1 spectrum", "MSn spectrum"])
            writer.software_list([{"id": "loop", "version": "1", "params": ["custom unreleased software tool"]}])
            writer.instrument_configuration_list([writer.InstrumentConfiguration("one", component_list=[], params=["instrument model"])])
            writer.data_processing_list([writer.DataProcessing([writer.ProcessingMethod(1, "loop", ["Conversion to mzML"])], id="two")])
            with writer.run(id="run", instrument_configuration="one"), writer.spectrum_list(count=0):
                for frame in analysis.frames(ms_level=1):
                    peaks = frame.peaks()
                    order = numpy.argsort(peaks.mz, kind="stable")
                    writer.write_spectrum(peaks.mz[order], peaks.intensity[order], id=f"frame={frame.id}",
                                          params=["MS1 spectrum", {"ms level": 1}], scan_start_time=frame.time / 60,
                                          other_arrays=[(TERMS, peaks.one_over_k0[order])],
                                          encoding={"m/z array": numpy.float64, TERMS["name"]: numpy.float64})
                for one in analysis.msms():
                    about = one.precursor
                    writer.write_spectrum(one.mz, one.intensity, id=f"precursor={about.id}", params=["MSn spectrum", {"ms level": 2}],
                                          precursor_information={"mz": about.mz, "charge": about.charge, "activation": []})


@contextlib.contextmanager
def kept_tables(most):
    """The first tables that an export makes of so many peaks, and how it opens its file."""
    kept, opened, made = [], [], tables._whole_frames

    def keeping(*arguments):
        for table in made(*arguments):
            if sum(one.num_rows for one in kept) < most:
                kept.append(table)
            yield table

    def opening(*arguments):
        opened.append(arguments)
        return columnar.open_sink(*arguments)

    tables._whole_frames, tables.open_sink = keeping, opening
    yield kept, opened
    tables._whole_frames, tables.open_sink = made, columnar.open_sink


def pyarrow_alone(run, path):
    """Processor seconds per peak of writing tables that are in memory."""
    with kept_tables(10_000_000) as (kept, opened):
        kovadata.export(run, path, threads=1, force=True)

    def write():
        path.unlink()
        path.touch()  # it is appended to
        sink = columnar.open_sink(path, *opened[0][1:])
        for table in kept:
            sink.write(table)
        sink.finish({})

    return min(measured(write, time.process_time) for _ in range(ROUNDS)) / sum(table.num_rows for table in kept)


def missed(is_missed):
    return "  MISSED" if is_missed else ""


def measured(action, clock):
    start = clock()
    action()
    return clock() - start


def one_chromatogram(path, low, high):
    """Time of a chromatogram in ms, the median of several, by DuckDB and by Polars, each with the file opened again."""
    import duckdb
    import polars

    sql = f"SELECT frame, sum(intensity) FROM '{path}' WHERE mz BETWEEN {low} AND {high} GROUP BY frame"
    chosen = polars.col("mz").is_between(low, high)
    questions = {
        "DuckDB": lambda: duckdb.connect().execute(sql).fetchall(),
        "Polars": lambda: polars.scan_parquet(path).filter(chosen).group_by("frame").agg(polars.col("intensity").sum()).collect()}
    return {name: 1000 * statistics.median(measured(ask, time.perf_counter) for _ in range(9)) for name, ask in questions.items()}


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("run")
    parser.add_argument("--only", nargs="*", default=[*EXPORTS], choices=[*EXPORTS])
    parser.add_argument("--rows", type=int, nargs="*", default=[mz_sort.ROWS], help="rows of a row group by m/z to try")
    parser.add_argument("--no-loop", action="store_true")
    options = parser.parse_args()
    with kovadata.Analysis(options.run) as analysis:
        table = analysis.frame_table()
        peaks, surveyed = int(table["peaks"].sum()), int(table["peaks"][table["ms_level"] == 1].sum())
        first = int(table["id"][0])
    size = sum(file.stat().st_size for file in pathlib.Path(options.run).iterdir())
    processors = sorted(os.sched_getaffinity(0))
    print(f"{options.run}: {peaks} peaks, {surveyed} of them in survey frames, {size / 1e6:.1f} MB")
    with tempfile.TemporaryDirectory() as folder:
        for name in options.only:
            file, settings = EXPORTS[name]
            path = pathlib.Path(folder) / file
            kovadata.export(options.run, path, threads=1, frames=first, **settings)  # imports take their time once
            times = []
            for threads, clock in ((1, time.process_time), (2, time.perf_counter)):
                os.sched_setaffinity(0, processors[:threads])
                rounds = []
                for _ in range(ROUNDS if name == "Parquet" else 1):
                    path.unlink()
                    rounds.append(measured(lambda: kovadata.export(options.run, path, threads=threads, **settings), clock))
                times.append(min(rounds))
            counted = surveyed if name.startswith("mzML") else peaks
            print(f"{name:15} {counted / times[0] / 1e6:6.1f} M peaks/s of one processor, {counted / times[1] / 1e6:6.1f} with two, "
                  f"{path.stat().st_size / size:5.2f} times the analysis"
                  + missed(name == "Parquet" and counted / times[0] / 1e6 < TARGETS["export_parquet"]["target_million_peaks"]), flush=True)
            if name == "Parquet":
                os.sched_setaffinity(0, processors[:1])
                print(f"{'pyarrow alone':15} {1e-6 / pyarrow_alone(options.run, path):6.1f} M peaks/s of one processor")
            if name == "mzML" and not options.no_loop:
                os.sched_setaffinity(0, processors[:1])
                loop = measured(lambda: plain_loop(options.run, pathlib.Path(folder) / "loop.mzML"), time.process_time)
                print(f"{'psims loop':15} {counted / loop / 1e6:6.1f} M peaks/s of one processor; the export is {loop / times[0]:.1f} times as fast"
                      + missed(loop / times[0] < TARGETS["export_mzml"]["target_times_as_fast"]))
        os.sched_setaffinity(0, processors)
        for rows in options.rows if "Parquet by m/z" in options.only else ():
            mz_sort.ROWS = rows
            path = pathlib.Path(folder) / "mz.parquet"
            kovadata.export(options.run, path, layout="mz", force=True)
            spent = one_chromatogram(path, 622.02, 622.04)
            found = ", ".join(f"{name} {value:.1f} ms" for name, value in spent.items())
            print(f"a chromatogram, {-(-peaks // rows)} row groups of {rows}: {found}"
                  + missed(max(spent.values()) > TARGETS["export_chromatogram"]["target_ms"]), flush=True)


if __name__ == "__main__":
    main()
