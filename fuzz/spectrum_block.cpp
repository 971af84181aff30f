// A block of a spectrum without mobility: header, line part, profile part, and the number of peaks apart.
#include <sstream>
#include <vector>

#include "common/byte_source.h"
#include "common/require.h"
#include "kova-data-reader/blob/kvs_spectra_reader.h"

namespace {

using lumo::io::kova::KvsSpectraReader;

void readLines(const KvsSpectraReader& reader, std::int64_t peaks) {
    for (const bool withWidths : {false, true}) {
        fuzz::succeeds([&] {
            std::vector<double> positions;
            std::vector<float> intensities;
            std::vector<float> widths;
            reader.getLineSpectrum(peaks, positions, intensities, withWidths ? &widths : nullptr);
            fuzz::require(positions.size() == static_cast<std::size_t>(peaks < 0 ? 0 : peaks) &&
                              intensities.size() == positions.size(),
                          "as many peaks as asked for");
        });
    }
}

void readProfile(const KvsSpectraReader& reader) {
    fuzz::succeeds([&] {
        std::vector<std::uint32_t> intensities;
        reader.getProfileSpectrum(intensities);
        fuzz::require(intensities.size() == reader.numberOfProfilePoints(), "as many points as announced");
    });
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static KvsSpectraReader reader({true, true, true});
    fuzz::ByteSource source(data, size);
    const bool profileFirst = source.take<std::uint8_t>() % 2 == 1;
    const auto peaks = static_cast<std::int64_t>(source.take<std::uint64_t>());
    const std::vector<std::uint8_t> block = source.takeRest();
    std::istringstream stream(std::string(block.begin(), block.end()));
    if (profileFirst) {
        fuzz::succeeds([&] { reader.fillProfileSpectrum(stream, 1, 0); });
        readProfile(reader);
    }
    fuzz::succeeds([&] { reader.fillLineSpectrum(stream, 1, 0); });
    readLines(reader, peaks);
    readLines(reader, 3);
    fuzz::succeeds([&] { reader.fillProfileSpectrum(stream, 1, 0); });
    readProfile(reader);
    reader.fillLineSpectrum(stream, 2, -1);
    fuzz::require(reader.viewLineSpectrum(0, lumo::io::kova::LineWidths::LeaveOut).peaks == 0,
                  "a spectrum without data is empty");
    return 0;
}
