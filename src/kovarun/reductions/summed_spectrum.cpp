#include <algorithm>
#include <cmath>
#include <utility>

#include "kovarun/arrow/builders.h"
#include "kovarun/pipeline/frame_stream.h"
#include "kovarun/query/scanwise_sink.h"
#include "kovarun/reductions/reductions.h"

// One spectrum of all frames. Indices of frames that convert alike mean the same m/z and are added up as
// integers, which is the usual case. Where a frame converts differently, its sums are moved to the indices of
// the first frame with the nearest m/z, so the result has one mass axis and peaks stay as sharp as they were
// measured. No intensity is divided between two indices: sums stay integers, and do not depend on the order
// of the frames.
namespace lumo::run {

namespace {

struct Bin {
    std::uint64_t intensity = 0;
    std::uint64_t count = 0;
};

// Sums by index, for one thread. A frame with a calibration of its own is first summed by itself, so each
// occupied index is converted once, however many peaks it has; if the frame fails, nothing of it has reached
// the sums.
class SpectrumSum final : public Accumulator {
public:
    SpectrumSum(const FrameWork& shared, std::shared_ptr<const MassAxis> firstAxis, std::uint32_t bins)
        : work(shared), reference(std::move(firstAxis)), sums(bins) {}

    // A frame without a calibration of its own is added as it is: its indices are the best that is known.
    void add(FrameSource& source, const FrameBox& box, const FrameEntry& /*frame*/) override {
        if (box.isEmpty()) {
            return;
        }
        const MassAxis* const axis = reference ? source.massAxis() : nullptr;
        if (axis == nullptr || axis->convertsAs(*reference)) {
            addPeaks(source, box,
                     [this](std::uint32_t index, std::uint32_t intensity) { addTo(sums[index], intensity); });
            return;
        }
        ofFrame.resize(sums.size());
        try {
            addPeaks(source, box, [this](std::uint32_t index, std::uint32_t intensity) {
                if (ofFrame[index].count == 0) {
                    occupied.push_back(index);
                }
                addTo(ofFrame[index], intensity);
            });
        } catch (...) {
            forgetFrame();
            throw;
        }
        moveFrame(*axis);
    }

    void merge(Accumulator& other) override {
        const auto& another = static_cast<const SpectrumSum&>(other);
        for (std::size_t i = 0; i < sums.size(); ++i) {
            sums[i].intensity += another.sums[i].intensity;
            sums[i].count += another.sums[i].count;
        }
    }

    // Only occupied indices are rows. They are the same whatever the number of threads, as the sums are.
    arrow::RecordBatch finish() override {
        std::vector<std::uint32_t> indices;
        std::vector<std::uint64_t> intensities;
        std::vector<std::uint64_t> counts;
        for (std::uint32_t index = 0; index < sums.size(); ++index) {
            if (sums[index].count != 0) {
                indices.push_back(index);
                intensities.push_back(sums[index].intensity);
                counts.push_back(sums[index].count);
            }
        }
        arrow::RecordBatch batch;
        const std::size_t length = indices.size();
        batch.length = static_cast<std::int64_t>(length);
        arrow::Column masses = massesOf(indices);
        batch.columns = {arrow::numbers(length, arrow::toBuffer(std::move(indices))), std::move(masses),
                         arrow::numbers(length, arrow::toBuffer(std::move(intensities))),
                         arrow::numbers(length, arrow::toBuffer(std::move(counts)))};
        return batch;
    }

private:
    static void addTo(Bin& bin, std::uint32_t intensity) {
        bin.intensity += intensity;
        ++bin.count;
    }

    void addPeaks(FrameSource& source, const FrameBox& box, const auto& addPeak) {
        ScanwiseSink sink(box, work.control.onDamage, [&](const PeakBatch& batch) {
            for (std::size_t i = 0; i < batch.peaks; ++i) {
                if (box.containsIndex(batch.indices[i])) {
                    addPeak(batch.indices[i], batch.intensities[i]);
                }
            }
        });
        sink.readFrom(source);
    }

    // What has no m/z in this frame stays at its index, and what lies beyond the axis goes to its end: no
    // intensity is lost. Halves are rounded upwards, as the header promises.
    void moveFrame(const MassAxis& axis) {
        std::vector<double> places(occupied.begin(), occupied.end());
        axis.massesOf(places, places);
        reference->placesOf(places, places);
        const double last = static_cast<double>(sums.size() - 1);
        for (std::size_t i = 0; i < occupied.size(); ++i) {
            const double place =
                std::isnan(places[i]) ? occupied[i] : std::clamp(std::floor(places[i] + 0.5), 0.0, last);
            Bin& target = sums[static_cast<std::size_t>(place)];
            target.intensity += ofFrame[occupied[i]].intensity;
            target.count += ofFrame[occupied[i]].count;
        }
        forgetFrame();
    }

    // Only what was touched is cleared, since a frame occupies a small part of the indices.
    void forgetFrame() {
        for (const std::uint32_t index : occupied) {
            ofFrame[index] = {};
        }
        occupied.clear();
    }

    // By the first frame's calibration, null where that gives none.
    arrow::Column massesOf(const std::vector<std::uint32_t>& indices) const {
        std::vector<double> masses(indices.begin(), indices.end());
        if (reference) {
            reference->massesOf(masses, masses);
        }
        arrow::NumberBuilder<double> column;
        for (const double mass : masses) {
            column.append(reference && !std::isnan(mass) ? std::optional(mass) : std::nullopt);
        }
        return column.intoColumn();
    }

    const FrameWork& work;
    const std::shared_ptr<const MassAxis> reference;  // of the first frame; null if that has none
    std::vector<Bin> sums;                            // by index of the first frame
    std::vector<Bin> ofFrame;             // of a frame that converts differently, by its own index
    std::vector<std::uint32_t> occupied;  // indices of that
};

}  // namespace

// The reference is looked up before threads start, so all of them refer to the same mass axis.
std::unique_ptr<arrow::BatchSource> makeSummedSpectrum(std::shared_ptr<Run> run, Query query,
                                                       const Control& control) {
    query.wanted.masses = true;
    std::vector<FrameGroup> groups = groupFrames(query.frames, kPeaksPerGroup);
    auto work = std::make_shared<const FrameWork>(
        FrameWork{std::move(run), std::move(query), control, std::move(groups)});
    FrameSource first(*work->run, work->query);
    std::shared_ptr<const MassAxis> reference;
    if (!work->query.frames.empty()) {
        reference = first.massAxisOf(work->query.frames.front().id);
    }
    const std::uint32_t bins = first.binCount();
    return makeFoldStream(
        work, {{{"tof_index", "I"}, {"mz", "g", arrow::Nulls::Possible}, {"intensity", "L"}, {"count", "L"}},
               [work = work.get(), reference, bins] {
                   return std::make_unique<SpectrumSum>(*work, reference, bins);
               },
               2 * sizeof(Bin) * std::uint64_t{bins}});
}

}  // namespace lumo::run
