#pragma once

#include <cstdint>
#include <exception>

#include "kovadata/kvr.h"
#include "kovarun/run/run.h"
#include "kovarun/run/task_limits.h"

namespace lumo::run {

// What is done about a frame that is damaged.
enum class OnDamage : std::uint8_t { Raise, LeaveOut };

// What a caller's kvr_control says, checked and completed: how many threads may work, how much memory may
// wait, how long a batch is and what happens to a damaged frame. It is a copy, so the caller's structure may
// go; `context` must live as long as the stream.
//
// Both callbacks are called by the thread that reads the stream and never by one that reads ahead, so the
// caller needs no lock in them.
struct Control {
    TaskLimits limits;
    std::int64_t batchSize = 0;  // rows
    OnDamage onDamage = OnDamage::Raise;
    kvr_progress_callback progress = nullptr;
    kvr_damage_callback damaged = nullptr;
    void* context = nullptr;

    // Raises Cancelled if the caller asks for that.
    void report(std::uint64_t done, std::uint64_t total) const;
    void reportDamage(std::int64_t frame, const char* text) const;
};

// The caller's wishes; what it leaves open comes from the run. Raises std::invalid_argument for a structure
// whose size is not set.
Control checkedControl(const Run& run, const kvr_control* control);

}  // namespace lumo::run
