#pragma once

#include <memory>
#include <mutex>
#include <span>
#include <stdexcept>
#include <string>
#include <utility>
#include <variant>

#include "diag/throw.h"
#include "kovadata/guarded.h"
#include "kovadata/instance.h"
#include "kovadata/interface_family.h"
#include "kovadata/kvr.h"
#include "kovadata/kvs_instance.h"
#include "kovarun/arrow/memory.h"
#include "kovarun/arrow/stream.h"
#include "kovarun/run/run.h"

// What a kvr_run points to. The run itself is shared with its streams, which outlive this handle; what is
// lent, and the text of the state's key, end with the handle.
struct kvr_run {
    explicit kvr_run(std::shared_ptr<lumo::run::Run> opened) : run(std::move(opened)) {}

    std::shared_ptr<lumo::run::Run> run;
    lumo::run::arrow::IdleMemory idle{run->options().memoryBudget};
    std::string calibrationState;  // key of the state in use, or empty

    std::mutex mutex;  // guards what is lent
    std::variant<std::monostate, std::unique_ptr<lumo::io::Instance>, std::unique_ptr<lumo::io::KvsInstance>>
        lent;
};

namespace lumo::run {

// Raises std::invalid_argument for NULL and std::runtime_error in a child process.
inline kvr_run& checked(kvr_run* handle) {
    if (handle == nullptr) {
        LUMO_THROW(std::invalid_argument("There is no run: kvr_open() failed, or NULL was passed."));
    }
    handle->run->requireOwnProcess();
    return *handle;
}

// Raises std::invalid_argument for a number of precursors without any.
inline std::span<const std::int64_t> checkedPrecursors(const std::int64_t* precursors, std::uint64_t count) {
    if (precursors == nullptr && count != 0) {
        LUMO_THROW(std::invalid_argument("There is a number of precursors, and no precursors."));
    }
    return {precursors, static_cast<std::size_t>(count)};
}

// Runs the body of an exported function that returns 1, or 0 on failure, in which case the text is the
// thread's last error.
template <class Body>
uint32_t call(Body&& body) {
    return io::guarded<io::KvrInterface>(uint32_t{0}, [&] {
        body();
        return uint32_t{1};
    });
}

// The same for one that makes a stream: the body returns its source. After a failure `stream` is empty, with
// a null release callback, so releasing it by mistake does no harm.
template <class MakeSource>
uint32_t callForStream(ArrowArrayStream* stream, MakeSource&& makeSource) {
    return call([&] {
        if (stream == nullptr) {
            LUMO_THROW(std::invalid_argument("There is no stream to receive the result."));
        }
        *stream = {};
        arrow::exportStream(makeSource(), *stream);
    });
}

}  // namespace lumo::run
