#include "platform/sim/SimRunLoop.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace qn::platform::sim {
namespace {

constexpr SimRunLoop::Nanoseconds kSecond = SimRunLoop::kSecond;

class SimRunLoopTest : public ::testing::Test {
  protected:
    SimRunLoop::WorkId note(SimRunLoop::Nanoseconds at, std::string what) {
        return loop.schedule(
            at, [this, what] { fired.push_back(what + "@" + std::to_string(loop.now())); });
    }
    SimRunLoop loop;
    std::vector<std::string> fired;
};

TEST_F(SimRunLoopTest, FiresInDeadlineOrderThenSchedulingOrderAndStopsAtTheTarget) {
    note(3 * kSecond, "c");
    note(1 * kSecond, "a");
    note(3 * kSecond, "d");
    note(2 * kSecond, "b");
    note(5 * kSecond, "late");

    loop.advance(4 * kSecond);

    EXPECT_EQ(fired, (std::vector<std::string>{"a@1000000000", "b@2000000000", "c@3000000000",
                                               "d@3000000000"}));
    EXPECT_EQ(loop.now(), 4 * kSecond);
    EXPECT_EQ(loop.pendingCount(), 1u);
    EXPECT_EQ(loop.nextDeadline(), 5 * kSecond);
}

TEST_F(SimRunLoopTest, WorkScheduledFromInsideACallbackTakesItsPlaceInTheOrder) {
    loop.schedule(kSecond, [this] {
        fired.push_back("first");
        // Due now: after work already due at this instant.
        loop.post([this] { fired.push_back("posted-now"); });
        // Due within the advance: runs in it, before later work.
        loop.schedule(loop.now() + kSecond / 2, [this] { fired.push_back("half-later"); });
        // In the past: means now.
        loop.schedule(0, [this] { fired.push_back("past"); });
        // Beyond the advance: stays.
        loop.schedule(loop.now() + 10 * kSecond, [this] { fired.push_back("beyond"); });
    });
    loop.schedule(kSecond, [this] { fired.push_back("second"); });
    loop.schedule(2 * kSecond, [this] { fired.push_back("two"); });

    loop.advance(3 * kSecond);

    EXPECT_EQ(fired, (std::vector<std::string>{"first", "second", "posted-now", "past",
                                               "half-later", "two"}));
    EXPECT_EQ(loop.pendingCount(), 1u);
}

TEST_F(SimRunLoopTest, CancelledWorkDoesNotRunAndSleepRunsNothing) {
    const auto id = note(kSecond, "cancelled");
    note(kSecond, "kept");
    EXPECT_TRUE(loop.cancel(id));
    EXPECT_FALSE(loop.cancel(id));

    loop.sleep(2 * kSecond);
    EXPECT_TRUE(fired.empty());
    EXPECT_EQ(loop.now(), 2 * kSecond);

    // Work that fell due while the thread was blocked runs late, at the current time.
    loop.runPending();
    EXPECT_EQ(fired, (std::vector<std::string>{"kept@2000000000"}));
}

TEST_F(SimRunLoopTest, RunUntilStopsAtTheHorizonWithoutMovingPastTheLastWork) {
    note(kSecond, "a");
    note(4 * kSecond, "b");
    loop.runUntil(3 * kSecond);
    EXPECT_EQ(fired, (std::vector<std::string>{"a@1000000000"}));
    EXPECT_EQ(loop.now(), kSecond);
}

}  // namespace
}  // namespace qn::platform::sim
