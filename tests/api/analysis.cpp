#include "api/analysis.h"

#include <gtest/gtest.h>

namespace api {

namespace {

using ReadFunction = decltype(&kova_read_scans_internal);

ScanResult readTwice(ReadFunction function, std::uint64_t handle, std::int64_t frame, std::uint32_t begin,
                     std::uint32_t end) {
    ScanResult result;
    result.bytesNeeded = function(handle, frame, begin, end, nullptr, 0);
    result.words.assign(result.bytesNeeded / 4, 0x99999999U);
    const std::uint32_t again = function(handle, frame, begin, end, result.words.data(), result.bytesNeeded);
    EXPECT_EQ(again, result.bytesNeeded);
    return result;
}

}  // namespace

std::string lastError(decltype(&kova_get_last_error_string) get) {
    std::string text(get(nullptr, 0), '\0');
    get(text.data(), static_cast<std::uint32_t>(text.size()));
    text.pop_back();
    return text;
}

std::string openError(const std::string& path, bool recalibrated) {
    return Analysis(path, recalibrated) ? "" : lastError();
}

std::string openError(const fixtures::AnalysisBuilder& builder) {
    return Analysis(builder) ? "" : lastError();
}

analysis_writer::Frame ScanResult::peaks(std::uint32_t scans) const {
    analysis_writer::Frame frame(scans);
    std::size_t next = scans;
    for (std::uint32_t scan = 0; scan < scans; ++scan) {
        const std::size_t count = words.at(scan);
        for (std::size_t i = 0; i < count; ++i) {
            frame[scan].push_back({words.at(next + i), words.at(next + count + i)});
        }
        next += 2 * count;
    }
    EXPECT_EQ(next, words.size());
    return frame;
}

ScanResult Analysis::readRaw(std::int64_t frame, std::uint32_t begin, std::uint32_t end) const {
    return readTwice(kova_read_scans_internal, handle, frame, begin, end);
}

ScanResult Analysis::readNormalised(std::int64_t frame, std::uint32_t begin, std::uint32_t end) const {
    return readTwice(kova_read_scans_v2, handle, frame, begin, end);
}

std::string Analysis::errorOf(std::int64_t frame, std::uint32_t begin, std::uint32_t end) const {
    std::vector<std::uint32_t> canary(1 << 16, 0x99999999U);
    const std::uint32_t size = kova_read_scans_internal(handle, frame, begin, end, canary.data(),
                                                        static_cast<std::uint32_t>(4 * canary.size()));
    if (size != 0) {
        return "";
    }
    EXPECT_EQ(canary, std::vector<std::uint32_t>(1 << 16, 0x99999999U))
        << "a failing call wrote to the buffer";
    return lastError();
}

}  // namespace api
