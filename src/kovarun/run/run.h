#pragma once

#include <sys/types.h>

#include <cstdint>
#include <filesystem>
#include <memory>
#include <mutex>
#include <vector>

#include "kovarun/run/frame_catalog.h"
#include "kovarun/run/reader.h"
#include "kovarun/run/run_options.h"
#include "sys/work_counters.h"

namespace lumo::run {

// What all streams of a run share, and what lives until the last of them is released: where the analysis is,
// how it was opened, and readers that no thread uses at the moment. Used by any number of threads.
class Run : public std::enable_shared_from_this<Run> {
public:
    // Opens the first reader, so that what is wrong is told at once.
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
    pid_t process;
    FrameCatalog frames;
    sys::WorkCounters work;
    std::mutex mutex;                           // guards what follows
    std::vector<std::unique_ptr<Reader>> idle;  // at most one per thread of a stream
};

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
