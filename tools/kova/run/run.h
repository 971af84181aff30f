#pragma once

#include <kovadata/kvr.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "kova/run/arrow_stream.h"

namespace kova_tool {

// With ion mobility (analysis.kvd), or one spectrum per frame without (analysis.kvs).
enum class RunKind { Mobility, Spectra };

// As the extension of its files.
const char* formatName(RunKind kind);

// What the frames of a format are called.
struct FrameNouns {
    const char* one;
    const char* many;
};

FrameNouns nounsOf(RunKind kind);

// Which calibration converts indices and scans: the acquisition's if nothing else is chosen.
struct CalibrationChoice {
    bool newest = false;  // the newest complete re-calibrated state, if there is one
    std::string
        state;  // a state that must be there, such as "last:SOURCE" or "uuid:KEY"; goes before `newest`
};

// An open run of either format. Throws Failure with the library's text, and a hint where one is known, if it
// cannot be opened.
class Run {
public:
    explicit Run(const std::string& directory, const CalibrationChoice& calibration = {});
    // Throws Failure, and says which verb to use, if the run has the other format.
    Run(const std::string& directory, const CalibrationChoice& calibration, RunKind required);

    kvr_run* get() const { return run.get(); }
    const kvr_info& info() const { return facts; }
    RunKind kind() const { return facts.has_mobility != 0 ? RunKind::Mobility : RunKind::Spectra; }
    std::optional<std::string> calibrationState() const;

    ArrowStream table(kvr_table_kind kind) const;
    // Value of a key of the global metadata, as a number; 0 if there is none.
    std::int64_t globalNumber(const std::string& key) const;
    // Number of time-of-flight indices that a peak can have.
    std::uint32_t indexBins() const;
    // As the data hold them.
    std::uint32_t countScans(std::int64_t frame) const;

    // For the conversions and the reading calls that work on one frame.
    std::uint64_t handle() const;
    std::string lastHandleError() const;

private:
    struct Close {
        void operator()(kvr_run* opened) const { kvr_close(opened); }
    };

    std::unique_ptr<kvr_run, Close> run;
    kvr_info facts = {};
};

}  // namespace kova_tool
