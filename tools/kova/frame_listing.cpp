#include "frame_listing.h"

#include <array>
#include <cstdio>

#include "analysis_handle.h"
#include "failure.h"
#include "frame_table.h"
#include "metadata_database.h"
#include "physical_units.h"
#include "scan_reader.h"

namespace kova_tool {
namespace {

constexpr std::array<Column, 11> kColumns = {{{"id", "id", 6},
                                              {"time", "time", 10, 3},
                                              {"polarity", "pol", 3},
                                              {"ms_level", "ms", 2},
                                              {"scans", "scans", 5},
                                              {"peaks", "peaks", 8},
                                              {"intensity_sum", "intensity", 12},
                                              {"mz_min", "m/z from", 9, 4},
                                              {"mz_max", "m/z to", 9, 4},
                                              {"one_over_k0_min", "1/K0 from", 9, 5},
                                              {"one_over_k0_max", "1/K0 to", 8, 5}}};

class FrameLister {
public:
    explicit FrameLister(const FramesOptions& verbOptions)
        : options(verbOptions),
          analysis(options.directory, AnalysisFormat::mobility, options.calibration),
          database(metadataPath(options.directory, AnalysisFormat::mobility)),
          reader(analysis),
          units(analysis),
          indexBins(database.indexBins()) {}

    int run() {
        OutputBuffer out;
        TableWriter table(out, options.format(), kColumns);
        int status = kExitOk;
        for (FrameRow& frame : readFrameTable(database)) {
            if (!complete(frame)) {
                status = kExitFailure;
            }
            writeFrame(table, frame);
            if (out.closed()) {
                return kExitOk;
            }
        }
        table.end();
        out.flush();
        return status;
    }

private:
    // Fills in what the metadata leave open. false: the frame cannot be read, which is told on standard
    // error.
    bool complete(FrameRow& frame) {
        if (!options.read && frame.scans && frame.peaks && frame.intensitySum) {
            return true;
        }
        try {
            frame.scans = options.read ? reader.findScanCount(frame.id) : reader.scanCount(frame);
            const ScanData data = reader.read(frame.id, 0, *frame.scans, Intensities::measured);
            frame.peaks = data.peaks();
            frame.intensitySum = data.intensitySum();
            return true;
        } catch (const Failure& failure) {
            std::fprintf(stderr, "kova: frame %lld: %s\n", static_cast<long long>(frame.id), failure.what());
            if (options.read) {
                frame.scans.reset();
                frame.peaks.reset();
                frame.intensitySum.reset();
            }
            return false;
        }
    }

    void writeFrame(TableWriter& table, const FrameRow& frame) {
        const Range mz = mzRange(frame);
        const Range mobility = mobilityRange(frame);
        table.row(std::array<Cell, kColumns.size()>{
            Cell(frame.id), cell(frame.time), cell(frame.polarity), cell(frame.msLevel), cell(frame.scans),
            cell(frame.peaks), cell(frame.intensitySum), smallestCell(mz), largestCell(mz),
            smallestCell(mobility), largestCell(mobility)});
    }

    Range mzRange(const FrameRow& frame) {
        if (indexBins == 0) {
            return std::nullopt;
        }
        return convertedRange(0, indexBins - 1, [&](auto& ends) { return units.indexToMz(frame.id, ends); });
    }

    Range mobilityRange(const FrameRow& frame) {
        if (frame.scans.value_or(0) == 0) {
            return std::nullopt;
        }
        return convertedRange(0, *frame.scans - 1,
                              [&](auto& ends) { return units.scanToOneOverK0(frame.id, ends); });
    }

    const FramesOptions& options;
    AnalysisHandle analysis;
    MetadataDatabase database;
    ScanReader reader;
    PhysicalUnits units;
    std::uint32_t indexBins;
};

}  // namespace

int listFrames(const FramesOptions& options) { return FrameLister(options).run(); }

}  // namespace kova_tool
