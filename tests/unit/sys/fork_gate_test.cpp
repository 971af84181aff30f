// What a fork must not wait for, and what it must. Each fault here ends a child or the test by its time limit.
#include "sys/fork_gate.h"

#include <atomic>
#include <functional>
#include <thread>

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

using lumo::sys::ForkGateOpened;
using lumo::sys::InsideForkGate;

constexpr unsigned kPatienceSeconds = 10;

// Whether a forked child can enter the gate again and again.
bool forkedChildEnters() {
    const pid_t child = fork();
    if (child == 0) {
        alarm(kPatienceSeconds);
        for (int i = 0; i < 2; ++i) {
            const InsideForkGate gate;
        }
        _exit(0);
    }
    int status = -1;
    waitpid(child, &status, 0);
    return status == 0;
}

// As a signal handler does. The child leaves a gate that nobody is counted in.
TEST(ForkGate, LetsAThreadThatIsInsideFork) {
    pid_t child = 0;
    {
        const InsideForkGate gate;
        child = fork();
    }
    if (child == 0) {
        alarm(kPatienceSeconds);
        _exit(forkedChildEnters() ? 0 : 1);
    }
    int status = -1;
    waitpid(child, &status, 0);
    EXPECT_EQ(status, 0);
}

TEST(ForkGate, WaitsForOthersUntilTheyLeaveOrLetItPass) {
    const struct {
        const char* name;
        std::function<void(const std::atomic<bool>&)> untilForked;
        bool waits;
    } cases[] = {
        {"leaves after a while",
         [](const auto&) {
             for (int i = 0; i < 1000; ++i) {
                 std::this_thread::yield();
             }
         },
         true},
        {"opened while it waits",
         [](const auto& forked) {
             const ForkGateOpened opened;
             forked.wait(false);
         },
         false},
        {"at work for long",
         [](const auto& forked) {
             while (!forked) {
                 lumo::sys::letForkPass();
             }
         },
         false},
    };
    for (const auto& each : cases) {
        std::atomic<bool> inside = false;
        std::atomic<bool> forked = false;
        std::atomic<bool> left = false;
        std::thread other([&] {
            const InsideForkGate gate;
            inside = true;
            inside.notify_one();
            each.untilForked(forked);
            left = true;
        });
        inside.wait(false);
        for (int i = 0; i < 20; ++i) {
            EXPECT_TRUE(forkedChildEnters()) << each.name;
            EXPECT_TRUE(left || !each.waits) << each.name;
        }
        forked = true;
        forked.notify_one();
        other.join();
    }
}

}  // namespace
