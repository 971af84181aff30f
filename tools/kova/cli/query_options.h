#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "kova/cli/command_options.h"

namespace kova_tool {

// The options that choose peaks, as they are on the command line.
struct QueryOptions : CommonOptions {
    std::string mz = ":";
    std::string oneOverK0 = ":";
    std::string time = ":";
    std::string scans = ":";
    std::string msLevel;
    std::vector<std::int64_t> frames;
    bool raw = false;
};

// All of them but --mz, which not every verb has alone, and what else verbs of queries take.
void addQuery(const Parser& verb, QueryOptions& options);
Option addMzRange(const Parser& verb, QueryOptions& options);

// Which frames are taken when no MS level is asked for.
enum class UsualFrames { All, Survey };

// A query of the library together with what it points to, so it is not copied. The options must outlive it.
class Query {
public:
    // Throws UsageError for options that make no sense.
    explicit Query(const QueryOptions& chosen);
    Query(const Query&) = delete;
    Query& operator=(const Query&) = delete;

    // The query for this run; valid as long as this object. Survey frames mean all frames where the metadata
    // do not state levels.
    const kvr_query* forRun(const Run& run, UsualFrames usual);

private:
    const QueryOptions& options;
    kvr_range mz;
    kvr_range oneOverK0;
    kvr_range time;
    kvr_query query = {};
};

}  // namespace kova_tool
