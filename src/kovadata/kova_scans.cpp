#include "kovadata/handle.h"
#include "kovadata/instance.h"
#include "kovadata/kova.h"

// Packed scans: a count for each scan, then indices and intensities scan by scan. The documented function
// normalises as the analysis implies; the internal one gives intensities as they are stored. Both return the
// size in bytes that the result needs, and write it only if it fits.
namespace {

using lumo::io::kova::NormalizationType;

uint32_t readScans(uint64_t handle, int64_t frameId, uint32_t scanBegin, uint32_t scanEnd, void* buffer,
                   uint32_t length, NormalizationType type) {
    return lumo::io::guarded<lumo::io::KovaInterface>(uint32_t{0}, [&] {
        return lumo::io::instanceOf<lumo::io::Instance>(handle).readScans(
            frameId, scanBegin, scanEnd, {static_cast<std::byte*>(buffer), length}, type);
    });
}

}  // namespace

uint32_t kova_read_scans_v2(uint64_t handle, int64_t frame_id, uint32_t scan_begin, uint32_t scan_end,
                            void* buf, uint32_t length) {
    return readScans(handle, frame_id, scan_begin, scan_end, buf, length, NormalizationType::AnalysisDefault);
}

uint32_t kova_read_scans_internal(uint64_t handle, int64_t frame_id, uint32_t scan_begin, uint32_t scan_end,
                                  void* buf, uint32_t length) {
    return readScans(handle, frame_id, scan_begin, scan_end, buf, length, NormalizationType::None);
}
