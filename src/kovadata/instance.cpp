#include "kovadata/instance.h"

#include <stdexcept>

#include "diag/throw.h"

// What stands between an exported function and the readers: arguments become spans, and one frame's mass
// transformator is kept, since callers convert array after array of the same frame.
namespace lumo::io {

std::uint32_t Instance::readScans(std::int64_t frameId, std::uint32_t scanBegin, std::uint32_t scanEnd,
                                  std::span<std::byte> buffer, kova::NormalizationType type) {
    return static_cast<std::uint32_t>(packedScans.read({frameId, scanBegin, scanEnd}, type, buffer));
}

void Instance::mzConversionFunc(std::int64_t frameId, std::span<const double> in, std::span<double> out,
                                MassConversion conversion) {
    if (in.empty()) {
        return;
    }
    if (frameId != mzTrafoFrameId) {
        mzTrafo = reader.getMzTrafo(frameId, kova::KvdReader::Compensation::On);
        mzTrafoFrameId = frameId;  // also when there is none, so that the next call need not look again
    }
    convertMasses(mzTrafo, in, out, conversion, FailingOutput::WrittenInPart);
}

// Unlike the mass transformator it is made for each call, at little cost from two rows, so a handle never
// holds an outdated one.
void Instance::mobConversionFunc(std::int64_t frameId, std::span<const double> in, std::span<double> out,
                                 MobConversion method) const {
    if (in.empty()) {
        return;
    }
    const kova::KvdReader::MobTrafoPtr mobTrafo = reader.getMobTrafo(frameId);
    if (!mobTrafo) {
        LUMO_THROW(std::runtime_error("No mobility trafo available."));
    }
    // Every mobility transformator has this interface too, see transformation.h.
    (dynamic_cast<const ::lumo::calibration::kova::IArrayTransformator&>(*mobTrafo).*method)(in, out);
}

}  // namespace lumo::io
