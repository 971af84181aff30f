#include "diag/assert.h"

#include <gtest/gtest.h>

namespace {

TEST(Assert, StopsWhereAssertionsAreOnAndIsNeverEvaluatedElsewhere) {
    int evaluated = 0;
    LUMO_ASSERT(++evaluated == 1);
#if !defined(NDEBUG) || defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    EXPECT_EQ(evaluated, 1);
    EXPECT_DEATH(LUMO_ASSERT(evaluated == 2),
                 "diag/assert_test\\.cpp:[0-9]+: LUMO_ASSERT failed: evaluated == 2");
#else
    EXPECT_EQ(evaluated, 0);
#endif
}

}  // namespace
