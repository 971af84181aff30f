#include <algorithm>
#include <stdexcept>
#include <string>
#include <tuple>
#include <utility>

#include "kova-data-reader/scan-reading/scan_reader.h"
#include "kovarun/arrow/builders.h"
#include "kovarun/pipeline/frame_stream.h"
#include "kovarun/spectra/batch_room.h"
#include "kovarun/spectra/msms_plan.h"
#include "kovarun/spectra/spectra.h"
#include "zorel-msms-reader/zorel-msms-reader.h"

// MS/MS spectra as batches. A task is a group of precursors and gives one batch. It is extracted by the same
// reader that the functions with callbacks use, so both give the same bits. Where damaged frames are to be
// skipped, precursors with scans in such a frame are left out as a whole: a spectrum from a part of its
// frames would look like a measured one.
namespace lumo::run {

using io::algorithms::StripeRow;

namespace {

// A group reads those frames a second time that it shares with its neighbours; with more precursors in a
// group these are a smaller part.
constexpr std::size_t kLineSpectraPerGroup = 1024;
constexpr std::uint64_t kBytesOfProfilesPerGroup = std::uint64_t{16} << 20;
constexpr std::size_t kMostProfilesPerGroup = 16;  // of which the largest fill what a list column can hold
constexpr std::uint64_t kBytesPerLineSpectrum = 16'384;

const arrow::Field kPrecursor{"precursor", "l"};
const arrow::Field kMz{"mz", "+l", arrow::Nulls::None, {{"item", "g"}}};
const arrow::Field kLineIntensity{"intensity", "+l", arrow::Nulls::None, {{"item", "f"}}};
const arrow::Field kProfileIntensity{"intensity", "+l", arrow::Nulls::None, {{"item", "i"}}};

// Extracts a group of precursors, for one thread. The plan's rows are in the order of last frames; the
// extraction wants them by parent, so that each parent's calibration is looked up once.
class MsmsGroupReader final : public GroupReader {
public:
    MsmsGroupReader(const FrameWork& shared, const MsmsPlan& precursors, SpectrumKind spectrumKind)
        : work(shared), plan(precursors), kind(spectrumKind), reader(shared.run->borrow()) {}

    arrow::RecordBatch read(const FrameGroup& group, std::vector<DamagedFrame>& damaged) override {
        plan.takeRows(group.begin, group.end, rows);
        std::sort(rows.begin(), rows.end(), [](const StripeRow& a, const StripeRow& b) {
            return std::tie(a.parent, a.frame, a.id) < std::tie(b.parent, b.frame, b.id);
        });
        io::algorithms::ZorelMsmsSpectraReader spectra(reader->frames(), rows,
                                                       io::algorithms::kDefaultWidthSlope);
        io::algorithms::StripeFailureCallback note;
        if (work.control.onDamage == OnDamage::LeaveOut) {
            note = [&](std::int64_t frame, const std::runtime_error& error) {
                damaged.push_back({frame, error.what()});
            };
        }
        return kind == SpectrumKind::Lines ? readLines(spectra, note) : readProfiles(spectra, note);
    }

private:
    static arrow::RecordBatch readLines(io::algorithms::ZorelMsmsSpectraReader& spectra,
                                        const io::algorithms::StripeFailureCallback& note) {
        arrow::NumberBuilder<std::int64_t> ids;
        arrow::ListBuilder<double> masses;
        arrow::ListBuilder<float> intensities;
        spectra.extractPrecursorSpectra(
            [&](std::int64_t id, std::vector<double>&& mz, std::vector<float>&& intensity, auto&&) {
                requireRoom(masses.hasRoom(mz.size()));
                ids.append(id);
                masses.append(mz.data(), mz.size());
                intensities.append(intensity.data(), intensity.size());
            },
            {}, note, io::algorithms::PeakAreas::LeaveOut);
        const auto length = static_cast<std::int64_t>(ids.length());
        return {length, {ids.intoColumn(), masses.intoColumn(), intensities.intoColumn()}};
    }

    static arrow::RecordBatch readProfiles(io::algorithms::ZorelMsmsSpectraReader& spectra,
                                           const io::algorithms::StripeFailureCallback& note) {
        arrow::NumberBuilder<std::int64_t> ids;
        arrow::ListBuilder<std::int32_t> intensities;
        spectra.extractPrecursorSpectra(
            {},
            [&](std::int64_t id, std::vector<std::int32_t>&& profile) {
                requireRoom(intensities.hasRoom(profile.size()));
                ids.append(id);
                intensities.append(profile.data(), profile.size());
            },
            note);
        const auto length = static_cast<std::int64_t>(ids.length());
        return {length, {ids.intoColumn(), intensities.intoColumn()}};
    }

    const FrameWork& work;
    const MsmsPlan& plan;
    const SpectrumKind kind;
    Run::Lease reader;
    std::vector<StripeRow> rows;
};

std::vector<arrow::Field> schemaOfMsms(SpectrumKind kind) {
    if (kind == SpectrumKind::Lines) {
        return {kPrecursor, kMz, kLineIntensity};
    }
    return {kPrecursor, kProfileIntensity};
}

}  // namespace

// The plan is made now, on the caller's thread, so a request that makes no sense fails in this call and not
// in the stream.
std::unique_ptr<arrow::BatchSource> makeMsmsStream(std::shared_ptr<Run> run,
                                                   const io::algorithms::PrecursorFilter& filter,
                                                   SpectrumKind kind, const Control& control) {
    const auto [plan, bytesPerSpectrum] = [&] {
        const Run::Lease reader = run->borrow();
        return std::pair(std::make_shared<const MsmsPlan>(reader->frames(), filter),
                         kind == SpectrumKind::Lines
                             ? kBytesPerLineSpectrum
                             : std::uint64_t{reader->frames().scans().binCount()} * 4);
    }();
    std::size_t perGroup = kLineSpectraPerGroup;
    if (kind == SpectrumKind::Profile) {
        // Half of what a list column can hold, since a group may become twice as large, see
        // groupPrecursors().
        perGroup = std::clamp<std::size_t>(kBytesOfProfilesPerGroup / bytesPerSpectrum, 1,
                                           kMostProfilesPerGroup / 2);
    }
    // At least four groups per thread, so that all threads are busy until shortly before the end.
    if (control.limits.threads > 1) {
        perGroup = std::clamp<std::size_t>(plan->precursors() / (4 * std::size_t{control.limits.threads}), 1,
                                           perGroup);
    }
    auto work = std::make_shared<const FrameWork>(
        FrameWork{std::move(run), {}, control, groupPrecursors(*plan, perGroup)});
    return makeGroupStream(work, {schemaOfMsms(kind),
                                  [work = work.get(), plan = plan, kind] {
                                      return std::make_unique<MsmsGroupReader>(*work, *plan, kind);
                                  },
                                  [bytes = bytesPerSpectrum](const FrameGroup& group) {
                                      return (group.end - group.begin) * bytes;
                                  }});
}

}  // namespace lumo::run
