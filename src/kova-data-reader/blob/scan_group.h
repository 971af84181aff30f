#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "kova-data-reader/blob/byte_buffer.h"
#include "kova-data-reader/blob/lzf_decoder.h"

namespace lumo::io::kova {

class KvdReaderCache;

// Some successive scans of a frame, decompressed together.
class ScanGroup {
public:
    // Decompresses scans from `begin` on: as many before `end` as are worth keeping at once, and of those that
    // the cache has. Raises nothing for what is wrong with a scan.
    void fill(const KvdReaderCache& cache, std::uint32_t begin, std::uint32_t end);
    void clear() { streams.clear(); }

    bool contains(std::uint32_t scan) const { return scan >= first && scan - first < streams.size(); }

    // The bytes of a scan that the group contains. Nothing when it has to be decompressed by itself.
    std::optional<std::span<const std::byte>> get(std::uint32_t scan) const;

private:
    void collect(const KvdReaderCache& cache, std::uint32_t begin, std::uint32_t end);
    void makeRoom();

    ByteBuffer bytes;
    std::vector<uimf::LzfStream> streams;  // one for each scan
    std::uint32_t first = 0;
};

}  // namespace lumo::io::kova
