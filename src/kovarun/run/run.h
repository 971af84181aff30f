#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <mutex>
#include <vector>

#include "kovarun/run/frame_catalog.h"
#include "kovarun/run/reader.h"
#include "kovarun/run/run_options.h"
#include "sys/fork_gate.h"
#include "sys/work_counters.h"

namespace lumo::run {

// What all streams of a run share: where the analysis is, how it was opened, its frames, its counters, and
// the readers that no thread uses at the moment. The handle and every stream hold it by a shared pointer, so
// it lives until the last of them is released, in whatever order that happens. Any number of threads may
// call.
//
// It belongs to the process that opened it. A child of a fork inherits connections and file positions that
// the parent goes on using; there the run refuses to work, and gives up what it holds without closing it.
class Run : public std::enable_shared_from_this<Run> {
public:
    // Opens the first reader, so that a missing or damaged analysis fails here and not in the first stream.
    Run(std::filesystem::path directory, RunOptions options);
    Run(const Run&) = delete;
    Run& operator=(const Run&) = delete;
    ~Run();

    const std::filesystem::path& directory() const { return path; }
    const RunOptions& options() const { return settings; }
    AnalysisFormat format() const { return kind; }

    FrameCatalog& catalog() { return frames; }
    sys::WorkCounters& counters() { return work; }

    // A reader for the calling thread alone, given back when the lease ends.
    class Lease;
    Lease borrow();

    // Raises std::runtime_error in a child process: it shares connections and file positions with its parent.
    void requireOwnProcess() const;
    bool isInOwnProcess() const;

private:
    void giveBack(std::unique_ptr<Reader> reader) noexcept;

    std::filesystem::path path;
    RunOptions settings;
    AnalysisFormat kind;
    unsigned process = sys::forkGeneration();
    FrameCatalog frames;
    sys::WorkCounters work;
    std::mutex mutex;                           // guards what follows
    std::vector<std::unique_ptr<Reader>> idle;  // at most one per thread of a stream
};

// A borrowed reader. It holds the run, too, since it may be the last that does, and gives the reader back
// when it ends. It is used by the thread that borrowed it; it may be moved but not shared.
class Run::Lease {
public:
    Lease(Run& owner, std::unique_ptr<Reader> borrowed)
        : run(owner.shared_from_this()), reader(std::move(borrowed)) {}
    Lease(Lease&&) noexcept = default;
    Lease& operator=(Lease&&) = delete;
    ~Lease() {
        if (reader) {
            run->giveBack(std::move(reader));
        }
    }
    Reader* operator->() const { return reader.get(); }
    Reader& operator*() const { return *reader; }

private:
    std::shared_ptr<Run> run;
    std::unique_ptr<Reader> reader;
};

}  // namespace lumo::run
