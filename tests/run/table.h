#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "fixtures/analysis_builder.h"
#include "fixtures/temp_directory.h"
#include "kovadata/kvr.h"

namespace run {

std::string lastError();

// An open run, of a builder in a directory that goes with it.
class OpenRun {
public:
    explicit OpenRun(const fixtures::AnalysisBuilder& builder, kvr_options options = {});
    explicit OpenRun(const std::filesystem::path& analysis, kvr_options options = {});
    OpenRun(const OpenRun&) = delete;
    OpenRun& operator=(const OpenRun&) = delete;
    ~OpenRun() { kvr_close(run); }

    void close() { kvr_close(std::exchange(run, nullptr)); }

    fixtures::TempDirectory directory;
    kvr_run* run;

private:
    void open(const std::filesystem::path& analysis, kvr_options options);
};

// All that a stream gives: a list of values per row and column, one for columns of numbers, none for null, the bytes of a
// text or -1 for an empty one.
using Table = std::map<std::string, std::vector<std::vector<double>>>;

// A stream that is released in the end.
struct Stream : ArrowArrayStream {
    Stream() : ArrowArrayStream{} {}
    Stream(const Stream&) = delete;
    Stream& operator=(const Stream&) = delete;
    ~Stream() { end(); }

    void end() {
        if (release != nullptr) {
            release(this);
        }
    }
    // 0 or an error code; drops the batch. `rows` is 0 at the end.
    int next(std::int64_t& rows);
    // Adds all that comes to the table. 0 or an error code. Requires that batches have at most `batchSize` rows.
    int readAll(Table& table, std::int64_t batchSize = INT64_MAX);
};

// Makes a stream and reads it.
Table read(const std::function<std::uint32_t(ArrowArrayStream*)>& make, std::int64_t batchSize = INT64_MAX);

// The text with which it fails, "" when it does not.
std::string failureOf(const std::function<std::uint32_t(ArrowArrayStream*)>& make);

kvr_control control(std::uint32_t threads, std::uint64_t batchSize = 0);
kvr_query emptyQuery();

}  // namespace run
