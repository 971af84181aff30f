#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "kova-data-reader/blob/byte_buffer.h"
#include "kova-data-reader/scan-reading/scan_reader.h"

namespace lumo::io::kova {

// Packs the peaks of a range of scans into one buffer of 32-bit words, in the order of the processor's bytes:
// the peak count of each scan, then for each scan its indices and its intensities.
class PackedScanReader {
public:
    // The reader must outlive it.
    explicit PackedScanReader(ScanReader& scanReader) : scans(scanReader) {}

    // Returns the size in bytes that the result needs; it is written only when it fits `buffer`, and nothing
    // else is. Nothing is written when the call fails. Raises std::invalid_argument "scan_end must be >
    // scan_begin" and std::runtime_error "Maximum decompressed frame size exceeded.".
    std::uint64_t read(const ScanRange& range, NormalizationType type, std::span<std::byte> buffer);

private:
    ScanReader& scans;
    ByteBuffer staged;
};

}  // namespace lumo::io::kova
