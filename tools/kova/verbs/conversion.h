#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "kova/output/table_writer.h"
#include "kova/run/run.h"

namespace kova_tool {

// What a conversion needs beside the values.
struct ConversionSetting {
    std::optional<std::int64_t> frame;
    std::optional<std::int32_t> charge;  // of the ion, for its cross section
    std::optional<double> mz;            // the same
};

// Names of the units, which are those of columns in tables.
std::vector<std::string> unitNames();

// The way from one unit to another, which may lead over others: index - m/z, and
// voltage - scan - 1/K0 - CCS.
class ConversionPath {
public:
    // Throws UsageError if there is no way, or if the setting lacks what it takes.
    ConversionPath(const std::string& from, const std::string& to,
                   const ConversionSetting& conversionSetting);

    const Column& from() const;
    const Column& to() const;

    // Converts in place. Throws Failure with the library's text.
    void convert(const Run& run, std::span<double> values) const;

private:
    void checkSetting() const;

    std::size_t first;
    std::size_t last;
    ConversionSetting setting;
};

}  // namespace kova_tool
