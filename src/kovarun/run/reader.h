#pragma once

#include <filesystem>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

#include "kova-data-reader/database/analysis_format.h"
#include "kova-data-reader/kvd_reader.h"
#include "kova-data-reader/kvs_reader.h"
#include "kovarun/run/run_options.h"

namespace lumo::run {

using io::kova::AnalysisFormat;

// Which of the two formats a directory holds. An analysis with mobility wins where both databases are there,
// and is also the answer where neither is, so that opening it raises the usual error.
AnalysisFormat formatOf(const std::filesystem::path& directory);

// What the user of a reader leaves with it for the next one, which then need not make it again.
struct KeptWithReader {
    virtual ~KeptWithReader() = default;
};

// An open analysis for one thread at a time: connection, blob file and caches of its own. Opening one takes
// some milliseconds, which is why Run lends them.
class Reader {
public:
    // Raises what opening raises. If the options demand a calibration state and allow no other, raises
    // std::runtime_error when the analysis does not have it.
    Reader(const std::filesystem::path& directory, AnalysisFormat format, const RunOptions& options);

    io::kova::AnalysisReader& analysis() const { return *opened; }
    // Each raises std::invalid_argument for the other format.
    io::kova::KvdReader& frames() const;
    io::kova::KvsReader& spectra() const;

    // What was kept, made now if there is nothing of that type.
    template <class Kept>
    Kept& kept() {
        for (const auto& one : left) {
            if (auto* const found = dynamic_cast<Kept*>(one.get())) {
                return *found;
            }
        }
        auto made = std::make_unique<Kept>();
        Kept& one = *made;
        left.push_back(std::move(made));
        return one;
    }

private:
    std::vector<std::unique_ptr<KeptWithReader>> left;  // one of a type
    std::unique_ptr<io::kova::AnalysisReader> opened;
};

}  // namespace lumo::run
