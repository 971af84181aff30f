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

    // Counts the bytes of numbers and adds them to a CRC-32, least significant byte first.
    template <class T>
    void addNumbers(std::span<const T> numbers, std::uint64_t& crc) {
        addNumbers(std::as_bytes(numbers), sizeof(T), crc);
    }

    double seconds() const { return std::chrono::duration<double>(readTime).count(); }
    double gigabytesPerSecond() const {
        return readTime.count() > 0 ? static_cast<double>(bytes) * 1e-9 / seconds() : 0.0;
    }

private:
    void addNumbers(std::span<const std::byte> data, std::size_t size, std::uint64_t& crc);
};

}  // namespace kova_tool
