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

// Where the callbacks without context store what they get.
std::vector<Line> lines;
std::vector<Profile> profiles;

void collectLine(std::int64_t id, std::uint32_t count, double* mz, float* intensities) {
    lines.push_back({id, {mz, mz + count}, {intensities, intensities + count}});
}
void collectProfile(std::int64_t id, std::uint32_t count, std::int32_t* bins) {
    profiles.push_back({id, {bins, bins + count}});
}

// Calls all four functions for a selection; both versions must agree.
template <class... Selection>
Result readBy(const api::Analysis& analysis, auto v1, auto v2, auto profileV1, auto profileV2,
              Selection... selection) {
    Result result;
    lines.clear();
    profiles.clear();
    const std::uint32_t done = v2(analysis.handle, selection..., storeLine, &result.lines);
    result.error = done == 1 ? "" : api::lastError();
    EXPECT_EQ(v1(analysis.handle, selection..., collectLine), done);
    EXPECT_EQ(lines, result.lines);
    EXPECT_EQ(profileV2(analysis.handle, selection..., storeProfile, &result.profiles), done);
    EXPECT_EQ(profileV1(analysis.handle, selection..., collectProfile), done);
    EXPECT_EQ(profiles, result.profiles);
    EXPECT_TRUE(done == 1 || api::lastError() == result.error);
    return result;
}

}  // namespace

Result readList(const api::Analysis& analysis, const std::vector<std::int64_t>& ids) {
    return readBy(analysis, kova_read_zorel_msms, kova_read_zorel_msms_v2, kova_read_zorel_profile_msms,
                  kova_read_zorel_profile_msms_v2, ids.data(), static_cast<std::uint32_t>(ids.size()));
}

Result readFrame(const api::Analysis& analysis, std::int64_t frame) {
    return readBy(analysis, kova_read_zorel_msms_for_frame, kova_read_zorel_msms_for_frame_v2,
                  kova_read_zorel_profile_msms_for_frame, kova_read_zorel_profile_msms_for_frame_v2, frame);
}

}  // namespace zorel
