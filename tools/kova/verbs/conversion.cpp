#include "kova/verbs/conversion.h"

#include <kovadata/kova.h>
#include <kovadata/kvs.h>

#include <algorithm>
#include <array>

#include "kova/failure.h"

// Units form two chains, index - m/z and voltage - scan - 1/K0 - CCS, whose neighbours the library converts.
// Any other conversion of a chain goes from neighbour to neighbour.
namespace kova_tool {
namespace {

// The units of a chain stand side by side, so that a conversion is a walk along it.
enum Unit : std::size_t { kIndex, kMz, kVoltage, kScan, kOneOverK0, kCcs, kUnits };

constexpr Unit kFirstOfMobility = kVoltage;

constexpr std::array<Column, kUnits> kColumns = {{{"index", "index", 13, 4},
                                                  {"mz", "m/z", 13, 6},
                                                  {"voltage", "voltage", 13, 4},
                                                  {"scan", "scan", 13, 4},
                                                  {"one_over_k0", "1/K0", 13, 6},
                                                  {"ccs", "CCS", 13, 4}}};

// Values in one call of the library, which counts them in 32 bits.
constexpr std::size_t kBlock = std::size_t{1} << 20;

std::size_t unitOf(const std::string& name) {
    // Other verbs speak of 1/K0 as the mobility.
    const std::string_view wanted = name == "mobility" ? kColumns[kOneOverK0].name : name;
    return static_cast<std::size_t>(std::ranges::find(kColumns, wanted, &Column::name) - kColumns.begin());
}

bool isOfMobility(std::size_t unit) { return unit >= kFirstOfMobility; }

bool takesIon(std::size_t a, std::size_t b) { return a == kCcs || b == kCcs; }

bool takesFrame(std::size_t a, std::size_t b) { return !takesIon(a, b) || std::min(a, b) != kOneOverK0; }

// Converts values of a frame.
using Conversion = std::uint32_t (*)(std::uint64_t, std::int64_t, const double*, double*, std::uint32_t);

// One step of the walk, to the right or to the left.
Conversion neighbourConversion(RunKind kind, std::size_t from, std::size_t to) {
    const bool rightwards = to > from;
    switch (std::min(from, to)) {
        case kIndex:
            if (kind == RunKind::Spectra) {
                return rightwards ? kvs_index_to_mz : kvs_mz_to_index;
            }
            return rightwards ? kova_index_to_mz : kova_mz_to_index;
        case kVoltage:
            return rightwards ? kova_voltage_to_scannum : kova_scannum_to_voltage;
        default:
            return rightwards ? kova_scannum_to_oneoverk0 : kova_oneoverk0_to_scannum;
    }
}

void convertByFrame(const Run& run, std::int64_t frame, Conversion conversion, std::span<double> values) {
    while (!values.empty()) {
        const std::span<double> block = values.first(std::min(values.size(), kBlock));
        if (conversion(run.handle(), frame, block.data(), block.data(),
                       static_cast<std::uint32_t>(block.size())) == 0) {
            throw Failure(run.lastHandleError());
        }
        values = values.subspan(block.size());
    }
}

using ConvertByIon = double (*)(double, std::int32_t, double);

void convertByIon(const ConversionSetting& ion, ConvertByIon conversion, std::span<double> values) {
    for (double& value : values) {
        value = conversion(value, *ion.charge, *ion.mz);
    }
}

}  // namespace

std::vector<std::string> unitNames() {
    std::vector<std::string> names;
    names.reserve(kUnits + 1);
    for (const Column& column : kColumns) {
        names.emplace_back(column.name);
    }
    names.emplace_back("mobility");
    return names;
}

ConversionPath::ConversionPath(const std::string& from, const std::string& to,
                               const ConversionSetting& conversionSetting)
    : first(unitOf(from)), last(unitOf(to)), setting(conversionSetting) {
    if (first == last || isOfMobility(first) != isOfMobility(last)) {
        throw UsageError("there is no conversion from " + from + " to " + to);
    }
    checkSetting();
}

void ConversionPath::checkSetting() const {
    const auto require = [](bool isThere, const char* option) {
        if (!isThere) {
            throw UsageError(std::string(option) + " is required for this conversion");
        }
    };
    require(setting.frame || !takesFrame(first, last), "--frame");
    require(setting.charge || !takesIon(first, last), "--charge");
    require(setting.mz || !takesIon(first, last), "--mz");
}

const Column& ConversionPath::from() const { return kColumns[first]; }
const Column& ConversionPath::to() const { return kColumns[last]; }

void ConversionPath::convert(const Run& run, std::span<double> values) const {
    if (isOfMobility(first) && takesFrame(first, last) && run.kind() != RunKind::Mobility) {
        throw Failure("an analysis without ion mobility has no " + std::string(from().name) + " and no " +
                      std::string(to().name));
    }
    for (std::size_t unit = first; unit != last;) {
        const std::size_t next = first < last ? unit + 1 : unit - 1;
        if (takesIon(unit, next)) {
            convertByIon(setting, next == kCcs ? kova_oneoverk0_to_ccs_for_mz : kova_ccs_to_oneoverk0_for_mz,
                         values);
        } else {
            convertByFrame(run, *setting.frame, neighbourConversion(run.kind(), unit, next), values);
        }
        unit = next;
    }
}

}  // namespace kova_tool
