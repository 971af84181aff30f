#include "kovarun/query/frame_source.h"

#include <algorithm>
#include <numeric>
#include <stdexcept>

#include "calibration/transformation.h"
#include "diag/throw.h"
#include "kovarun/run/optional_calibration.h"
#include "sys/work_counters.h"

// One frame after the other, as one thread reads them. Opening a frame looks up only what the query needs:
// with neither a range of m/z nor one of 1/K0, the database is not asked for a calibration. A calibration
// that fails is an error for a query that needs it, and a missing column for one that only shows it; hence
// the two forms of asking, with "require" and without.
//
// Frames mostly share a calibration. As long as the next one converts as the last one did, the mass axis, and
// the ranges of indices that were found with it, are used again; `version` tells others when that has
// changed.
namespace lumo::run {

namespace {

auto massCalibrationOf(const Reader& reader, std::int64_t frame) {
    const sys::WorkStopwatch stopwatch(&sys::WorkCounters::queries);
    return reader.frames().getMzTrafo(frame, io::kova::KvdReader::Compensation::On);
}

auto mobilityCalibrationOf(const Reader& reader, std::int64_t frame) {
    const sys::WorkStopwatch stopwatch(&sys::WorkCounters::queries);
    return reader.frames().getMobTrafo(frame);
}

using ::lumo::calibration::kova::IArrayTransformator;

// Every mobility transformator has this interface, too; see transformation.h.
const IArrayTransformator& onArrays(const io::kova::KvdReader::MobTrafoPtr& calibration) {
    return dynamic_cast<const IArrayTransformator&>(*calibration);
}

// A frame without peaks may claim billions of scans.
constexpr std::uint32_t kMostScansConverted = 1 << 20;

// 1/K0 of every scan of a frame: some hundred values, converted once, in place of one per peak.
std::vector<double> mobilitiesBy(const io::kova::KvdReader::MobTrafoPtr& calibration, std::uint32_t count) {
    if (count > kMostScansConverted) {
        LUMO_THROW(std::runtime_error("The frame has too many scans for a mobility axis."));
    }
    std::vector<double> values(count);
    std::iota(values.begin(), values.end(), 0.0);
    onArrays(calibration).scanNumbersToOneOverK0s(values, values);
    return values;
}

}  // namespace

FrameSource::FrameSource(Run& run, const Query& preparedQuery)
    : reader(run.borrow()),
      last(reader->kept<Conversions>()),
      query(preparedQuery),
      scans(reader->frames().scans()) {}

// Where one fails, all are looked up by themselves when their time has come.
void FrameSource::announce(std::span<const FrameEntry> next) {
    ahead = {};
    if (query.lookedUp && next.data() == query.frames.data()) {
        ahead = std::exchange(*query.lookedUp, {});
        if (std::all_of(next.begin(), next.end(),
                        [this](const FrameEntry& frame) { return isLookedUp(frame); })) {
            return;
        }
    }
    try {
        ahead = reader->analysis().getSQLiteDb()->inTransaction([&] { return lookUp(next); });
    } catch (const std::exception&) {
        return;
    }
}

bool FrameSource::isLookedUp(const FrameEntry& frame) const {
    return (!query.wanted.masses || ahead.masses.find(frame.id) != nullptr) &&
           (!query.wanted.mobilities || ahead.mobilities.find(frame.id) != nullptr);
}

LookedUpFrames FrameSource::lookUp(std::span<const FrameEntry> next) const {
    LookedUpFrames found;
    for (const FrameEntry& frame : next) {
        reader->analysis().getFrameInfo(frame.id);
        if (query.wanted.masses) {
            found.masses.add(frame.id, massCalibrationOf(*reader, frame.id));
        }
        if (query.wanted.mobilities) {
            found.mobilities.add(frame.id, mobilityCalibrationOf(*reader, frame.id));
        }
    }
    return found;
}

// Scans before indices: where the query leaves no scan, the mass calibration is not looked up, and a frame
// without one is no error.
const FrameBox& FrameSource::open(const FrameEntry& frame) {
    frameId = frame.id;
    isMassLookedUp = isMobilityLookedUp = false;
    scanCount = scans.numberOfScans(frameId);
    if (scanCount == 0) {
        scans.loadFrame(frameId);  // nothing will be read, so this is where a damaged one is noticed
    }
    box = {};
    box.scanEnd = std::min(query.scanEnd, scanCount);
    box.scanBegin = std::min(query.scanBegin, box.scanEnd);
    if (query.oneOverK0) {
        chooseScans();
    }
    if (query.mz && !box.isEmpty()) {
        chooseIndices();
    }
    return box;
}

void FrameSource::read(io::kova::ScanSink& sink) {
    const bool isNormalized = query.intensities == Intensities::Normalized;
    scans.read(
        {frameId, box.scanBegin, box.scanEnd},
        isNormalized ? io::kova::NormalizationType::AnalysisDefault : io::kova::NormalizationType::None,
        sink);
}

const MassAxis* FrameSource::massAxis() {
    if (!isMassLookedUp) {
        hasMass = calibrationOrNone([this] {
            lookUpMass();
            return hasMass;
        });
        isMassLookedUp = true;
    }
    return hasMass ? &*last.axis : nullptr;
}

std::span<const double> FrameSource::oneOverK0() {
    if (!isMobilityLookedUp) {
        calibrationOrNone([this] {
            lookUpMobility();
            return true;
        });
        isMobilityLookedUp = true;
    }
    return ofCurrentFrame();
}

// A look-up that failed before is done once more, for the error that it raises.
std::uint64_t FrameSource::requireMassAxis() {
    if (!hasMass || !isMassLookedUp) {
        lookUpMass();
        isMassLookedUp = true;
    }
    if (!hasMass) {
        LUMO_THROW(std::runtime_error("No m/z trafo available."));
    }
    return last.version;
}

std::span<const double> FrameSource::requireOneOverK0() {
    if (!hasMobility || !isMobilityLookedUp) {
        lookUpMobility();
        isMobilityLookedUp = true;
    }
    if (!hasMobility && scanCount != 0) {
        LUMO_THROW(std::runtime_error("No mobility trafo available."));
    }
    return ofCurrentFrame();
}

// A change of calibration is told by comparing what converts and not by its id: two rows may hold the same
// numbers, and the same row is compensated for other temperatures in another frame.
void FrameSource::lookUpMass() {
    auto calibration =
        ahead.masses.take(frameId, [this](std::int64_t frame) { return massCalibrationOf(*reader, frame); });
    hasMass = calibration != nullptr;
    if (hasMass && !(last.axis && last.axis->transformator().Equals(calibration))) {
        const sys::WorkStopwatch stopwatch(&sys::WorkCounters::conversion);
        last.axis.emplace(std::move(calibration), binCount());
        ++last.version;
        isQueriedKnown = false;
    }
}

// A longer frame has all of its scans converted again; a shorter one uses the beginning of what is there.
void FrameSource::lookUpMobility() {
    hasMobility = false;
    auto calibration = ahead.mobilities.take(
        frameId, [this](std::int64_t frame) { return mobilityCalibrationOf(*reader, frame); });
    if (calibration == nullptr) {
        return;
    }
    if (!areKnown(calibration, scanCount)) {
        const sys::WorkStopwatch stopwatch(&sys::WorkCounters::conversion);
        last.mobilities = mobilitiesBy(calibration, scanCount);
        last.mobility = std::move(calibration);
    }
    hasMobility = true;
}

bool FrameSource::areKnown(const io::kova::KvdReader::MobTrafoPtr& calibration, std::uint32_t count) const {
    return last.mobility != nullptr && last.mobilities.size() >= count &&
           onArrays(last.mobility).convertsAs(*calibration);
}

std::span<const double> FrameSource::ofCurrentFrame() const {
    return hasMobility ? std::span(last.mobilities).first(scanCount) : std::span<const double>();
}

std::vector<double> FrameSource::oneOverK0Of(std::int64_t frame, std::uint32_t count) {
    return calibrationOrNone([&] {
        const auto by = [&](const io::kova::KvdReader::MobTrafoPtr& calibration) {
            if (calibration == nullptr) {
                return std::vector<double>();
            }
            return areKnown(calibration, count)
                       ? std::vector<double>(last.mobilities.begin(), last.mobilities.begin() + count)
                       : mobilitiesBy(calibration, count);
        };
        const auto* const known = ahead.mobilities.find(frame);
        return known != nullptr ? by(*known) : by(mobilityCalibrationOf(*reader, frame));
    });
}

std::shared_ptr<const MassAxis> FrameSource::massAxisOf(std::int64_t frame) {
    return calibrationOrNone([&] {
        const auto* const known = ahead.masses.find(frame);
        auto calibration = known != nullptr ? *known : massCalibrationOf(*reader, frame);
        return calibration == nullptr ? nullptr
                                      : std::make_shared<const MassAxis>(std::move(calibration), binCount());
    });
}

// Whether 1/K0 rises or falls with the scan is the calibration's business, so every scan is asked.
void FrameSource::chooseScans() {
    requireOneOverK0();
    const auto isInside = [this](std::uint32_t scan) {
        return query.oneOverK0->contains(last.mobilities[scan]);
    };
    while (box.scanBegin < box.scanEnd && !isInside(box.scanBegin)) {
        ++box.scanBegin;
    }
    while (box.scanBegin < box.scanEnd && !isInside(box.scanEnd - 1)) {
        --box.scanEnd;
    }
    for (std::uint32_t scan = box.scanBegin; scan < box.scanEnd; ++scan) {
        if (!isInside(scan) && box.areAllScans) {
            box.areAllScans = false;
            box.scans.assign(box.scanEnd - box.scanBegin, true);
        }
        if (!box.areAllScans) {
            box.scans[scan - box.scanBegin] = isInside(scan);
        }
    }
}

// The ranges stay valid until a frame with another mass axis comes.
void FrameSource::chooseIndices() {
    requireMassAxis();
    if (!isQueriedKnown) {
        queried = last.axis->indicesOf(*query.mz);
        isQueriedKnown = true;
    }
    box.areAllIndices = false;
    box.indices = queried;
}

}  // namespace lumo::run
