#include <array>
#include <cstdint>
#include <cstdio>
#include <optional>

#include "analysis_handle.h"
#include "failure.h"
#include "frame_listing.h"
#include "frame_table.h"
#include "metadata_database.h"
#include "physical_units.h"
#include "spectrum_reader.h"

namespace kova_tool {
namespace {

constexpr std::array<Column, 8> kColumns = {{{"id", "id", 6},
                                             {"time", "time", 10, 3},
                                             {"polarity", "pol", 3},
                                             {"ms_level", "ms", 2},
                                             {"lines", "lines", 8},
                                             {"profile_points", "profile", 8},
                                             {"mz_min", "m/z from", 9, 4},
                                             {"mz_max", "m/z to", 9, 4}}};

// What a spectrum consists of; a kind that the analysis does not have is absent.
struct SpectrumSizes {
    std::optional<std::uint64_t> lines;
    std::optional<std::uint64_t> profilePoints;
};

class SpectrumLister {
public:
    explicit SpectrumLister(const FramesOptions& verbOptions)
        : options(verbOptions),
          analysis(options.directory, AnalysisFormat::spectra, options.calibration),
          database(metadataPath(options.directory, AnalysisFormat::spectra)),
          parts(spectrumParts(database)),
          reader(analysis, parts),
          units(analysis) {}

    int run() {
        OutputBuffer out;
        TableWriter table(out, options.format(), kColumns);
        const std::uint32_t bins = database.spectrumBins();
        for (const FrameRow& frame : readFrameTable(database)) {
            const SpectrumSizes sizes = readSizes(frame.id);
            const Range mz = convertedRange(0, bins > 0 ? bins - 1 : 0,
                                            [&](auto& ends) { return units.indexToMz(frame.id, ends); });
            table.row(std::array<Cell, kColumns.size()>{
                Cell(frame.id), cell(frame.time), cell(frame.polarity), cell(frame.msLevel),
                cell(sizes.lines), cell(sizes.profilePoints), smallestCell(mz), largestCell(mz)});
            if (out.closed()) {
                return kExitOk;
            }
        }
        table.end();
        out.flush();
        return status;
    }

private:
    // A spectrum that cannot be read is told on standard error.
    SpectrumSizes readSizes(std::int64_t spectrum) {
        SpectrumSizes sizes;
        try {
            if (parts.lines) {
                sizes.lines = reader.lineCount(spectrum);
            }
            if (parts.profiles) {
                sizes.profilePoints = reader.profilePoints(spectrum);
            }
            return sizes;
        } catch (const Failure& failure) {
            std::fprintf(stderr, "kova: spectrum %lld: %s\n", static_cast<long long>(spectrum),
                         failure.what());
            status = kExitFailure;
            return {};
        }
    }

    const FramesOptions& options;
    AnalysisHandle analysis;
    MetadataDatabase database;
    SpectrumParts parts;
    SpectrumReader reader;
    PhysicalUnits units;
    int status = kExitOk;
};

}  // namespace

int listSpectra(const FramesOptions& options) { return SpectrumLister(options).run(); }

}  // namespace kova_tool
