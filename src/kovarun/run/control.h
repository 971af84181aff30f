#pragma once

#include <cstdint>
#include <exception>

#include "kovadata/kvr.h"
#include "kovarun/run/run.h"
#include "kovarun/run/task_limits.h"

namespace lumo::run {

// How a call works, and the caller's callbacks, which are called by the thread that reads the stream.
struct Control {
    TaskLimits limits;
    std::int64_t batchSize = 0;  // rows
    bool skipsDamaged = false;
    kvr_progress_callback progress = nullptr;
    kvr_damage_callback damaged = nullptr;
    void* context = nullptr;

    // Raises Cancelled if the caller asks for that.
    void report(std::uint64_t done, std::uint64_t total) const;
    void reportDamage(std::int64_t frame, const char* text) const;
};

// The caller's wishes, with those of the run where it states none. Raises std::invalid_argument for a
// structure that does not state its size.
Control checkedControl(const Run& run, const kvr_control* control);

}  // namespace lumo::run
