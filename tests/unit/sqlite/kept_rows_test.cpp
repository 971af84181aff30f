#include "sqlite/kept_rows.h"

#include <gtest/gtest.h>

namespace {

TEST(KeptRows, AreReadAgainAfterAChangeOrWhenThereAreTooMany) {
    lumo::sqlite::KeptRows<std::int64_t, 3> kept;
    int reads = 0;
    const auto readsOf = [&](std::int64_t id, std::int64_t version) {
        const int before = reads;
        EXPECT_EQ(kept.get(id, version, [&] { return ++reads, 10 * id; }), 10 * id);
        return reads - before;
    };
    const struct {
        std::int64_t id;
        std::int64_t version;
        int reads;
    } calls[] = {{1, 1, 1}, {2, 1, 1}, {3, 1, 1}, {1, 1, 0}, {3, 1, 0},
                 {4, 1, 1}, {4, 1, 0}, {1, 1, 1}, {1, 2, 1}};
    for (const auto& [id, version, expected] : calls) {
        EXPECT_EQ(readsOf(id, version), expected) << id << ' ' << version;
    }
}

}  // namespace
