#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "kova/run/long_call.h"

namespace kova_tool {

// What a check counts. The numbers of the other format stay 0.
struct CheckTally {
    std::uint64_t frames = 0;
    std::vector<BadFrame> badFrames;
    std::uint64_t bytes = 0;
    std::chrono::steady_clock::duration readTime{};

    std::uint64_t scans = 0;
    std::uint64_t peaks = 0;
    std::uint64_t intensitySum = 0;
    std::uint64_t crcRaw = 0;

    std::uint64_t lines = 0;
    std::uint64_t profilePoints = 0;
    std::uint64_t profileSum = 0;
    std::uint64_t crcLines = 0;
    std::uint64_t crcProfiles = 0;

    // Counts the bytes and adds them to a CRC-32.
    void addBytes(std::span<const std::byte> data, std::uint64_t& crc);

    double seconds() const { return std::chrono::duration<double>(readTime).count(); }
    double gigabytesPerSecond() const {
        return readTime.count() > 0 ? static_cast<double>(bytes) * 1e-9 / seconds() : 0.0;
    }
};

}  // namespace kova_tool
