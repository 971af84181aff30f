#include <algorithm>
#include <span>
#include <string>
#include <utility>

#include "diag/throw.h"
#include "kovarun/arrow/builders.h"
#include "kovarun/pipeline/frame_stream.h"
#include "kovarun/run/optional_calibration.h"
#include "kovarun/spectra/batch_room.h"
#include "kovarun/spectra/spectra.h"
#include "kovarun/tables/analysis_facts.h"
#include "sys/little_endian.h"

// Stored spectra without mobility as batches: a task is a group of frames, and a spectrum is a row of lists.
// Positions are given as they are stored and as m/z. Where a frame has no calibration, or one that does not
// convert them, the list of m/z is null and the rest is there.
namespace lumo::run {

namespace {

// Metadata that state 0 peaks for all spectra would otherwise make a single task of them.
constexpr std::size_t kMostSpectraPerGroup = 64;
constexpr std::uint64_t kBytesPerPeak = 24;  // position, m/z, intensity and width

const arrow::Field kId{"id", "l"};

arrow::Field listOf(const char* name, const char* format, arrow::Nulls nulls = arrow::Nulls::None) {
    return {name, "+l", nulls, {{"item", format}}};
}

// Copies values out of a decompressed block, where they may lie at any address, aligned or not.
template <class T>
void load(std::vector<T>& values, const std::byte* bytes, std::size_t count) {
    values.resize(count);
    sys::loadNumbers(bytes, std::span(values));
}

// Line spectra of a group, for one thread. Everything that can fail about a spectrum comes before its first
// column grows, or all columns would not have the same number of rows.
class LineReader final : public GroupReader {
public:
    LineReader(const FrameWork& shared, io::kova::LineWidths lineWidths)
        : work(shared), widths(lineWidths), reader(shared.run->borrow()) {}

    arrow::RecordBatch read(const FrameGroup& group, std::vector<DamagedFrame>& damaged) override {
        Columns columns;
        for (std::size_t i = group.begin; i < group.end; ++i) {
            const FrameEntry& frame = work.query.frames[i];
            doOrNote(frame, work.control.onDamage, damaged, [&] { append(columns, frame.id); });
        }
        const auto length = static_cast<std::int64_t>(columns.ids.length());
        return {length,
                {columns.ids.intoColumn(), columns.positions.intoColumn(), columns.masses.intoColumn(),
                 columns.intensities.intoColumn(), columns.widths.intoColumn()}};
    }

private:
    struct Columns {
        arrow::NumberBuilder<std::int64_t> ids;
        arrow::ListBuilder<double> positions;
        arrow::ListBuilder<double> masses;
        arrow::ListBuilder<float> intensities;
        arrow::ListBuilder<float> widths;
    };

    void append(Columns& columns, std::int64_t id) {
        const io::kova::LineSpectrumView view = reader->spectra().viewLineSpectrum(id, widths);
        // All lists of a spectrum have one length, or are null, so one of them answers for all.
        requireRoom(columns.positions.hasRoom(view.peaks));
        load(positions, view.positions, view.peaks);
        columns.ids.append(id);
        columns.positions.append(positions.data(), view.peaks);
        load(values, view.intensities, view.peaks);
        columns.intensities.append(values.data(), view.peaks);
        if (widths == io::kova::LineWidths::Read) {
            load(values, view.widths, view.peaks);
            columns.widths.append(values.data(), view.peaks);
        } else {
            columns.widths.appendNull();
        }
        if (convertPositions(id)) {
            columns.masses.append(positions.data(), positions.size());
        } else {
            columns.masses.appendNull();
        }
    }

    // Positions become m/z; false where there is no calibration that converts them.
    bool convertPositions(std::int64_t id) {
        return calibrationOrNone([&] {
            const auto calibration = reader->spectra().getMzTrafo(id, io::kova::KvsReader::Compensation::Off);
            if (calibration != nullptr) {
                calibration->DIndexToMass(std::span<const double>(positions), std::span<double>(positions));
            }
            return calibration != nullptr;
        });
    }

    const FrameWork& work;
    const io::kova::LineWidths widths;
    Run::Lease reader;
    std::vector<double> positions;
    std::vector<float> values;
};

// Profiles of a group, for one thread.
class ProfileReader final : public GroupReader {
public:
    explicit ProfileReader(const FrameWork& shared) : work(shared), reader(shared.run->borrow()) {}

    arrow::RecordBatch read(const FrameGroup& group, std::vector<DamagedFrame>& damaged) override {
        arrow::NumberBuilder<std::int64_t> ids;
        arrow::ListBuilder<std::uint32_t> intensities;
        for (std::size_t i = group.begin; i < group.end; ++i) {
            const FrameEntry& frame = work.query.frames[i];
            doOrNote(frame, work.control.onDamage, damaged, [&] {
                reader->spectra().readProfileSpectrum(frame.id, profile);
                requireRoom(intensities.hasRoom(profile.size()));
                ids.append(frame.id);
                intensities.append(profile.data(), profile.size());
            });
        }
        const auto length = static_cast<std::int64_t>(ids.length());
        return {length, {ids.intoColumn(), intensities.intoColumn()}};
    }

private:
    const FrameWork& work;
    Run::Lease reader;
    std::vector<std::uint32_t> profile;
};

std::vector<arrow::Field> schemaOfSpectra(SpectrumKind kind) {
    if (kind == SpectrumKind::Profile) {
        return {kId, listOf("intensity", "I")};
    }
    return {kId, listOf("position", "g"), listOf("mz", "g", arrow::Nulls::Possible), listOf("intensity", "f"),
            listOf("width", "f", arrow::Nulls::Possible)};
}

// Profiles compress by large factors, so the stored size and number of peaks say little about their length.
std::vector<FrameGroup> groupSpectra(const FrameEntries& frames, SpectrumKind kind) {
    constexpr std::size_t kMostProfilesOfATask = 8;
    return kind == SpectrumKind::Profile ? groupFrames(frames, UINT64_MAX / 2, kMostProfilesOfATask)
                                         : groupFrames(frames, kPeaksPerGroup, kMostSpectraPerGroup);
}

}  // namespace

SpectrumKind checkedSpectrumKind(std::uint32_t kind) {
    if (kind > KVR_SPECTRUM_PROFILE) {
        LUMO_THROW(std::invalid_argument("There are no spectra of kind " + std::to_string(kind) + "."));
    }
    return kind == KVR_SPECTRUM_LINES ? SpectrumKind::Lines : SpectrumKind::Profile;
}

std::unique_ptr<arrow::BatchSource> makeSpectrumStream(std::shared_ptr<Run> run, Query query,
                                                       SpectrumKind kind, const Control& control) {
    // Widths are a fact of the analysis: either all spectra have them, or the column is null from end to end.
    const kvr_info facts = analysisFacts(*run->borrow(), run->format());
    std::vector<FrameGroup> groups = groupSpectra(query.frames, kind);
    auto work = std::make_shared<const FrameWork>(
        FrameWork{std::move(run), std::move(query), control, std::move(groups)});
    const auto makeReader = [work = work.get(), kind,
                             widths =
                                 facts.has_line_widths != 0
                                     ? io::kova::LineWidths::Read
                                     : io::kova::LineWidths::LeaveOut]() -> std::unique_ptr<GroupReader> {
        if (kind == SpectrumKind::Profile) {
            return std::make_unique<ProfileReader>(*work);
        }
        return std::make_unique<LineReader>(*work, widths);
    };
    return makeGroupStream(work, {schemaOfSpectra(kind), makeReader, [](const FrameGroup& group) {
                                      return group.expectedPeaks * kBytesPerPeak;
                                  }});
}

}  // namespace lumo::run
