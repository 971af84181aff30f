#include "kovarun/run/run.h"

#include <stdexcept>
#include <utility>

#include "diag/throw.h"

// Readers are lent. One serves a single thread and costs some milliseconds to open, so those that come back
// are kept for the next thread, as many as may work for one call; what comes back beyond that is closed. In a
// forked child the parent's connections must be neither used nor closed, so their objects are leaked there.
namespace lumo::run {

namespace {

std::filesystem::path databaseOf(const std::filesystem::path& directory, AnalysisFormat format) {
    return directory / (format == AnalysisFormat::Mobility ? "analysis.kvd" : "analysis.kvs");
}

// 0 if it cannot be asked: the size only serves planning, and opening a reader reports what is wrong.
std::uintmax_t blobSizeOf(const std::filesystem::path& directory, AnalysisFormat format) {
    std::error_code error;
    const auto size = std::filesystem::file_size(databaseOf(directory, format).concat("_bin"), error);
    return error ? 0 : size;
}

}  // namespace

Run::Run(std::filesystem::path directory, RunOptions options)
    : path(std::move(directory)),
      settings(std::move(options)),
      kind(formatOf(path)),
      frames(databaseOf(path, kind), blobSizeOf(path, kind)) {
    idle.reserve(settings.threads);  // giveBack() must not fail
    idle.push_back(std::make_unique<Reader>(path, kind, settings));
}

// Destroying readers closes their connections, which in a child are the parent's.
Run::~Run() {
    if (!isInOwnProcess()) {
        frames.abandon();
        for (auto& reader : idle) {
            static_cast<void>(reader.release());  // the parent's connections must not be touched
        }
    }
}

bool Run::isInOwnProcess() const { return sys::forkGeneration() == process; }

void Run::requireOwnProcess() const {
    if (!isInOwnProcess()) {
        LUMO_THROW(std::runtime_error("The run was opened by another process; open it in this one."));
    }
}

// Never waits for a reader to come back: a thread that holds one may want a second.
Run::Lease Run::borrow() {
    requireOwnProcess();
    {
        const std::lock_guard lock(mutex);
        if (!idle.empty()) {
            std::unique_ptr<Reader> reader = std::move(idle.back());
            idle.pop_back();
            return {*this, std::move(reader)};
        }
    }
    return {*this, std::make_unique<Reader>(path, kind, settings)};
}

void Run::giveBack(std::unique_ptr<Reader> reader) noexcept {
    if (!isInOwnProcess()) {
        static_cast<void>(reader.release());
        return;
    }
    const std::lock_guard lock(mutex);
    if (idle.size() < settings.threads) {
        idle.push_back(std::move(reader));
    }
}

}  // namespace lumo::run
