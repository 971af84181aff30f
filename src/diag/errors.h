#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>

// Classes of errors that something in the library tells apart; everything else is a standard exception. Texts
// are fixed, as callers see nothing else of an error.

namespace lumo::io::calibration {

// Data of the analysis contradict themselves or the format.
class CorruptDataError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

}  // namespace lumo::io::calibration

namespace lumo::io::kova {

// The same, found in one frame; the text begins with the class and the frame.
class CorruptFrameDataError : public calibration::CorruptDataError {
public:
    CorruptFrameDataError(std::int64_t frameId, const std::string& text);
};

// A calibration state that was asked for is not there.
class CalibrationStateError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// The same, found in one scan of a frame.
class CorruptScanDataError : public calibration::CorruptDataError {
public:
    CorruptScanDataError(std::int64_t frameId, std::uint32_t scan, const std::string& text);
};

}  // namespace lumo::io::kova
