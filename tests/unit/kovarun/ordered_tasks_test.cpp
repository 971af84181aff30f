#include <atomic>
#include <thread>
#include <utility>

#include <gtest/gtest.h>

#include "kovarun/pipeline/ordered_tasks.h"

namespace {

// Threads ask for the size of the task that comes next, and ask again only when it has to wait. So two sizes asked for
// beyond those of the tasks that have begun show that nothing else begins.
TEST(OrderedTasks, BeginAsTheBudgetAllows) {
    for (const auto& [budget, ahead] : {std::pair(0U, 1U), {29U, 2U}, {30U, 3U}, {1000U, 6U}}) {
        std::atomic<std::size_t> asked = 0;
        std::atomic<std::size_t> latest = 0;
        lumo::run::OrderedTasks<std::size_t> tasks(
            20, {2, budget}, [] { return [](std::size_t task) { return task; }; },
            [&](std::size_t task) {
                latest = task;
                ++asked;
                return 10;
            });
        while (asked < ahead + 2) {
            std::this_thread::yield();
        }
        for (std::size_t given = 0; given + ahead < 20; ++given) {
            while (latest < given + ahead) {
                std::this_thread::yield();
            }
            EXPECT_EQ(latest, given + ahead) << budget;
            EXPECT_EQ(tasks.next(), given);
        }
    }
}

}  // namespace
