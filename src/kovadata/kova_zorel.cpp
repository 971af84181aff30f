#include <stdexcept>
#include <vector>

#include "diag/throw.h"
#include "kovadata/handle.h"
#include "kovadata/instance.h"
#include "kovadata/kova.h"
#include "zorel-msms-reader/precursor_ids.h"
#include "zorel-msms-reader/zorel-msms-reader.h"

// MS/MS spectra through callbacks. Eight exported functions are two kinds of spectra, by two ways to choose
// precursors, in two versions. The second versions pass the caller's context on and refuse null pointers, for
// which the first ones rely on the caller.
//
// Spectra are handed over in the order in which precursors become complete, from inside of the call and on
// its thread. The arrays are valid during the callback only.
namespace {

using lumo::io::KovaInterface;
using lumo::io::algorithms::ZorelMsmsSpectraReader;
using lumo::io::kova::KvdReader;

// Which precursors a call asks for. select() gives their ids, and check() raises what the second versions
// refuse.
struct ListedPrecursors {
    const int64_t* ids;
    uint32_t count;

    std::vector<int64_t> select(KvdReader&) const { return {ids, ids + count}; }
    void check() const {
        if (count != 0 && ids == nullptr) {
            LUMO_THROW(std::invalid_argument("expected non-null 'precursors' pointer"));
        }
    }
};

struct PrecursorsOfFrame {
    int64_t frameId;

    std::vector<int64_t> select(KvdReader& reader) const {
        return lumo::io::algorithms::getPrecursorIdsFromParent(reader, frameId);
    }
    void check() const {}
};

// What all of them do: choose precursors, prepare their extraction, run it.
template <class Selection>
uint32_t extract(uint64_t handle, const Selection& selection, const auto& run) {
    return lumo::io::guarded<KovaInterface>(uint32_t{0}, [&] {
        KvdReader& analysis = lumo::io::instanceOf<lumo::io::Instance>(handle).getReader();
        ZorelMsmsSpectraReader reader(analysis, selection.select(analysis),
                                      lumo::io::algorithms::kDefaultWidthSlope);
        run(reader);
        return uint32_t{1};
    });
}

// The arguments after the arrays are the caller's context, where the function has one.
template <class Callback, class... Context>
uint32_t extractLines(uint64_t handle, const auto& selection, Callback callback, Context... context) {
    return extract(handle, selection, [&](ZorelMsmsSpectraReader& reader) {
        reader.extractPrecursorSpectra(
            [&](int64_t id, std::vector<double>&& mz, std::vector<float>&& intensities, auto&&) {
                callback(id, static_cast<uint32_t>(mz.size()), mz.data(), intensities.data(), context...);
            },
            lumo::io::algorithms::PeakAreas::LeaveOut);
    });
}

template <class Callback, class... Context>
uint32_t extractProfiles(uint64_t handle, const auto& selection, Callback callback, Context... context) {
    return extract(handle, selection, [&](ZorelMsmsSpectraReader& reader) {
        reader.extractPrecursorProfile([&](int64_t id, std::vector<int32_t>&& profile) {
            callback(id, static_cast<uint32_t>(profile.size()), profile.data(), context...);
        });
    });
}

// What the second versions refuse. It comes before everything else, so that a null callback is reported for
// an analysis without precursors, too.
template <class Callback>
bool areArgumentsUsable(const auto& selection, Callback callback) {
    return lumo::io::guarded<KovaInterface>(false, [&] {
        selection.check();
        if (callback == nullptr) {
            LUMO_THROW(std::invalid_argument("expected non-null callback"));
        }
        return true;
    });
}

}  // namespace

uint32_t kova_read_zorel_msms(uint64_t handle, const int64_t* precursors, uint32_t num_precursors,
                              kova_zorel_msms_callback callback) {
    return extractLines(handle, ListedPrecursors{precursors, num_precursors}, callback);
}

uint32_t kova_read_zorel_msms_v2(uint64_t handle, const int64_t* precursors, uint32_t num_precursors,
                                 kova_zorel_msms_callback_v2 callback, void* context) {
    const ListedPrecursors selection{precursors, num_precursors};
    return areArgumentsUsable(selection, callback) ? extractLines(handle, selection, callback, context) : 0;
}

uint32_t kova_read_zorel_profile_msms(uint64_t handle, const int64_t* precursors, uint32_t num_precursors,
                                      kova_zorel_profile_callback callback) {
    return extractProfiles(handle, ListedPrecursors{precursors, num_precursors}, callback);
}

uint32_t kova_read_zorel_profile_msms_v2(uint64_t handle, const int64_t* precursors, uint32_t num_precursors,
                                         kova_zorel_profile_callback_v2 callback, void* context) {
    const ListedPrecursors selection{precursors, num_precursors};
    return areArgumentsUsable(selection, callback) ? extractProfiles(handle, selection, callback, context)
                                                   : 0;
}

uint32_t kova_read_zorel_msms_for_frame(uint64_t handle, int64_t frame_id,
                                        kova_zorel_msms_callback callback) {
    return extractLines(handle, PrecursorsOfFrame{frame_id}, callback);
}

uint32_t kova_read_zorel_msms_for_frame_v2(uint64_t handle, int64_t frame_id,
                                           kova_zorel_msms_callback_v2 callback, void* context) {
    const PrecursorsOfFrame selection{frame_id};
    return areArgumentsUsable(selection, callback) ? extractLines(handle, selection, callback, context) : 0;
}

uint32_t kova_read_zorel_profile_msms_for_frame(uint64_t handle, int64_t frame_id,
                                                kova_zorel_profile_callback callback) {
    return extractProfiles(handle, PrecursorsOfFrame{frame_id}, callback);
}

uint32_t kova_read_zorel_profile_msms_for_frame_v2(uint64_t handle, int64_t frame_id,
                                                   kova_zorel_profile_callback_v2 callback, void* context) {
    const PrecursorsOfFrame selection{frame_id};
    return areArgumentsUsable(selection, callback) ? extractProfiles(handle, selection, callback, context)
                                                   : 0;
}
