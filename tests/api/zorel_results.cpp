#include "api/zorel_results.h"

#include <gtest/gtest.h>

namespace zorel {

void storeLine(std::int64_t id, std::uint32_t count, const double* mz, const float* intensities,
               void* context) {
    static_cast<std::vector<Line>*>(context)->push_back(
        {id, {mz, mz + count}, {intensities, intensities + count}});
}

void storeProfile(std::int64_t id, std::uint32_t count, const std::int32_t* bins, void* context) {
    static_cast<std::vector<Profile>*>(context)->push_back({id, {bins, bins + count}});
}

namespace {

// Calls the functions with context; those without are held against them wherever every call is made.
template <class... Selection>
Result readBy(const api::Analysis& analysis, auto lines, auto profiles, Selection... selection) {
    Result result;
    const std::uint32_t done = lines(analysis.handle, selection..., storeLine, &result.lines);
    result.error = done == 1 ? "" : api::lastError();
    EXPECT_EQ(profiles(analysis.handle, selection..., storeProfile, &result.profiles), done);
    EXPECT_TRUE(done == 1 || api::lastError() == result.error);
    return result;
}

}  // namespace

Result readList(const api::Analysis& analysis, const std::vector<std::int64_t>& ids) {
    return readBy(analysis, kova_read_zorel_msms_v2, kova_read_zorel_profile_msms_v2, ids.data(),
                  static_cast<std::uint32_t>(ids.size()));
}

Result readFrame(const api::Analysis& analysis, std::int64_t frame) {
    return readBy(analysis, kova_read_zorel_msms_for_frame_v2, kova_read_zorel_profile_msms_for_frame_v2,
                  frame);
}

}  // namespace zorel
