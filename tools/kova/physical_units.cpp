#include "physical_units.h"

#include <kovadata/kova.h>

#include "message.h"

namespace kova_tool {
namespace {

bool meansNoCalibration(const std::string& text) {
    for (const char* ending : {"is missing MzCalibration/Polarity", "is missing KovaCalibration",
                               "No m/z trafo available.", "No mobility trafo available."}) {
        if (text.ends_with(ending)) {
            return true;
        }
    }
    return false;
}

std::uint32_t count(const std::vector<double>& values) { return static_cast<std::uint32_t>(values.size()); }

}  // namespace

bool PhysicalUnits::indexToMz(std::int64_t frame, std::vector<double>& values) {
    const auto done =
        analysis.calls().indexToMz(analysis.get(), frame, values.data(), values.data(), count(values));
    return done != 0 || noteFailure();
}

bool PhysicalUnits::scanToOneOverK0(std::int64_t frame, std::vector<double>& values) {
    if (analysis.format() != AnalysisFormat::Mobility) {
        return false;
    }
    const auto done =
        kova_scannum_to_oneoverk0(analysis.get(), frame, values.data(), values.data(), count(values));
    return done != 0 || noteFailure();
}

bool PhysicalUnits::noteFailure() {
    const std::string text = analysis.lastError();
    if (!meansNoCalibration(text) && notedTexts.insert(text).second) {
        tell(text);
    }
    return false;
}

}  // namespace kova_tool
