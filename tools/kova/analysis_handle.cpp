#include "analysis_handle.h"

#include <kovadata/kova.h>
#include <kovadata/kvs.h>

#include "failure.h"
#include "open_hint.h"
#include "state_access.h"

namespace kova_tool {
namespace {

constexpr FormatCalls kMobilityCalls = {kova_open, kova_close, kova_get_last_error_string, kova_index_to_mz,
                                        kova_mz_to_index};
constexpr FormatCalls kSpectraCalls = {kvs_open, kvs_close, kvs_get_last_error_string, kvs_index_to_mz,
                                       kvs_mz_to_index};

}  // namespace

AnalysisHandle::AnalysisHandle(const std::string& directory, AnalysisFormat analysisFormat,
                               const CalibrationChoice& calibration)
    : formatOfHandle(analysisFormat), handle(open(directory, calibration)) {
    if (handle == 0) {
        throw Failure(lastError(), openHint(directory, analysisFormat));
    }
}

std::uint64_t AnalysisHandle::open(const std::string& directory, const CalibrationChoice& calibration) const {
    return calibration.state.empty() ? calls().open(directory.c_str(), calibration.newest ? 1 : 0)
                                     : openWithState(formatOfHandle, directory, calibration.state);
}

AnalysisHandle::~AnalysisHandle() { calls().close(handle); }

const FormatCalls& AnalysisHandle::calls() const {
    return formatOfHandle == AnalysisFormat::Mobility ? kMobilityCalls : kSpectraCalls;
}

std::string AnalysisHandle::lastError() const {
    std::string text(calls().lastErrorString(nullptr, 0), '\0');
    calls().lastErrorString(text.data(), static_cast<std::uint32_t>(text.size()));
    text.pop_back();
    return text;
}

}  // namespace kova_tool
