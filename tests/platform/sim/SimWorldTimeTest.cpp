#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "platform/sim/SimHost.h"

namespace qn::platform::sim {
namespace {

TEST(SimWorldTime, WorldGoesOnWhileTheMainThreadSleepsButMainWorkWaits) {
    SimHost host;
    auto& loop = host.runLoop();
    std::vector<std::string> order;
    loop.schedule(SimRunLoop::kSecond / 2, [&] { order.push_back("main 0.5"); });
    loop.scheduleWorld(SimRunLoop::kSecond, [&] { order.push_back("world 1.0"); });
    loop.scheduleWorld(3 * SimRunLoop::kSecond, [&] { order.push_back("world 3.0"); });

    host.system().sleep(2);
    EXPECT_EQ(order, std::vector<std::string>{"world 1.0"});
    EXPECT_EQ(loop.nowSeconds(), 2.0);

    // The run loop turns: the late main work first, then the world in deadline order.
    loop.advanceSeconds(2);
    EXPECT_EQ(order, (std::vector<std::string>{"world 1.0", "main 0.5", "world 3.0"}));
}

TEST(SimWorldTime, ASignalWakeRunsTheHandlerOnTheNextTurn) {
    SimHost host;
    int woken = 0;
    host.foundation().wakeMainRunLoopFromSignal();  // no handler yet: nothing
    host.runLoop().runPending();
    host.foundation().setSignalWakeHandler([&] { ++woken; });
    host.foundation().wakeMainRunLoopFromSignal();
    EXPECT_EQ(woken, 0);
    host.runLoop().runPending();
    EXPECT_EQ(woken, 1);
}

}  // namespace
}  // namespace qn::platform::sim
